#include "host/linux/crypt_library.h"

#include <dlfcn.h>

namespace marrow {

namespace {

template <typename Function>
bool findCryptFunction(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

// Of libdevmapper, which the library brings: with a udev that lacks the rules for mapped devices, a
// call that waits for it would have no end.
void waitForNoUdev(void* library) {
  void (*setSyncSupport)(int) = nullptr;
  if (findCryptFunction(library, "dm_udev_set_sync_support", setSyncSupport)) {
    setSyncSupport(0);
  }
}

void keepComplaint(int level, const char* text, void* complaints) {
  if (level != CRYPT_LOG_ERROR || text == nullptr) {
    return;
  }
  std::string sentence(text);
  sentence.erase(sentence.find_last_not_of(" .\n") + 1);
  static_cast<CryptDevice::Complaints*>(complaints)->push_back(std::move(sentence));
}

}  // namespace

bool CryptLibrary::load(const char* library) {
  void* const crypt = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
  const bool isWhole =
      crypt != nullptr && findCryptFunction(crypt, "crypt_init", init) &&
      findCryptFunction(crypt, "crypt_free", free) &&
      findCryptFunction(crypt, "crypt_load", loadHeader) &&
      findCryptFunction(crypt, "crypt_set_log_callback", setLogCallback) &&
      findCryptFunction(crypt, "crypt_token_max", tokenMax) &&
      findCryptFunction(crypt, "crypt_token_status", tokenStatus) &&
      findCryptFunction(crypt, "crypt_token_json_get", tokenGet) &&
      findCryptFunction(crypt, "crypt_token_json_set", tokenSet) &&
      findCryptFunction(crypt, "crypt_activate_by_passphrase", activateByPassphrase) &&
      findCryptFunction(crypt, "crypt_activate_by_token", activateByToken) &&
      findCryptFunction(crypt, "crypt_deactivate_by_name", deactivateByName);
  if (isWhole) {
    waitForNoUdev(crypt);
  }
  return isWhole;
}

CryptDevice::~CryptDevice() {
  if (_device != nullptr) {
    _library.free(_device);
  }
}

int CryptDevice::load(const std::string& node) {
  if (const int result = _library.init(&_device, node.c_str()); result < 0) {
    return -result;
  }
  _library.setLogCallback(_device, keepComplaint, &_complaints);
  const int result = _library.loadHeader(_device, CRYPT_LUKS2, nullptr);
  return result < 0 ? -result : 0;
}

std::string CryptDevice::complaints() const {
  std::string text;
  for (const auto& sentence : _complaints) {
    text += ": " + sentence;
  }
  return text;
}

}  // namespace marrow

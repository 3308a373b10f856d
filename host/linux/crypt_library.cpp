#include "host/linux/crypt_library.h"

#include "host/linux/shared_library.h"

namespace marrow {

namespace {

// Of libdevmapper, which the library brings: with a udev that lacks the rules for mapped devices, a
// call that waits for it would have no end.
void waitForNoUdev(const SharedLibrary& library) {
  void (*setSyncSupport)(int) = nullptr;
  if (library.find("dm_udev_set_sync_support", setSyncSupport)) {
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
  const SharedLibrary crypt(library);
  const bool isWhole = crypt.find("crypt_init", init) && crypt.find("crypt_free", free) &&
                       crypt.find("crypt_load", loadHeader) &&
                       crypt.find("crypt_set_log_callback", setLogCallback) &&
                       crypt.find("crypt_token_max", tokenMax) &&
                       crypt.find("crypt_token_status", tokenStatus) &&
                       crypt.find("crypt_token_json_get", tokenGet) &&
                       crypt.find("crypt_token_json_set", tokenSet) &&
                       crypt.find("crypt_activate_by_passphrase", activateByPassphrase) &&
                       crypt.find("crypt_activate_by_token", activateByToken) &&
                       crypt.find("crypt_deactivate_by_name", deactivateByName);
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

// The part of libcryptsetup that encrypted volumes need, loaded when the first of them is met: a
// base system whose volumes are not encrypted needs no such library.
#pragma once

#include <libcryptsetup.h>
#include <string>
#include <vector>

namespace marrow {

inline constexpr char kCryptLibrary[] = "libcryptsetup.so.12";

// The functions of libcryptsetup.h under their own names, without "crypt_". The library stays
// loaded. What it does to device nodes does not wait for udev, whose rules a base system may lack.
struct CryptLibrary {
  decltype(&::crypt_init) init;
  decltype(&::crypt_free) free;
  decltype(&::crypt_load) loadHeader;
  decltype(&::crypt_set_log_callback) setLogCallback;
  decltype(&::crypt_token_max) tokenMax;
  decltype(&::crypt_token_status) tokenStatus;
  decltype(&::crypt_token_json_get) tokenGet;
  decltype(&::crypt_token_json_set) tokenSet;
  decltype(&::crypt_activate_by_passphrase) activateByPassphrase;
  decltype(&::crypt_activate_by_token) activateByToken;
  decltype(&::crypt_deactivate_by_name) deactivateByName;

  // False when the library of this name (dlopen(3)), or a function of it, is missing.
  bool load(const char* library);
};

// The LUKS2 header of a device or a file. One thread at a time.
class CryptDevice {
 public:
  // What the library has to tell of an error, a sentence each.
  using Complaints = std::vector<std::string>;

  explicit CryptDevice(const CryptLibrary& library) : _library(library) {}
  ~CryptDevice();
  CryptDevice(const CryptDevice&) = delete;
  CryptDevice& operator=(const CryptDevice&) = delete;

  // Reads the header, and mends a damaged copy of it by the other one. 0, or an errno value: EINVAL
  // when no copy is whole. To be called once, before all else.
  int load(const std::string& node);

  crypt_device* get() const { return _device; }

  // ": " and what the library complained of since the header was asked for; else nothing.
  std::string complaints() const;

 private:
  const CryptLibrary& _library;
  crypt_device* _device = nullptr;
  Complaints _complaints;
};

}  // namespace marrow

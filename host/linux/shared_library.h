// A library that is loaded when it is first needed, so that a machine without it can be told apart.
#pragma once

#include <dlfcn.h>

namespace marrow {

// Stays loaded: libraries run code of their own when the process ends.
class SharedLibrary {
 public:
  // By its soname (dlopen(3)).
  explicit SharedLibrary(const char* name) : _handle(::dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

  explicit operator bool() const { return _handle != nullptr; }

  // False when the library or the function is missing.
  template <typename Function>
  bool find(const char* name, Function& function) const {
    function = _handle == nullptr ? nullptr : reinterpret_cast<Function>(::dlsym(_handle, name));
    return function != nullptr;
  }

 private:
  void* _handle;
};

}  // namespace marrow

#include "host/linux/sealed_memory.h"

#include "host/linux/retry.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace marrow {

namespace {

bool writeWhole(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count =
        retryInterrupted([&] { return ::write(file, content.data(), content.size()); });
    if (count < 0) {
      return false;
    }
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

Descriptor makeSealedMemory(const char* name, std::string_view content) {
  Descriptor file(::memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (file && writeWhole(file.number(), content) &&
      ::fcntl(file.number(), F_ADD_SEALS,
              F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) == 0) {
    return file;
  }
  return {};
}

}  // namespace marrow

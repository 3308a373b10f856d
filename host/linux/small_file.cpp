#include "host/linux/small_file.h"

#include "host/linux/descriptor.h"
#include "host/linux/retry.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace marrow {

namespace {

using Page = std::array<char, 4096>;

Descriptor openToRead(const std::string& path) {
  return Descriptor(retryInterrupted(
      [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
}

}  // namespace

std::optional<std::string> readSmallFile(const std::string& path, std::size_t limit) {
  const Descriptor file = openToRead(path);
  if (!file) {
    return std::nullopt;
  }
  std::string text;
  Page buffer{};
  while (text.size() < limit) {
    const ssize_t count = retryInterrupted([&] {
      return ::read(file.number(), buffer.data(), std::min(buffer.size(), limit - text.size()));
    });
    if (count < 0) {
      return std::nullopt;
    }
    if (count == 0) {
      break;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

std::optional<std::string> readAttribute(const std::string& path) {
  const Descriptor file = openToRead(path);
  if (!file) {
    return std::nullopt;
  }
  Page buffer{};
  const ssize_t count =
      retryInterrupted([&] { return ::read(file.number(), buffer.data(), buffer.size()); });
  if (count < 0) {
    return std::nullopt;
  }
  return std::string(buffer.data(), static_cast<std::size_t>(count));
}

bool writeSmallFile(const std::string& path, std::string_view text) {
  const Descriptor file(retryInterrupted(
      [&] { return ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
  if (!file) {
    return false;
  }
  const ssize_t count =
      retryInterrupted([&] { return ::write(file.number(), text.data(), text.size()); });
  if (count >= 0 && static_cast<std::size_t>(count) != text.size()) {
    errno = EIO;
  }
  return count >= 0 && static_cast<std::size_t>(count) == text.size();
}

}  // namespace marrow

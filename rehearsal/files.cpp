#include "rehearsal/files.h"

#include "rehearsal/problem.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow::rehearsal {

Descriptor openFile(const std::filesystem::path& path, int flags, mode_t mode) {
  return Descriptor(
      checked(::open(path.c_str(), flags | O_CLOEXEC, mode), "open " + path.string()));
}

void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    bytes.remove_prefix(static_cast<std::size_t>(checked(count, "write")));
  }
}

void writeFile(const std::filesystem::path& path, std::string_view content, mode_t mode) {
  std::filesystem::create_directories(path.parent_path());
  const Descriptor file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
  writeAll(file.number(), content);
  checked(::fchmod(file.number(), mode), "set the mode of " + path.string());
}

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 65536> buffer{};
  while (true) {
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (checked(count, "read") == 0) {
      return text;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  if (!file || ::fstat(file.number(), &status) != 0 || S_ISDIR(status.st_mode)) {
    return std::nullopt;
  }
  return readAll(file.number());
}

std::filesystem::path pathOfDescriptor(int descriptor) {
  return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(descriptor);
}

namespace {

void copyRange(int from, int to, off_t begin, off_t end) {
  off_t target = begin;
  while (begin < end) {
    const auto length = static_cast<std::size_t>(end - begin);
    ssize_t count = ::copy_file_range(from, &begin, to, &target, length, 0);
    if (count < 0 && (errno == EXDEV || errno == EINVAL || errno == EOPNOTSUPP)) {
      std::array<char, 65536> buffer{};
      count = checked(::pread(from, buffer.data(), std::min(length, buffer.size()), begin), "read");
      checked(::pwrite(to, buffer.data(), static_cast<std::size_t>(count), target), "write");
      begin += count;
      target += count;
    }
    if (checked(count, "copy a file") == 0) {
      return;
    }
  }
}

}  // namespace

void copySparse(int from, int to) {
  const off_t size = checked(::lseek(from, 0, SEEK_END), "read the size of a file");
  checked(::ftruncate(to, size), "make a file of that size");
  off_t data = ::lseek(from, 0, SEEK_DATA);
  while (data >= 0 && data < size) {
    const off_t hole = checked(::lseek(from, data, SEEK_HOLE), "find the holes of a file");
    copyRange(from, to, data, hole);
    data = ::lseek(from, hole, SEEK_DATA);
  }
}

}  // namespace marrow::rehearsal

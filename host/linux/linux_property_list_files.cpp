#include "host/linux/linux_property_list_files.h"

#include "host/linux/descriptor.h"
#include "host/linux/file_metadata.h"
#include "host/linux/property_list_reader.h"
#include "host/linux/property_list_writer.h"
#include "host/linux/retry.h"
#include "host/linux/staged_file.h"
#include "host/linux/strict_open.h"
#include "host/text_format.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

// A regular file; none with errno set when it is anything else.
Descriptor openRegular(const std::string& path) {
  Descriptor file = openWithoutLinks(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat status {};
  if (file && ::fstat(file.number(), &status) == 0 && !S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    file.reset();
  }
  return file;
}

// The whole file; absent with errno set when that fails or it is too large.
std::optional<std::string> readWhole(int file) {
  constexpr std::size_t kStep = std::size_t{64} << 10U;
  std::string text;
  for (;;) {
    const std::size_t size = text.size();
    text.resize(size + kStep);
    const ssize_t count = retryInterrupted([&] { return ::read(file, text.data() + size, kStep); });
    text.resize(size + static_cast<std::size_t>(count < 0 ? 0 : count));
    if (count < 0) {
      return std::nullopt;
    }
    if (text.size() > kPropertyListSizeLimit) {
      errno = EFBIG;
      return std::nullopt;
    }
    if (count == 0) {
      return text;
    }
  }
}

std::optional<std::string> readText(const std::string& path) {
  const Descriptor file = openRegular(path);
  return file ? readWhole(file.number()) : std::nullopt;
}

ErrorRef systemError(const std::string& path) {
  const int number = errno;
  return makePOSIXError(
      number, {{kLocalizedDescriptionKey, formatText("Cannot read the property list %s: %s", path,
                                                     errorNumberText(number))}});
}

ErrorRef malformedError(const std::string& path, const std::string& problem) {
  return makeError(kPropertyListErrorDomain, kPropertyListMalformed,
                   {{kLocalizedDescriptionKey, formatText("%s, %s", path, problem)}});
}

// The new file takes over what belonged to the one that is there, if any.
bool stageLikeOld(StagedFile& staged, const std::string& path, LogHandle& log) {
  constexpr unsigned kOwnerOnly = 0600;
  constexpr unsigned kReadable = 0644;
  const Descriptor old = openRegular(path);
  if (!old) {
    return errno == ENOENT && staged.create(kReadable);
  }
  return staged.create(kOwnerOnly) && copyFileMetadata(old.number(), staged.descriptor(), log);
}

}  // namespace

LinuxPropertyListFiles::LinuxPropertyListFiles(LogHandle& log) : _log(log) {}

std::optional<PropertyListDictionary> LinuxPropertyListFiles::readDictionary(
    const std::string& path, ErrorSlot error) {
  const auto text = readText(path);
  if (!text) {
    tellUnreadable(path, error);
    return std::nullopt;
  }
  std::string problem;
  auto dictionary = readPropertyList(*text, problem);
  if (!dictionary) {
    storeError(error, malformedError(path, problem));
  }
  return dictionary;
}

// A caller without an error slot takes it as if there were none, which somebody should know of.
void LinuxPropertyListFiles::tellUnreadable(const std::string& path, ErrorSlot error) {
  const bool isThere = errno != ENOENT;
  const ErrorRef problem = systemError(path);
  if (error == nullptr && isThere) {
    _log.log(LogLevel::error, problem->localizedDescription().value_or(path));
  }
  storeError(error, problem);
}

bool LinuxPropertyListFiles::writeDictionary(const PropertyListDictionary& dictionary,
                                             const std::string& path) {
  std::string problem;
  const auto text = writePropertyList(dictionary, problem);
  if (!text) {
    _log.log(LogLevel::error, formatText("Cannot write the property list %s: %s", path, problem));
    return false;
  }
  StagedFile staged(path);
  if (stageLikeOld(staged, path, _log) && staged.write(*text) && staged.install()) {
    return true;
  }
  _log.log(LogLevel::error,
           formatText("Cannot write the property list %s: %s", path, errorNumberText(errno)));
  return false;
}

}  // namespace marrow

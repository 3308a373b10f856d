#include "tests/host/in_memory_property_list_files.h"

#include <cerrno>

namespace marrow {

namespace {

constexpr std::uint32_t kNewFileMode = 0644;

std::nullopt_t refuse(ErrorSlot error, int errorNumber, const std::string& reason) {
  storeError(error, makePOSIXError(errorNumber, {{kLocalizedDescriptionKey, reason}}));
  return std::nullopt;
}

}  // namespace

std::optional<PropertyListDictionary> InMemoryPropertyListFiles::readDictionary(
    const std::string& path, ErrorSlot error) {
  const std::string reason = "Cannot read the property list " + path;
  if (const auto failure = _calls.made("PropertyListFiles.readDictionary", path)) {
    storeError(error, failure->record(reason));
    return std::nullopt;
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace place;
  if (const int found = _fileSystem.find(path, FollowLast::never, place); found != 0) {
    return refuse(error, found, reason);
  }
  if (place.node->kind == FileKind::link) {
    return refuse(error, ELOOP, reason);
  }
  if (place.node->kind != FileKind::file || !place.node->dictionary) {
    return refuse(error, EINVAL, path + " is not a property list");
  }
  return place.node->dictionary;
}

bool InMemoryPropertyListFiles::writeDictionary(const PropertyListDictionary& dictionary,
                                                const std::string& path) {
  if (_calls.made("PropertyListFiles.writeDictionary", path)) {
    return false;
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace place;
  const int error = _fileSystem.locate(path, FollowLast::never, place);
  if (error != 0 || place.readOnly || (place.node && place.node->kind == FileKind::folder)) {
    return false;
  }
  const auto file = InMemoryFileSystem::create(place, FileKind::file,
                                               place.node ? place.node->mode : kNewFileMode);
  file->content = "a property list";
  file->dictionary = dictionary;
  return true;
}

}  // namespace marrow

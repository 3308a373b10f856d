#include "tests/host/in_memory_file_trees.h"

#include <cerrno>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>

namespace marrow {

namespace {

int outcome(int error) {
  if (error != 0) {
    errno = error;
  }
  return error == 0 ? 0 : -1;
}

bool isFolder(const FilePlace& place) { return place.node->kind == FileKind::folder; }

// True when `folder` is `top` or below it.
bool isWithin(const FileNodeRef& top, const FileNodeRef& folder) {
  if (top == folder) {
    return true;
  }
  for (const auto& [name, child] : top->children) {
    if (isWithin(child, folder)) {
      return true;
    }
  }
  return false;
}

// What keeps two places from changing with each other: rename(2), EBUSY, EXDEV, EROFS.
int checkPair(const FilePlace& from, const FilePlace& to) {
  if (from.isMountPoint() || to.isMountPoint()) {
    return EBUSY;
  }
  if (from.volume != to.volume) {
    return EXDEV;
  }
  return from.readOnly || to.readOnly ? EROFS : 0;
}

int checkReplacement(const FilePlace& from, const FilePlace& to) {
  if (isWithin(from.node, to.folder)) {
    return EINVAL;
  }
  if (!to.node || isFolder(from) != isFolder(to)) {
    return !to.node ? 0 : isFolder(from) ? ENOTDIR : EISDIR;
  }
  return to.node->children.empty() ? 0 : ENOTEMPTY;
}

int renamePlaces(const FilePlace& from, const FilePlace& to) {
  const int pair = checkPair(from, to);
  const int error = pair != 0 ? pair : from.node == to.node ? 0 : checkReplacement(from, to);
  if (error != 0 || from.node == to.node) {
    return error;
  }
  from.folder->children.erase(from.name);
  to.folder->children[to.name] = from.node;
  return 0;
}

// On a tree that was exchanged away and is not removed yet. It names the very folder, so that a
// copy that takes the attribute along is not marked.
constexpr char kSuperseded[] = "trusted.marrow.superseded";

std::string identityOf(const FileNodeRef& folder) {
  return std::to_string(reinterpret_cast<std::uintptr_t>(folder.get()));
}

bool isMarkedSuperseded(const FileNodeRef& node) {
  const auto mark = node->attributes.find(kSuperseded);
  return mark != node->attributes.end() && mark->second == identityOf(node);
}

int swapPlaces(const FilePlace& from, const FilePlace& to) {
  if (const int error = checkPair(from, to); error != 0) {
    return error;
  }
  if (from.node != to.node && (isWithin(from.node, to.node) || isWithin(to.node, from.node))) {
    return EINVAL;
  }
  if (isMarkedSuperseded(from.node)) {
    return 0;
  }
  if (isFolder(to)) {
    to.node->attributes[kSuperseded] = identityOf(to.node);
  }
  std::swap(from.folder->children[from.name], to.folder->children[to.name]);
  return 0;
}

// Removes what is in the folder; what is mounted inside stays, with the folders above it.
bool empty(const InMemoryFileSystem& fileSystem, FileNode& folder) {
  for (auto child = folder.children.begin(); child != folder.children.end();) {
    const bool removed = !fileSystem.isCovered(child->second) && empty(fileSystem, *child->second);
    child = removed ? folder.children.erase(child) : std::next(child);
  }
  return folder.children.empty();
}

int checkMove(const FilePlace& from, const FilePlace& to) {
  if (from.node->kind != FileKind::file) {
    return from.node->kind == FileKind::link ? ELOOP : EINVAL;
  }
  if (to.node && isFolder(to)) {
    return EISDIR;
  }
  return from.readOnly || to.readOnly ? EROFS : 0;
}

}  // namespace

int InMemoryFileTrees::rename(const std::string& from, const std::string& to) {
  if (const auto failure = _calls.made("FileTrees.rename", from + " -> " + to)) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace source;
  FilePlace target;
  int error = _fileSystem.find(from, FollowLast::never, source);
  error = error != 0 ? error : _fileSystem.locate(to, FollowLast::never, target);
  return outcome(error != 0 ? error : renamePlaces(source, target));
}

int InMemoryFileTrees::swap(const std::string& from, const std::string& to) {
  if (const auto failure = _calls.made("FileTrees.swap", from + " -> " + to)) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace source;
  FilePlace target;
  int error = _fileSystem.find(from, FollowLast::never, source);
  error = error != 0 ? error : _fileSystem.find(to, FollowLast::never, target);
  return outcome(error != 0 ? error : swapPlaces(source, target));
}

int InMemoryFileTrees::removeRecursively(const std::string& path) {
  if (const auto failure = _calls.made("FileTrees.removeRecursively", path)) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace place;
  if (const int error = _fileSystem.find(path, FollowLast::never, place); error != 0) {
    return outcome(error);
  }
  if (place.readOnly || place.isMountPoint()) {
    return outcome(place.readOnly ? EROFS : EBUSY);
  }
  if (!empty(_fileSystem, *place.node)) {
    return outcome(EBUSY);
  }
  place.folder->children.erase(place.name);
  return 0;
}

int InMemoryFileTrees::moveFile(const std::string& from, const std::string& to) {
  if (const auto failure = _calls.made("FileTrees.moveFile", from + " -> " + to)) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace source;
  FilePlace target;
  int error = _fileSystem.find(from, FollowLast::no, source);
  error = error != 0 ? error : _fileSystem.locate(to, FollowLast::never, target);
  error = error != 0 ? error : checkMove(source, target);
  if (error != 0) {
    return outcome(error);
  }
  if (target.node != source.node) {
    target.folder->children[target.name] = std::make_shared<FileNode>(*source.node);
    source.folder->children.erase(source.name);
  }
  return 0;
}

}  // namespace marrow

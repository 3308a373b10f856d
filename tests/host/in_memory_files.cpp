#include "tests/host/in_memory_files.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <utility>

namespace marrow {

namespace {

constexpr std::uint32_t kNewFileMode = 0644;
constexpr int kFirstDescriptor = 3;

int failed(int errorNumber) {
  errno = errorNumber;
  return -1;
}

bool writes(OpenFlags flags) { return contains(flags, OpenFlags::writeOnly); }

std::string flagsText(OpenFlags flags) {
  std::string text = writes(flags) ? "writeOnly" : "readOnly";
  const std::pair<OpenFlags, const char*> names[] = {
      {OpenFlags::append, "|append"},
      {OpenFlags::noControllingTerminal, "|noControllingTerminal"},
      {OpenFlags::nonBlocking, "|nonBlocking"},
      {OpenFlags::create, "|create"},
      {OpenFlags::truncate, "|truncate"},
      {OpenFlags::noFollow, "|noFollow"},
      {OpenFlags::noLinks, "|noLinks"},
  };
  for (const auto& [flag, name] : names) {
    text += contains(flags, flag) ? name : "";
  }
  return text;
}

FollowLast followingOf(OpenFlags flags) {
  return contains(flags, OpenFlags::noLinks)    ? FollowLast::never
         : contains(flags, OpenFlags::noFollow) ? FollowLast::no
                                                : FollowLast::yes;
}

// No file here has two names.
void makeWay(OpenFlags flags, FilePlace& place) {
  const bool replaces =
      contains(flags, OpenFlags::noLinks) && contains(flags, OpenFlags::create) && !place.readOnly;
  if (replaces && place.node && place.node->kind != FileKind::folder &&
      place.node->kind != FileKind::file) {
    place.folder->children.erase(place.name);
    place.node = nullptr;
  }
}

// A FIFO opens once both ends are there; a reader that does not wait needs no writer (fifo(7)).
int openFIFO(const FileNode& node, OpenFlags flags) {
  const bool otherEnd = writes(flags) ? node.readers > 0 : node.writers > 0;
  const bool waits = !contains(flags, OpenFlags::nonBlocking);
  if (otherEnd || (!waits && !writes(flags))) {
    return 0;
  }
  if (!waits) {
    return ENXIO;
  }
  ADD_FAILURE() << "opening a FIFO whose other end nobody opens would wait for ever";
  return EINTR;
}

int openFound(OpenFlags flags, const FilePlace& place) {
  const bool changes = writes(flags) || contains(flags, OpenFlags::truncate);
  if (place.node->kind == FileKind::folder) {
    return changes || contains(flags, OpenFlags::create) ? EISDIR : 0;
  }
  if (place.node->kind == FileKind::fifo) {
    return openFIFO(*place.node, flags);
  }
  if (place.node->kind == FileKind::file) {
    if (changes && place.readOnly) {
      return EROFS;
    }
    if (contains(flags, OpenFlags::truncate)) {
      place.node->content.clear();
      place.node->dictionary.reset();
    }
  }
  return 0;
}

void report(const FileNode& node, FileStatus& status) {
  status.size = node.kind == FileKind::file || node.kind == FileKind::link
                    ? static_cast<std::int64_t>(node.content.size()) + node.hole
                    : 0;
  status.deviceNumber = node.deviceNumber;
}

}  // namespace

int InMemoryFiles::open(const std::string& path, OpenFlags flags) {
  if (const auto failure = _calls.made("Files.open", path + " " + flagsText(flags))) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace place;
  if (const int error = openPlace(path, flags, place); error != 0) {
    return failed(error);
  }
  return add({place.node, path, place.volume, flags});
}

int InMemoryFiles::close(int descriptor) {
  const auto failure = _calls.made("Files.close", describe(descriptor));
  if (!giveBack(descriptor)) {
    return failed(EBADF);
  }
  return failure && !failure->powerIsCut ? failure->fail() : 0;
}

std::int64_t InMemoryFiles::read(int descriptor, std::span<std::byte> buffer) {
  if (const auto failure = _calls.made("Files.read", describe(descriptor))) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  OpenFile* file = opened(descriptor);
  return file == nullptr ? failed(EBADF) : readBytes(*file, buffer);
}

std::int64_t InMemoryFiles::write(int descriptor, std::span<const std::string_view> pieces) {
  std::string bytes;
  for (const std::string_view piece : pieces) {
    bytes += piece;
  }
  return write(descriptor, bytes);
}

std::int64_t InMemoryFiles::write(int descriptor, std::string_view bytes) {
  const std::string arguments = describe(descriptor) + " " + std::string(bytes);
  if (const auto failure = _calls.made("Files.write", arguments)) {
    return failure->fail();
  }
  std::int64_t count = -1;
  FileNodeRef node;
  {
    const std::lock_guard lock(_fileSystem.mutex());
    OpenFile* file = opened(descriptor);
    count = file == nullptr ? failed(EBADF) : writeBytes(*file, bytes);
    node = file == nullptr ? nullptr : file->node;
  }
  if (count > 0) {
    _fileSystem.tellWritten(node);
  }
  return count;
}

int InMemoryFiles::sync(int descriptor) { return syncOpen("Files.sync", descriptor); }

int InMemoryFiles::fullSync(int descriptor) { return syncOpen("Files.fullSync", descriptor); }

int InMemoryFiles::statusOf(int descriptor, FileStatus& status) {
  if (const auto failure = _calls.made("Files.statusOf", describe(descriptor))) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  const OpenFile* file = opened(descriptor);
  if (file == nullptr) {
    return failed(EBADF);
  }
  report(*file->node, status);
  return 0;
}

int InMemoryFiles::statusAt(const std::string& path, FileStatus& status) {
  if (const auto failure = _calls.made("Files.statusAt", path)) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace place;
  if (const int error = _fileSystem.find(path, FollowLast::yes, place); error != 0) {
    return failed(error);
  }
  report(*place.node, status);
  return 0;
}

int InMemoryFiles::exists(const std::string& path) {
  if (const auto failure = _calls.made("Files.exists", path)) {
    return failure->fail();
  }
  FilePlace place;
  const int error = _fileSystem.find(path, FollowLast::no, place);
  return error == 0 ? 0 : failed(error);
}

int InMemoryFiles::makeFIFO(const std::string& path, std::uint32_t mode) {
  if (const auto failure = _calls.made("Files.makeFIFO", path)) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace place;
  const int error = _fileSystem.locate(path, FollowLast::no, place);
  if (error != 0 || place.node || place.readOnly) {
    return failed(error != 0 ? error : place.node ? EEXIST : EROFS);
  }
  InMemoryFileSystem::create(place, FileKind::fifo, mode);
  return 0;
}

int InMemoryFiles::unlink(const std::string& path) {
  if (const auto failure = _calls.made("Files.unlink", path)) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  FilePlace place;
  const int error = _fileSystem.find(path, FollowLast::no, place);
  if (error != 0 || place.node->kind == FileKind::folder || place.readOnly) {
    return failed(error != 0 ? error : place.readOnly ? EROFS : EISDIR);
  }
  place.folder->children.erase(place.name);
  return 0;
}

std::vector<std::string> InMemoryFiles::openPaths() const {
  const std::lock_guard lock(_fileSystem.mutex());
  std::vector<std::string> paths;
  for (const auto& [descriptor, file] : _open) {
    paths.push_back(file.path);
  }
  return paths;
}

bool InMemoryFiles::holdsOpen(const std::string& volume) const {
  const std::lock_guard lock(_fileSystem.mutex());
  return std::any_of(_open.begin(), _open.end(),
                     [&](const auto& entry) { return entry.second.volume == volume; });
}

void InMemoryFiles::closeAll() {
  while (!_open.empty()) {
    giveBack(_open.begin()->first);
  }
}

FileNodeRef InMemoryFiles::nodeOf(int descriptor) const {
  const std::lock_guard lock(_fileSystem.mutex());
  const auto found = _open.find(descriptor);
  return found == _open.end() ? nullptr : found->second.node;
}

std::string InMemoryFiles::describe(int descriptor) const {
  const std::lock_guard lock(_fileSystem.mutex());
  const auto found = _open.find(descriptor);
  return found == _open.end() ? std::to_string(descriptor) : found->second.path;
}

std::string InMemoryFiles::readAvailable(int descriptor) {
  const std::lock_guard lock(_fileSystem.mutex());
  OpenFile* file = opened(descriptor);
  if (file == nullptr || file->node->content.size() == file->offset) {
    return {};
  }
  std::string bytes(file->node->content.size() - file->offset, '\0');
  readBytes(*file, std::as_writable_bytes(std::span(bytes)));
  return bytes;
}

void InMemoryFiles::closeQuietly(int descriptor) { giveBack(descriptor); }

InMemoryFiles::OpenFile* InMemoryFiles::opened(int descriptor) {
  const auto found = _open.find(descriptor);
  if (found != _open.end()) {
    return &found->second;
  }
  EXPECT_EQ(descriptor, -1) << "this descriptor is not open";
  return nullptr;
}

int InMemoryFiles::openPlace(const std::string& path, OpenFlags flags, FilePlace& place) const {
  if (const int error = _fileSystem.locate(path, followingOf(flags), place); error != 0) {
    return error;
  }
  makeWay(flags, place);
  if (place.node && place.node->kind == FileKind::link) {
    return ELOOP;
  }
  return place.node ? openFound(flags, place) : openMissing(flags, place);
}

int InMemoryFiles::openMissing(OpenFlags flags, FilePlace& place) {
  if (!contains(flags, OpenFlags::create)) {
    return ENOENT;
  }
  if (place.readOnly) {
    return EROFS;
  }
  place.node = InMemoryFileSystem::create(place, FileKind::file, kNewFileMode);
  return 0;
}

int InMemoryFiles::add(OpenFile file) {
  int descriptor = kFirstDescriptor;
  while (_open.contains(descriptor)) {
    ++descriptor;
  }
  int& ends = writes(file.flags) ? file.node->writers : file.node->readers;
  ++ends;
  _open.emplace(descriptor, std::move(file));
  return descriptor;
}

bool InMemoryFiles::giveBack(int descriptor) {
  const std::lock_guard lock(_fileSystem.mutex());
  OpenFile* file = opened(descriptor);
  if (file == nullptr) {
    return false;
  }
  int& ends = writes(file->flags) ? file->node->writers : file->node->readers;
  --ends;
  _open.erase(descriptor);
  return true;
}

std::int64_t InMemoryFiles::readBytes(OpenFile& file, std::span<std::byte> buffer) const {
  FileNode& node = *file.node;
  if (writes(file.flags) || node.kind == FileKind::folder) {
    return failed(writes(file.flags) ? EBADF : EISDIR);
  }
  const bool isFIFO = node.kind == FileKind::fifo;
  const std::string_view rest =
      std::string_view(node.content).substr(std::min(file.offset, node.content.size()));
  if (isFIFO && rest.empty() && node.writers > 0) {
    EXPECT_TRUE(contains(file.flags, OpenFlags::nonBlocking)) << "reading would wait for ever";
    return failed(EAGAIN);
  }
  const std::size_t count = std::min({rest.size(), buffer.size(), _transferLimit});
  std::transform(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(count), buffer.begin(),
                 [](char byte) { return static_cast<std::byte>(byte); });
  if (isFIFO) {
    node.content.erase(0, count);
  } else {
    file.offset += count;
  }
  return static_cast<std::int64_t>(count);
}

std::int64_t InMemoryFiles::writeBytes(OpenFile& file, std::string_view bytes) const {
  FileNode& node = *file.node;
  if (!writes(file.flags)) {
    return failed(EBADF);
  }
  if (node.kind == FileKind::fifo && node.readers == 0) {
    return failed(EPIPE);
  }
  const bool appends = node.kind != FileKind::file || contains(file.flags, OpenFlags::append);
  const std::string_view taken = bytes.substr(0, _transferLimit);
  const std::size_t at = appends ? node.content.size() : file.offset;
  node.content.resize(std::max(node.content.size(), at + taken.size()));
  node.content.replace(at, taken.size(), taken);
  node.dictionary.reset();
  file.offset = at + taken.size();
  return static_cast<std::int64_t>(taken.size());
}

int InMemoryFiles::syncOpen(const std::string& call, int descriptor) {
  if (const auto failure = _calls.made(call, describe(descriptor))) {
    return failure->fail();
  }
  const std::lock_guard lock(_fileSystem.mutex());
  const OpenFile* file = opened(descriptor);
  if (file == nullptr) {
    return failed(EBADF);
  }
  const FileKind kind = file->node->kind;
  return kind == FileKind::fifo || kind == FileKind::characterDevice ? failed(EINVAL) : 0;
}

}  // namespace marrow

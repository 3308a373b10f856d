#include "tests/host/in_memory_file_system.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <gtest/gtest.h>
#include <utility>

namespace marrow {

namespace {

// limits.h: PATH_MAX with its terminator, NAME_MAX, and the links that Linux follows
// (path_resolution(7)).
constexpr std::size_t kLongestPath = 4095;
constexpr std::size_t kLongestName = 255;
constexpr int kMostLinks = 40;
constexpr std::uint32_t kFolderMode = 0755;
constexpr std::uint32_t kFileMode = 0644;
constexpr std::uint32_t kLinkMode = 0777;
constexpr std::uint32_t kPrivateMode = 0600;

using Components = std::deque<std::string>;

Components split(std::string_view path) {
  Components components;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    if (end > 0) {
      components.emplace_back(path.substr(0, end));
    }
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return components;
}

void collect(const FileNode& folder, const std::string& prefix, std::vector<std::string>& paths) {
  for (const auto& [name, child] : folder.children) {
    const std::string path = prefix + name + (child->kind == FileKind::folder ? "/" : "");
    paths.push_back(path);
    collect(*child, path, paths);
  }
}

}  // namespace

FileNodeRef makeNode(FileKind kind, std::uint32_t mode) {
  auto node = std::make_shared<FileNode>();
  node->kind = kind;
  node->mode = mode;
  return node;
}

// One walk along a path.
class InMemoryFileSystem::Walk {
 public:
  Walk(const InMemoryFileSystem& fileSystem, std::string_view path, FollowLast follow)
      : _fileSystem(fileSystem),
        _components(split(path)),
        _needsFolder(path.ends_with('/')),
        _followLast(follow == FollowLast::yes || (_needsFolder && follow == FollowLast::no)),
        _refusesLinks(follow == FollowLast::never),
        _places{{fileSystem._root, nullptr, "", "", false}} {}

  int run(FilePlace& place) {
    while (!_components.empty()) {
      const std::string name = std::move(_components.front());
      _components.pop_front();
      if (const int error = step(name); error != 0) {
        return error;
      }
    }
    place = _places.back();
    return _needsFolder && place.node && place.node->kind != FileKind::folder ? ENOTDIR : 0;
  }

 private:
  int step(const std::string& name) {
    const FilePlace here = _places.back();
    if (here.node->kind != FileKind::folder) {
      return ENOTDIR;
    }
    if (name == ".") {
      return 0;
    }
    if (name == "..") {
      _places.resize(std::max<std::size_t>(_places.size() - 1, 1));
      return 0;
    }
    return name.size() > kLongestName ? ENAMETOOLONG : enter(_fileSystem.child(here, name));
  }

  int enter(const FilePlace& next) {
    if (!next.node && !_components.empty()) {
      return ENOENT;
    }
    if (next.node && next.node->kind == FileKind::link && (_followLast || !_components.empty())) {
      return _refusesLinks ? ELOOP : follow(next.node->content);
    }
    _places.push_back(next);
    return 0;
  }

  int follow(const std::string& target) {
    if (++_links > kMostLinks) {
      return ELOOP;
    }
    if (target.starts_with('/')) {
      _places.resize(1);
    }
    const Components components = split(target);
    _components.insert(_components.begin(), components.begin(), components.end());
    return 0;
  }

  const InMemoryFileSystem& _fileSystem;
  Components _components;
  const bool _needsFolder;
  const bool _followLast;
  const bool _refusesLinks;
  std::vector<FilePlace> _places;
  int _links = 0;
};

InMemoryFileSystem::InMemoryFileSystem() : _root(makeNode(FileKind::folder, kFolderMode)) {}

void InMemoryFileSystem::write(const std::string& path, std::string_view bytes) {
  FileNodeRef node;
  {
    const std::lock_guard lock(_mutex);
    node = makeAt(path, FileKind::file, kFileMode);
    if (node->kind == FileKind::fifo) {
      EXPECT_GT(node->readers, 0) << "nobody reads the FIFO " << path;
      node->content += bytes;
    } else {
      EXPECT_NE(node->kind, FileKind::folder) << path << " is a folder";
      node->content = bytes;
      node->dictionary.reset();
    }
  }
  tellWritten(node);
}

void InMemoryFileSystem::writeDictionary(const std::string& path,
                                         PropertyListDictionary dictionary) {
  const std::lock_guard lock(_mutex);
  const FileNodeRef node = makeAt(path, FileKind::file, kFileMode);
  node->content = "a property list";
  node->dictionary = std::move(dictionary);
}

void InMemoryFileSystem::makeFolder(const std::string& path) {
  const std::lock_guard lock(_mutex);
  makeAt(path, FileKind::folder, kFolderMode);
}

void InMemoryFileSystem::makeLink(const std::string& path, const std::string& target) {
  const std::lock_guard lock(_mutex);
  makeAt(path, FileKind::link, kLinkMode)->content = target;
}

void InMemoryFileSystem::makeFIFO(const std::string& path) {
  const std::lock_guard lock(_mutex);
  makeAt(path, FileKind::fifo, kPrivateMode);
}

void InMemoryFileSystem::makeDevice(const std::string& path, FileKind kind,
                                    std::uint64_t deviceNumber) {
  const std::lock_guard lock(_mutex);
  makeAt(path, kind, kPrivateMode)->deviceNumber = deviceNumber;
}

void InMemoryFileSystem::remove(const std::string& path) {
  const std::lock_guard lock(_mutex);
  FilePlace place;
  if (find(path, FollowLast::no, place) == 0) {
    ASSERT_FALSE(place.isMountPoint()) << path << " is mounted";
    place.folder->children.erase(place.name);
  }
}

bool InMemoryFileSystem::exists(const std::string& path) const { return node(path) != nullptr; }

std::vector<std::string> InMemoryFileSystem::list(const std::string& path) const {
  const std::lock_guard lock(_mutex);
  std::vector<std::string> names;
  const FileNodeRef folder = node(path);
  for (const auto& [name, child] : folder ? folder->children : FileNode().children) {
    names.push_back(name);
  }
  return names;
}

std::optional<std::string> InMemoryFileSystem::contents(const std::string& path) const {
  const std::lock_guard lock(_mutex);
  FilePlace place;
  const bool found = find(path, FollowLast::yes, place) == 0;
  return found && place.node->kind != FileKind::folder ? std::optional(place.node->content)
                                                       : std::nullopt;
}

std::optional<PropertyListDictionary> InMemoryFileSystem::dictionary(
    const std::string& path) const {
  const std::lock_guard lock(_mutex);
  const FileNodeRef file = node(path);
  return file ? file->dictionary : std::nullopt;
}

FileNodeRef InMemoryFileSystem::node(const std::string& path) const {
  const std::lock_guard lock(_mutex);
  FilePlace place;
  return find(path, FollowLast::no, place) == 0 ? place.node : nullptr;
}

std::vector<std::string> InMemoryFileSystem::tree(const std::string& path) const {
  const std::lock_guard lock(_mutex);
  std::vector<std::string> paths;
  if (const FileNodeRef folder = node(path)) {
    collect(*folder, "", paths);
  }
  return paths;
}

int InMemoryFileSystem::locate(const std::string& path, FollowLast follow, FilePlace& place) const {
  if (path.empty() || path.size() > kLongestPath) {
    return path.empty() ? ENOENT : ENAMETOOLONG;
  }
  const std::lock_guard lock(_mutex);
  return Walk(*this, path, follow).run(place);
}

int InMemoryFileSystem::find(const std::string& path, FollowLast follow, FilePlace& place) const {
  const int error = locate(path, follow, place);
  return error == 0 && !place.node ? ENOENT : error;
}

FileNodeRef InMemoryFileSystem::create(const FilePlace& place, FileKind kind, std::uint32_t mode) {
  auto node = makeNode(kind, mode);
  place.folder->children[place.name] = node;
  return node;
}

void InMemoryFileSystem::addVolume(const std::string& volume) {
  const std::lock_guard lock(_mutex);
  _volumes[volume] = makeNode(FileKind::folder, kFolderMode);
}

void InMemoryFileSystem::removeVolume(const std::string& volume) {
  const std::lock_guard lock(_mutex);
  _volumes.erase(volume);
}

void InMemoryFileSystem::mount(const std::string& volume, const std::string& path, bool readOnly) {
  const std::lock_guard lock(_mutex);
  const auto known = _volumes.find(volume);
  ASSERT_NE(known, _volumes.end()) << "no volume " << volume;
  _mounts.push_back(
      {volume, path, readOnly, makeAt(path, FileKind::folder, kFolderMode), known->second});
}

void InMemoryFileSystem::unmount(const std::string& path) {
  const std::lock_guard lock(_mutex);
  const auto last = std::find_if(_mounts.rbegin(), _mounts.rend(),
                                 [&](const FileMount& mount) { return mount.path == path; });
  ASSERT_NE(last, _mounts.rend()) << "nothing is mounted at " << path;
  _mounts.erase(std::next(last).base());
}

void InMemoryFileSystem::setFIFOListener(std::function<void(const FileNodeRef&)> listener) {
  _fifoListener = std::move(listener);
}

void InMemoryFileSystem::tellWritten(const FileNodeRef& node) const {
  if (node->kind == FileKind::fifo && _fifoListener) {
    _fifoListener(node);
  }
}

bool InMemoryFileSystem::isCovered(const FileNodeRef& folder) const {
  return std::any_of(_mounts.begin(), _mounts.end(),
                     [&](const FileMount& mount) { return mount.covered == folder; });
}

FilePlace InMemoryFileSystem::child(const FilePlace& here, const std::string& name) const {
  const auto volume = _volumes.find(name.substr(std::min<std::size_t>(1, name.size())));
  if (here.node == _root && name.starts_with('@') && volume != _volumes.end()) {
    return {volume->second, nullptr, name, volume->first, false};
  }
  const auto found = here.node->children.find(name);
  FilePlace place{found == here.node->children.end() ? nullptr : found->second, here.node, name,
                  here.volume, here.readOnly};
  for (const FileMount& mount : _mounts) {
    if (place.node && mount.covered == place.node) {
      place = {mount.root, nullptr, name, mount.volume, mount.readOnly};
    }
  }
  return place;
}

// The node at the path, made where it is missing, as are the folders above it.
FileNodeRef InMemoryFileSystem::makeAt(const std::string& path, FileKind kind, std::uint32_t mode) {
  FilePlace place;
  const std::size_t slash = path.find_last_of('/');
  if (slash != 0 && slash != std::string::npos && find(path, FollowLast::yes, place) != 0) {
    makeAt(path.substr(0, slash), FileKind::folder, kFolderMode);
  }
  const int error = locate(path, FollowLast::yes, place);
  EXPECT_EQ(error, 0) << "cannot make " << path;
  if (error != 0) {
    return makeNode(kind, mode);
  }
  return place.node ? place.node : create(place, kind, mode);
}

}  // namespace marrow

// The tree of files that the services of the machine share: one root, and volumes that each have a
// tree of their own, which appears where the volume is mounted. The functions for tests fail the
// test when they make no sense; none of them is written to the journal or meets a fault. A path is
// absolute; a volume's tree is always within reach of tests at "/@BSDNAME", mounted or not.
#pragma once

#include "host/property_list.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {

enum class FileKind : std::uint8_t { folder, file, link, fifo, blockDevice, characterDevice };

struct FileNode {
  FileKind kind = FileKind::file;
  std::uint32_t mode = 0644;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  double modified = 0.0;                          // seconds
  std::map<std::string, std::string> attributes;  // extended attributes
  std::uint64_t deviceNumber = 0;

  // The bytes of a file, the target of a link, what waits in a FIFO, what a device was sent.
  std::string content;
  // What a file holds when it is a property list; gone once its bytes are written otherwise.
  std::optional<PropertyListDictionary> dictionary;
  std::map<std::string, std::shared_ptr<FileNode>> children;
  // Of a file: as many bytes more than its content are in its size. They are never read.
  std::int64_t hole = 0;

  // Open ends of a FIFO.
  int readers = 0;
  int writers = 0;
};
using FileNodeRef = std::shared_ptr<FileNode>;

FileNodeRef makeNode(FileKind kind, std::uint32_t mode);

// A volume's tree at a place of the tree.
struct FileMount {
  std::string volume;
  std::string path;
  bool readOnly = false;
  FileNodeRef covered;
  FileNodeRef root;
};

// Where a path leads.
struct FilePlace {
  FileNodeRef node;    // null when the last component is missing
  FileNodeRef folder;  // that holds it; null for the root and for a volume's root
  std::string name;    // in the folder
  std::string volume;  // empty on the root file system
  bool readOnly = false;

  bool isMountPoint() const { return folder == nullptr; }
};

// `never`: a link on the way is an error (ELOOP), and one at the end is not followed.
enum class FollowLast : std::uint8_t { no, yes, never };

class InMemoryFileSystem {
 public:
  InMemoryFileSystem();

  // ---- For tests. Missing folders above the path are made.

  // Makes or replaces a file. A FIFO that is being read gets the bytes, as from a writer that opens
  // it, writes once and goes: its reader's callback runs before this returns.
  void write(const std::string& path, std::string_view bytes);
  void writeDictionary(const std::string& path, PropertyListDictionary dictionary);
  void makeFolder(const std::string& path);
  void makeLink(const std::string& path, const std::string& target);
  void makeFIFO(const std::string& path);
  void makeDevice(const std::string& path, FileKind kind, std::uint64_t deviceNumber);
  void remove(const std::string& path);  // also a whole tree; what is missing is ignored

  // Links are not followed at the end of the path.
  bool exists(const std::string& path) const;
  std::vector<std::string> list(const std::string& path) const;  // names, sorted

  // Absent when there is no file at the path (or no property list).
  std::optional<std::string> contents(const std::string& path) const;
  std::optional<PropertyListDictionary> dictionary(const std::string& path) const;

  // What is at the path, to look at or to change (mode, owner, times, attributes); null when there
  // is nothing.
  FileNodeRef node(const std::string& path) const;

  // Every path below this one, sorted, folders with a slash at the end. Other volumes are left out.
  std::vector<std::string> tree(const std::string& path) const;

  // ---- For the services. Lookups return 0 or an errno value.

  // Follows the path up to its last component, which may be missing (then `node` is null).
  int locate(const std::string& path, FollowLast follow, FilePlace& place) const;
  // The same; ENOENT when the last component is missing.
  int find(const std::string& path, FollowLast follow, FilePlace& place) const;

  // Makes a new node at a place where there is none.
  static FileNodeRef create(const FilePlace& place, FileKind kind, std::uint32_t mode);

  // True when a volume is mounted over this folder.
  bool isCovered(const FileNodeRef& folder) const;

  void addVolume(const std::string& volume);
  void removeVolume(const std::string& volume);
  // Makes the folder where it is missing.
  void mount(const std::string& volume, const std::string& path, bool readOnly);
  void unmount(const std::string& path);
  const std::vector<FileMount>& mounts() const { return _mounts; }

  // Told after something was written to a FIFO; other kinds are ignored.
  void setFIFOListener(std::function<void(const FileNodeRef&)> listener);
  void tellWritten(const FileNodeRef& node) const;

  // Held during each call of a service.
  std::recursive_mutex& mutex() const { return _mutex; }

 private:
  class Walk;

  FilePlace child(const FilePlace& here, const std::string& name) const;
  FileNodeRef makeAt(const std::string& path, FileKind kind, std::uint32_t mode);

  mutable std::recursive_mutex _mutex;
  FileNodeRef _root;
  std::map<std::string, FileNodeRef> _volumes;
  std::vector<FileMount> _mounts;
  std::function<void(const FileNodeRef&)> _fifoListener;
};

}  // namespace marrow

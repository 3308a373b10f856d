#include "host/linux/mount_spaces.h"

#include "host/linux/process_directories.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <linux/nsfs.h>
#include <sched.h>
#include <set>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr char kNamespaceLink[] = "mnt:[";

ino_t inodeOf(const Descriptor& file) {
  struct stat status {};
  return file && ::fstat(file.number(), &status) == 0 ? status.st_ino : 0;
}

ino_t inodeOf(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// ioctl_ns(2); any other file refuses the question.
bool isMountNamespace(const Descriptor& file) {
  return file && ::ioctl(file.number(), NS_GET_NSTYPE) == CLONE_NEWNS;
}

// Collects namespaces, each by the first that is seen to keep it.
class Collection {
 public:
  explicit Collection(const std::string& procfs) : _procfs(procfs) {
    _seen.insert(inodeOf(procfs + "/self/ns/mnt"));
  }

  // Nothing happens where the path leads to no mount namespace, or to a known one.
  void add(const std::string& path, const std::function<std::string()>& keeper) {
    const ino_t known = inodeOf(path);
    if (known == 0 || _seen.contains(known)) {
      return;
    }
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (isMountNamespace(file) && _seen.insert(inodeOf(file)).second) {
      spaces.emplace_back(_procfs, std::move(file), keeper());
    }
  }

  std::vector<MountSpace> spaces;

 private:
  const std::string& _procfs;
  std::set<ino_t> _seen;
};

bool leadsToMountNamespace(const std::string& path) {
  std::error_code gone;
  return fs::read_symlink(path, gone).native().starts_with(kNamespaceLink);
}

void addThoseOfThreads(Collection& collection, const std::string& process) {
  const auto keeper = [&process] { return processDescription(process); };
  for (const auto& thread : pathsIn(process + "/task")) {
    collection.add(thread + "/ns/mnt", keeper);
  }
}

void addOpenOnes(Collection& collection, const std::string& process) {
  const auto keeper = [&process] { return processDescription(process); };
  for (const auto& file : pathsIn(process + "/fd")) {
    if (leadsToMountNamespace(file)) {
      collection.add(file, keeper);
    }
  }
}

void addBoundOnes(Collection& collection, const std::string& procfs) {
  for (const auto& mount : MountTable(procfs).all()) {
    if (mount.root.starts_with(kNamespaceLink)) {
      collection.add(mount.target, [&mount] { return mount.target; });
    }
  }
}

std::set<dev_t> fileSystemsOn(const std::vector<std::vector<MountEntry>>& tables, dev_t number) {
  std::set<dev_t> fileSystems;
  for (const auto& table : tables) {
    for (const auto& mount : table) {
      if (!fileSystems.contains(mount.fileSystem) && mount.isOnDevice(number)) {
        fileSystems.insert(mount.fileSystem);
      }
    }
  }
  return fileSystems;
}

}  // namespace

MountSpace::MountSpace(std::string procfs, Descriptor file, std::string keeper)
    : _procfs(std::move(procfs)), _file(std::move(file)), _keeper(std::move(keeper)) {}

int MountSpace::perform(const std::function<void(const MountTable&)>& work) const {
  if (isOwn()) {
    work(MountTable(_procfs));
    return 0;
  }
  int errorNumber = 0;
  const auto inside = [&] {
    // Opened before, for the other namespace may have no /proc, or another one.
    Descriptor task(::open((_procfs + "/thread-self").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    errorNumber = task ? enter() : errno;
    if (errorNumber == 0) {
      work(MountTable(std::move(task)));
    }
  };
  try {
    std::thread(inside).join();
  } catch (const std::system_error& failure) {
    return failure.code().value();
  }
  return errorNumber;
}

// setns(2): only for a thread that shares its root and directory with no other.
int MountSpace::enter() const {
  const bool entered = ::unshare(CLONE_FS) == 0 && ::setns(_file.number(), CLONE_NEWNS) == 0;
  return entered ? 0 : errno;
}

std::vector<MountEntry> MountSpace::all() const {
  std::vector<MountEntry> mounts;
  perform([&mounts](const MountTable& table) { mounts = table.all(); });
  return mounts;
}

std::vector<MountEntry> MountSpace::on(const MountEntry& mount) const {
  std::vector<MountEntry> mounts;
  perform([&](const MountTable& table) { mounts = table.on(mount); });
  return mounts;
}

bool MountSpace::has(const MountEntry& mount) const {
  const auto mounts = all();
  return std::any_of(mounts.begin(), mounts.end(), [&mount](const MountEntry& each) {
    return each.identifier == mount.identifier;
  });
}

bool MountSpace::isVisible(const MountEntry& mount) const {
  bool visible = false;
  perform([&](const MountTable&) { visible = MountTable::isVisible(mount); });
  return visible;
}

std::uint64_t MountSpace::number() const { return inodeOf(_file); }

std::string MountSpace::where() const {
  return isOwn() ? std::string() : " in the mount namespace of " + _keeper;
}

std::vector<MountSpace> MountSpaces::all() const {
  Collection collection(_procfs);
  const auto processes = processDirectories(_procfs);
  for (const auto& process : processes) {
    addThoseOfThreads(collection, process);
  }
  for (const auto& process : processes) {
    addOpenOnes(collection, process);
  }
  addBoundOnes(collection, _procfs);
  collection.spaces.push_back(own());
  return std::move(collection.spaces);
}

std::vector<std::vector<MountEntry>> mountsOfDevice(const std::vector<MountSpace>& spaces,
                                                    dev_t number) {
  std::vector<std::vector<MountEntry>> tables;
  tables.reserve(spaces.size());
  for (const auto& space : spaces) {
    tables.push_back(space.all());
  }
  const auto fileSystems = fileSystemsOn(tables, number);
  for (auto& table : tables) {
    std::erase_if(table, [&fileSystems](const MountEntry& mount) {
      return !fileSystems.contains(mount.fileSystem);
    });
  }
  return tables;
}

}  // namespace marrow

#include "host/linux/tree_removal.h"

#include "host/linux/descriptor.h"
#include "host/linux/directory_entry.h"
#include "host/linux/folder_listing.h"
#include "host/linux/removal_helper.h"
#include "host/linux/retry.h"
#include "host/linux/shared_names.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <memory>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace marrow {

namespace {

// So many of the innermost directories stay open in each thread; those above are reopened on the
// way back.
constexpr std::size_t kOpenLevels = 6;

// Which directory it is, of all that exist at one time.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const Identity&) const = default;
};

struct Level {
  std::string name;                      // in the level above
  std::shared_ptr<Descriptor> folder;    // none while the walk is far below
  Identity identity;                     // known while there is no folder
  std::shared_ptr<SharedNames> folders;  // still to be removed
};

bool identify(int directory, Identity& identity) {
  struct stat status {};
  if (::fstat(directory, &status) != 0) {
    return false;
  }
  identity = {status.st_dev, status.st_ino};
  return true;
}

// Nothing, with errno set, when it cannot be opened. Of openat2(2)'s rules, RESOLVE_NO_XDEV is that
// no mount is entered: then EXDEV.
std::shared_ptr<Descriptor> openFolder(int parent, const char* name, std::uint64_t rules) {
  open_how how{};
  how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = rules;
  Descriptor opened(static_cast<int>(
      retryInterrupted([&] { return ::syscall(SYS_openat2, parent, name, &how, sizeof how); })));
  return opened ? std::make_shared<Descriptor>(std::move(opened)) : nullptr;
}

class Removal {
 public:
  Removal(int parent, RemovalHelper* helper) : _parent(parent), _helper(helper) {}

  // 0, or the errno of the first thing that stayed.
  int run(const std::string& name);

 private:
  void enter(int parent, std::string name);
  void enterNext(std::string name);
  void share(const Level& level);
  void empty(Level& level);
  void leave();
  static void close(Level& level);
  bool reopen(Level& level, const Level& below);
  void remove(int parent, const std::string& name, int flags);
  void fail(int number);

  const int _parent;
  RemovalHelper* const _helper;
  std::size_t _helped = 0;  // the level, counted from 1, that was shared last
  std::vector<Level> _levels;
  int _error = 0;
};

int Removal::run(const std::string& name) {
  enter(_parent, name);
  while (!_levels.empty()) {
    if (auto next = _levels.back().folders->take()) {
      enterNext(std::move(*next));
    } else {
      leave();
    }
  }
  return _error;
}

void Removal::enterNext(std::string name) {
  const Level& level = _levels.back();
  share(level);
  enter(level.folder->number(), std::move(name));
}

// With one folder in it, which is taken already, there would be nothing to do but wait.
void Removal::share(const Level& level) {
  if (_helper != nullptr && !level.folders->areTaken() &&
      _helper->share(level.folder, level.folders)) {
    _helped = _levels.size();
  }
}

void Removal::enter(int parent, std::string name) {
  Level level;
  level.folder = openFolder(parent, name.c_str(), RESOLVE_NO_XDEV);
  if (!level.folder) {
    fail(errno == EXDEV ? EBUSY : errno);
    return;
  }
  level.name = std::move(name);
  empty(level);
  _levels.push_back(std::move(level));
  if (_levels.size() > kOpenLevels) {
    close(_levels[_levels.size() - kOpenLevels - 1]);
  }
}

// Removes everything but folders. All names are read first: what a listing shows of a directory
// that changes meanwhile is left open by readdir(3).
void Removal::empty(Level& level) {
  FolderListing listing;
  fail(listFolder(level.folder->number(), listing));
  for (const std::string& name : listing.others) {
    remove(level.folder->number(), name, 0);
  }
  level.folders = std::make_shared<SharedNames>(std::move(listing.folders));
}

void Removal::leave() {
  if (_helped == _levels.size()) {
    fail(_helper->wait());
    _helped = 0;
  }
  const Level emptied = std::move(_levels.back());
  _levels.pop_back();
  if (_levels.empty()) {
    remove(_parent, emptied.name, AT_REMOVEDIR);
  } else if (reopen(_levels.back(), emptied)) {
    remove(_levels.back().folder->number(), emptied.name, AT_REMOVEDIR);
  } else {
    fail(errno);
    _levels.clear();
  }
}

// One that cannot be recognised again stays open.
void Removal::close(Level& level) {
  if (identify(level.folder->number(), level.identity)) {
    level.folder.reset();
  }
}

// Back up, unless the tree was moved meanwhile: what is above now is then no business of ours.
bool Removal::reopen(Level& level, const Level& below) {
  if (level.folder) {
    return true;
  }
  Identity identity;
  level.folder = openFolder(below.folder->number(), "..", 0);
  if (!level.folder || !identify(level.folder->number(), identity)) {
    return false;
  }
  errno = ESTALE;
  return identity == level.identity;
}

void Removal::remove(int parent, const std::string& name, int flags) {
  if (::unlinkat(parent, name.c_str(), flags) != 0) {
    fail(errno);
  }
}

// What somebody else has removed meanwhile is as gone as it should be.
void Removal::fail(int number) {
  if (_error == 0 && number != 0 && number != ENOENT) {
    _error = number;
  }
}

int removeAlone(int folder, const std::string& name) { return Removal(folder, nullptr).run(name); }

// On ext4 two threads take two thirds of the time of one; on xfs they gain nothing, on btrfs they
// stand in each other's way.
bool gainsFromHelp(int folder) {
  struct statfs status {};
  return std::thread::hardware_concurrency() > 1 && ::fstatfs(folder, &status) == 0 &&
         status.f_type == EXT4_SUPER_MAGIC;
}

int failWith(int number) {
  errno = number;
  return -1;
}

}  // namespace

int removeTree(const std::string& path) {
  const DirectoryEntry entry = openDirectoryOf(path);
  const int folder = entry.folder.number();
  struct stat status {};
  if (!entry.folder || ::fstatat(folder, entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return -1;
  }
  if (entry.name == "/") {
    return failWith(EBUSY);
  }
  if (entry.name == "." || entry.name == "..") {
    return failWith(EINVAL);
  }
  if (!S_ISDIR(status.st_mode)) {
    return ::unlinkat(folder, entry.name.c_str(), 0);
  }
  RemovalHelper helper(removeAlone);
  const int error = Removal(folder, gainsFromHelp(folder) ? &helper : nullptr).run(entry.name);
  return error == 0 ? 0 : failWith(error);
}

}  // namespace marrow

#include "host/linux/tree_removal.h"

#include "host/linux/directory_entry.h"
#include "host/linux/removal_helper.h"
#include "host/linux/retry.h"

#include <cerrno>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <memory>
#include <string_view>
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

// The helper keeps the one open that it works in.
using Stream = std::shared_ptr<DIR>;

// Which directory it is, of all that exist at one time.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const Identity&) const = default;
};

struct Level {
  std::string name;                  // in the level above
  Stream stream;                     // closed while the walk is far below
  Identity identity;                 // known while the stream is closed
  std::vector<std::string> folders;  // still to be removed
};

bool identify(int directory, Identity& identity) {
  struct stat status {};
  if (::fstat(directory, &status) != 0) {
    return false;
  }
  identity = {status.st_dev, status.st_ino};
  return true;
}

// openat2(2). Among its rules, RESOLVE_NO_XDEV is that no mount is entered: then EXDEV.
int openFolder(int folder, const char* name, std::uint64_t rules) {
  open_how how{};
  how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = rules;
  return static_cast<int>(
      retryInterrupted([&] { return ::syscall(SYS_openat2, folder, name, &how, sizeof how); }));
}

Stream openStream(int folder, const char* name, std::uint64_t rules) {
  Descriptor opened(openFolder(folder, name, rules));
  DIR* const stream = opened ? ::fdopendir(opened.number()) : nullptr;
  if (stream == nullptr) {
    return nullptr;
  }
  opened.release();
  return {stream, ::closedir};
}

// Some file systems do not tell in the listing what an entry is (readdir(3)).
bool isDirectory(int folder, const dirent& entry) {
  struct stat status {};
  return entry.d_type == DT_DIR ||
         (entry.d_type == DT_UNKNOWN &&
          ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
          S_ISDIR(status.st_mode));
}

class Removal {
 public:
  Removal(int parent, RemovalHelper* helper) : _parent(parent), _helper(helper) {}

  // 0, or the errno of the first thing that stayed.
  int run(const std::string& name);

 private:
  void enter(int folder, std::string name);
  void enterNext();
  bool giveAway(const Level& level, const std::string& name);
  void empty(Level& level);
  void leave();
  static void close(Level& level);
  bool reopen(Level& level, const Level& below);
  void remove(int folder, const std::string& name, int flags);
  void fail(int number);

  const int _parent;
  RemovalHelper* const _helper;
  std::size_t _helped = 0;  // the level, counted from 1, whose folder the helper was given last
  std::vector<Level> _levels;
  int _error = 0;
};

int Removal::run(const std::string& name) {
  enter(_parent, name);
  while (!_levels.empty()) {
    if (_levels.back().folders.empty()) {
      leave();
    } else {
      enterNext();
    }
  }
  return _error;
}

void Removal::enterNext() {
  Level& level = _levels.back();
  std::string next = std::move(level.folders.back());
  level.folders.pop_back();
  if (!giveAway(level, next)) {
    enter(::dirfd(level.stream.get()), std::move(next));
  }
}

// The last folder is not worth it: there would be nothing to do but wait.
bool Removal::giveAway(const Level& level, const std::string& name) {
  if (_helper == nullptr || level.folders.empty() || !_helper->take(level.stream, name)) {
    return false;
  }
  _helped = _levels.size();
  return true;
}

void Removal::enter(int folder, std::string name) {
  Level level;
  level.stream = openStream(folder, name.c_str(), RESOLVE_NO_XDEV);
  if (!level.stream) {
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
  const int folder = ::dirfd(level.stream.get());
  std::vector<std::string> files;
  errno = 0;
  while (const dirent* entry = ::readdir(level.stream.get())) {  // NOLINT(concurrency-mt-unsafe)
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") {
      (isDirectory(folder, *entry) ? level.folders : files).emplace_back(name);
    }
    errno = 0;
  }
  if (errno != 0) {
    fail(errno);
  }
  for (const std::string& file : files) {
    remove(folder, file, 0);
  }
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
    remove(::dirfd(_levels.back().stream.get()), emptied.name, AT_REMOVEDIR);
  } else {
    fail(errno);
    _levels.clear();
  }
}

// One that cannot be recognised again stays open.
void Removal::close(Level& level) {
  if (identify(::dirfd(level.stream.get()), level.identity)) {
    level.stream.reset();
  }
}

// Back up, unless the tree was moved meanwhile: what is above now is then no business of ours.
bool Removal::reopen(Level& level, const Level& below) {
  if (level.stream) {
    return true;
  }
  Identity identity;
  level.stream = openStream(::dirfd(below.stream.get()), "..", 0);
  if (!level.stream || !identify(::dirfd(level.stream.get()), identity)) {
    return false;
  }
  errno = ESTALE;
  return identity == level.identity;
}

void Removal::remove(int folder, const std::string& name, int flags) {
  if (::unlinkat(folder, name.c_str(), flags) != 0) {
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

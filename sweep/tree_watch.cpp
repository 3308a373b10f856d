#include "sweep/tree_watch.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace marrow::sweep {
namespace {

using rehearsal::Descriptor;
using rehearsal::TreeSize;

constexpr std::size_t kBeginning = 16;  // bytes that tell one file from another

std::string fileNumber(std::uint64_t number) { return rehearsal::objectPath(number).string(); }

// How the file begins; nothing where there is none.
std::optional<std::string> beginningOf(int folder, const std::string& name) {
  const Descriptor file(::openat(folder, name.c_str(), O_RDONLY | O_CLOEXEC));
  std::string bytes(kBeginning, '\0');
  const ssize_t count = file ? ::read(file.number(), bytes.data(), bytes.size()) : -1;
  if (count < 0) {
    return std::nullopt;
  }
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

WatchedTree::Ends endsOf(const std::filesystem::path& tree, const TreeSize& size) {
  const Descriptor folder = rehearsal::openFile(tree, O_RDONLY | O_DIRECTORY);
  const auto first = beginningOf(folder.number(), fileNumber(0));
  const auto last = beginningOf(folder.number(), fileNumber(size.files - 1));
  if (!first || !last) {
    throw rehearsal::Problem("There is no whole tree " + tree.string() + '.');
  }
  return {*first, *last};
}

bool isSame(const Descriptor& folder, int above, const std::string& name) {
  struct stat held {};
  struct stat named {};
  return ::fstat(folder.number(), &held) == 0 && ::fstatat(above, name.c_str(), &named, 0) == 0 &&
         held.st_ino == named.st_ino;
}

}  // namespace

WatchedTree planWatch(const std::filesystem::path& group, const std::string& live,
                      const std::string& staged, const TreeSize& size) {
  return {live, endsOf(group / live, size), endsOf(group / staged, size)};
}

TreeWatch::TreeWatch(pid_t machine, std::string group, std::array<WatchedTree, 2> trees,
                     const TreeSize& size)
    : _mounts("/proc/" + std::to_string(machine) + "/root/run/marrow/mnt"),
      _group(std::move(group)),
      _trees(std::move(trees)),
      _first(fileNumber(0)),
      _last(fileNumber(size.files - 1)),
      _thread([this] { run(); }) {}

TreeWatch::~TreeWatch() { stop(); }

std::array<TreeLooks, 2> TreeWatch::stop() {
  _stopped = true;
  if (_thread.joinable()) {
    _thread.join();
  }
  return _looks;
}

void TreeWatch::run() {
  Descriptor group;
  while (!_stopped && !group) {
    group = findGroup();
  }
  while (!_stopped) {
    for (std::size_t number = 0; number < _trees.size(); ++number) {
      look(group, _trees.at(number), _looks.at(number));
    }
  }
}

// The recovery volume has a folder of that name too.
Descriptor TreeWatch::findGroup() const {
  std::error_code none;
  for (std::filesystem::directory_iterator mount(_mounts, none), end; !none && mount != end;
       mount.increment(none)) {
    Descriptor group(::open((mount->path() / _group).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (group && ::fstatat(group.number(), "morrel1", &status, 0) == 0) {
      return group;
    }
  }
  return {};
}

void TreeWatch::look(const Descriptor& group, const WatchedTree& tree, TreeLooks& looks) const {
  const Descriptor folder(
      ::openat(group.number(), tree.live.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder) {
    ++looks.missing;
    return;
  }
  const auto first = beginningOf(folder.number(), _first);
  const auto last = beginningOf(folder.number(), _last);
  if (!first || !last) {
    ++(isSame(folder, group.number(), tree.live) ? looks.missing : looks.overtaken);
    return;
  }
  const WatchedTree::Ends seen{*first, *last};
  ++(seen == tree.before ? looks.asBefore : seen == tree.after ? looks.asAfter : looks.mixed);
}

}  // namespace marrow::sweep

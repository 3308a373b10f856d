// Somebody who looks at a machine's live trees, without a pause, while its daemon replaces them.
#pragma once

#include "rehearsal/descriptor.h"
#include "rehearsal/staged_objects.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <thread>

namespace marrow::sweep {

// One live tree, by its path below the folder of the volume group, and what stands in its first and
// in its last file before and after.
struct WatchedTree {
  struct Ends {
    std::string first;
    std::string last;
    bool operator==(const Ends&) const = default;
  };
  std::string live;
  Ends before;
  Ends after;
};

// Throws Problem where the trees are not there. `group` is the folder of the volume group.
WatchedTree planWatch(const std::filesystem::path& group, const std::string& live,
                      const std::string& staged, const rehearsal::TreeSize& size);

// What was seen of one tree.
struct TreeLooks {
  std::uint64_t asBefore = 0;
  std::uint64_t asAfter = 0;
  std::uint64_t missing = 0;
  std::uint64_t mixed = 0;
  // Looks at a tree that was no longer the live one when they ended.
  std::uint64_t overtaken = 0;

  std::uint64_t whole() const { return asBefore + asAfter; }
};

// Looks on a thread of its own from its construction to stop().
class TreeWatch {
 public:
  // `machine` is the first process of the machine; `group` the name of the volume group's folder.
  // Looks begin when the daemon has mounted the volume that it is on.
  TreeWatch(pid_t machine, std::string group, std::array<WatchedTree, 2> trees,
            const rehearsal::TreeSize& size);
  ~TreeWatch();
  TreeWatch(const TreeWatch&) = delete;
  TreeWatch& operator=(const TreeWatch&) = delete;

  // Lets go of the volume, and tells what was seen of each tree.
  std::array<TreeLooks, 2> stop();

 private:
  void run();
  rehearsal::Descriptor findGroup() const;
  void look(const rehearsal::Descriptor& group, const WatchedTree& tree, TreeLooks& looks) const;

  const std::filesystem::path _mounts;
  const std::string _group;
  const std::array<WatchedTree, 2> _trees;
  const std::string _first;
  const std::string _last;
  std::array<TreeLooks, 2> _looks{};
  std::atomic<bool> _stopped{false};
  std::thread _thread;
};

}  // namespace marrow::sweep

#include "host/linux/kernel_holders.h"

#include "host/linux/loop_status.h"
#include "host/linux/settling.h"
#include "host/linux/small_file.h"
#include "host/linux/text_pieces.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/swap.h>
#include <unistd.h>

namespace marrow {

namespace {

bool isOctal(std::string_view digits) {
  return digits.size() == 3 && digits.find_first_not_of("01234567") == std::string_view::npos;
}

// proc(5), swaps: a blank, tab, line feed or backslash stands as a backslash and three octal
// digits.
std::string unescaped(std::string_view text) {
  std::string path;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto digits = text.substr(at + 1, 3);
    if (text[at] == '\\' && isOctal(digits)) {
      path += static_cast<char>(std::stoi(std::string(digits), nullptr, 8));
      at += digits.size();
    } else {
      path += text[at];
    }
  }
  return path;
}

std::vector<std::string> swapPaths(const std::string& procfs) {
  std::vector<std::string> paths;
  const std::string table = readSmallFile(procfs + "/swaps").value_or(std::string());
  for (const std::string_view line : piecesOf(table, "\n")) {
    if (line.starts_with('/')) {
      paths.push_back(unescaped(line.substr(0, line.find_first_of(" \t"))));
    }
  }
  return paths;
}

}  // namespace

std::vector<BlockDevice> KernelHolders::loops(const HeldThing& thing) const {
  auto loops = _devices.disks();
  std::erase_if(loops, [this, &thing](const BlockDevice& disk) {
    const auto backing = loopBackingOf(_devices, disk);
    return !backing || !(thing.fileSystems.contains(backing->fileSystem) ||
                         (backing->device && thing.nodes.contains(*backing->device)));
  });
  return loops;
}

std::vector<std::string> KernelHolders::swaps(const HeldThing& thing,
                                              const MountSpace& space) const {
  auto paths = swapPaths(_procfs);
  std::vector<std::string> found;
  if (!paths.empty()) {
    space.perform([&](const MountTable&) {
      std::erase_if(paths, [&thing](const std::string& path) { return !isPartOf(thing, path); });
      found = std::move(paths);
    });
  }
  return found;
}

std::vector<std::string> KernelHolders::names(const HeldThing& thing,
                                              const MountSpace& space) const {
  std::vector<std::string> names;
  for (const auto& loop : loops(thing)) {
    names.push_back(loop.name);
  }
  for (const auto& path : swaps(thing, space)) {
    names.push_back("the swap space " + path);
  }
  return names;
}

void KernelHolders::turnOffSwaps(const HeldThing& thing, const MountSpace& space) const {
  const auto paths = swaps(thing, space);
  if (!paths.empty()) {
    space.perform([&paths](const MountTable&) {
      for (const auto& path : paths) {
        ::swapoff(path.c_str());
      }
    });
  }
}

// The kernel detaches it when the last one has closed it.
bool KernelHolders::detach(const BlockDevice& loop) const {
  const auto node = _devices.node(loop);
  {
    const Descriptor opened(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!opened || ::ioctl(opened.number(), LOOP_CLR_FD) != 0) {
      return !loopBacking(node);
    }
  }
  return settles([&node] { return !loopBacking(node); });
}

}  // namespace marrow

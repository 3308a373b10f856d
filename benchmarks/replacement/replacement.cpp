#include "benchmarks/replacement/replacement.h"

#include "benchmarks/replacement/ways.h"

#include <filesystem>

namespace marrow {

void Replacement::clear() {
  std::filesystem::remove_all(live());
  std::filesystem::remove_all(staged());
}

void Replacement::prepareFolders() const {
  makeSampleTree(live(), _shape, 'o');
  makeSampleTree(staged(), _shape, 'n');
  _disk.flush();
}

std::vector<std::unique_ptr<Replacement>> replacements(const ScratchDisk& disk,
                                                       const TreeShape& shape) {
  std::vector<std::unique_ptr<Replacement>> ways;
  ways.push_back(makeReference(disk, shape));
  ways.push_back(makeOperation(disk, shape));
  ways.push_back(makeScript(disk, shape));
  ways.push_back(makeRsync(disk, shape));
  ways.push_back(makeOSTree(disk, shape));
  ways.push_back(makeSWUpdate(disk, shape));
  if (disk.fileSystem() == "ext4") {
    ways.push_back(makeRAUC(disk, shape));
  }
  return ways;
}

}  // namespace marrow

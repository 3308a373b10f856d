#include "benchmarks/no_log.h"
#include "benchmarks/replacement/ways.h"
#include "host/linux/linux_file_trees.h"
#include "host/linux/linux_files.h"

#include <stdexcept>

namespace marrow {

namespace {

void check(bool done, const char* step) {
  if (!done) {
    throw std::runtime_error(std::string("The operation's ") + step + " failed.");
  }
}

class Operation final : public Replacement {
 public:
  using Replacement::Replacement;

  std::string name() const override { return "marrowd"; }
  void prepare() override { prepareFolders(); }

  void replace() override {
    check(_trees.swap(staged(), live()) == 0, "swap");
    check(_trees.removeRecursively(staged()) == 0, "removal");
    const int folder = _files.open(disk().at(""), OpenFlags::readOnly);
    check(folder >= 0 && _files.fullSync(folder) == 0, "flush");
    _files.close(folder);
  }

 private:
  NoLog _log;
  WaitWatch _waits{_log};
  LinuxFileTrees _trees{_log, _waits};
  LinuxFiles _files{_waits};
};

}  // namespace

std::unique_ptr<Replacement> makeOperation(const ScratchDisk& disk, const TreeShape& shape) {
  return std::make_unique<Operation>(disk, shape);
}

}  // namespace marrow

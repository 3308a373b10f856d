#include "benchmarks/programs.h"
#include "benchmarks/replacement/ways.h"

namespace marrow {

namespace {

class Script final : public Replacement {
 public:
  using Replacement::Replacement;

  std::string name() const override { return "mv; mv; rm -rf; sync"; }
  void prepare() override { prepareFolders(); }
  void replace() override {
    const std::string old = disk().at("old");
    runProgram("mv " + live() + " " + old + "; mv " + staged() + " " + live() + "; rm -rf " + old +
               "; sync -f " + live());
  }
};

class Rsync final : public Replacement {
 public:
  using Replacement::Replacement;

  std::string name() const override { return "rsync --delete; sync"; }
  void prepare() override { prepareFolders(); }
  void replace() override {
    runProgram("rsync -a --ignore-times --delete " + staged() + "/ " + live() + "/; rm -rf " +
               staged() + "; sync -f " + live());
  }
};

}  // namespace

std::unique_ptr<Replacement> makeScript(const ScratchDisk& disk, const TreeShape& shape) {
  return std::make_unique<Script>(disk, shape);
}

std::unique_ptr<Replacement> makeRsync(const ScratchDisk& disk, const TreeShape& shape) {
  return std::make_unique<Rsync>(disk, shape);
}

}  // namespace marrow

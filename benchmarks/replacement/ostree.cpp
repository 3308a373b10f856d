#include "benchmarks/programs.h"
#include "benchmarks/replacement/ways.h"

#include <filesystem>

namespace marrow {

namespace {

// The trees lie in the commits below usr/share/objects; a kernel is what every deployment needs.
class OSTree final : public Replacement {
 public:
  using Replacement::Replacement;

  std::string name() const override { return "ostree deploy, prune"; }
  bool canBeWatched() const override { return false; }

  void prepare() override {
    std::filesystem::create_directory(sysroot());
    runProgram("ostree admin init-fs " + sysroot());
    repository("config set sysroot.bootloader none");
    admin("os-init bench");
    commit('o');
    admin("deploy --os=bench o");
    commit('n');
    disk().flush();
  }

  void replace() override {
    admin("deploy --os=bench n");
    repository("refs --delete o");
    admin("undeploy 1");
    runProgram("sync -f " + sysroot());
  }

  // A deployment's folder is immutable.
  void clear() override {
    runProgram("chattr -i " + sysroot() + "/ostree/deploy/bench/deploy/*.?");
    std::filesystem::remove_all(sysroot());
  }

 private:
  std::string sysroot() const { return disk().at("sysroot"); }
  void admin(const std::string& words) const {
    runProgram("ostree admin --sysroot=" + sysroot() + " " + words);
  }
  void repository(const std::string& words) const {
    runProgram("ostree --repo=" + sysroot() + "/ostree/repo " + words);
  }

  void commit(char generation) const {
    const std::string top = disk().at("tree");
    makeSampleTree(top + "/usr/share/objects", shape(), generation);
    runProgram("mkdir -p " + top + "/usr/etc " + top + "/usr/lib/modules/1 && cd " + top +
               "/usr/lib && echo ID=bench >os-release && echo kernel >modules/1/vmlinuz");
    repository(std::string("commit -b ") + generation + " --tree=dir=" + top);
    std::filesystem::remove_all(top);
  }
};

}  // namespace

std::unique_ptr<Replacement> makeOSTree(const ScratchDisk& disk, const TreeShape& shape) {
  return std::make_unique<OSTree>(disk, shape);
}

}  // namespace marrow

#include "benchmarks/programs.h"
#include "benchmarks/replacement/ways.h"

#include <filesystem>
#include <fstream>

namespace marrow {

namespace {

// The slot is an image of its own on the disk, on a loop device. A slot's image is formatted and
// filled anew: that takes the place of the removal.
class RAUC final : public Replacement {
 public:
  RAUC(const ScratchDisk& disk, const TreeShape& shape) : Replacement(disk, shape) {
    std::filesystem::create_directories(at("mounts"));
    makeSampleTree(at("tree"), shape, 'n');
    runProgram("tar -C " + at("tree") + " -cf " + at("tree.tar") + " .");
    std::filesystem::remove_all(at("tree"));
    runProgram("truncate -s 640M " + at("slot"));
    _slot = outputOf("losetup -f --show " + at("slot"));
    configure();
  }
  ~RAUC() override { runProgram("losetup -d " + _slot); }

  std::string name() const override { return "rauc, tar slot"; }
  bool canBeWatched() const override { return false; }

  void prepare() override {
    writeSlot();
    disk().flush();
  }
  void replace() override {
    writeSlot();
    runProgram("sync -f " + at("slot"));
  }
  void clear() override {}

 private:
  std::string at(const std::string& name) const { return disk().at("rauc/" + name); }
  void writeSlot() const {
    runProgram("rauc -c " + at("system.conf") + " write-slot objects.0 " + at("tree.tar"));
  }
  void configure() const {
    std::ofstream(at("system.conf"))
        << "[system]\ncompatible=bench\nbootloader=noop\nmountprefix=" << at("mounts")
        << "\n[slot.objects.0]\ndevice=" << _slot << "\ntype=ext4\n";
  }

  std::string _slot;
};

}  // namespace

std::unique_ptr<Replacement> makeRAUC(const ScratchDisk& disk, const TreeShape& shape) {
  return std::make_unique<RAUC>(disk, shape);
}

}  // namespace marrow

// The disk of a machine, prepared once and put back for each case.
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/descriptor.h"
#include "rehearsal/file_systems.h"
#include "rehearsal/scenario.h"
#include "rehearsal/workplace.h"

#include <memory>
#include <vector>

namespace marrow::rehearsal {
class Interruption;
class LoopDevice;
}  // namespace marrow::rehearsal

namespace marrow::sweep {

// The trees of boot objects are small, so that a case is cheap.
inline constexpr rehearsal::TreeSize kSmallTree{.files = 6, .bytes = 24576};

// What the volumes are made of.
struct DiskContent {
  rehearsal::FileSystem kind = rehearsal::FileSystem::kExt4;
  rehearsal::TreeSize treeSize = kSmallTree;
};

class SweptDisk {
 public:
  // Everything is in memory: the image lies in the workplace. Throws Problem.
  SweptDisk(const rehearsal::Scenario& scenario, const DiskContent& content,
            const rehearsal::Workplace& workplace, rehearsal::Interruption& interruption);
  ~SweptDisk();
  SweptDisk(const SweptDisk&) = delete;
  SweptDisk& operator=(const SweptDisk&) = delete;

  const rehearsal::BootDisk& layout() const { return _layout; }
  const rehearsal::LoopDevice& device() const { return *_device; }

  // The image that the loop device stands on, and the one that stays as it was prepared.
  int image() const { return _image.number(); }
  int prepared() const { return _prepared.number(); }

  // Attaches the loop device to another file, which holds what the image holds; to the image again
  // with image(). Nobody may be using it, and its nodes are others then.
  void attach(int file);

  // As it was prepared. Nobody may be using it.
  void putBack() const;

  // Has the kernel forget what it remembers of the disk: its image was changed.
  void forgetCaches() const;

  // All nodes that a machine is to see.
  std::vector<std::filesystem::path> nodes() const;

 private:
  void fill(const rehearsal::Scenario& scenario, const DiskContent& content,
            const std::filesystem::path& place, rehearsal::Interruption& interruption);

  const std::filesystem::path _nodes;
  rehearsal::BootDisk _layout;
  rehearsal::Descriptor _image;
  rehearsal::Descriptor _prepared;
  std::unique_ptr<rehearsal::LoopDevice> _device;
};

}  // namespace marrow::sweep

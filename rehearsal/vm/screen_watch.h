// Looks at a machine's screen now and then: how full its progress bar is, and a picture to keep.
#pragma once

#include "rehearsal/vm/qemu.h"
#include "rehearsal/vm/qmp.h"
#include "rehearsal/vm/scratch_folder.h"

#include <filesystem>
#include <optional>

namespace marrow::rehearsal {

class ScreenWatch {
 public:
  // The picture goes to that file, as PNG.
  ScreenWatch(const Qemu& machine, std::filesystem::path kept)
      : _machine(machine), _kept(std::move(kept)) {}

  // Asks for a picture, unless the last one is still awaited.
  void look();

  // Takes an answer of the control wire: the fullness of the bar when it brought a picture of one.
  std::optional<int> take(const QmpMessage& message);

 private:
  void keep();

  const Qemu& _machine;
  std::filesystem::path _kept;
  ScratchFolder _folder;
  std::uint64_t _commands = 0;
  std::optional<std::uint64_t> _awaited;
  int _keptAt = -1;
};

}  // namespace marrow::rehearsal

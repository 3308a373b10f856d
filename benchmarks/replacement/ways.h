// The ways that are compared.
#pragma once

#include "benchmarks/replacement/replacement.h"

namespace marrow {

// The calls of the kernel alone: flush, exchange, flush the folder, remove, flush.
std::unique_ptr<Replacement> makeReference(const ScratchDisk& disk, const TreeShape& shape);

// What the operation has the Linux host do.
std::unique_ptr<Replacement> makeOperation(const ScratchDisk& disk, const TreeShape& shape);

// mv; mv; rm -rf; sync
std::unique_ptr<Replacement> makeScript(const ScratchDisk& disk, const TreeShape& shape);

// rsync --archive --delete; sync
std::unique_ptr<Replacement> makeRsync(const ScratchDisk& disk, const TreeShape& shape);

// ostree admin deploy of a commit that was pulled before, with the old deployment pruned.
std::unique_ptr<Replacement> makeOSTree(const ScratchDisk& disk, const TreeShape& shape);

// swupdate with a signed archive that is unpacked over the live tree.
std::unique_ptr<Replacement> makeSWUpdate(const ScratchDisk& disk, const TreeShape& shape);

// rauc write-slot with a tar archive: formats a slot of its own and unpacks into it. ext4 only.
std::unique_ptr<Replacement> makeRAUC(const ScratchDisk& disk, const TreeShape& shape);

}  // namespace marrow

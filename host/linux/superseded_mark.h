// The mark of a tree that an exchange has replaced, or is about to: an extended attribute of the
// tree's own folder, so that it moves with the tree. When the power goes between an exchange and
// the removal of the old tree, the mark tells the next run that what it finds at the staged place
// is the old tree, which must not be exchanged back.
//
// "trusted.marrow.superseded" (xattr(7)) holds the folder's inode number and its time of birth
// (statx(2)), so that a copy of the tree, which may take the attribute along, is not marked.
#pragma once

#include "host/linux/directory_entry.h"

namespace marrow {

// Marks the folder; does nothing to what is no folder. False with errno set.
bool markSuperseded(const DirectoryEntry& entry);

void unmarkSuperseded(const DirectoryEntry& entry);

// False also when there is no such folder.
bool isMarkedSuperseded(const DirectoryEntry& entry);

}  // namespace marrow

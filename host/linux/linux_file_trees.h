// Installs, exchanges, removes and moves files and trees so that a power cut at any moment leaves
// each live place wholly old or wholly new. Termination signals wait while one is being changed.
#pragma once

#include "host/file_trees.h"
#include "host/linux/directory_entry.h"
#include "host/linux/wait_watch.h"
#include "host/log.h"

#include <string>

namespace marrow {

class LinuxFileTrees final : public FileTrees {
 public:
  // The watch is told of flushes that take long; it outlives this object.
  LinuxFileTrees(LogHandle& log, WaitWatch& waits);

  // Flushes the source (a file: fsync(2); a directory: syncfs(2) of its file system), renames it,
  // and flushes both folders. Nothing has moved when it fails, unless the flush of a folder failed:
  // then the new name stands, but may not outlive a power cut.
  int rename(const std::string& from, const std::string& to) override;

  // Flushes as rename does, around renameat2(2) with RENAME_EXCHANGE. When the flush of a folder
  // fails, the two are exchanged back, so that a repeat does not install the old one again. What
  // remembers a finished exchange is the mark of superseded_mark.h on the old tree.
  int swap(const std::string& from, const std::string& to) override;

  // Removes as much as it can; the errno is that of the first thing that stayed. EBUSY for what is
  // mounted inside and for the root, EINVAL where the last component is "." or "..".
  int removeRecursively(const std::string& path) override;

  // EINVAL when the source is no regular file, ELOOP when it is a link. What the file system of the
  // destination has no room for (attributes, ownership) is left out, which the log tells.
  int moveFile(const std::string& from, const std::string& to) override;

 private:
  void markReplaced(const DirectoryEntry& entry, const std::string& path);

  bool flushStaged(const DirectoryEntry& entry, const std::string& path) const;

  LogHandle& _log;
  WaitWatch& _waits;
};

}  // namespace marrow

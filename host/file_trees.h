// Moves whole files and trees from one place to another. On failure -1 with errno set; any thread.
// No link on the way to a place is followed (ELOOP), but on the way to the file that moveFile()
// takes.
#pragma once

#include <string>

namespace marrow {

class FileTrees {
 public:
  virtual ~FileTrees() = default;

  // rename(2): `to`, where it is a file, is replaced in one step. Never leaves `to` missing. What
  // is installed has reached the medium before the name has.
  virtual int rename(const std::string& from, const std::string& to) = 0;

  // Exchanges two existing paths in one step: at no moment is either missing. EINVAL, and nothing
  // has moved, where the file system cannot do that. What `from` held is on the medium before it
  // becomes what `to` holds. A folder that was exchanged away is remembered as the old one for as
  // long as it exists: another swap with it as `from` leaves both where they are and succeeds, so
  // that a run that was cut before the old tree was removed does not install it again. A copy of it
  // is another folder, and not remembered. ENOENT where either is missing.
  virtual int swap(const std::string& from, const std::string& to) = 0;

  // Removes a file or a whole tree. Links are removed, never followed; another file system mounted
  // inside is not entered. ENOENT when there is nothing.
  virtual int removeRecursively(const std::string& path) = 0;

  // Copies a file to `to`, replacing what is there, with its permissions, ownership, times, access
  // list and extended attributes, and removes the source once the copy is complete. On failure the
  // source stays. ELOOP when it is a link, EINVAL when it is anything else but a regular file.
  virtual int moveFile(const std::string& from, const std::string& to) = 0;
};

}  // namespace marrow

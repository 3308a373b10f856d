// A new file beside the place that it is meant for. It takes that place in one step, or is removed.
#pragma once

#include "host/linux/descriptor.h"
#include "host/linux/directory_entry.h"

#include <string>
#include <string_view>

namespace marrow {

// One thread. Each call is false with errno set when it fails.
class StagedFile {
 public:
  // `path` need not exist; its folder must.
  explicit StagedFile(std::string path);
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  // Removes the new file unless it was installed.
  ~StagedFile();

  // Makes the file, empty, with this mode (umask(2) applies): ".marrow-" and the name of the place.
  // What has that name already, left there by a run that was cut, is removed.
  bool create(unsigned mode);

  bool write(std::string_view bytes);
  int descriptor() const { return _file.number(); }

  // Puts the new file in the place of what is there: its contents reach the medium before its name,
  // and both before this returns. When the last flush, that of the folder, fails, the new file
  // stands there all the same.
  bool install();

 private:
  const std::string _path;
  DirectoryEntry _place;  // that the new file is meant for
  std::string _name;      // of the new file, in the same folder; empty when none is to be removed
  Descriptor _file;
};

}  // namespace marrow

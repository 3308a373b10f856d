// What a rehearsal takes from outside and leaves there, opened before it goes to its workplace.
#pragma once

#include "rehearsal/descriptor.h"
#include "rehearsal/options.h"

#include <filesystem>
#include <optional>
#include <string>

namespace marrow::rehearsal {

// A folder outside that stays within reach.
class OutsideFolder {
 public:
  // Makes it where it is missing. Throws Problem.
  explicit OutsideFolder(const std::filesystem::path& path);

  // Its own, absolute path, for a person.
  const std::filesystem::path& path() const { return _path; }

  // The path under which it is reached from the workplace.
  std::filesystem::path reach() const;

 private:
  std::filesystem::path _path;
  Descriptor _folder;
};

struct Inputs {
  // The bytes of the programs.
  std::string daemon;
  std::string migrator;
  // A person's own disk image, where one was given.
  Descriptor disk;
  std::optional<OutsideFolder> logs;
  std::optional<OutsideFolder> keep;
  Descriptor json;
};

// Throws Problem when something cannot be had.
Inputs openInputs(const Options& options);

}  // namespace marrow::rehearsal

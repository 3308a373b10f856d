#include "rehearsal/inputs.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <array>
#include <ctime>
#include <fcntl.h>

namespace marrow::rehearsal {
namespace {

std::filesystem::path besideThisProgram(const char* name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::string readProgram(const std::string& given, const char* name, const char* option) {
  const std::filesystem::path path =
      given.empty() ? besideThisProgram(name) : std::filesystem::path(given);
  std::optional<std::string> bytes = readFile(path);
  if (!bytes || bytes->empty()) {
    throw Problem("There is no program " + path.string() + ": build it, or name another one with " +
                  option + ".");
  }
  return std::move(*bytes);
}

std::string dateAndTime() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", &local);
  return text.data();
}

// Of two rehearsals in the same second, each gets a folder of its own.
std::filesystem::path freshFolder(const std::filesystem::path& parent, const std::string& name) {
  std::filesystem::create_directories(parent);
  for (int i = 1;; ++i) {
    auto path = parent / (i == 1 ? name : name + '-' + std::to_string(i));
    if (std::filesystem::create_directory(path)) {
      return path;
    }
  }
}

}  // namespace

OutsideFolder::OutsideFolder(const std::filesystem::path& path) {
  std::filesystem::create_directories(path);
  _path = std::filesystem::canonical(path);
  _folder = openFile(_path, O_RDONLY | O_DIRECTORY);
}

std::filesystem::path OutsideFolder::reach() const { return pathOfDescriptor(_folder.number()); }

Inputs openInputs(const Options& options) {
  Inputs inputs;
  inputs.daemon = readProgram(options.daemon, "marrowd", "--daemon");
  inputs.migrator = readProgram(options.migrator, "marrow-stand-in-migrator", "--migrator");
  if (!options.disk.empty()) {
    inputs.disk = openFile(options.disk, O_RDONLY);
  }
  if (!options.json.empty()) {
    inputs.json = openFile(options.json, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  }
  if (!options.keep.empty()) {
    inputs.keep.emplace(options.keep);
  }
  inputs.logs.emplace(freshFolder(options.logs, dateAndTime() + '-' + options.scenario));
  return inputs;
}

}  // namespace marrow::rehearsal

#include "rehearsal/kept_files.h"

#include "rehearsal/base_system.h"
#include "rehearsal/files.h"

#include <array>
#include <cstdio>
#include <fcntl.h>

namespace marrow::rehearsal {
namespace {

using std::filesystem::copy_options;

struct LogFile {
  const char* place;
  const char* name;
};

constexpr std::array kLogs{LogFile{"dev/kmsg", "kernel.log"},
                           LogFile{"var/marrowd-output", "marrowd-output.log"},
                           LogFile{machine_path::kMigratorLog, "loam_migrator.log"},
                           LogFile{machine_path::kMigratorMetrics, "loam_migrator_metrics.dat"}};

// Of the base system only what is its own: the rest is the real machine's.
constexpr std::array kOwnFolders{"etc", "opt", "private", "run", "System", "var"};

}  // namespace

void saveStart(const std::filesystem::path& root, const std::filesystem::path& logs, int start) {
  for (const LogFile& log : kLogs) {
    const std::optional<std::string> content = readFile(root / log.place);
    if (content && !content->empty()) {
      writeFile(logs / ("start-" + std::to_string(start) + '-' + log.name), *content);
    }
  }
}

void saveConsole(const MachineRun& run, const std::filesystem::path& file) {
  std::string text;
  for (const ConsoleLine& line : run.console) {
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "[%8.3f] ",
                  static_cast<double>(line.since.count()) / 1000);
    text += time.data() + line.text + '\n';
  }
  writeFile(file, text);
}

void keepMachine(int image, const std::filesystem::path& firmware,
                 const std::filesystem::path& root, const std::filesystem::path& folder) {
  const Descriptor copy = openFile(folder / "disk.img", O_WRONLY | O_CREAT | O_TRUNC, 0600);
  copySparse(image, copy.number());
  const auto options =
      copy_options::recursive | copy_options::overwrite_existing | copy_options::copy_symlinks;
  std::filesystem::copy(firmware, folder / "firmware", options);
  for (const char* name : kOwnFolders) {
    std::filesystem::create_directories(folder / "base-system");
    std::filesystem::copy(root / name, folder / "base-system" / name, options);
  }
}

}  // namespace marrow::rehearsal

#include "rehearsal/base_system.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <array>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace marrow::rehearsal {
namespace {

constexpr mode_t kProgram = 0755;

struct CharacterDevice {
  const char* name;
  unsigned major, minor;
};

// Numbers: Documentation/admin-guide/devices.txt of the kernel.
constexpr std::array kHarmless{CharacterDevice{"null", 1, 3},    CharacterDevice{"zero", 1, 5},
                               CharacterDevice{"full", 1, 7},    CharacterDevice{"random", 1, 8},
                               CharacterDevice{"urandom", 1, 9}, CharacterDevice{"tty", 5, 0}};

constexpr std::array kTopFolders{"usr", "bin", "sbin", "lib", "lib32", "lib64", "libx32"};

// With that very mode, whatever the person's umask is.
void makeNode(const std::filesystem::path& path, mode_t mode, dev_t device) {
  checked(::mknod(path.c_str(), mode, device), "make the device node " + path.string());
  checked(::chmod(path.c_str(), mode & 07777U), "set the mode of " + path.string());
}

void installDevices(const std::filesystem::path& root,
                    const std::vector<std::filesystem::path>& disk) {
  const auto folder = root / "dev";
  std::filesystem::create_directories(folder / "pts");
  for (const CharacterDevice& device : kHarmless) {
    makeNode(folder / device.name, S_IFCHR | 0666, ::makedev(device.major, device.minor));
  }
  std::filesystem::create_symlink("pts/ptmx", folder / "ptmx");
  for (const char* covered : {"console", "tty1", "kmsg"}) {
    writeFile(folder / covered, "", 0600);
  }
  for (const auto& node : disk) {
    struct stat status {};
    checked(::stat(node.c_str(), &status), "look at " + node.string());
    makeNode(folder / node.filename(), S_IFBLK | 0600, status.st_rdev);
  }
}

void installEtc(const BaseSystem& system) {
  const auto etc = system.root / "etc";
  const std::string release = std::string("ID=marrow\nNAME=\"Rehearsal base system\"\n") +
                              (system.internalBuild ? "RELEASE_TYPE=development\n" : "");
  writeFile(etc / "os-release", release);
  writeFile(etc / "initrd-release", release);
  writeFile(etc / "hostname", "rehearsal\n");
  writeFile(etc / "passwd", "root:x:0:0:root:/root:/bin/sh\n");
  writeFile(etc / "group", "root:x:0:\n");
  if (const auto cache = readFile("/etc/ld.so.cache")) {
    writeFile(etc / "ld.so.cache", *cache);
  }
  writeFile(system.root / machine_path::kCommandLine,
            "quiet kern.bootuuid=" + system.group +
                " kern.bootobjectspath=" + system.bootObjectsPath + "\n");
}

// As on the real machine: a folder, or the link into /usr.
void installTopFolder(const std::filesystem::path& root, const std::string& name) {
  const auto real = std::filesystem::path("/") / name;
  if (std::filesystem::is_symlink(real)) {
    std::filesystem::copy_symlink(real, root / name);
  } else if (std::filesystem::is_directory(real)) {
    std::filesystem::create_directories(root / name);
  }
}

}  // namespace

// The tool stands behind a few words of shell, which say what else there is to do.
void installMigrator(const BaseSystem& system) {
  const std::string path = system.root / machine_path::kMigrator;
  if (!system.migrator) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    return;
  }
  writeFile(path + ".tool", *system.migrator, kProgram);
  std::string script = "#!/bin/sh\n" + system.beforeMigrator + "\n\"$0.tool\" " +
                       system.migratorArguments + " \"$@\"\n";
  if (system.migratorStatus) {
    script += "exit " + std::to_string(*system.migratorStatus) + "\n";
  }
  writeFile(path, script, kProgram);
}

std::vector<std::string> sharedFolders() {
  std::vector<std::string> folders;
  for (const char* name : kTopFolders) {
    const auto real = std::filesystem::path("/") / name;
    if (std::filesystem::is_directory(real) && !std::filesystem::is_symlink(real)) {
      folders.emplace_back(name);
    }
  }
  return folders;
}

void installBaseSystem(const BaseSystem& system, const std::vector<std::filesystem::path>& disk) {
  for (const char* name : {"proc", "sys", "run", "tmp", "private/tmp", "var", "root"}) {
    std::filesystem::create_directories(system.root / name);
  }
  for (const char* name : kTopFolders) {
    installTopFolder(system.root, name);
  }
  writeFile(system.root / machine_path::kDaemon, system.daemon, kProgram);
  installEtc(system);
  installMigrator(system);
  installDevices(system.root, disk);
}

}  // namespace marrow::rehearsal

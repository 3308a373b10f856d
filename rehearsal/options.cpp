#include "rehearsal/options.h"

#include "rehearsal/scenario.h"

#include <CLI/CLI.hpp>
#include <map>

namespace marrow::rehearsal {
namespace {

constexpr const char* kDescription =
    "Takes the real marrowd through its operations on a disposable machine: a disk in a file, "
    "firmware variables and a base system in namespaces of their own or, with --vm, a whole "
    "machine "
    "in QEMU that boots an installer, the base system and the new system. Ends with 0 when all is "
    "as the scenario expects, 1 when it is not, 2 when it could not be rehearsed.";

const std::map<std::string, FileSystem> kFileSystems{
    {"ext4", FileSystem::kExt4}, {"btrfs", FileSystem::kBtrfs}, {"xfs", FileSystem::kXfs}};

void takeFileSystem(const std::string& name, Options& options) {
  const auto found = kFileSystems.find(name);
  if (found == kFileSystems.end()) {
    throw CLI::ValidationError("--fs", "there is no " + name + "; there are ext4, btrfs and xfs");
  }
  options.fileSystem = found->second;
}

std::vector<std::string> scenarioNames() {
  std::vector<std::string> names;
  for (const Scenario& scenario : scenarios()) {
    names.push_back(scenario.name);
  }
  return names;
}

void addScenarioOptions(CLI::App& app, Options& options) {
  options.scenario = scenarios().front().name;
  app.add_option("scenario,-s,--scenario", options.scenario, "What to rehearse, see --list")
      ->check(CLI::IsMember(scenarioNames()))
      ->capture_default_str();
  app.add_flag("--list", options.list, "Explain the scenarios and end");
  app.add_flag("--names", options.names, "With --list: their names alone, one a line");
  app.add_option("--seed", options.seed, "Choose the random moment of a cut again")->type_name("N");
  app.add_option("--cut-after", options.cutAfterMilliseconds,
                 "Cut the power so many milliseconds after the start (scenario cut)")
      ->type_name("MS");
}

void addMachineOptions(CLI::App& app, Options& options) {
  auto* machine = app.add_flag("--vm", options.virtualMachine,
                               "Boot a whole UEFI machine in QEMU; needs no root");
  app.add_option("--init", options.init,
                 "First process of its base system: systemd, or bare for a shell script")
      ->check(CLI::IsMember({"systemd", "bare"}).description(""))
      ->type_name("NAME")
      ->capture_default_str()
      ->needs(machine);
  auto* cuts = app.add_option("--cut", options.cuts,
                              "Cut its power so often while the base system runs, each time from "
                              "the same state, and see that it always finishes")
                   ->check(CLI::Range(1, 100000).description(""))
                   ->type_name("N")
                   ->needs(machine);
  app.add_option("--cut-at", options.cutAtSeconds,
                 "Cut it so many seconds after the boot began [at random moments]")
      ->check(CLI::NonNegativeNumber.description(""))
      ->type_name("SECONDS")
      ->needs(cuts);
  app.add_option("--parts", options.parts, "Folder with kernel and initial systems [build/vm]")
      ->check(CLI::ExistingDirectory)
      ->type_name("DIR")
      ->needs(machine);
}

void addProbeOption(CLI::App& app, Options& options) {
  app.add_flag(
      "--probe", options.probe,
      "End with 0 where this machine can hold a rehearsal in namespaces, otherwise say why "
      "not and end with 1");
}

void addDiskOptions(CLI::App& app, Options& options) {
  auto* disk = app.add_option("--disk", options.disk, "Work on a copy of this disk image")
                   ->check(CLI::ExistingFile)
                   ->type_name("IMAGE");
  app.add_option("--group", options.group,
                 "Volume group of that disk to boot [the first with boot objects]")
      ->type_name("UUID")
      ->needs(disk);
  app.add_option("--boot-objects", options.bootObjectsPath,
                 "Boot objects of that disk to boot [the newest folder of GROUP/boot]")
      ->type_name("PATH")
      ->needs(disk);
  app.add_option_function<std::string>(
         "--fs", [&options](const std::string& name) { takeFileSystem(name, options); },
         "File system of a fresh disk: ext4, btrfs or xfs")
      ->type_name("NAME")
      ->excludes(disk);
  app.add_option("--tree-files", options.treeSize.files, "Files in each tree of boot objects")
      ->check(CLI::Range(1, 1000000).description(""))
      ->type_name("N")
      ->capture_default_str()
      ->excludes(disk);
  app.add_option("--tree-bytes", options.treeSize.bytes,
                 "Bytes in each tree of boot objects, and in each recovery image (2M, 1G)")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->type_name("N")
      ->capture_default_str()
      ->excludes(disk);
}

void addProgramOptions(CLI::App& app, Options& options) {
  app.add_option("--daemon", options.daemon, "The marrowd to run [that beside this program]")
      ->check(CLI::ExistingFile)
      ->type_name("PROGRAM");
  app.add_option("--migrator", options.migrator, "The migrator to use [the stand-in]")
      ->check(CLI::ExistingFile)
      ->type_name("PROGRAM");
  app.add_option("--migrator-seconds", options.migratorSeconds,
                 "How long the stand-in migrator takes; 0: as fast as it can")
      ->type_name("S")
      ->capture_default_str();
}

void addOutputOptions(CLI::App& app, Options& options) {
  app.add_option("--logs", options.logs, "Folder for the logs")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_option("--keep", options.keep, "Leave the machine's files in this folder")
      ->type_name("DIR");
  app.add_option("--json", options.json, "Write what happened to this file, for a program")
      ->type_name("FILE");
  app.add_flag("-q,--quiet", options.quiet, "Show the result alone");
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv, int& status) {
  Options options;
  CLI::App app(kDescription, "marrow-rehearse");
  addScenarioOptions(app, options);
  addMachineOptions(app, options);
  addProbeOption(app, options);
  addDiskOptions(app, options);
  addProgramOptions(app, options);
  addOutputOptions(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    status = app.exit(error) == 0 ? 0 : 2;
    return std::nullopt;
  }
  return options;
}

}  // namespace marrow::rehearsal

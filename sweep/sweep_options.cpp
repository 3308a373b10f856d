#include "sweep/sweep_options.h"

#include "rehearsal/scenario.h"

#include <CLI/CLI.hpp>
#include <map>

namespace marrow::sweep {
namespace {

using rehearsal::FileSystem;

constexpr const char* kDescription =
    "Interrupts the real marrowd everywhere: `kill` at each system call of a run, `power` at each "
    "write that reaches the disk; `fail` has each system call of the daemon fail, `fill` fills its "
    "volumes and the firmware, `starve` has its allocations fail. Each case is "
    "judged, run again to its end and judged again. `planted` lets it meet what does not belong "
    "there, `watched` looks on, `tools` has migrators that behave badly. Ends "
    "with 0 when nothing was lost in any case, 1 when something was, 2 when it could not be tried.";

const std::map<std::string, FileSystem> kFileSystems{
    {"ext4", FileSystem::kExt4}, {"btrfs", FileSystem::kBtrfs}, {"xfs", FileSystem::kXfs}};

std::vector<std::string> scenarioNames() {
  std::vector<std::string> names;
  for (const auto& scenario : rehearsal::scenariosOn(rehearsal::Stage::kNamespaces)) {
    names.push_back(scenario.name);
  }
  return names;
}

void addCaseOptions(CLI::App& command, SweepOptions& options) {
  command.add_option("--scenario", options.scenarios, "Situations; all where none is given")
      ->check(CLI::IsMember(scenarioNames()).description(""))
      ->type_name("NAME");
  command.add_option("--fs", options.fileSystem, "File system of the volumes: ext4, btrfs, xfs")
      ->transform(CLI::CheckedTransformer(kFileSystems).description(""))
      ->type_name("NAME");
  command.add_option("--from", options.from, "The first case")->type_name("N");
  command.add_option("--to", options.to, "The last case")->type_name("N");
  command.add_option("--every", options.every, "Go on by so many cases")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("K");
  command.add_option("--sample", options.sample, "So many cases a scenario, evenly spread")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("N");
  command
      .add_option(
          "--patience", options.patience,
          "Seconds until a run is taken to stand still; more for a machine that is translated")
      ->envname("MARROW_SWEEP_PATIENCE")
      ->type_name("N")
      ->capture_default_str();
  command.add_option("--log", options.log, "A line for each case; those in it are not done again")
      ->type_name("FILE");
  command.add_option("--daemon", options.daemon, "Another marrowd")->type_name("FILE");
}

}  // namespace

std::optional<SweepOptions> parseSweepOptions(int argc, const char* const* argv, int& status) {
  SweepOptions options;
  CLI::App app(kDescription);
  app.require_subcommand(1);
  CLI::App* kill = app.add_subcommand("kill", "Kill the daemon at each system call of its run");
  kill->add_flag("--changes", options.onlyChanges, "Only at the calls that change something");
  kill->add_flag("--again", options.again, "Kill the next run as well, somewhere");
  CLI::App* fail = app.add_subcommand(
      "fail", "Have each system call of the daemon fail, with every error that goes with it");
  fail->add_flag("--changes", options.onlyChanges, "Only the calls that change something");
  CLI::App* fill = app.add_subcommand(
      "fill", "Leave each number of free blocks on each volume, and of pages in the firmware");
  CLI::App* starve = app.add_subcommand(
      "starve", "Have the first allocation of each place fail: it alone, then all later ones too");
  CLI::App* power = app.add_subcommand("power", "Cut the power after each write of the disk");
  power->add_option("--subsets", options.subsets, "Lose so many random sets of unflushed writes")
      ->type_name("N")
      ->capture_default_str();
  power
      ->add_option("--finish-every", options.finishEvery,
                   "Run to its end each state that looks new, and every Kth of all others")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("K")
      ->capture_default_str();
  CLI::App* planted =
      app.add_subcommand("planted", "Put links, pipes, devices and the like where files belong");
  CLI::App* watched =
      app.add_subcommand("watched", "Look at the live trees all the while they are replaced");
  watched->add_option("--files", options.files, "So many files in each tree")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("N")
      ->capture_default_str();
  watched->add_option("--looks", options.looks, "Run it until there were so many looks")
      ->type_name("N")
      ->capture_default_str();
  CLI::App* tools =
      app.add_subcommand("tools", "Put tools that behave badly in the migrator's place");
  for (CLI::App* command : {kill, fail, fill, starve, power, planted, watched, tools}) {
    addCaseOptions(*command, options);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    status = app.exit(error) == 0 ? 0 : 2;
    return std::nullopt;
  }
  options.kind = power->parsed()     ? SweepKind::kPower
                 : fail->parsed()    ? SweepKind::kFail
                 : fill->parsed()    ? SweepKind::kFill
                 : starve->parsed()  ? SweepKind::kStarve
                 : planted->parsed() ? SweepKind::kPlanted
                 : watched->parsed() ? SweepKind::kWatched
                 : tools->parsed()   ? SweepKind::kTools
                                     : SweepKind::kKill;
  return options;
}

}  // namespace marrow::sweep

#include "benchmarks/comparison.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <map>

int main(int argc, char** argv) {
  using namespace marrow;
  const std::map<std::string, void (*)(const BenchOptions&)> tables = {
      {"growth", measureGrowth},  {"replacement", compareReplacements},
      {"switch", measureSwitch},  {"start", compareStarts},
      {"run", measureRun},        {"waiting", measureWaiting},
      {"logging", measureLogging}};
  BenchOptions options;
  options.daemon = MARROW_DAEMON;
  std::vector<std::string> names;
  CLI::App app("Measures marrowd beside what people use otherwise.");
  app.add_option(
      "table", names,
      "growth, replacement, switch, start, run, waiting, logging; all of them without any");
  app.add_option("--rounds", options.rounds, "How often everything is run")
      ->check(CLI::Range(1, 1000));
  app.add_option("--fs", options.fileSystems, "On these file systems: ext4, btrfs, xfs")
      ->check(CLI::IsMember({"ext4", "btrfs", "xfs"}));
  app.add_option("--curves", options.curves,
                 "Draws the curves of growth and switch in this folder");
  app.add_flag("--short", options.isShort, "Small inputs: only to see that everything works");
  CLI11_PARSE(app, argc, argv);
  try {
    for (const auto& [name, print] : tables) {
      if (names.empty() || std::find(names.begin(), names.end(), name) != names.end()) {
        print(options);
      }
    }
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
  return 0;
}

// The rehearsed situations.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow::rehearsal {

enum class MigratorPlan { kWorks, kFails, kMissing };

// What is to happen to one operation on an internal build.
struct Simulation {
  std::string operation;
  std::string command;
  std::string repeat;
};

struct Scenario {
  std::string name;
  // A sentence on the situation, and one on what it has to end in.
  std::string situation;
  std::string outcome;

  bool bootedFromProposed = true;
  MigratorPlan migrator = MigratorPlan::kWorks;
  // The GPT type of the role that no partition of the disk plays.
  std::string_view missingRole;
  // A key of the template-migration cookie (cookie.h), or empty for no cookie.
  std::string cookieKey;
  std::optional<Simulation> simulation;
  bool rebootRefused = false;
  bool powerCut = false;
  // Has to stand in a line of the console.
  std::vector<std::string> consoleWords;
};

inline constexpr int kFailingMigratorStatus = 3;

// The default comes first.
const std::vector<Scenario>& scenarios();

// Throws the Problem that names them all when there is none of that name.
const Scenario& scenarioNamed(const std::string& name);

// For --list: each name with its two sentences.
std::string explainScenarios();

}  // namespace marrow::rehearsal

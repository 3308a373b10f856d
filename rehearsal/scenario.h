// The rehearsed situations.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow::rehearsal {

enum class MigratorPlan { kWorks, kFails, kMissing };

// The nonce that the boot is for: the one that the update proposes, the one in force, or one that
// nobody knows.
enum class BootedNonce { kProposed, kInForce, kUnknown };

// Where a machine stands: in namespaces of the real machine's kernel, or in a virtual machine.
enum class Stage { kNamespaces, kVirtualMachine };

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

  // Empty for both.
  std::optional<Stage> onlyOn;
  BootedNonce bootedNonce = BootedNonce::kProposed;
  MigratorPlan migrator = MigratorPlan::kWorks;
  // The GPT type of the role that no partition of the disk plays.
  std::string_view missingRole;
  // A key of the template-migration cookie (cookie.h), or empty for no cookie.
  std::string cookieKey;
  std::optional<Simulation> simulation;
  // The boot loader has no entry for the new system.
  bool entryMissing = false;
  // The data volume is encrypted, and a key stashed in its header.
  bool encryptedData = false;
  // The base system has a boot splash, plymouth.
  bool bootSplash = false;
  // The base system has a system bus and logind.
  bool systemBus = false;
  // While the migrator runs, somebody else tries to mount the data volume.
  bool mountsTried = false;
  bool rebootRefused = false;
  bool powerCut = false;
  // The new system starts the base system once more.
  bool enteredTwice = false;
  // Has to stand in a line of the console.
  std::vector<std::string> consoleWords;
};

inline constexpr int kFailingMigratorStatus = 3;

// Those that a stage can play; the default comes first.
std::vector<Scenario> scenariosOn(Stage stage);

// All, on whatever stage.
const std::vector<Scenario>& scenarios();

// Throws the Problem that names them all when there is none of that name on that stage.
const Scenario& scenarioNamed(const std::string& name, Stage stage = Stage::kNamespaces);

// For --list: each name with its two sentences.
std::string explainScenarios(Stage stage);

}  // namespace marrow::rehearsal

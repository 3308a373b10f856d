// Whole runs in which one call of a service fails, or two: nothing is lost, the run ends as it
// should and tells why, and the next one finishes. As a test of a moment each call once and some of
// the pairs; with MARROW_FAULT_SWEEP=K/N in the environment the Kth of N parts of everything.
#include "tests/daemon/manager_test.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <sstream>

namespace marrow {
namespace {

constexpr std::array kCodes{EIO,   ENOSPC, EROFS,  EPERM, EACCES,
                            EBUSY, EMFILE, ENOMEM, EINTR, ENOENT};
// Pairs are tried in so many situations.
constexpr std::size_t kPairedSituations = 2;
// Without a part: one in so many calls begins a pair, and one in so many ends it.
constexpr std::size_t kStep = 16;

// What is to be done of everything.
struct Part {
  std::size_t number = 0;
  std::size_t of = 0;

  bool isAll() const { return of > 0; }
  bool has(std::size_t call) const {
    return isAll() ? call % of == number % of : call % kStep == 0;
  }
};

Part partToDo() {
  const char* text = std::getenv("MARROW_FAULT_SWEEP");  // NOLINT(concurrency-mt-unsafe)
  Part part;
  if (text != nullptr) {
    char slash = 0;
    std::istringstream(text) >> part.number >> slash >> part.of;
    EXPECT_TRUE(slash == '/' && part.isAll()) << "MARROW_FAULT_SWEEP is no K/N: " << text;
  }
  return part;
}

struct Situation {
  const char* name;
  std::function<void(InMemoryHost&)> prepare;
};

void askForFullUpgrade(InMemoryHost& machine) {
  PropertyListDictionary cookie;
  cookie.set("TemplateMigrationFullUpgradeKey", true);
  machine.fileSystem.writeDictionary(kPrebootGroup + "/var/db/.com.corvane.templatemigration",
                                     cookie);
}

const std::array<Situation, 4>& situations() {
  static const std::array<Situation, 4> kSituations{
      Situation{"default", [](InMemoryHost&) {}}, Situation{"full upgrade", askForFullUpgrade},
      Situation{"internal build",
                [](InMemoryHost& machine) { machine.osVariant.setInternalContent(true); }},
      Situation{"no update volume",
                [](InMemoryHost& machine) { machine.partitions.removeVolume(kUpdateVolume); }}};
  return kSituations;
}

std::optional<RunEnded> runOn(InMemoryHost& machine) {
  try {
    useLogService(&machine.log);
    processEntry(machine.host());
  } catch (const RunEnded& end) {
    return end;
  }
  return std::nullopt;
}

std::size_t callsOf(const Situation& situation) {
  InMemoryHost machine;
  situation.prepare(machine);
  runOn(machine);
  return machine.faults.callsMade();
}

struct Place {
  std::string live;
  std::string staged;
  std::string what;
};

const std::vector<Place>& places() {
  static const std::vector<Place> kPlaces = [] {
    std::vector<Place> all{{kPrebootGroup + "/morrel1/current/image",
                            kPrebootGroup + "/morrel1/proposed/image", "image"},
                           {kPrebootGroup + "/restore/manifest",
                            kPrebootGroup + "/restore-staged/manifest", "manifest"}};
    for (const std::string& root : {kRecoveryGroup, kRecoveryGroup + "/boot/" + kNSIH}) {
      const std::string image = root + "/" + kBaseSystemImage;
      all.push_back({image, image + ".staged", "image"});
    }
    return all;
  }();
  return kPlaces;
}

class WholeRunSweep : public testing::Test {
 protected:
  ~WholeRunSweep() override { useLogService(nullptr); }

  // A run with these failures, then one without. False when one of the calls was never made.
  bool tryFailures(const Situation& situation,
                   const std::vector<std::pair<std::size_t, int>>& failures) {
    InMemoryHost machine;
    situation.prepare(machine);
    for (const auto& [number, code] : failures) {
      machine.faults.failCallNumber(number, code);
    }
    const auto end = runOn(machine);
    if (machine.faults.callsMade() < failures.back().first) {
      return false;
    }
    ++cases;
    expectWhole(machine);
    expectEnd(machine, end);
    machine.restart();
    runOn(machine);
    expectFinished(machine);
    return true;
  }

  // That call with one error, or with every one where all is to be done.
  void tryErrors(const Situation& situation, std::size_t number) {
    for (std::size_t i = 0; i < kCodes.size(); ++i) {
      const std::size_t one = number * kCodes.size() + i;
      if (part.isAll() ? part.has(one) : i == number % kCodes.size()) {
        SCOPED_TRACE(std::string(situation.name) + ", call " + std::to_string(number) +
                     " fails with " + std::to_string(kCodes.at(i)));
        EXPECT_TRUE(tryFailures(situation, {{number, kCodes.at(i)}}));
      }
    }
  }

  // Pairs that begin with that call.
  void tryPairs(const Situation& situation, std::size_t first) {
    for (std::size_t second = first + 1; !HasFailure(); second += part.isAll() ? 1 : kStep) {
      const int code = kCodes.at(second % kCodes.size());
      SCOPED_TRACE(std::string(situation.name) + ", calls " + std::to_string(first) + " and " +
                   std::to_string(second) + " fail");
      if (!tryFailures(situation, {{first, kCodes.at(first % kCodes.size())}, {second, code}})) {
        return;
      }
    }
  }

  const Part part = partToDo();
  std::size_t cases = 0;

 private:
  // Wholly old, with what is staged for it, or wholly new.
  static void expectWhole(InMemoryHost& machine) {
    for (const Place& place : places()) {
      const auto content = machine.fileSystem.contents(place.live);
      ASSERT_TRUE(content.has_value()) << place.live << " is missing";
      if (content == "old " + place.what) {
        EXPECT_EQ(machine.fileSystem.contents(place.staged), "new " + place.what);
      } else {
        EXPECT_EQ(content, "new " + place.what);
      }
    }
  }

  // One that is not in a base system, for all it can see, does nothing at all. Whoever ends without
  // having finished has said so.
  static void expectEnd(InMemoryHost& machine, const std::optional<RunEnded>& end) {
    if (!end) {
      EXPECT_TRUE(machine.log.texts().empty());
      return;
    }
    EXPECT_TRUE(end->kind == RunEnded::Kind::abort || machine.journal.contains("Reboot.reboot"));
    EXPECT_TRUE(isBlessed(machine) || end->kind == RunEnded::Kind::abort || isToldOf(machine));
  }

  static bool isBlessed(InMemoryHost& machine) {
    return machine.installer.blessed() == "/dev/" + kSystemVolume;
  }

  static bool isToldOf(InMemoryHost& machine) {
    return std::ranges::any_of(machine.log.texts(), [](const std::string& text) {
      return text.starts_with("One of the Marrow operations has failed: ") ||
             text.starts_with("Failed to initialize MWStorageController: ");
    });
  }

  static void expectFinished(InMemoryHost& machine) {
    for (const Place& place : places()) {
      EXPECT_EQ(machine.fileSystem.contents(place.live), "new " + place.what) << place.live;
    }
    EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/boot/active"), kNSIH);
    EXPECT_EQ(machine.bootPolicy.nonce(), kProposedNonce);
    EXPECT_TRUE(isBlessed(machine));
    EXPECT_TRUE(machine.reboot.wasAccepted());
  }
};

TEST_F(WholeRunSweep, EachFailingCallLosesNothingAndTheNextRunFinishes) {
  for (const Situation& situation : situations()) {
    const std::size_t calls = callsOf(situation);
    for (std::size_t number = 1; number <= calls && !HasFailure(); ++number) {
      tryErrors(situation, number);
    }
    if (!part.isAll()) {
      break;
    }
  }
  std::cout << cases << " failing calls, all of them made\n";
  EXPECT_GT(cases, 0U);
}

TEST_F(WholeRunSweep, TwoFailingCallsLoseNothingAndTheNextRunFinishes) {
  for (std::size_t i = 0; i < (part.isAll() ? kPairedSituations : 1); ++i) {
    const Situation& situation = situations().at(i);
    const std::size_t calls = callsOf(situation);
    for (std::size_t first = 1; first <= calls && !HasFailure(); ++first) {
      if (part.has(first)) {
        tryPairs(situation, first);
      }
    }
  }
  std::cout << cases << " pairs of failing calls, all of them made\n";
  EXPECT_GT(cases, 0U);
}

}  // namespace
}  // namespace marrow

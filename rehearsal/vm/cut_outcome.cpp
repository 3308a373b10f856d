#include "rehearsal/vm/cut_outcome.h"

#include "rehearsal/run_events.h"

#include <array>

namespace marrow::rehearsal {
namespace {

struct BootObject {
  const char* live;
  const char* staged;
};

constexpr std::array kBootObjects{BootObject{"preboot.sealed", "preboot.sealed-staged"},
                                  BootObject{"preboot.restore", "preboot.restore-staged"},
                                  BootObject{"recovery.group", "recovery.group-staged"},
                                  BootObject{"recovery.boot", "recovery.boot-staged"}};

constexpr const char* kCanFollow = "in place or staged";

// Whether all boot objects of the new nonce are in place or can still be put there.
std::string followersOf(const Snapshot& before, const Snapshot& atCut) {
  if (atCut.at("firmware.nonce") != before.at("firmware.proposed")) {
    return kCanFollow;
  }
  for (const BootObject& object : kBootObjects) {
    const std::string& wanted = before.at(object.staged);
    if (atCut.at(object.live) != wanted && atCut.at(object.staged) != wanted) {
      return std::string(object.live) + " cannot follow the nonce";
    }
  }
  return kCanFollow;
}

std::string without(std::string text, const std::string& part) {
  const std::size_t place = text.find(part);
  return place == std::string::npos ? text : text.erase(place, part.size());
}

}  // namespace

std::string placeOfCut(const VmBoot& boot) {
  if (boot.end != VmBoot::End::kCut) {
    return "after the restart";
  }
  if (boot.system.empty()) {
    return "before the kernel";
  }
  const std::vector<OperationTime> operations = operationTimes(boot.run);
  if (operations.empty()) {
    return consoleHas(boot.run, "Daemon starting up") ? "before the operations"
                                                      : "before the daemon";
  }
  if (verdictOf(boot.run) != "no word") {
    return "after the operations";
  }
  return "in " + without(without(operations.back().name, "MW"), "Operation");
}

std::vector<Row> compareAtVmCut(const Snapshot& before, const Snapshot& atCut, const VmBoot& boot,
                                const std::string& newEntry) {
  std::vector<Row> rows = compareAtCut(before, atCut, boot.run);
  const std::string& old = before.at("firmware.default");
  const std::string& found = atCut.at("firmware.default");
  rows.push_back({"cut.firmware.default", "at the cut: LoaderEntryDefault", old, found,
                  found == newEntry ? newEntry : old});
  rows.push_back({"cut.followers", "at the cut: boot objects of the nonce", kCanFollow,
                  followersOf(before, atCut), kCanFollow});
  return rows;
}

std::string countOf(std::size_t count, const std::string& what) {
  return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::vector<std::string> lossesIn(const std::vector<Row>& rows, const std::string& when) {
  std::vector<std::string> losses;
  for (const Row& row : rows) {
    if (!row.asExpected()) {
      losses.push_back(when + ": " + row.what + " is " + row.after + ", expected " + *row.expected);
    }
  }
  return losses;
}

void CutTally::add(const CutOutcome& outcome) {
  ++_cuts;
  _lost += outcome.losses.empty() ? 0 : 1;
  const std::string end =
      outcome.losses.empty() ? "finished, " + countOf(outcome.boots, "boot") + " later" : "LOST";
  ++_counts[{"cut " + outcome.place, end}];
}

std::vector<Row> CutTally::rows() const {
  std::vector<Row> rows;
  for (const auto& [kind, count] : _counts) {
    rows.push_back({"tally", kind.first, kind.second, countOf(count, "time"), std::nullopt});
  }
  rows.push_back(
      {"tally.lost", "lost of " + std::to_string(_cuts) + " cuts", "", std::to_string(_lost), "0"});
  return rows;
}

}  // namespace marrow::rehearsal

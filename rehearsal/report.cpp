#include "rehearsal/report.h"

#include "rehearsal/console_view.h"
#include "rehearsal/run_events.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace marrow::rehearsal {
namespace {

constexpr std::size_t kWhatWidth = 34;
constexpr std::size_t kValueWidth = 34;
constexpr const char* kGreen = "32";
constexpr const char* kRed = "31";

std::string padded(std::string text, std::size_t width) {
  if (text.size() > width) {
    text = text.substr(0, width - 3) + "...";
  }
  return text + std::string(width - text.size() + 1, ' ');
}

bool stays(const Row& row) { return row.asExpected() && row.before == row.after; }

std::string judgement(const Row& row, const ConsoleView& view) {
  if (!row.expected) {
    return "-";
  }
  return row.asExpected() ? view.coloured("as expected", kGreen)
                          : view.coloured("EXPECTED " + *row.expected, kRed);
}

// Of what stays as it has to be, the number is enough.
std::string describeRows(const Report& report, const ConsoleView& view) {
  std::string text = padded("What", kWhatWidth) + padded("Before", kValueWidth) +
                     padded("After", kValueWidth) + "Judgement\n";
  std::size_t unchanged = 0;
  for (const Row& row : report.rows) {
    if (stays(row)) {
      ++unchanged;
      continue;
    }
    // What the run itself did has no before: it takes both columns.
    text +=
        padded(row.what, kWhatWidth) +
        (row.before.empty() ? padded(row.after, 2 * kValueWidth + 1)
                            : padded(row.before, kValueWidth) + padded(row.after, kValueWidth)) +
        judgement(row, view) + '\n';
  }
  return text + "(" + std::to_string(unchanged) +
         " further things had to stay as they were, and did)\n";
}

std::string inSeconds(std::chrono::milliseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%9.3f s", static_cast<double>(time.count()) / 1000);
  return text.data();
}

std::string describeRun(const MachineRun& run) {
  std::string text;
  for (const OperationTime& operation : operationTimes(run)) {
    text += "  " + padded(operation.name, kWhatWidth) + inSeconds(operation.duration) +
            (operation.how == "skipped" ? " (skipped)" : "") + '\n';
  }
  text += "  " + padded("whole run", kWhatWidth) + inSeconds(run.duration);
  if (run.cut) {
    text += ", ended by the cut at" + inSeconds(*run.cut) +
            (run.unwrittenLost ? ", what was not on the disk is lost"
                               : ", only its processes died: not all that it had mounted can "
                                 "forget what is unwritten");
  }
  return text + '\n';
}

}  // namespace

bool Report::asExpected() const { return std::ranges::all_of(rows, &Row::asExpected); }

std::string describeReport(const Report& report, const ConsoleView& view) {
  std::string text = "\nScenario " + report.scenario + " on " + report.disk + ": " +
                     report.outcome + "\n\n" + describeRows(report, view);
  for (std::size_t i = 0; i < report.runs.size(); ++i) {
    text += report.runs.size() == 1 ? "\nOperations\n"
                                    : "\nOperations, start " + std::to_string(i + 1) + '\n';
    text += describeRun(report.runs[i]);
  }
  text += "\nLogs: " + report.logs.string() + '\n';
  return text +
         (report.asExpected() ? view.coloured("All is as expected.", kGreen)
                              : view.coloured("Not all is as expected.", kRed)) +
         '\n';
}

}  // namespace marrow::rehearsal

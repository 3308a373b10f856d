#include "rehearsal/report.h"
#include "rehearsal/run_events.h"

#include <nlohmann/json.hpp>

namespace marrow::rehearsal {
namespace {

using nlohmann::ordered_json;

ordered_json jsonOfRow(const Row& row) {
  ordered_json result{{"key", row.key},       {"what", row.what},
                      {"before", row.before}, {"after", row.after},
                      {"expected", nullptr},  {"as_expected", row.asExpected()}};
  if (row.expected) {
    result["expected"] = *row.expected;
  }
  return result;
}

ordered_json jsonOfRun(const MachineRun& run) {
  ordered_json operations = ordered_json::array();
  for (const OperationTime& operation : operationTimes(run)) {
    operations.push_back({{"name", operation.name},
                          {"how", operation.how},
                          {"begin_ms", operation.begin.count()},
                          {"duration_ms", operation.duration.count()}});
  }
  ordered_json console = ordered_json::array();
  for (const ConsoleLine& line : run.console) {
    console.push_back({{"ms", line.since.count()}, {"text", line.text}});
  }
  ordered_json result{{"end", run.end.describe()},
                      {"duration_ms", run.duration.count()},
                      {"operations", operations},
                      {"percentages", run.percentages},
                      {"console", console}};
  if (run.cut) {
    result["cut_ms"] = run.cut->count();
    result["unwritten_lost"] = run.unwrittenLost;
  }
  return result;
}

}  // namespace

std::string jsonOf(const Report& report) {
  ordered_json rows = ordered_json::array();
  for (const Row& row : report.rows) {
    rows.push_back(jsonOfRow(row));
  }
  ordered_json runs = ordered_json::array();
  for (const MachineRun& run : report.runs) {
    runs.push_back(jsonOfRun(run));
  }
  const ordered_json whole{
      {"scenario", report.scenario},        {"disk", report.disk}, {"seed", report.seed},
      {"as_expected", report.asExpected()}, {"rows", rows},        {"runs", runs},
      {"logs", report.logs.string()}};
  return whole.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace marrow::rehearsal

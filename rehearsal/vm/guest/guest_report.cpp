#include "rehearsal/vm/guest/guest_report.h"

#include <nlohmann/json.hpp>

namespace marrow::rehearsal {

std::string lineOf(const GuestReport& report) {
  const nlohmann::json object{
      {"system", report.system}, {"snapshot", report.snapshot}, {"problem", report.problem}};
  return object.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

std::optional<GuestReport> guestReportFrom(const std::string& line) {
  const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
  if (!object.is_object()) {
    return std::nullopt;
  }
  try {
    return GuestReport{.system = object.at("system"),
                       .snapshot = object.at("snapshot").get<Snapshot>(),
                       .problem = object.at("problem")};
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

}  // namespace marrow::rehearsal

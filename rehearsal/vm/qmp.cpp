#include "rehearsal/vm/qmp.h"

#include <nlohmann/json.hpp>

namespace marrow::rehearsal {
namespace {

using nlohmann::json;

std::string textOf(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

json partOf(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_object() ? *found : json::object();
}

std::optional<std::uint64_t> commandOf(const json& object) {
  const auto found = object.find("id");
  if (found == object.end() || !found->is_number_unsigned()) {
    return std::nullopt;
  }
  return found->get<std::uint64_t>();
}

}  // namespace

std::optional<QmpMessage> qmpMessageFrom(const std::string& line) {
  const json object = json::parse(line, nullptr, false);
  QmpMessage message;
  if (!object.is_object()) {
    return std::nullopt;
  }
  message.command = commandOf(object);
  if (object.contains("QMP")) {
    message.kind = QmpMessage::Kind::kGreeting;
  } else if (object.contains("event")) {
    message.kind = QmpMessage::Kind::kEvent;
    message.event = textOf(object, "event");
    message.reason = textOf(partOf(object, "data"), "reason");
  } else if (object.contains("error")) {
    message.kind = QmpMessage::Kind::kError;
    message.description = textOf(partOf(object, "error"), "desc");
  } else if (!object.contains("return")) {
    return std::nullopt;
  }
  return message;
}

std::string qmpCommand(std::uint64_t number, const std::string& name,
                       const std::map<std::string, std::string>& arguments) {
  json command{{"execute", name}, {"id", number}};
  if (!arguments.empty()) {
    command["arguments"] = arguments;
  }
  return command.dump() + '\n';
}

}  // namespace marrow::rehearsal

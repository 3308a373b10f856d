#include "rehearsal/luks_header.h"

#include <nlohmann/json.hpp>

namespace marrow::rehearsal {
namespace {

constexpr std::string_view kMagic("LUKS\xba\xbe\0\2", 8);
constexpr std::size_t kText = 4096;

}  // namespace

std::optional<LuksHeader> readLuksHeader(std::string_view start) {
  if (!start.starts_with(kMagic) || start.size() <= kText) {
    return std::nullopt;
  }
  const std::string_view text = start.substr(kText, start.find('\0', kText) - kText);
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (json.is_discarded()) {
    return std::nullopt;
  }
  LuksHeader header;
  header.dataOffset = std::stoull(json.at("segments").at("0").at("offset").get<std::string>());
  for (const auto& token : json.at("tokens")) {
    if (header.stashState.empty() && token.at("type") == "marrow-stash") {
      header.stashState = token.at("state").get<std::string>();
    }
  }
  return header;
}

}  // namespace marrow::rehearsal

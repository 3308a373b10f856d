#include "host/linux/stash_token.h"

#include <nlohmann/json.hpp>

namespace marrow {

namespace {

constexpr char kStateKey[] = "state";
constexpr char kStaged[] = "staged";
constexpr char kCommitted[] = "committed";

}  // namespace

StashState commitStashToken(std::string& json) {
  auto token = nlohmann::ordered_json::parse(json, nullptr, false);
  const auto state = token.is_object() ? token.find(kStateKey) : token.end();
  if (state == token.end() || (*state != kStaged && *state != kCommitted)) {
    return StashState::invalid;
  }
  if (*state == kCommitted) {
    return StashState::committed;
  }
  *state = kCommitted;
  json = token.dump();
  return StashState::staged;
}

}  // namespace marrow

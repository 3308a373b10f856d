// The token of a LUKS2 header that says which key is stashed: JSON with "type":"marrow-stash" and
// "state":"staged" or "state":"committed". All else in it belongs to whoever staged the key.
#pragma once

#include <cstdint>
#include <string>

namespace marrow {

inline constexpr char kStashTokenType[] = "marrow-stash";

enum class StashState : std::uint8_t { staged, committed, invalid };

// The state that the token is in. One that is staged is made a committed one, all else in it as it
// was.
StashState commitStashToken(std::string& json);

}  // namespace marrow

// A picture of the machine's screen, and what it tells of the progress.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow::rehearsal {

struct Picture {
  std::size_t width = 0;
  std::size_t height = 0;
  // Of each point, row by row, the brightest of its colours.
  std::vector<std::uint8_t> light{};

  std::uint8_t at(std::size_t x, std::size_t y) const { return light[y * width + x]; }
};

// Reads a binary PPM (ppm(5)) of 8 bits a colour. Nothing when it is none, or not whole.
std::optional<Picture> pictureFrom(std::string_view ppm);

// How full the bar is that stands on a text console of 8 by 16 points a character, in per cent: a
// row of kBarCells characters, first so many of one kind, then the rest of another that has fewer
// lit points, between two other characters. Nothing when there is no such row.
std::optional<int> barOn(const Picture& picture);

inline constexpr std::size_t kBarCells = 40;

// How full the bar is that plymouth's theme "spinner" draws, in per cent: a strip of
// kSplashBarWidth points, white from the left, then of its grey. Nothing when there is none.
std::optional<int> splashBarOn(const Picture& picture);

inline constexpr std::size_t kSplashBarWidth = 400;

}  // namespace marrow::rehearsal

// A picture of the machine's screen, and what it tells of the progress.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow::rehearsal {

// Black and white: whether a point is lit.
struct Picture {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<bool> lit{};

  bool at(std::size_t x, std::size_t y) const { return lit[y * width + x]; }
};

// Reads a binary PPM (ppm(5)) of 8 bits a colour. Nothing when it is none, or not whole.
std::optional<Picture> pictureFrom(std::string_view ppm);

// How full the bar is that stands on a text console of 8 by 16 points a character, in per cent: a
// row of kBarCells characters, first so many of one kind, then the rest of another that has fewer
// lit points, between two other characters. Nothing when there is no such row.
std::optional<int> barOn(const Picture& picture);

inline constexpr std::size_t kBarCells = 40;

}  // namespace marrow::rehearsal

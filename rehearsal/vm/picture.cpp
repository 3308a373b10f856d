#include "rehearsal/vm/picture.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <sstream>

namespace marrow::rehearsal {
namespace {

constexpr std::size_t kCellWidth = 8;
constexpr std::size_t kCellHeight = 16;
// A "#" of the console's font has about 40 lit points, a "." about 4.
constexpr int kFullCell = 20;
constexpr std::uint8_t kLitFrom = 128;
constexpr unsigned kMostLight = 255;
constexpr std::size_t kLongestHead = 64;

using Cell = std::array<std::uint8_t, kCellHeight>;

Cell cellAt(const Picture& picture, std::size_t column, std::size_t row) {
  Cell cell{};
  for (std::size_t y = 0; y < kCellHeight; ++y) {
    unsigned bits = 0;
    for (std::size_t x = 0; x < kCellWidth; ++x) {
      const bool lit = picture.at(column * kCellWidth + x, row * kCellHeight + y) >= kLitFrom;
      bits = bits * 2 + (lit ? 1U : 0U);
    }
    cell[y] = static_cast<std::uint8_t>(bits);
  }
  return cell;
}

int litIn(const Cell& cell) {
  int count = 0;
  for (unsigned bits : cell) {
    for (; bits != 0; bits &= bits - 1) {
      ++count;
    }
  }
  return count;
}

// The cells of a bar: some full ones that are all alike, then empty ones that are all alike.
std::optional<int> barIn(const std::vector<Cell>& cells, std::size_t begin) {
  const auto first = cells.begin() + static_cast<std::ptrdiff_t>(begin);
  const auto end = first + kBarCells;
  const auto change = std::find_if(first, end, [&](const Cell& cell) { return cell != *first; });
  const bool isBar = litIn(*first) > 0 && *(first - 1) != *first && *end != *(end - 1) &&
                     litIn(*(first - 1)) > 0 && litIn(*end) > 0 &&
                     std::all_of(change, end, [&](const Cell& cell) {
                       return cell == *change && litIn(cell) > 0 && litIn(cell) < litIn(*first);
                     });
  if (!isBar) {
    return std::nullopt;
  }
  const auto full = change == end && litIn(*first) < kFullCell ? 0 : change - first;
  return static_cast<int>(full * 100 / static_cast<std::ptrdiff_t>(kBarCells));
}

// Colours of the theme's bar (spinner.plymouth).
constexpr std::uint8_t kSplashWhite = 0xff;
constexpr std::uint8_t kSplashGrey = 0x60;
// The bar is a little higher; a line that happens to look like it is one point high.
constexpr std::size_t kSplashBarRows = 3;

// How many points of the strip that begins there are white; nothing when it is no bar.
std::optional<std::size_t> whiteOfStrip(const Picture& picture, std::size_t x, std::size_t y) {
  const auto first = picture.light.begin() + static_cast<std::ptrdiff_t>(y * picture.width + x);
  const auto end = first + kSplashBarWidth;
  const auto grey = std::find_if(first, end, [](auto light) { return light != kSplashWhite; });
  const bool isBar = *(first - 1) == 0 && *end == 0 &&
                     std::all_of(grey, end, [](auto light) { return light == kSplashGrey; });
  return isBar ? std::optional(static_cast<std::size_t>(grey - first)) : std::nullopt;
}

bool isSplashBar(const Picture& picture, std::size_t x, std::size_t y) {
  const auto white = whiteOfStrip(picture, x, y);
  return white && whiteOfStrip(picture, x, y + 1) == white &&
         whiteOfStrip(picture, x, y + kSplashBarRows - 1) == white;
}

}  // namespace

std::optional<Picture> pictureFrom(std::string_view ppm) {
  std::istringstream head(std::string(ppm.substr(0, kLongestHead)));
  std::string kind;
  unsigned most = 0;
  Picture picture;
  head >> kind >> picture.width >> picture.height >> most;
  if (!head || head.eof() || kind != "P6" || most != kMostLight) {
    return std::nullopt;
  }
  // One character of white space stands behind the head.
  const std::string_view points = ppm.substr(static_cast<std::size_t>(head.tellg()) + 1);
  if (points.size() != picture.width * picture.height * 3) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < points.size(); i += 3) {
    const auto value =
        std::max({static_cast<unsigned char>(points[i]), static_cast<unsigned char>(points[i + 1]),
                  static_cast<unsigned char>(points[i + 2])});
    picture.light.push_back(value);
  }
  return picture;
}

std::optional<int> barOn(const Picture& picture) {
  const std::size_t columns = picture.width / kCellWidth;
  for (std::size_t row = 0; row < picture.height / kCellHeight; ++row) {
    std::vector<Cell> cells;
    for (std::size_t column = 0; column < columns; ++column) {
      cells.push_back(cellAt(picture, column, row));
    }
    for (std::size_t begin = 1; begin + kBarCells < columns; ++begin) {
      if (const std::optional<int> bar = barIn(cells, begin)) {
        return bar;
      }
    }
  }
  return std::nullopt;
}

// It stands in the middle.
std::optional<int> splashBarOn(const Picture& picture) {
  if (picture.width < kSplashBarWidth + 2) {
    return std::nullopt;
  }
  const std::size_t x = (picture.width - kSplashBarWidth) / 2;
  for (std::size_t y = 0; y + kSplashBarRows < picture.height; ++y) {
    if (isSplashBar(picture, x, y)) {
      const std::size_t white = *whiteOfStrip(picture, x, y);
      return static_cast<int>((white * 100 + kSplashBarWidth / 2) / kSplashBarWidth);
    }
  }
  return std::nullopt;
}

}  // namespace marrow::rehearsal

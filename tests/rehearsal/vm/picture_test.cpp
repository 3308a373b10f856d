// Progress, read off pictures of a text console.
#include "rehearsal/vm/picture.h"

#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

constexpr std::size_t kColumns = 60;
constexpr std::size_t kRows = 3;

// Glyphs that are alike for the same character, and as dense as those of a console's font.
bool glyphPoint(char character, std::size_t x, std::size_t y) {
  switch (character) {
    case ' ':
      return false;
    case '#':
      return (x + y) % 2 == 0 && y > 2 && y < 13;
    case '.':
      return x > 2 && x < 5 && y > 10 && y < 13;
    default:
      return ((static_cast<unsigned char>(character) + x * 3 + y * 5) % 7) < 3 && y > 2 && y < 13;
  }
}

std::string ppmOf(const std::vector<std::string>& lines) {
  std::string ppm =
      "P6\n" + std::to_string(kColumns * 8) + ' ' + std::to_string(kRows * 16) + "\n255\n";
  for (std::size_t y = 0; y < kRows * 16; ++y) {
    for (std::size_t x = 0; x < kColumns * 8; ++x) {
      const std::string line = y / 16 < lines.size() ? lines[y / 16] : "";
      const char character = x / 8 < line.size() ? line[x / 8] : ' ';
      ppm.append(3, glyphPoint(character, x % 8, y % 16) ? '\xaa' : '\0');
    }
  }
  return ppm;
}

std::string bar(std::size_t full) {
  return "Marrow [" + std::string(full, '#') + std::string(kBarCells - full, '.') + "] 1%";
}

std::optional<int> barIn(const std::vector<std::string>& lines) {
  const auto picture = pictureFrom(ppmOf(lines));
  return picture ? barOn(*picture) : std::nullopt;
}

TEST(Pictures, TellHowFullTheBarIs) {
  EXPECT_EQ(barIn({bar(0)}), 0);
  EXPECT_EQ(barIn({bar(1)}), 2);
  EXPECT_EQ(barIn({bar(20)}), 50);
  EXPECT_EQ(barIn({bar(39)}), 97);
  EXPECT_EQ(barIn({bar(40)}), 100);
}

TEST(Pictures, ShowTheBarOnAnyRow) { EXPECT_EQ(barIn({"words", "", bar(10)}), 25); }

TEST(Pictures, WithoutABarTellNothing) {
  EXPECT_EQ(barIn({}), std::nullopt);
  EXPECT_EQ(barIn({"Some words of the kernel, longer than a bar would be on it"}), std::nullopt);
  EXPECT_EQ(barIn({"[" + std::string(39, '#') + "] 100%"}), std::nullopt);
}

TEST(Pictures, ThatAreNotWholeAreNone) {
  const std::string whole = ppmOf({bar(3)});
  EXPECT_TRUE(pictureFrom(whole));
  EXPECT_FALSE(pictureFrom(whole.substr(0, whole.size() - 1)));
  EXPECT_FALSE(pictureFrom(""));
  EXPECT_FALSE(pictureFrom("P5\n1 1\n255\nabc"));
  EXPECT_FALSE(pictureFrom("P6\n1 1\n255"));
}

}  // namespace
}  // namespace marrow::rehearsal

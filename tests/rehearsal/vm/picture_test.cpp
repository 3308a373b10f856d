// Progress, read off pictures of a text console and of a boot splash.
#include "rehearsal/vm/picture.h"

#include <algorithm>
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

// A screen of grey noise with a strip on it, so many points white and so many grey.
Picture splashOf(std::size_t white, std::size_t grey, std::size_t rows) {
  Picture picture{.width = 640, .height = 60};
  picture.light.assign(picture.width * picture.height, 0);
  for (std::size_t x = 0; x < picture.width; ++x) {
    picture.light[x] = static_cast<std::uint8_t>(x);
  }
  for (std::size_t y = 30; y < 30 + rows; ++y) {
    const auto begin = picture.light.begin() +
                       static_cast<std::ptrdiff_t>(y * picture.width + (640 - kSplashBarWidth) / 2);
    const auto middle = std::fill_n(begin, white, 0xff);
    std::fill_n(middle, grey, 0x60);
  }
  return picture;
}

TEST(Pictures, TellHowFullTheBarOfTheSplashIs) {
  EXPECT_EQ(splashBarOn(splashOf(0, 400, 5)), 0);
  EXPECT_EQ(splashBarOn(splashOf(4, 396, 5)), 1);
  EXPECT_EQ(splashBarOn(splashOf(115, 285, 5)), 29);
  EXPECT_EQ(splashBarOn(splashOf(400, 0, 5)), 100);
}

TEST(Pictures, TakeNothingElseForTheBarOfTheSplash) {
  EXPECT_EQ(splashBarOn(splashOf(0, 0, 5)), std::nullopt);
  EXPECT_EQ(splashBarOn(splashOf(200, 200, 2)), std::nullopt);
  EXPECT_EQ(splashBarOn(splashOf(200, 190, 5)), std::nullopt);
  EXPECT_EQ(splashBarOn(splashOf(200, 205, 5)), std::nullopt);
  EXPECT_EQ(splashBarOn({.width = 100, .height = 1, .light = std::vector<std::uint8_t>(100)}),
            std::nullopt);
  const auto console = pictureFrom(ppmOf({bar(20)}));
  ASSERT_TRUE(console);
  EXPECT_EQ(splashBarOn(*console), std::nullopt);
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

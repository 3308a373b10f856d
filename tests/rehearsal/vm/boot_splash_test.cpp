// What plymouth's own words and the pictures of its screen tell of the percentages that it was
// told.
#include "rehearsal/vm/boot_splash.h"

#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

VmBoot bootOf(const std::string& system, const std::vector<int>& told, std::vector<int> shown) {
  VmBoot boot;
  boot.system = system;
  for (const int percentage : told) {
    boot.splash.push_back({std::chrono::milliseconds(0), "main.c:232"});
    boot.splash.push_back({std::chrono::milliseconds(0),
                           "got system-update notification " + std::to_string(percentage) + '%'});
  }
  boot.run.percentages = std::move(shown);
  return boot;
}

TEST(BootSplashes, TellWhatTheyAreTold) {
  const std::string place = "00:00:19.209 ply-boot-server.c:472:ply_boot_connection_on_request : ";
  EXPECT_EQ(splashPercentageIn(place + "got system-update notification 0%"), 0);
  EXPECT_EQ(splashPercentageIn(place + "got system-update notification 42%\r"), 42);
  EXPECT_EQ(splashPercentageIn(place + "got show splash request"), std::nullopt);
  EXPECT_EQ(splashPercentageIn("got system-update notification 4"), std::nullopt);
  EXPECT_EQ(splashPercentageIn("got system-update notification %"), std::nullopt);
  EXPECT_EQ(splashPercentageIn(""), std::nullopt);
}

TEST(BootSplashes, ShowWhatTheyAreTold) {
  const Row row = rowOfSplash({bootOf("installer", {}, {}),
                               bootOf(kBaseSystem, {0, 0, 1, 7, 7, 60, 100}, {0, 7, 60}),
                               bootOf("new-system", {}, {})});
  EXPECT_TRUE(row.asExpected()) << row.after;
}

TEST(BootSplashes, ThatDoNotAreNotAsExpected) {
  const auto after = [](const std::vector<int>& told, std::vector<int> shown) {
    const Row row = rowOfSplash({bootOf(kBaseSystem, told, std::move(shown))});
    EXPECT_FALSE(row.asExpected());
    return row.after;
  };
  EXPECT_EQ(after({}, {}), "was told nothing");
  EXPECT_EQ(after({0, 5, 4}, {5}), "was told less than before");
  EXPECT_EQ(after({0, 5}, {}), "does not show what it was told");
  EXPECT_EQ(after({0, 5}, {0}), "does not show what it was told");
  EXPECT_EQ(after({0, 5}, {4}), "does not show what it was told");
  EXPECT_FALSE(rowOfSplash({bootOf("old-system", {5}, {5})}).asExpected());
}

}  // namespace
}  // namespace marrow::rehearsal

// Which states a loss of power may leave of a record.
#include "sweep/power_states.h"

#include "tests/rehearsal/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::sweep {
namespace {

using rehearsal::LoggedWrite;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class PowerStates : public testing::Test {
 protected:
  FirmwareMoment moment(std::uint64_t length) const {
    return {length, FirmwareCopy(folder.path())};
  }

  rehearsal::TemporaryFolder folder;
};

// The moments of all prefixes, as "BEGUN/MOMENT".
std::vector<std::string> prefixes(const RecordedRun& run) {
  std::vector<std::string> found;
  for (const PowerState& state : statesOf(run, 0)) {
    found.push_back(std::to_string(state.begun) + '/' + std::to_string(state.moment));
  }
  return found;
}

TEST_F(PowerStates, CutsWritesIntoPiecesAndKeepsFlushes) {
  const auto pieces =
      inPieces({{.place = 8192, .length = 9000, .data = 512}, {.data = 10024, .isFlush = true}});
  ASSERT_THAT(pieces, SizeIs(4));
  EXPECT_EQ(pieces[1].place, 12288U);
  EXPECT_EQ(pieces[1].data, 4608U);
  EXPECT_EQ(pieces[2].length, 808U);
  EXPECT_TRUE(pieces[3].isFlush);
}

TEST_F(PowerStates, GoWithEachFirmwareThatTheyMayHaveMet) {
  RecordedRun run;
  run.writes = {{.length = 512, .data = 1000}, {.length = 512, .data = 2000}};
  run.moments = {moment(0), moment(1500), moment(1600), moment(2600)};
  EXPECT_THAT(prefixes(run), ElementsAre("0/0", "1/0", "1/1", "1/2", "2/2", "2/3"));
}

TEST_F(PowerStates, AreNotCountedAgainBehindAFlush) {
  RecordedRun run;
  run.writes = {{.length = 512, .data = 1000},
                {.data = 2000, .isFlush = true},
                {.length = 512, .data = 3000}};
  run.moments = {moment(0), moment(2500)};
  EXPECT_THAT(prefixes(run), ElementsAre("0/0", "1/0", "2/1", "3/1"));
}

TEST_F(PowerStates, KeepWhatWasFlushedOrForcedAndLoseSomeOfTheRest) {
  RecordedRun run;
  for (std::uint64_t i = 0; i < 100; ++i) {
    run.writes.push_back(
        {.length = 512, .data = i * 1024, .isFlush = i == 49, .isForced = i == 80});
  }
  const auto kept = keptWrites(run, {.begun = 100, .moment = 0, .seed = 7});
  EXPECT_THAT(std::vector(kept.begin(), kept.begin() + 50), SizeIs(50));
  EXPECT_EQ(kept[49], 49U);
  EXPECT_THAT(kept, testing::Contains(80U));
  EXPECT_LT(kept.size(), 100U);
  EXPECT_GT(kept.size(), 51U);
  EXPECT_EQ(keptWrites(run, {.begun = 100, .moment = 0, .seed = 7}), kept);
  EXPECT_THAT(keptWrites(run, {.begun = 100}), SizeIs(100));
}

TEST_F(PowerStates, LoseNothingWhereAllIsFlushed) {
  RecordedRun run;
  run.writes = {{.length = 512, .data = 1000}, {.data = 2000, .isFlush = true}};
  run.moments = {moment(0)};
  EXPECT_THAT(statesOf(run, 5), SizeIs(2));
}

}  // namespace
}  // namespace marrow::sweep

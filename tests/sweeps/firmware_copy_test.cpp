// Firmware variables that were interrupted while they were written.
#include "sweep/firmware_copy.h"

#include "rehearsal/files.h"
#include "tests/rehearsal/temporary_folder.h"

#include <gtest/gtest.h>

namespace marrow::sweep {
namespace {

using rehearsal::readFile;
using rehearsal::writeFile;

TEST(FirmwareCopy, TakesAnEmptyFileForWhatWasThereBefore) {
  const rehearsal::TemporaryFolder folder;
  writeFile(folder / "old", "value");
  writeFile(folder / "gone", "value");
  const FirmwareCopy before(folder.path());
  std::filesystem::remove(folder / "gone");
  writeFile(folder / "old", "");
  writeFile(folder / "new", "");
  writeFile(folder / "written", "value");
  FirmwareCopy found(folder.path());
  found.settle(before);
  found.putInto(folder.path());
  EXPECT_EQ(readFile(folder / "old"), "value");
  EXPECT_EQ(readFile(folder / "written"), "value");
  EXPECT_FALSE(readFile(folder / "new"));
  EXPECT_FALSE(readFile(folder / "gone"));
  EXPECT_EQ(FirmwareCopy(folder.path()), found);
}

}  // namespace
}  // namespace marrow::sweep

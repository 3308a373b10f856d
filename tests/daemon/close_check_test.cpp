#include "daemon/close_check.h"

#include "tests/host/host_test.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace marrow {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class CloseCheck : public HostTest {
 protected:
  int openFile() {
    machine.fileSystem.write("/tmp/file", "content");
    return machine.files.open("/tmp/file", OpenFlags::readOnly);
  }
};

TEST_F(CloseCheck, ClosesTheDescriptor) {
  closeOrDie(machine.files, machine.process, openFile());
  EXPECT_THAT(machine.files.openPaths(), IsEmpty());
  EXPECT_THAT(machine.journal.calls("Files.close"), SizeIs(1));
  EXPECT_THAT(machine.journal.calls("Process."), IsEmpty());
}

TEST_F(CloseCheck, DoesNothingWithoutADescriptor) {
  closeOrDie(machine.files, machine.process, -1);
  EXPECT_THAT(machine.journal.calls("Files.close"), IsEmpty());
  EXPECT_THAT(machine.journal.calls("Process."), IsEmpty());
}

TEST_F(CloseCheck, ACloseThatFailsEndsTheProcessWithErrnoInTheText) {
  const int descriptor = openFile();
  machine.faults.fail("Files.close", EIO);
  const RunEnded end = endOf([&] { closeOrDie(machine.files, machine.process, descriptor); });
  EXPECT_EQ(end.kind, RunEnded::Kind::abort);
  EXPECT_EQ(end.text, "close(" + std::to_string(descriptor) + ") failed: " + std::to_string(EIO) +
                          " (Input/output error)");
}

TEST_F(CloseCheck, ACloseThatFailsIsReportedAsAFault) {
  const int descriptor = openFile();
  machine.faults.fail("Files.close", EIO);
  endOf([&] { closeOrDie(machine.files, machine.process, descriptor); });
  ASSERT_THAT(machine.log.texts(LogLevel::fault), SizeIs(1));
  EXPECT_THAT(machine.log.texts(LogLevel::fault).front(), HasSubstr("failed: 5"));
}

TEST_F(CloseCheck, TheGuardClosesAtTheEndOfItsScope) {
  {
    const CheckedDescriptor guard(machine.files, machine.process, openFile());
    EXPECT_GE(guard.get(), 0);
    EXPECT_THAT(machine.files.openPaths(), SizeIs(1));
  }
  EXPECT_THAT(machine.files.openPaths(), IsEmpty());
}

TEST_F(CloseCheck, TheGuardDoesNothingWithoutADescriptor) {
  { const CheckedDescriptor guard(machine.files, machine.process, -1); }
  EXPECT_THAT(machine.journal.calls("Files.close"), IsEmpty());
}

TEST_F(CloseCheck, TheGuardEndsTheProcessWhenTheCloseFails) {
  const int descriptor = openFile();
  machine.faults.fail("Files.close", ENOSPC);
  const RunEnded end =
      endOf([&] { const CheckedDescriptor guard(machine.files, machine.process, descriptor); });
  EXPECT_EQ(end.kind, RunEnded::Kind::abort);
  EXPECT_THAT(end.text, HasSubstr("28 (No space left on device)"));
}

TEST_F(CloseCheck, TheGuardClosesWhenAnExceptionLeavesItsScope) {
  EXPECT_THROW(
      {
        const CheckedDescriptor guard(machine.files, machine.process, openFile());
        throw 1;
      },
      int);
  EXPECT_THAT(machine.files.openPaths(), IsEmpty());
}

}  // namespace
}  // namespace marrow

// The words of QEMU's control protocol and of its command line, and those of a serial console.
#include "rehearsal/vm/qemu.h"

#include "rehearsal/vm/qmp.h"
#include "rehearsal/vm/vm_run.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST(Qmp, KnowsTheGreeting) {
  const auto message = qmpMessageFrom(R"({"QMP": {"version": {}, "capabilities": []}})");
  ASSERT_TRUE(message);
  EXPECT_EQ(message->kind, QmpMessage::Kind::kGreeting);
}

TEST(Qmp, KnowsAnEventAndItsReason) {
  const auto message = qmpMessageFrom(
      R"({"event": "SHUTDOWN", "data": {"guest": true, "reason": "guest-reset"}, "timestamp": {}})");
  ASSERT_TRUE(message);
  EXPECT_EQ(message->kind, QmpMessage::Kind::kEvent);
  EXPECT_EQ(message->event, "SHUTDOWN");
  EXPECT_EQ(message->reason, "guest-reset");
}

TEST(Qmp, KnowsAnEventWithoutData) {
  const auto message = qmpMessageFrom(R"({"event": "STOP"})");
  ASSERT_TRUE(message);
  EXPECT_EQ(message->event, "STOP");
  EXPECT_EQ(message->reason, "");
}

TEST(Qmp, GivesAnAnswerTheNumberOfItsCommand) {
  const auto message = qmpMessageFrom(R"({"return": {}, "id": 7})");
  ASSERT_TRUE(message);
  EXPECT_EQ(message->kind, QmpMessage::Kind::kReturn);
  EXPECT_EQ(message->command, 7U);
}

TEST(Qmp, TellsWhatWasWrong) {
  const auto message =
      qmpMessageFrom(R"({"error": {"class": "GenericError", "desc": "no such file"}, "id": 8})");
  ASSERT_TRUE(message);
  EXPECT_EQ(message->kind, QmpMessage::Kind::kError);
  EXPECT_EQ(message->command, 8U);
  EXPECT_EQ(message->description, "no such file");
}

TEST(Qmp, TakesNothingElseForAMessage) {
  for (const char* line : {"", "{", "[]", "7", "{}", R"({"neither": 1})"}) {
    EXPECT_FALSE(qmpMessageFrom(line)) << line;
  }
}

TEST(Qmp, WritesCommandsOnOneLine) {
  EXPECT_EQ(qmpCommand(3, "stop"), "{\"execute\":\"stop\",\"id\":3}\n");
  const std::string command = qmpCommand(4, "screendump", {{"filename", "a\n\"b"}});
  EXPECT_THAT(command, HasSubstr(R"("filename":"a\n\"b")"));
  EXPECT_EQ(std::ranges::count(command, '\n'), 1);
}

class QemuArguments : public testing::Test {
 protected:
  std::vector<std::string> words() const { return qemuArguments(settings, {11, 12, 13}); }

  QemuSettings settings{.accelerator = "tcg",
                        .firmware = "/firmware",
                        .firmwareVariables = "/variables",
                        .disk = "/disk"};
};

TEST_F(QemuArguments, HandTheWiresOn) {
  EXPECT_THAT(words(), Contains("socket,id=console,fd=11"));
  EXPECT_THAT(words(), Contains("socket,id=reports,fd=12"));
  EXPECT_THAT(words(), Contains("socket,id=control,fd=13"));
}

TEST_F(QemuArguments, ProtectACommaInAPath) {
  settings.disk = "/a,b";
  EXPECT_THAT(words(), Contains(EndsWith("file.filename=/a,,b")));
}

TEST_F(QemuArguments, EndAtARestartOnlyWhenAsked) {
  EXPECT_THAT(words(), Not(Contains("-no-reboot")));
  settings.endsAtRestart = true;
  EXPECT_THAT(words(), Contains("-no-reboot"));
}

TEST_F(QemuArguments, PutTheLogBetweenDiskAndMachine) {
  EXPECT_THAT(words(), Contains("virtio-blk-pci,bootindex=1,drive=image"));
  settings.writeLog = "/log";
  EXPECT_THAT(words(), Contains("driver=blklogwrites,node-name=logged,file=image,log=log"));
  EXPECT_THAT(words(), Contains("virtio-blk-pci,bootindex=1,drive=logged"));
}

TEST(SerialConsole, IsShownWithoutControls) {
  EXPECT_EQ(withoutControls("\033[2J\033[01;01H\033[=3hBdsDxe: \033[0;32mOK\033[0m\r"),
            "BdsDxe: OK");
  EXPECT_EQ(withoutControls("cut off \033["), "cut off ");
  EXPECT_EQ(withoutControls("\033"), "");
}

TEST(SerialConsole, TellsWhichSystemBoots) {
  EXPECT_EQ(systemIn("[    0.0] Kernel command line: a marrow_vm=new-system b"), "new-system");
  EXPECT_EQ(systemIn("[    0.0] Kernel command line: a marrow_vm=installer"), "installer");
  EXPECT_EQ(systemIn("[    0.0] Kernel command line: kern.bootuuid=X"), kBaseSystem);
  EXPECT_EQ(systemIn("marrow_vm=installer"), "");
}

}  // namespace
}  // namespace marrow::rehearsal

#include "host/linux/linux_key_store.h"

#include "tests/linux/firmware/cut_writer.h"
#include "tests/linux/firmware/luks_image.h"
#include "tests/linux/firmware/mounted_image.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <cerrno>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace marrow {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kStaged =
    R"({"type":"marrow-stash","keyslots":["0"],"state":"staged","for":{"number":18446744073709551615,)"
    R"("parts":[1.5,null,true,"\u00e9"]}})";
const std::string kForeign =
    R"({"type":"other","keyslots":[],"state":"staged","text":"a \"quoted\" text","n":-1})";
const std::string kKeyring =
    R"({"type":"luks2-keyring","keyslots":["0"],"key_description":"somewhere"})";

json committed(const std::string& token) {
  auto value = json::parse(token);
  value["state"] = "committed";
  return value;
}

class LinuxKeyStoreTest : public testing::Test {
 protected:
  LinuxKeyStore storeOn(const std::optional<std::string>& node,
                        const char* library = kCryptLibrary) {
    return {log, [node] { return node; }, library};
  }
  int commit(const std::optional<std::string>& node) {
    return storeOn(node).cks_br_commit_stashed_kek();
  }

  TemporaryFolder folder;
  RecordedLog log;
  std::string path = folder.path("volume");
};

TEST_F(LinuxKeyStoreTest, AStagedTokenIsCommittedAndAllElseInItKept) {
  const auto image = makeLuksImage(path);
  image.addToken(kStaged);
  EXPECT_EQ(commit(path), 0);
  EXPECT_EQ(json::parse(image.token(0)), committed(kStaged));
  EXPECT_TRUE(image.opens());
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxKeyStoreTest, ARepeatedCommitWritesNothing) {
  const auto image = makeLuksImage(path);
  image.addToken(kStaged);
  EXPECT_EQ(commit(path), 0);
  const auto before = folder.read("volume");
  EXPECT_EQ(commit(path), 0);
  EXPECT_TRUE(folder.read("volume") == before);
}

TEST_F(LinuxKeyStoreTest, OtherTokensStayAsTheyAre) {
  const auto image = makeLuksImage(path);
  for (const auto& token : {kForeign, kStaged, kKeyring}) {
    image.addToken(token);
  }
  EXPECT_EQ(commit(path), 0);
  EXPECT_EQ(json::parse(image.token(0)), json::parse(kForeign));
  EXPECT_EQ(json::parse(image.token(1)), committed(kStaged));
  EXPECT_EQ(json::parse(image.token(2)), json::parse(kKeyring));
}

TEST_F(LinuxKeyStoreTest, EachTokenOfTheStashIsCommittedAlsoBehindOneThatIsInNeitherState) {
  const auto image = makeLuksImage(path);
  const std::string lost = R"({"type":"marrow-stash","keyslots":[],"state":"lost"})";
  for (const auto& token : {kStaged, lost, kStaged}) {
    image.addToken(token);
  }
  EXPECT_EQ(commit(path), EBADMSG);
  EXPECT_EQ(json::parse(image.token(0)), committed(kStaged));
  EXPECT_EQ(json::parse(image.token(1)), json::parse(lost));
  EXPECT_EQ(json::parse(image.token(2)), committed(kStaged));
  EXPECT_THAT(log.texts(),
              ElementsAre(AllOf(HasSubstr("token 1 of " + path), HasSubstr("neither"))));
}

TEST_F(LinuxKeyStoreTest, WhereNothingIsStashedNothingIsWrittenAndNothingSaid) {
  EXPECT_EQ(commit(std::nullopt), 0);
  folder.write("volume", std::string(std::size_t{1} << 20U, 'x'));
  EXPECT_EQ(commit(path), 0);
  const auto image = makeLuksImage(path);
  image.addToken(kForeign);
  const auto before = folder.read("volume");
  EXPECT_EQ(commit(path), 0);
  EXPECT_TRUE(folder.read("volume") == before);
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxKeyStoreTest, AnOlderHeaderHoldsNoStash) {
  folder.write("volume", std::string(std::size_t{4} << 20U, '\0'));
  const LuksImage image(path, "luks1");
  EXPECT_EQ(commit(path), 0);
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxKeyStoreTest, OneWholeCopyOfTheHeaderIsEnough) {
  for (const auto copy : {LuksCopy::first, LuksCopy::second}) {
    const auto image = makeLuksImage(path);
    image.addToken(kStaged);
    image.damage(copy);
    EXPECT_EQ(commit(path), 0);
    EXPECT_EQ(json::parse(image.token(0)), committed(kStaged));
    EXPECT_TRUE(image.opens());
  }
}

TEST_F(LinuxKeyStoreTest, AFirstCopyThatIsGoneWithoutATraceIsRestoredFromTheSecond) {
  const auto image = makeLuksImage(path);
  image.addToken(kStaged);
  image.erase(LuksCopy::first);
  EXPECT_EQ(commit(path), 0);
  image.erase(LuksCopy::second);
  EXPECT_EQ(json::parse(image.token(0)), committed(kStaged));
}

TEST_F(LinuxKeyStoreTest, TwoDamagedCopiesAreAnErrorThatNamesTheVolume) {
  const auto image = makeLuksImage(path);
  image.addToken(kStaged);
  image.damage(LuksCopy::first);
  image.damage(LuksCopy::second);
  const auto before = folder.read("volume");
  EXPECT_EQ(commit(path), EINVAL);
  EXPECT_TRUE(folder.read("volume") == before);
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("Cannot read the LUKS2 header of " + path)));
}

TEST_F(LinuxKeyStoreTest, AVolumeThatCannotBeReadIsAnError) {
  EXPECT_EQ(commit(path), ENOENT);
  EXPECT_THAT(log.texts(), ElementsAre("Cannot look for a stashed key on " + path +
                                       ". No such file or directory"));
}

TEST_F(LinuxKeyStoreTest, WithoutTheLibraryOnlyAnEncryptedVolumeIsAnError) {
  folder.write("volume", "no header");
  EXPECT_EQ(storeOn(path, "libmissing.so.1").cks_br_commit_stashed_kek(), 0);
  const auto image = makeLuksImage(path);
  image.addToken(kStaged);
  EXPECT_EQ(storeOn(path, "libmissing.so.1").cks_br_commit_stashed_kek(), ELIBACC);
  EXPECT_EQ(storeOn(path, "libm.so.6").cks_br_commit_stashed_kek(), ELIBACC);
  EXPECT_EQ(json::parse(image.token(0)), json::parse(kStaged));
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("Cannot load libmissing.so.1, which " + path),
                                       HasSubstr("Cannot load libm.so.6")));
}

TEST_F(LinuxKeyStoreTest, AVolumeThatCannotBeWrittenIsAnError) {
  const MountedMemory memory{"size=4m"};
  const auto image = makeLuksImage(memory.path() + "/volume");
  image.addToken(kStaged);
  memory.makeReadOnly();
  EXPECT_THAT(commit(image.path()), AnyOf(EROFS, EACCES, EPERM));
  EXPECT_EQ(json::parse(image.token(0)), json::parse(kStaged));
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("Cannot commit token 0 of " + image.path())));
}

// The stage of the token that a cut left behind; a second commit must reach the same end.
void expectWholeAfterCut(const LuksImage& image, LinuxKeyStore& store) {
  EXPECT_THAT(json::parse(image.token(1)), AnyOf(json::parse(kStaged), committed(kStaged)));
  EXPECT_EQ(json::parse(image.token(0)), json::parse(kForeign));
  EXPECT_TRUE(image.opens());
  EXPECT_EQ(store.cks_br_commit_stashed_kek(), 0);
  EXPECT_EQ(json::parse(image.token(1)), committed(kStaged));
  EXPECT_TRUE(image.opens());
}

class CutKeyStore : public LinuxKeyStoreTest, public testing::WithParamInterface<CutWrite> {};
INSTANTIATE_TEST_SUITE_P(Writes, CutKeyStore,
                         testing::Values(CutWrite::nothing, CutWrite::half, CutWrite::all));

TEST_P(CutKeyStore, AtEveryWriteTheTokenIsStagedOrCommittedAndTheVolumeOpens) {
  const auto image = makeLuksImage(path);
  image.addToken(kForeign);
  image.addToken(kStaged);
  std::filesystem::copy_file(path, folder.path("staged"));
  auto store = storeOn(path);
  int writes = 0;
  while (cutAtWrite(path, writes + 1, GetParam(), [&] { store.cks_br_commit_stashed_kek(); })) {
    ++writes;
    SCOPED_TRACE("cut at write " + std::to_string(writes));
    expectWholeAfterCut(image, store);
    std::filesystem::copy_file(folder.path("staged"), path,
                               std::filesystem::copy_options::overwrite_existing);
  }
  // Both copies were written, each in two parts at least.
  EXPECT_GE(writes, 4);
  EXPECT_EQ(json::parse(image.token(1)), committed(kStaged));
}

}  // namespace
}  // namespace marrow

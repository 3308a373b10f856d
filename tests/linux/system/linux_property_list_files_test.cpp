#include "host/linux/linux_property_list_files.h"

#include "host/linux/property_list_reader.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/failing_calls.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

class LinuxPropertyListFilesTest : public testing::Test {
 protected:
  ~LinuxPropertyListFilesTest() override { failingCalls = FailingCalls(); }

  std::int64_t codeOf(const std::string& place) {
    ErrorRef error;
    EXPECT_FALSE(lists.readDictionary(place, &error));
    EXPECT_EQ(error->domain(), kPOSIXErrorDomain);
    EXPECT_NE(error->localizedDescription()->find(place), std::string::npos);
    return error->code();
  }
  std::size_t filesInFolder() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
  }
  static PropertyListDictionary dictionary(const std::string& value) {
    PropertyListDictionary made;
    made.set("key", PropertyListValue(value));
    return made;
  }

  const ScratchFolder folder{"/var/tmp/marrow-test-XXXXXX"};
  const std::string path = folder.at("nvram.plist");
  RecordedLog log;
  LinuxPropertyListFiles lists{log};
};

TEST_F(LinuxPropertyListFilesTest, TellsTheLogWhatCannotBeReadWhereNobodyAsksWhy) {
  EXPECT_FALSE(lists.readDictionary(path, nullptr));
  EXPECT_TRUE(log.texts().empty());
  fs::create_directory(path);
  EXPECT_FALSE(lists.readDictionary(path, nullptr));
  EXPECT_THAT(log.texts(),
              testing::ElementsAre("Cannot read the property list " + path + ": Is a directory"));
  EXPECT_EQ(codeOf(path), EISDIR);
  EXPECT_EQ(log.texts().size(), 1U);
}

TEST_F(LinuxPropertyListFilesTest, WritesReadableXML) {
  PropertyListDictionary list = dictionary(" a & b ");
  list.set("truth", PropertyListValue(true));
  list.set("none", PropertyListValue(std::string()));
  EXPECT_TRUE(lists.writeDictionary(list, path));
  EXPECT_EQ(fileText(path),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<plist version=\"1.0\">\n\t<dict>\n"
            "\t\t<key>key</key>\n\t\t<string> a &amp; b </string>\n"
            "\t\t<key>truth</key>\n\t\t<true />\n"
            "\t\t<key>none</key>\n\t\t<string />\n"
            "\t</dict>\n</plist>\n");
}

TEST_F(LinuxPropertyListFilesTest, NamesFileLineAndReasonOfAMalformedFile) {
  writeFile(path, "<plist version=\"1.0\">\n<dict>\n<key>a</key>\n</dict>\n</plist>\n");
  ErrorRef error;
  EXPECT_FALSE(lists.readDictionary(path, &error));
  EXPECT_EQ(error->domain(), "MWPropertyListErrorDomain");
  EXPECT_EQ(error->code(), 1);
  EXPECT_EQ(error->localizedDescription(), path + ", line 3: a <key> without a value");
}

TEST_F(LinuxPropertyListFilesTest, RefusesWhatIsNoRegularFileWithoutWaiting) {
  fs::create_directory(folder.at("folder"));
  ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
  writeFile(folder.at("target"), "");
  fs::create_symlink(folder.at("target"), folder.at("link"));
  EXPECT_EQ(codeOf(folder.at("missing")), ENOENT);
  EXPECT_EQ(codeOf(folder.at("target/below")), ENOTDIR);
  EXPECT_EQ(codeOf(folder.at("folder")), EISDIR);
  EXPECT_EQ(codeOf(folder.at("fifo")), EINVAL);
  EXPECT_EQ(codeOf("/dev/null"), EINVAL);
  EXPECT_EQ(codeOf(folder.at("link")), ELOOP);
}

TEST_F(LinuxPropertyListFilesTest, RefusesAFileThatIsTooLarge) {
  writeFile(path, "");
  ASSERT_EQ(::truncate(path.c_str(), static_cast<off_t>(kPropertyListSizeLimit) + 1), 0);
  EXPECT_EQ(codeOf(path), EFBIG);
}

TEST_F(LinuxPropertyListFilesTest, KeepsOwnerModeAndAttributesOfTheOldFile) {
  EXPECT_TRUE(lists.writeDictionary(dictionary("old"), path));
  ASSERT_EQ(::chown(path.c_str(), 12, 34), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  ASSERT_EQ(::setxattr(path.c_str(), "user.mark", "yes", 3, 0), 0);
  EXPECT_TRUE(lists.writeDictionary(dictionary("new"), path));
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12U);
  EXPECT_EQ(status.st_gid, 34U);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  std::array<char, 8> value{};
  EXPECT_EQ(::getxattr(path.c_str(), "user.mark", value.data(), value.size()), 3);
}

TEST_F(LinuxPropertyListFilesTest, KeepsTheOldFileWhenATextDoesNotFitIntoXML) {
  EXPECT_TRUE(lists.writeDictionary(dictionary("old"), path));
  const std::string before = fileText(path);
  for (const std::string& text : {std::string("\x01"), std::string("\0", 1), std::string("\xFF")}) {
    EXPECT_FALSE(lists.writeDictionary(dictionary(text), path));
    PropertyListDictionary key;
    key.set(text, PropertyListValue(true));
    EXPECT_FALSE(lists.writeDictionary(key, path));
  }
  EXPECT_EQ(fileText(path), before);
  EXPECT_EQ(filesInFolder(), 1U);
  EXPECT_EQ(log.texts().front(),
            "Cannot write the property list " + path + ": a <string> that XML cannot hold");
}

TEST_F(LinuxPropertyListFilesTest, KeepsTheOldFileWhenTheNewOneCannotBeFlushed) {
  EXPECT_TRUE(lists.writeDictionary(dictionary("old"), path));
  const std::string before = fileText(path);
  failingCalls.fsync = EIO;
  EXPECT_FALSE(lists.writeDictionary(dictionary("new"), path));
  EXPECT_EQ(fileText(path), before);
  EXPECT_EQ(filesInFolder(), 1U);
  EXPECT_EQ(log.texts(), std::vector<std::string>{"Cannot write the property list " + path +
                                                  ": Input/output error"});
}

TEST_F(LinuxPropertyListFilesTest, FailsWhenTheFolderCannotBeFlushed) {
  failingCalls = FailingCalls();
  failingCalls.fsync = EIO;
  failingCalls.fsyncFrom = 2;
  EXPECT_FALSE(lists.writeDictionary(dictionary("new"), path));
  EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(LinuxPropertyListFilesTest, WritesThroughNoLinkAndOverNoFolder) {
  writeFile(folder.at("target"), "kept");
  fs::create_symlink(folder.at("target"), folder.at("link"));
  fs::create_directory(folder.at("folder"));
  EXPECT_FALSE(lists.writeDictionary(dictionary("new"), folder.at("link")));
  EXPECT_FALSE(lists.writeDictionary(dictionary("new"), folder.at("folder")));
  EXPECT_EQ(fileText(folder.at("target")), "kept");
  EXPECT_EQ(filesInFolder(), 3U);
}

TEST_F(LinuxPropertyListFilesTest, ShowsAWatcherTheOldOrTheNewFileWhole) {
  const std::string large(200'000, 'x');
  EXPECT_TRUE(lists.writeDictionary(dictionary(large), path));
  std::atomic<bool> done = false;
  std::thread watcher([&] {
    while (!done) {
      ErrorRef error;
      const auto seen = LinuxPropertyListFiles(log).readDictionary(path, &error);
      ASSERT_TRUE(seen) << error->description();
      const PropertyListValue* value = seen->find("key");
      ASSERT_NE(value, nullptr);
      const auto* text = value->as<std::string>();
      ASSERT_NE(text, nullptr);
      ASSERT_EQ(*text, std::string(large.size(), text->front()));
    }
  });
  for (int round = 0; round < 50; ++round) {
    EXPECT_TRUE(lists.writeDictionary(
        dictionary(std::string(large.size(), static_cast<char>('a' + round % 26))), path));
  }
  done = true;
  watcher.join();
}

}  // namespace

}  // namespace marrow

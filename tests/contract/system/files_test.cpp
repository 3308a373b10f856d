#include "tests/contract/system/system_world.h"

#include <array>
#include <cerrno>

namespace marrow {

namespace {

using FilesContract = SystemContract;
INSTANTIATE_TEST_SUITE_P(Worlds, FilesContract, bothWorlds(), nameOfWorld);

TEST_P(FilesContract, GivesBackWhatWasWritten) {
  put(world->at("file"), "some text");
  EXPECT_EQ(get(world->at("file")), "some text");
}

TEST_P(FilesContract, CreatesFilesReadableByAll) {
  put(world->at("file"), "");
  EXPECT_EQ(world->mode(world->at("file")), 0644U);
}

TEST_P(FilesContract, TruncatesOnlyWhenAsked) {
  put(world->at("file"), "long text");
  Files& files = world->files();
  const int kept = files.open(world->at("file"), OpenFlags::writeOnly);
  EXPECT_EQ(files.write(kept, "LONG"), 4);
  EXPECT_EQ(files.close(kept), 0);
  EXPECT_EQ(get(world->at("file")), "LONG text");
}

TEST_P(FilesContract, AppendsAtTheEnd) {
  put(world->at("file"), "one");
  Files& files = world->files();
  const int file = files.open(world->at("file"), OpenFlags::writeOnly | OpenFlags::append);
  EXPECT_EQ(files.write(file, " two"), 4);
  EXPECT_EQ(files.close(file), 0);
  EXPECT_EQ(get(world->at("file")), "one two");
}

TEST_P(FilesContract, WritesPiecesAsOneText) {
  put(world->at("file"), "one");
  Files& files = world->files();
  const int file = files.open(world->at("file"), OpenFlags::writeOnly | OpenFlags::append);
  const std::array<std::string_view, 4> pieces{" two", "", " three", "\n"};
  EXPECT_EQ(files.write(file, pieces), 11);
  EXPECT_EQ(files.close(file), 0);
  EXPECT_EQ(get(world->at("file")), "one two three\n");
  EXPECT_EQ(files.write(-1, pieces), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_P(FilesContract, ReadsAtMostAsMuchAsTheBufferHolds) {
  put(world->at("file"), "abcdef");
  Files& files = world->files();
  const int file = files.open(world->at("file"), OpenFlags::readOnly);
  std::array<std::byte, 4> buffer{};
  EXPECT_EQ(files.read(file, buffer), 4);
  EXPECT_EQ(files.read(file, buffer), 2);
  EXPECT_EQ(files.read(file, buffer), 0);
  EXPECT_EQ(files.close(file), 0);
}

TEST_P(FilesContract, FailsToOpenWhatIsMissing) {
  errno = 0;
  EXPECT_EQ(world->files().open(world->at("missing"), OpenFlags::readOnly), -1);
  EXPECT_EQ(errno, ENOENT);
  errno = 0;
  EXPECT_EQ(
      world->files().open(world->at("missing/file"), OpenFlags::writeOnly | OpenFlags::create), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(FilesContract, FailsToOpenBelowAFile) {
  put(world->at("file"), "");
  errno = 0;
  EXPECT_EQ(world->files().open(world->at("file/below"), OpenFlags::readOnly), -1);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST_P(FilesContract, FailsToOpenAFolderForWriting) {
  world->makeFolder(world->at("folder"));
  errno = 0;
  EXPECT_EQ(world->files().open(world->at("folder"), OpenFlags::writeOnly), -1);
  EXPECT_EQ(errno, EISDIR);
}

TEST_P(FilesContract, FailsOnADescriptorThatIsNone) {
  Files& files = world->files();
  std::array<std::byte, 1> buffer{};
  FileStatus status;
  const auto failsWithBadDescriptor = [](std::int64_t result) {
    return result == -1 && errno == EBADF;
  };
  errno = 0;
  EXPECT_TRUE(failsWithBadDescriptor(files.read(-1, buffer)));
  EXPECT_TRUE(failsWithBadDescriptor(files.write(-1, "text")));
  EXPECT_TRUE(failsWithBadDescriptor(files.sync(-1)));
  EXPECT_TRUE(failsWithBadDescriptor(files.fullSync(-1)));
  EXPECT_TRUE(failsWithBadDescriptor(files.statusOf(-1, status)));
  EXPECT_TRUE(failsWithBadDescriptor(files.close(-1)));
}

TEST_P(FilesContract, SyncsFilesAndFolders) {
  put(world->at("file"), "text");
  Files& files = world->files();
  for (const char* name : {"file", "."}) {
    const std::string path = std::string(name) == "." ? world->at("") : world->at(name);
    const int file = files.open(path, OpenFlags::readOnly);
    ASSERT_GE(file, 0) << path;
    EXPECT_EQ(files.sync(file), 0);
    EXPECT_EQ(files.fullSync(file), 0);
    EXPECT_EQ(files.close(file), 0);
  }
}

TEST_P(FilesContract, TellsTheSizeOfAFile) {
  put(world->at("file"), "12345");
  FileStatus status;
  EXPECT_EQ(world->files().statusAt(world->at("file"), status), 0);
  EXPECT_EQ(status.size, 5);
  EXPECT_EQ(status.deviceNumber, 0U);
  const int file = world->files().open(world->at("file"), OpenFlags::readOnly);
  FileStatus opened;
  EXPECT_EQ(world->files().statusOf(file, opened), 0);
  EXPECT_EQ(opened.size, 5);
  EXPECT_EQ(world->files().close(file), 0);
}

TEST_P(FilesContract, FollowsLinksForTheStatusButNotForTheExistence) {
  world->makeLink(world->at("link"), world->at("missing"));
  FileStatus status;
  errno = 0;
  EXPECT_EQ(world->files().statusAt(world->at("link"), status), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(world->files().exists(world->at("link")), 0);
  errno = 0;
  EXPECT_EQ(world->files().exists(world->at("missing")), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(FilesContract, OpensNoLinkWhenItMustNotFollow) {
  put(world->at("target"), "text");
  world->makeLink(world->at("link"), world->at("target"));
  errno = 0;
  EXPECT_EQ(world->files().open(world->at("link"), OpenFlags::readOnly | OpenFlags::noFollow), -1);
  EXPECT_EQ(errno, ELOOP);
  const int file =
      world->files().open(world->at("target"), OpenFlags::readOnly | OpenFlags::noFollow);
  EXPECT_GE(file, 0);
  EXPECT_EQ(world->files().close(file), 0);
}

TEST_P(FilesContract, OpensNothingThroughALinkWhenThereMustBeNone) {
  world->makeFolder(world->at("outside"));
  put(world->at("outside/file"), "text");
  world->makeLink(world->at("link"), world->at("outside"));
  constexpr OpenFlags kWriting = OpenFlags::writeOnly | OpenFlags::create | OpenFlags::truncate;
  for (const char* name : {"link", "link/file", "link/new"}) {
    errno = 0;
    EXPECT_EQ(world->files().open(world->at(name), OpenFlags::readOnly | OpenFlags::noLinks), -1);
    EXPECT_EQ(errno, ELOOP) << name;
  }
  for (const char* name : {"link/file", "link/new"}) {
    errno = 0;
    EXPECT_EQ(world->files().open(world->at(name), kWriting | OpenFlags::noLinks), -1);
    EXPECT_EQ(errno, ELOOP) << name;
  }
  EXPECT_EQ(get(world->at("outside/file")), "text");
  EXPECT_EQ(world->names(world->at("outside")).size(), 1U);
}

TEST_P(FilesContract, PutsANewFileInThePlaceOfALinkAndOfAFIFO) {
  put(world->at("target"), "text");
  world->makeLink(world->at("link"), world->at("target"));
  ASSERT_EQ(world->files().makeFIFO(world->at("fifo"), 0600), 0);
  put(world->at("file"), "longer than the new text");
  for (const char* name : {"link", "fifo", "file", "missing"}) {
    const int file =
        world->files().open(world->at(name), OpenFlags::writeOnly | OpenFlags::create |
                                                 OpenFlags::truncate | OpenFlags::noLinks);
    EXPECT_EQ(world->files().write(file, "new"), 3) << name;
    EXPECT_EQ(world->files().close(file), 0);
    EXPECT_EQ(get(world->at(name)), "new") << name;
  }
  EXPECT_EQ(get(world->at("target")), "text");
}

TEST_P(FilesContract, MakesAFIFOOnceOnly) {
  EXPECT_EQ(world->files().makeFIFO(world->at("fifo"), 0600), 0);
  EXPECT_EQ(world->mode(world->at("fifo")), 0600U);
  errno = 0;
  EXPECT_EQ(world->files().makeFIFO(world->at("fifo"), 0600), -1);
  EXPECT_EQ(errno, EEXIST);
}

TEST_P(FilesContract, UnlinksTheLinkAndNotItsTarget) {
  put(world->at("target"), "text");
  world->makeLink(world->at("link"), world->at("target"));
  EXPECT_EQ(world->files().unlink(world->at("link")), 0);
  EXPECT_FALSE(exists(world->at("link")));
  EXPECT_TRUE(exists(world->at("target")));
  errno = 0;
  EXPECT_EQ(world->files().unlink(world->at("link")), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(FilesContract, UnlinksNoFolder) {
  world->makeFolder(world->at("folder"));
  errno = 0;
  EXPECT_EQ(world->files().unlink(world->at("folder")), -1);
  EXPECT_EQ(errno, EISDIR);
}

}  // namespace

}  // namespace marrow

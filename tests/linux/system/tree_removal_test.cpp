#include "host/linux/tree_removal.h"

#include "host/linux/descriptor.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/loop_mount.h"
#include "tests/linux/system/text_files.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// Folders inside each other, deeper than a path can tell, with a file in each.
void makeDeep(const std::string& top, int levels, const std::string& name) {
  ASSERT_EQ(::mkdir(top.c_str(), 0755), 0);
  Descriptor here(::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (int level = 0; level < levels; ++level) {
    ASSERT_EQ(::mkdirat(here.number(), name.c_str(), 0755), 0);
    const Descriptor file(::openat(here.number(), "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    ASSERT_TRUE(file);
    here = Descriptor(::openat(here.number(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(here);
  }
}

class TreeRemovalTest : public testing::Test {
 protected:
  const ScratchFolder folder{"/var/tmp/marrow-test-XXXXXX"};
};

// In a process of its own that has nothing else open. Side by side, where two threads take part.
TEST_F(TreeRemovalTest, RemovesDeepTreesOfLongNamesWithSixteenDescriptors) {
  fs::create_directory(folder.at("tree"));
  makeDeep(folder.at("tree/one"), 200, std::string(255, 'd'));
  makeDeep(folder.at("tree/other"), 200, std::string(255, 'd'));
  const pid_t child = ::fork();
  if (child == 0) {
    constexpr rlim_t kDescriptors = 16;
    const rlimit limit{kDescriptors, kDescriptors};
    const bool limited = ::close_range(0, ~0U, 0) == 0 && ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
    ::_exit(limited && removeTree(folder.at("tree")) == 0 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(fs::exists(folder.at("tree")));
}

TEST_F(TreeRemovalTest, RemovesATreeOfManyThousandLevels) {
  makeDeep(folder.at("tree"), 5000, "d");
  EXPECT_EQ(removeTree(folder.at("tree")), 0);
  EXPECT_FALSE(fs::exists(folder.at("tree")));
}

TEST_F(TreeRemovalTest, RemovesManyFoldersSideBySide) {
  for (int part = 0; part < 100; ++part) {
    const std::string place = folder.at("tree/" + std::to_string(part));
    fs::create_directories(place);
    for (int number = 0; number < 200; ++number) {
      writeFile(place + '/' + std::to_string(number), "");
    }
  }
  EXPECT_EQ(removeTree(folder.at("tree")), 0);
  EXPECT_FALSE(fs::exists(folder.at("tree")));
}

TEST_F(TreeRemovalTest, RemovesEverythingButWhatIsImmutable) {
  const LoopMount volume("ext4");
  fs::create_directories(volume.at("tree/a/b"));
  fs::create_directories(volume.at("tree/c"));
  writeFile(volume.at("tree/a/b/kept"), "text");
  writeFile(volume.at("tree/a/gone"), "text");
  writeFile(volume.at("tree/c/gone"), "text");
  ASSERT_EQ(std::system(("chattr +i " + volume.at("tree/a/b/kept")).c_str()), 0);
  errno = 0;
  EXPECT_EQ(removeTree(volume.at("tree")), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_TRUE(fs::exists(volume.at("tree/a/b/kept")));
  EXPECT_FALSE(fs::exists(volume.at("tree/a/gone")));
  EXPECT_FALSE(fs::exists(volume.at("tree/c")));
  ASSERT_EQ(std::system(("chattr -i " + volume.at("tree/a/b/kept")).c_str()), 0);
  EXPECT_EQ(removeTree(volume.at("tree")), 0);
}

// Whichever thread finds it.
TEST_F(TreeRemovalTest, TellsWhatStaysInOneOfManyFolders) {
  const LoopMount volume("ext4");
  for (int number = 0; number < 40; ++number) {
    const std::string place = volume.at("tree/" + std::to_string(number));
    fs::create_directories(place + "/inner");
    writeFile(place + "/inner/file", "text");
  }
  const std::string kept = volume.at("tree/17/inner/file");
  ASSERT_EQ(std::system(("chattr +i " + kept).c_str()), 0);
  errno = 0;
  EXPECT_EQ(removeTree(volume.at("tree")), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_EQ(std::distance(fs::directory_iterator(volume.at("tree")), fs::directory_iterator()), 1);
  ASSERT_EQ(std::system(("chattr -i " + kept).c_str()), 0);
  EXPECT_EQ(removeTree(volume.at("tree")), 0);
}

TEST_F(TreeRemovalTest, TellsTheImmutabilityOfTheTopFolder) {
  const LoopMount volume("ext4");
  fs::create_directories(volume.at("tree"));
  ASSERT_EQ(std::system(("chattr +i " + volume.at("tree")).c_str()), 0);
  errno = 0;
  EXPECT_EQ(removeTree(volume.at("tree")), -1);
  EXPECT_EQ(errno, EPERM);
  ASSERT_EQ(std::system(("chattr -i " + volume.at("tree")).c_str()), 0);
}

TEST_F(TreeRemovalTest, EntersNoOtherFileSystemMountedInside) {
  const LoopMount volume("tmpfs");
  writeFile(volume.at("kept"), "text");
  fs::create_directories(folder.at("tree/mounted"));
  writeFile(folder.at("tree/gone"), "text");
  ASSERT_EQ(::mount("tmpfs", folder.at("tree/mounted").c_str(), "tmpfs", 0, nullptr), 0);
  writeFile(folder.at("tree/mounted/kept"), "text");
  errno = 0;
  EXPECT_EQ(removeTree(folder.at("tree")), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_FALSE(fs::exists(folder.at("tree/gone")));
  EXPECT_EQ(fileText(folder.at("tree/mounted/kept")), "text");
  ASSERT_EQ(::umount(folder.at("tree/mounted").c_str()), 0);
  EXPECT_EQ(removeTree(folder.at("tree")), 0);
}

TEST_F(TreeRemovalTest, EntersNoFolderOfTheSameFileSystemThatIsBoundInside) {
  enterPrivateMounts();
  fs::create_directories(folder.at("outside"));
  writeFile(folder.at("outside/kept"), "text");
  fs::create_directories(folder.at("tree/bound"));
  ASSERT_EQ(::mount(folder.at("outside").c_str(), folder.at("tree/bound").c_str(), nullptr, MS_BIND,
                    nullptr),
            0);
  errno = 0;
  EXPECT_EQ(removeTree(folder.at("tree")), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(fileText(folder.at("outside/kept")), "text");
  ASSERT_EQ(::umount(folder.at("tree/bound").c_str()), 0);
  EXPECT_EQ(removeTree(folder.at("tree")), 0);
}

TEST_F(TreeRemovalTest, EntersNoFolderThatIsBoundOverTheTreeItself) {
  enterPrivateMounts();
  fs::create_directories(folder.at("outside"));
  writeFile(folder.at("outside/kept"), "text");
  fs::create_directories(folder.at("tree"));
  ASSERT_EQ(
      ::mount(folder.at("outside").c_str(), folder.at("tree").c_str(), nullptr, MS_BIND, nullptr),
      0);
  errno = 0;
  EXPECT_EQ(removeTree(folder.at("tree")), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(fileText(folder.at("outside/kept")), "text");
  ASSERT_EQ(::umount(folder.at("tree").c_str()), 0);
}

TEST_F(TreeRemovalTest, TouchesNothingThroughALinkOnTheWay) {
  fs::create_directories(folder.at("outside/tree"));
  fs::create_directory_symlink(folder.at("outside"), folder.at("link"));
  errno = 0;
  EXPECT_EQ(removeTree(folder.at("link/tree")), -1);
  EXPECT_EQ(errno, ELOOP);
  EXPECT_TRUE(fs::exists(folder.at("outside/tree")));
}

TEST_F(TreeRemovalTest, RemovesLinksPipesAndBrokenLinksAsTheyAre) {
  fs::create_directories(folder.at("outside"));
  writeFile(folder.at("outside/kept"), "text");
  fs::create_directories(folder.at("tree"));
  fs::create_directory_symlink(folder.at("outside"), folder.at("tree/link"));
  fs::create_symlink("/missing", folder.at("tree/broken"));
  ASSERT_EQ(::mkfifo(folder.at("tree/fifo").c_str(), 0600), 0);
  EXPECT_EQ(removeTree(folder.at("tree")), 0);
  EXPECT_EQ(fileText(folder.at("outside/kept")), "text");
}

TEST_F(TreeRemovalTest, RemovesALinkItselfAlsoWithASlashBehindIt) {
  fs::create_directories(folder.at("outside/kept"));
  fs::create_directory_symlink(folder.at("outside"), folder.at("link"));
  EXPECT_EQ(removeTree(folder.at("link") + '/'), 0);
  EXPECT_TRUE(fs::exists(folder.at("outside/kept")));
  EXPECT_FALSE(fs::is_symlink(folder.at("link")));
}

TEST_F(TreeRemovalTest, RemovesReadOnlyFolders) {
  fs::create_directories(folder.at("tree/closed"));
  writeFile(folder.at("tree/closed/file"), "text");
  ASSERT_EQ(::chmod(folder.at("tree/closed").c_str(), 0), 0);
  EXPECT_EQ(removeTree(folder.at("tree")), 0);
}

// In a process of its own that has no other root than the test's folder.
TEST_F(TreeRemovalTest, RefusesTheRoot) {
  writeFile(folder.at("kept"), "text");
  const pid_t child = ::fork();
  if (child == 0) {
    const bool enclosed = ::chroot(folder.path().c_str()) == 0 && ::chdir("/") == 0;
    ::_exit(enclosed && removeTree("//") == -1 && errno == EBUSY ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(fileText(folder.at("kept")), "text");
}

TEST_F(TreeRemovalTest, RefusesAFolderByTheNamesThatEachFolderHas) {
  fs::create_directories(folder.at("tree/kept"));
  for (const std::string name : {"tree/.", "tree/kept/.."}) {
    errno = 0;
    EXPECT_EQ(removeTree(folder.at(name)), -1);
    EXPECT_EQ(errno, EINVAL) << name;
  }
  EXPECT_TRUE(fs::exists(folder.at("tree/kept")));
}

}  // namespace

}  // namespace marrow

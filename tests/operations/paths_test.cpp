#include "host/paths.h"

#include <gtest/gtest.h>

namespace marrow {
namespace {

TEST(AppendPathComponent, PutsOneSlashBetween) {
  EXPECT_EQ(appendPathComponent("/a", "b"), "/a/b");
  EXPECT_EQ(appendPathComponent("/a/", "b"), "/a/b");
  EXPECT_EQ(appendPathComponent("/a", "/b"), "/a/b");
  EXPECT_EQ(appendPathComponent("/a/", "/b"), "/a/b");
}

TEST(AppendPathComponent, TakesSeveralComponents) {
  EXPECT_EQ(appendPathComponent("/a", "b/c"), "/a/b/c");
  EXPECT_EQ(appendPathComponent("/a", "/var/db/.cookie"), "/a/var/db/.cookie");
}

TEST(AppendPathComponent, DropsNeedlessSlashes) {
  EXPECT_EQ(appendPathComponent("//a//", "//b//c//"), "/a/b/c");
}

TEST(AppendPathComponent, WithNothingToAppendLeavesThePath) {
  EXPECT_EQ(appendPathComponent("/a", ""), "/a");
  EXPECT_EQ(appendPathComponent("/a/", ""), "/a");
}

TEST(AppendPathComponent, ToTheRootHasOneSlash) {
  EXPECT_EQ(appendPathComponent("/", "a"), "/a");
  EXPECT_EQ(appendPathComponent("/", "/"), "/");
  EXPECT_EQ(appendPathComponent("/", ""), "/");
}

TEST(AppendPathComponent, ToNothingIsTheComponent) {
  EXPECT_EQ(appendPathComponent("", "a"), "a");
  EXPECT_EQ(appendPathComponent("", ""), "");
}

TEST(LastPathComponent, IsWhatFollowsTheLastSlash) {
  EXPECT_EQ(lastPathComponent("/a/b"), "b");
  EXPECT_EQ(lastPathComponent("/b"), "b");
  EXPECT_EQ(lastPathComponent("b"), "b");
}

TEST(LastPathComponent, LooksPastATrailingSlash) {
  EXPECT_EQ(lastPathComponent("/a/b/"), "b");
  EXPECT_EQ(lastPathComponent("b///"), "b");
}

TEST(LastPathComponent, OfTheRootIsTheRoot) {
  EXPECT_EQ(lastPathComponent("/"), "/");
  EXPECT_EQ(lastPathComponent("//"), "/");
}

TEST(LastPathComponent, OfNothingIsNothing) { EXPECT_EQ(lastPathComponent(""), ""); }

TEST(DeletingLastPathComponent, LeavesTheFolder) {
  EXPECT_EQ(deletingLastPathComponent("/a/b"), "/a");
  EXPECT_EQ(deletingLastPathComponent("a/b"), "a");
  EXPECT_EQ(deletingLastPathComponent("/a/b/c"), "/a/b");
}

TEST(DeletingLastPathComponent, LooksPastATrailingSlash) {
  EXPECT_EQ(deletingLastPathComponent("/a/b/"), "/a");
}

TEST(DeletingLastPathComponent, OfATopFolderIsTheRoot) {
  EXPECT_EQ(deletingLastPathComponent("/a"), "/");
  EXPECT_EQ(deletingLastPathComponent("/"), "/");
}

TEST(DeletingLastPathComponent, OfOneComponentIsNothing) {
  EXPECT_EQ(deletingLastPathComponent("a"), "");
  EXPECT_EQ(deletingLastPathComponent(""), "");
}

}  // namespace
}  // namespace marrow

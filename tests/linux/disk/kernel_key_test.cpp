#include "host/linux/kernel_key.h"

#include "tests/linux/disk/test_key.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow {

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kDescription[] = "marrow-test";

TEST(KernelKey, IsOnePassphraseWithoutAZeroByte) {
  const TestKey stored(kDescription, "one word, a blank\n");
  const KernelKey key(kDescription);
  EXPECT_EQ(key.errorNumber(), 0);
  EXPECT_THAT(key.passphrases(), ElementsAre("one word, a blank\n"));
}

TEST(KernelKey, IsEachPassphraseThatAZeroByteEnds) {
  const TestKey stored(kDescription, std::string("first\0\0second\0third", 19));
  EXPECT_THAT(KernelKey(kDescription).passphrases(), ElementsAre("first", "second", "third"));
}

TEST(KernelKey, MayBeAsLongAsTheKernelTakes) {
  const std::string longest(32767, 'x');
  const TestKey stored(kDescription, longest);
  EXPECT_THAT(KernelKey(kDescription).passphrases(), ElementsAre(longest));
}

TEST(KernelKey, ThatIsMissingIsAnError) {
  const KernelKey key(kDescription);
  EXPECT_EQ(key.errorNumber(), ENOKEY);
  EXPECT_THAT(key.passphrases(), IsEmpty());
}

TEST(KernelKey, ThatHoldsNothingButZeroBytesIsAnError) {
  const TestKey stored(kDescription, std::string(2, '\0'));
  EXPECT_EQ(KernelKey(kDescription).errorNumber(), ENOKEY);
}

TEST(KernelKey, ThatWasRevokedIsAnError) {
  const TestKey stored(kDescription, "word");
  stored.revoke();
  const KernelKey key(kDescription);
  EXPECT_THAT(key.errorNumber(), AnyOf(EKEYREVOKED, ENOKEY));
  EXPECT_THAT(key.passphrases(), IsEmpty());
}

}  // namespace

}  // namespace marrow

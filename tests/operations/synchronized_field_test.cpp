#include "operations/synchronized_field.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace marrow {
namespace {

TEST(SynchronizedField, BeginsEmpty) {
  EXPECT_EQ(SynchronizedField<std::optional<std::string>>().load(), std::nullopt);
}

TEST(SynchronizedField, ExchangeGivesTheOldValueBack) {
  SynchronizedField<std::string> field("old");
  EXPECT_EQ(field.exchange("new"), "old");
  EXPECT_EQ(field.load(), "new");
}

TEST(SynchronizedField, OwnsWhatItHolds) {
  SynchronizedField<std::shared_ptr<int>> field;
  auto value = std::make_shared<int>(1);
  const std::weak_ptr<int> observer = value;
  field.store(std::move(value));
  EXPECT_FALSE(observer.expired());
  field.store(nullptr);
  EXPECT_TRUE(observer.expired());
}

// What a field holds may read the field when it ends.
TEST(SynchronizedField, ReleasesTheOldValueOutsideItsLock) {
  using Field = SynchronizedField<std::shared_ptr<void>>;
  Field field;
  bool read = false;
  field.store(std::shared_ptr<void>(
      &field, [&read](void* owner) { read = static_cast<Field*>(owner)->load() == nullptr; }));
  field.store(nullptr);
  EXPECT_TRUE(read);
}

TEST(SynchronizedField, IsReadWholeWhileAnotherThreadWrites) {
  const std::string one(100, '1');
  const std::string two(200, '2');
  SynchronizedField<std::string> field(one);
  std::thread writer([&] {
    for (int round = 0; round < 1000; ++round) {
      field.store(round % 2 == 0 ? two : one);
    }
  });
  for (int round = 0; round < 1000; ++round) {
    const std::string value = field.load();
    EXPECT_TRUE(value == one || value == two);
  }
  writer.join();
}

}  // namespace
}  // namespace marrow

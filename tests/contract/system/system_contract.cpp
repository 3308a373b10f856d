#include "tests/contract/system/system_world.h"

#include <array>

namespace marrow {

void SystemContract::put(const std::string& path, const std::string& text) {
  Files& files = world->files();
  const int file = files.open(path, OpenFlags::writeOnly | OpenFlags::create | OpenFlags::truncate);
  ASSERT_GE(file, 0) << path;
  EXPECT_EQ(files.write(file, text), static_cast<std::int64_t>(text.size()));
  EXPECT_EQ(files.close(file), 0);
}

std::string SystemContract::get(const std::string& path) {
  Files& files = world->files();
  const int file = files.open(path, OpenFlags::readOnly);
  EXPECT_GE(file, 0) << path;
  std::string text;
  std::array<std::byte, 512> buffer{};
  std::int64_t count = files.read(file, buffer);
  for (; count > 0; count = files.read(file, buffer)) {
    text.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(count));
  }
  EXPECT_EQ(count, 0) << path;
  EXPECT_EQ(files.close(file), 0);
  return text;
}

}  // namespace marrow

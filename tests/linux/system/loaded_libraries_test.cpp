// What the loader has to find, map and relocate before the daemon's main begins.
#include <array>
#include <cstdio>
#include <gmock/gmock.h>
#include <string>

namespace marrow {

namespace {

using testing::HasSubstr;
using testing::Not;

// ld.so(8): the objects are listed, and nothing runs.
std::string librariesOf(const std::string& program) {
  FILE* const pipe = ::popen(("LD_TRACE_LOADED_OBJECTS=1 " + program).c_str(), "re");
  std::string list;
  std::array<char, 4096> part{};
  while (const std::size_t length = std::fread(part.data(), 1, part.size(), pipe)) {
    list.append(part.data(), length);
  }
  EXPECT_EQ(::pclose(pipe), 0);
  return list;
}

TEST(LibrariesOfTheDaemon, AreThoseThatEveryRunNeeds) {
  const std::string list = librariesOf(MARROW_DAEMON);
  ASSERT_THAT(list, HasSubstr("libblkid.so.1"));
  for (const char* const name : {"libsystemd", "libcryptsetup", "libdevmapper", "libcrypto",
                                 "libbpf", "libelf", "libpugixml"}) {
    EXPECT_THAT(list, Not(HasSubstr(name)));
  }
}

}  // namespace

}  // namespace marrow

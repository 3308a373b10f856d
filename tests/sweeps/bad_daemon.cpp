// In the daemon's place: puts a staged tree into its live place in two steps, and does not look
// whether the second one succeeds.
#include <cstdio>
#include <cstdlib>
#include <glob.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* kVolume = "/run/volume";
constexpr std::size_t kMuch = 100000;

const char* onlyMatch(const char* pattern, glob_t& found) {
  return ::glob(pattern, 0, nullptr, &found) == 0 ? found.gl_pathv[0] : "";
}

}  // namespace

int main() {
  glob_t node{};
  glob_t group{};
  ::mkdir(kVolume, 0700);
  ::mount(onlyMatch("/dev/loop*p2", node), kVolume, "ext4", 0, nullptr);
  if (::chdir(onlyMatch("/run/volume/*-*-*-*-*", group)) != 0) {
    return EXIT_FAILURE;
  }
  std::rename("morrel1/current", "morrel1/old");
  if (std::malloc(kMuch) == nullptr) {
    return EXIT_FAILURE;
  }
  std::rename("morrel1/proposed", "morrel1/current");
  ::sync();
  return ::reboot(RB_AUTOBOOT);
}

#include "rehearsal/boot_disk.h"
#include "sweep/planted_things.h"

#include <algorithm>

namespace marrow::sweep {
namespace {

constexpr std::string_view kImage = "usr/standalone/firmware/arm64eBaseSystem.dmg";

std::vector<PlantedPlace> prebootPlaces() {
  std::vector<PlantedPlace> places;
  for (const char* path :
       {"GROUP", "GROUP/morrel1", "GROUP/morrel1/current", "GROUP/morrel1/proposed",
        "GROUP/restore", "GROUP/restore-staged", "GROUP/downlevel", "GROUP/var", "GROUP/var/db",
        "GROUP/var/db/.com.corvane.templatemigration", "GROUP/boot", "OBJECTS",
        "GROUP/boot/active"}) {
    places.push_back({Ground::kPreboot, path});
  }
  return places;
}

std::vector<PlantedPlace> recoveryPlaces() {
  std::vector<PlantedPlace> places;
  for (const std::string root : {"GROUP", "OBJECTS"}) {
    const std::string image = root + '/' + std::string(kImage);
    for (const std::string& path :
         {root, root + "/usr", root + "/usr/standalone/firmware", image, image + ".staged"}) {
      places.push_back({Ground::kRecovery, path});
    }
  }
  return places;
}

std::vector<PlantedPlace> otherPlaces() {
  return {{Ground::kUpdate, "nvram.plist"},
          {Ground::kUpdate, ".marrow-nvram.plist"},
          {Ground::kUpdate, "loam_migrator.log"},
          {Ground::kUpdate, ".marrow-loam_migrator.log"},
          {Ground::kBaseSystem, "run/marrow"},
          {Ground::kBaseSystem, "run/marrow/mnt"},
          {Ground::kBaseSystem, "run/marrow/tmp"},
          {Ground::kBaseSystem, "run/marrow/tmp/loam_migrator_progress.txt"},
          {Ground::kLeftByMigrator, "private/tmp/loam_migrator.log"},
          {Ground::kLeftByMigrator, "private/tmp/loam_migrator_metrics.dat"}};
}

void replace(std::string& text, std::string_view word, const std::string& value) {
  if (const std::size_t at = text.find(word); at != std::string::npos) {
    text.replace(at, word.size(), value);
  }
}

}  // namespace

std::string nameOf(Ground ground) {
  switch (ground) {
    case Ground::kPreboot:
      return "preboot";
    case Ground::kRecovery:
      return "recovery";
    case Ground::kUpdate:
      return "update";
    case Ground::kBaseSystem:
      return "base system";
    case Ground::kLeftByMigrator:
      break;
  }
  return "left by the migrator";
}

std::filesystem::path PlantedPlace::pathOn(const rehearsal::BootDisk& disk) const {
  std::string text = path;
  replace(text, "GROUP", disk.group);
  replace(text, "OBJECTS", disk.bootObjectsPath);
  return text;
}

const std::vector<PlantedPlace>& plantedPlaces() {
  static const std::vector<PlantedPlace> kPlaces = [] {
    std::vector<PlantedPlace> places = prebootPlaces();
    std::ranges::move(recoveryPlaces(), std::back_inserter(places));
    std::ranges::move(otherPlaces(), std::back_inserter(places));
    return places;
  }();
  return kPlaces;
}

// A base system in memory has neither immutable files nor names elsewhere on a volume.
bool canPlant(Thing thing, const PlantedPlace& place) {
  const bool inMemory =
      place.ground == Ground::kBaseSystem || place.ground == Ground::kLeftByMigrator;
  return !inMemory ||
         (thing != Thing::kLinkInside && thing != Thing::kHardLink && thing != Thing::kImmutable);
}

}  // namespace marrow::sweep

// What somebody who may write to the volumes, or to the base system's folders, can put in the place
// of what the daemon expects there, to have it write elsewhere, wait or fail.
#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace marrow::rehearsal {
struct BootDisk;
}  // namespace marrow::rehearsal

namespace marrow::sweep {

enum class Thing {
  // A link to what was there before, which lies elsewhere on the volume, or in the base system.
  kLinkInside,
  kLinkOutside,
  // A link to a name in the base system that nothing has yet.
  kLinkToNothing,
  kPipe,
  kSocket,
  // A device without end, and one that every byte of the data volume can be written through.
  kEndlessDevice,
  kDisk,
  kFile,
  kFolder,
  // Another name of a file elsewhere on the volume.
  kHardLink,
  // What was there before, so that nobody can change or remove it.
  kImmutable,
  // A tree of 200 levels whose names have 255 bytes.
  kDeepTree
};

inline constexpr std::array kThings{
    Thing::kLinkInside, Thing::kLinkOutside, Thing::kLinkToNothing, Thing::kPipe,
    Thing::kSocket,     Thing::kFile,        Thing::kEndlessDevice, Thing::kDisk,
    Thing::kFolder,     Thing::kHardLink,    Thing::kImmutable,     Thing::kDeepTree};

std::string nameOf(Thing thing);

// Where the place is.
enum class Ground { kPreboot, kRecovery, kUpdate, kBaseSystem, kLeftByMigrator };

std::string nameOf(Ground ground);

struct PlantedPlace {
  Ground ground;
  // Below the volume or the base system; GROUP and OBJECTS stand for the folder of the volume group
  // and for that of the boot objects.
  std::string path;

  // With those two filled in.
  std::filesystem::path pathOn(const rehearsal::BootDisk& disk) const;
};

// Every place where a run expects a file or a folder.
const std::vector<PlantedPlace>& plantedPlaces();

// Where links and other names lead: below the volume, and below the base system.
inline constexpr const char* kElsewhere = "elsewhere";
inline constexpr const char* kOutside = "srv/outside";
// The text of every file there that stood nowhere before.
inline constexpr const char* kForeignText = "a text that is none of the daemon's business\n";

// False where such a thing cannot be at the place.
bool canPlant(Thing thing, const PlantedPlace& place);

// Puts the thing at the path below `root`, the root of a mounted volume or of the base system.
// `disk` is the node of the data volume. Throws Problem.
void plant(Thing thing, const std::filesystem::path& root, const std::filesystem::path& path,
           const std::filesystem::path& baseSystem, const std::filesystem::path& disk);

}  // namespace marrow::sweep

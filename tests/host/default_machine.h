// The machine that every test starts with.
//
//   disk0           the container, in this order:
//     disk0s1         system volume of another group
//     disk0s2         data volume of that group, encrypted
//     disk0s3         preboot volume, mounted at /Volumes/preboot
//     disk0s4         system volume of the booted group, mounted read-only at /Volumes/system
//     disk0s5         data volume of the booted group, encrypted
//     disk0s6         recovery volume
//     disk0s7         update volume, with an nvram.plist
//   disk1           another container, on an external disk
//     disk1s1         system volume of a third group, mounted at /Volumes/external
//   disk2           a disk that is no container
//
// kern.bootuuid is kBootedGroup, kern.bootobjectspath "GROUP/boot/NSIH". Booted from the proposed
// nonce; no template-migration cookie; no simulation variables; a stashed key; a migrator that
// writes its log and its metrics, reports 0, 50 and 100 percent and succeeds.
#pragma once

#include <string>
#include <string_view>

namespace marrow {

class InMemoryHost;

inline const std::string kBootedGroup = "6B29FC40-CA47-4067-B31D-00DD010662DA";
inline const std::string kOtherGroup = "0F5C3B1A-9E0D-4C55-8A0E-5D3C1B2A4F60";
inline const std::string kExternalGroup = "A1B2C3D4-0000-4111-8222-333344445555";
inline const std::string kNSIH = "9F2C4E6A8B0D1F3E5A7C9B1D3F5E7A9C";
inline const std::string kBootObjectsPath = kBootedGroup + "/boot/" + kNSIH;

inline const std::string kContainer = "disk0";
inline const std::string kOtherSystemVolume = "disk0s1";
inline const std::string kOtherDataVolume = "disk0s2";
inline const std::string kPrebootVolume = "disk0s3";
inline const std::string kSystemVolume = "disk0s4";
inline const std::string kDataVolume = "disk0s5";
inline const std::string kRecoveryVolume = "disk0s6";
inline const std::string kUpdateVolume = "disk0s7";
inline const std::string kExternalDisk = "disk1";
inline const std::string kExternalVolume = "disk1s1";
inline const std::string kPlainDisk = "disk2";

inline const std::string kBootNonceEntry = "IODeviceTree:/chosen/asmb";
inline const std::string kProposedNonce = "the proposed nonce";
inline const std::string kNonceInForce = "the nonce in force";

inline const std::string kMigratorPath =
    "/System/Library/Filesystems/loam.fs/Contents/Resources/loam_migrator";
inline const std::string kMigratorLog = "/private/tmp/loam_migrator.log";
inline const std::string kMigratorMetrics = "/private/tmp/loam_migrator_metrics.dat";
inline const std::string kMigratorLogText = "checked the container\n";
inline const std::string kMigratorMetricsText = "volumes=7 errors=0\n";
inline const std::string kMigratorOutput = "dry run complete\n";

// The booted group's folder on the preboot volume and on the recovery volume, for tests, mounted or
// not. What is staged there:
//
//   preboot   morrel1/current/image "old image"      morrel1/proposed/image "new image"
//             restore/manifest "old manifest"        restore-staged/manifest "new manifest"
//             boot/NSIH/                             boot/active "OLD"
//             downlevel/kernel "old kernel"
//   recovery  IMAGE "old image", IMAGE.staged "new image", and the same below boot/NSIH
//             (IMAGE is usr/standalone/firmware/arm64eBaseSystem.dmg)
inline const std::string kPrebootGroup = "/@disk0s3/" + kBootedGroup;
inline const std::string kRecoveryGroup = "/@disk0s6/" + kBootedGroup;
inline const std::string kBaseSystemImage = "usr/standalone/firmware/arm64eBaseSystem.dmg";

// Where a test puts the template-migration cookie.
inline const std::string kCookiePath = kPrebootGroup + "/var/db/.com.corvane.templatemigration";

// Builds all of it; the constructor of the machine calls it.
void setUpDefaultMachine(InMemoryHost& machine);

}  // namespace marrow

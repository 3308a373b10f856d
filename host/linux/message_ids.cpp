#include "host/linux/message_ids.h"

namespace marrow {

// They never change: packaging/marrowd.catalog explains each, and who looks for one knows it.
std::string_view messageID(LogEvent event) {
  switch (event) {
    case LogEvent::none:
      return "";
    case LogEvent::daemonStarted:
      return "871509a6012c4f2887d12e83eff36c9c";
    case LogEvent::storageNotFound:
      return "c4c2c9a8d8744c0fb96d2a02931f31c9";
    case LogEvent::allOperationsSucceeded:
      return "b466fcf5e2864165bffed232eff41a28";
    case LogEvent::operationFailed:
      return "523ab435e8414a16ae9520367e1d352c";
    case LogEvent::rebootBegun:
      return "c2d90ef2b0b741a1aaccf80e65ff2981";
    case LogEvent::stashedKeyNotCommitted:
      return "6f96ffb6e5ae40e1888fe46bd7959ebe";
    case LogEvent::rebootFailed:
      return "5d93e59bfb894c7988e3d37941682a3c";
    case LogEvent::waitGoesOn:
      return "c2b9cb42fbfd4b709448d5ce232041a1";
    case LogEvent::operationStarted:
      return "546d9e7c2a564a22ba3a1731340675ae";
    case LogEvent::operationSkipped:
      return "dbb6ad9b9cea461ba087b939e3c708ef";
    case LogEvent::errorSimulated:
      return "36b0184b73404b79ae813b11ea262abc";
    case LogEvent::panicSimulated:
      return "3dfcdefe46e64ae0a2d3edaf8d3f35f0";
    case LogEvent::operationRepeated:
      return "fb256a1b69304fb3a177eaa85d03fcc6";
    case LogEvent::volumeKeysNotCached:
      return "6194709f23f94fb198b92ed5cc3b819f";
    case LogEvent::containerNotOffline:
      return "399adc3777414e49a07b4e2c508e0e7b";
    case LogEvent::migrationNotNeeded:
      return "f2f37cc9aedc40f79a7b3b682441743d";
    case LogEvent::dataVolumeNotReadable:
      return "ed0e77d2fdd946c38058f58a164a9d7d";
    case LogEvent::migratorStarted:
      return "ff953e4b54fd4f8c911f9094e072a765";
    case LogEvent::migratorNotLaunched:
      return "fd03c6ce601a417694cb821c09f74e91";
    case LogEvent::migratorOutputNotRead:
      return "008dd1d7047c40129b0fc627a6fb6d83";
    case LogEvent::migratorOutput:
      return "3084cf931c6a4c88b735ca8ca1ef5113";
    case LogEvent::migratorFailed:
      return "9969ccdc00c64ab286a5f1431db58aa2";
    case LogEvent::bootPolicyNotCommitted:
      return "610fb7d0d4924c32a10565b26e9cf2f9";
    case LogEvent::bootObjectsInstalled:
      return "c99274a289db42d4984814aea46f1d53";
    case LogEvent::blessSkipped:
      return "66e16378e4834be79aeaad365c92182f";
    case LogEvent::blessFailed:
      return "b5c2410c5eac4d46bf4cd0ed84e8fb6d";
  }
  return "";
}

}  // namespace marrow

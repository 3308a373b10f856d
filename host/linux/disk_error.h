// Error records of the disk services: the POSIX domain, and a sentence that names device and path.
#pragma once

#include "host/error_record.h"

#include <string>

namespace marrow {

// "WHAT: text of the errno value".
inline ErrorRef diskError(int errorNumber, const std::string& what) {
  return makePOSIXError(errorNumber,
                        {{kLocalizedDescriptionKey, what + ": " + errorNumberText(errorNumber)}});
}

}  // namespace marrow

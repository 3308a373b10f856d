// The boot loader's variables and an entry of a volume group.
#pragma once

#include "host/linux/efi_variable_store.h"

#include <string>

namespace marrow {

inline const EFIVariableName kLoaderDefault{"LoaderEntryDefault", kBootLoaderVendor};
inline const EFIVariableName kLoaderOneShot{"LoaderEntryOneShot", kBootLoaderVendor};
inline const EFIVariableName kLoaderSelected{"LoaderEntrySelected", kBootLoaderVendor};
inline const std::string kGroupEntry = "marrow-6b29fc40-ca47-4067-b31d-00dd010662da";

}  // namespace marrow

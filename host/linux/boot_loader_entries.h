// The boot loader interface: what a boot loader tells the system about its entries, and which of
// them it is to start, through EFI variables of their own vendor
// (https://systemd.io/BOOT_LOADER_INTERFACE). Any thread.
#pragma once

#include "host/linux/efi_variable_store.h"

#include <string>
#include <string_view>
#include <vector>

namespace marrow {

class BootLoaderEntries {
 public:
  explicit BootLoaderEntries(EFIVariableStore& store) : _store(store) {}

  // Makes the entry with this identifier (ASCII, in lower case, without a suffix) the one that is
  // started from now on, or just the next time. Where the loader has published its entries, one
  // with that identifier must be among them. 0, or an errno value (ENOENT: no such entry); then the
  // old choice stands.
  int choose(const std::string& identifier, bool oneTime);

  // Makes the entry that this boot was started with the one that is started the next time. 0, or an
  // errno value: ENOENT when the loader has not told which entry that was, EINVAL when it is none
  // of a base system (not ASCII).
  int repeatThisBoot();

  // Deletes the choice for the next time when it means the entry that this boot was started with,
  // which would otherwise be started for ever. 0, also when there is nothing to delete, or an errno
  // value.
  int forgetOneShotOfThisBoot();

 private:
  int resolve(const std::string& identifier, std::string& pattern);

  EFIVariableStore& _store;
};

// The identifiers in the value of LoaderEntries, in its order: UTF-16LE, each ended by a zero
// character.
std::vector<std::u16string> decodeLoaderEntries(std::string_view bytes);

// A single string of the boot loader's: UTF-16LE up to its terminator.
std::u16string decodeLoaderString(std::string_view bytes);
std::string encodeLoaderString(std::string_view ascii);

// What to store so that the loader finds this very entry (in lower case) again: the entry itself,
// or, when it carries a boot counter, a pattern for it.
std::string patternOfEntry(const std::string& entry);

// What to store so that the loader finds the entry with this identifier among those that it has
// published: the entry's own name, or, when that carries a boot counter (which changes), a pattern
// for it. Empty when there is none.
std::string entryPattern(const std::vector<std::u16string>& entries, std::string_view identifier);

}  // namespace marrow

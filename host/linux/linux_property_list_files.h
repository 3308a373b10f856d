// Property-list files in XML.
#pragma once

#include "host/log.h"
#include "host/property_list_files.h"

namespace marrow {

// The domain of what is wrong inside a file. Its only code is 1; the description names the file,
// the line and the reason.
inline constexpr char kPropertyListErrorDomain[] = "MWPropertyListErrorDomain";
inline constexpr int kPropertyListMalformed = 1;

class LinuxPropertyListFiles final : public PropertyListFiles {
 public:
  // Why a file could not be written, or read for a caller who does not ask why, goes to the log.
  explicit LinuxPropertyListFiles(LogHandle& log);

  // Never blocks. A link as the last component is refused (ELOOP), since whoever may plant one
  // could lead the daemon elsewhere; so is what is no regular file (EISDIR, EINVAL) or larger than
  // 64 MiB (EFBIG).
  std::optional<PropertyListDictionary> readDictionary(const std::string& path,
                                                       ErrorSlot error) override;

  // The new file has the mode, ownership and attributes of the old one, or mode 0644. When only the
  // last step fails, the flush of the folder, the new file stands although the result is false.
  bool writeDictionary(const PropertyListDictionary& dictionary, const std::string& path) override;

 private:
  void tellUnreadable(const std::string& path, ErrorSlot error);

  LogHandle& _log;
};

}  // namespace marrow

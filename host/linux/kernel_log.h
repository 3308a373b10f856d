// Writes records to the kernel's log (Documentation/ABI/testing/dev-kmsg), which keeps them where a
// crash leaves them readable. Any thread.
#pragma once

#include "host/linux/descriptor.h"

#include <mutex>
#include <string>
#include <string_view>

namespace marrow {

// A record holds at most this many bytes with its priority and prefix. Kernels refuse a longer
// write (EINVAL); the smallest limit is 1024 bytes less a prefix of 48
// (kernel/printk/printk.c, 5.x).
inline constexpr std::size_t kKernelLogRecordLimit = 976;

class KernelLog {
 public:
  struct Places {
    std::string records = "/dev/kmsg";
    // Where "on" stops the kernel from dropping the records of busy writers
    // (Documentation/admin-guide/sysctl/kernel.rst, printk_devkmsg).
    std::string limitSwitch = "/proc/sys/kernel/printk_devkmsg";
  };

  explicit KernelLog(Places places) : _places(std::move(places)) {}

  // `severity` is that of syslog(3), 0 to 7. A text that is too long for one record is told in
  // several, each with the prefix, which follow one another. What cannot be written is lost: a
  // reader that does not read (of a FIFO) is waited for one second, then the rest of the text is
  // dropped. May change errno.
  void write(int severity, std::string_view prefix, std::string_view text);

 private:
  bool ensureOpen();
  bool writeRecord(const std::string& record);

  const Places _places;
  std::mutex _mutex;  // keeps the records of one text together
  Descriptor _records;
};

}  // namespace marrow

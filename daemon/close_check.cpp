#include "daemon/close_check.h"

#include "host/error_record.h"
#include "host/text_format.h"

#include <cerrno>

namespace marrow {

void closeOrDie(Files& files, Process& process, int descriptor) {
  if (descriptor == -1 || files.close(descriptor) != -1) {
    return;
  }
  const int number = errno;
  process.failAssertion(
      formatText("close(%d) failed: %d (%s)", descriptor, number, errorNumberText(number)));
}

}  // namespace marrow

#include "rehearsal/problem.h"

#include <cerrno>
#include <system_error>

namespace marrow::rehearsal {

void failWithErrno(std::string_view toDoThis) {
  const int number = errno;
  throw Problem("Cannot " + std::string(toDoThis) + ": " + std::generic_category().message(number) +
                ".");
}

}  // namespace marrow::rehearsal

// Why a rehearsal cannot go on.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace marrow::rehearsal {

// One sentence on what is wrong and, where something can be done about it, what to do.
class Problem : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The person (or whoever started the rehearsal) asked for its end.
class Interrupted : public std::exception {
 public:
  explicit Interrupted(int signal) : _signal(signal) {}
  int signal() const { return _signal; }
  const char* what() const noexcept override { return "interrupted"; }

 private:
  int _signal;
};

// Throws the Problem "Cannot DO-THIS: TEXT-OF-ERRNO.".
[[noreturn]] void failWithErrno(std::string_view toDoThis);

// Throws as above when a system call returned a negative value; hands on any other.
template <typename Result>
Result checked(Result result, std::string_view toDoThis) {
  if (result < 0) {
    failWithErrno(toDoThis);
  }
  return result;
}

}  // namespace marrow::rehearsal

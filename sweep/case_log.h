// The cases of a sweep: which are to be done, which were, and what became of them.
#pragma once

#include "sweep/judgement.h"

#include <cstddef>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace marrow::sweep {

struct SweepOptions;

// The numbers to be tried of cases 1 to `count`, as the options choose them.
std::vector<std::size_t> chooseCases(const SweepOptions& options, std::size_t count);

class CaseLog {
 public:
  // An empty path for none. Throws Problem when the file cannot be written.
  explicit CaseLog(const std::string& path);

  // Whether the case passed in an earlier sweep that wrote the same file.
  bool isDone(const std::string& series, std::size_t number) const;

  // `series` names what is swept ("kill ext4 other-nonce"), `place` where the case was interrupted.
  // What is wrong is told on standard output.
  void add(const std::string& series, std::size_t number, const std::string& place,
           const Complaints& complaints);

  // A case in which what was to go wrong did not: it has not passed, and is tried again by a later
  // sweep.
  void addNotTried(const std::string& series, std::size_t number);

  // Cases done by this sweep, cases done by earlier ones, and those in which something was wrong.
  std::size_t cases() const { return _cases; }
  std::size_t doneBefore() const { return _done.size(); }
  std::size_t failures() const { return _failures; }
  std::size_t notTried() const { return _notTried; }

 private:
  std::set<std::string> _done;
  std::ofstream _file;
  std::size_t _cases = 0;
  std::size_t _failures = 0;
  std::size_t _notTried = 0;
};

}  // namespace marrow::sweep

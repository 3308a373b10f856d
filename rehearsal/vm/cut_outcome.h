// What power cuts came to, one by one and counted.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/vm/vm_run.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace marrow::rehearsal {

struct CutOutcome {
  // "in CommitBootObjects", "before the daemon" and the like.
  std::string place;
  // Boots from the cut to the end.
  std::size_t boots = 0;
  // What was not as it has to be, at the cut or in the end; empty when all was.
  std::vector<std::string> losses{};
};

// Where the boot was when its power went.
std::string placeOfCut(const VmBoot& boot);

// Rows on the moment after the cut: each live place holds what it held before or what was staged,
// the boot loader's default is the old entry or the new one, and where the nonce is the new one,
// all of its boot objects are in place or staged.
std::vector<Row> compareAtVmCut(const Snapshot& before, const Snapshot& atCut, const VmBoot& boot,
                                const std::string& newEntry);

// "1 boot", "2 boots".
std::string countOf(std::size_t count, const std::string& what);

// A sentence for each row that is not as expected, with `when` before it.
std::vector<std::string> lossesIn(const std::vector<Row>& rows, const std::string& when);

// Counts outcomes by place and number of boots.
class CutTally {
 public:
  void add(const CutOutcome& outcome);

  // A row for each kind of outcome, and one for how many were lost, which has to be none.
  std::vector<Row> rows() const;

 private:
  // By place and end.
  std::map<std::pair<std::string, std::string>, std::size_t> _counts;
  std::size_t _cuts = 0;
  std::size_t _lost = 0;
};

}  // namespace marrow::rehearsal

#include "rehearsal/vm/vm_run.h"

#include <cctype>

namespace marrow::rehearsal {
namespace {

constexpr char kEscape = '\033';

// The end of the sequence that begins at `place`: a final letter closes "ESC [ ...", any other
// character follows the escape alone (console_codes(4)).
std::size_t endOfSequence(const std::string& line, std::size_t place) {
  if (++place >= line.size() || line[place] != '[') {
    return place + 1;
  }
  while (++place < line.size() && (line[place] < '@' || line[place] > '~')) {
  }
  return place + 1;
}

}  // namespace

std::string withoutControls(const std::string& line) {
  std::string text;
  for (std::size_t i = 0; i < line.size();) {
    if (line[i] == kEscape) {
      i = endOfSequence(line, i);
      continue;
    }
    if (std::iscntrl(static_cast<unsigned char>(line[i])) == 0 || line[i] == '\t') {
      text += line[i];
    }
    ++i;
  }
  return text;
}

std::string systemIn(const std::string& line) {
  if (line.find("Kernel command line:") == std::string::npos) {
    return {};
  }
  const std::string word = " marrow_vm=";
  const std::size_t place = line.find(word);
  if (place == std::string::npos) {
    return kBaseSystem;
  }
  const std::size_t begin = place + word.size();
  return line.substr(begin, line.find(' ', begin) - begin);
}

std::string nameOf(const VmBoot& boot) {
  return "boot " + std::to_string(boot.number) + (boot.system.empty() ? "" : ' ' + boot.system);
}

}  // namespace marrow::rehearsal

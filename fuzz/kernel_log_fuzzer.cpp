// Records of the kernel's log: the first line of the input is a category, the rest a text. They go
// to a file in memory.
#include "fuzz/fuzz.h"
#include "host/linux/kernel_log.h"
#include "host/linux/text_cut.h"
#include "host/unicode.h"

#include <algorithm>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace marrow;

namespace {

class Records {
 public:
  std::string path() const { return "/proc/self/fd/" + std::to_string(_file); }

  // All that was written; forgotten with this.
  std::string take() const {
    std::string bytes(static_cast<std::size_t>(::lseek(_file, 0, SEEK_END)), '\0');
    expect(::pread(_file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
           "the records can be read");
    expect(::ftruncate(_file, 0) == 0, "the records can be dropped");
    return bytes;
  }

 private:
  const int _file = ::memfd_create("records", MFD_CLOEXEC);
};

std::string inOneLine(std::string_view text) {
  std::string line(text);
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

std::string withZerosShown(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    shown += c == '\0' ? "\\x00" : std::string(1, c);
  }
  return shown;
}

void checkCut(std::string_view text, std::size_t limit) {
  const std::string_view cut = cutText(text, limit);
  expect(cut.size() <= limit && text.starts_with(cut), "a cut is a beginning of at most the limit");
  expect(!isValidUTF8(text) || isValidUTF8(cut), "no character is cut");
  expect(cut.size() == text.size() || cut.size() + 4 > limit, "no more is cut than needed");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Records records;
  static KernelLog log({records.path(), "/dev/null/none"});
  std::string_view rest = fuzzText(data, size);
  const std::string prefix =
      inOneLine("marrowd[" + withZerosShown(std::string(takeLine(rest))) + "]: ");
  const std::string text = inOneLine(rest);
  log.write(4, prefix, text);

  const std::string written = records.take();
  std::string_view left = written;
  std::string told;
  while (!left.empty()) {
    const std::string_view record = takeLine(left);
    const std::string start = "<28>" + std::string(cutText(prefix, kKernelLogRecordLimit - 256));
    expect(record.size() < kKernelLogRecordLimit, "a record is within the limit");
    expect(record.starts_with(start), "a record has its priority and prefix");
    told += record.substr(start.size());
    expect(!isValidUTF8(text) || isValidUTF8(record.substr(start.size())), "no character is cut");
  }
  expect(told == withZerosShown(text), "all of the text is told");
  checkCut(text, prefix.size());
  return 0;
}

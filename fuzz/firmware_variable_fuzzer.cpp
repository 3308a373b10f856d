// The input as the file of a firmware variable, attributes and value, in a plain directory; then
// its value written by the store.
#include "fuzz/fuzz.h"
#include "host/linux/efi_variable_store.h"
#include "host/linux/linux_firmware_variables.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

using namespace marrow;

namespace {

constexpr std::size_t kAttributes = 4;

class NoLog final : public LogHandle {
 private:
  void write(LogLevel /*level*/, std::string /*text*/, const LogOrigin& /*origin*/) override {}
};

class Folder {
 public:
  Folder() { expect(::mkdtemp(_path.data()) != nullptr, "a folder can be made"); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code error;
    std::filesystem::remove_all(_path, error);
  }
  const std::string& path() const { return _path; }
  std::string variable() const { return _path + "/test-" + kMarrowVendor; }

  void write(std::string_view bytes) const {
    std::ofstream(variable(), std::ios::binary | std::ios::trunc) << bytes;
  }
  std::string read() const {
    std::ostringstream bytes;
    bytes << std::ifstream(variable(), std::ios::binary).rdbuf();
    return bytes.str();
  }

 private:
  std::string _path = "/tmp/marrow-fuzz-XXXXXX";
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  static NoLog log;
  static EFIVariableStore store(log, folder.path());
  static LinuxFirmwareVariables variables(store, log);
  const std::string_view bytes = fuzzText(data, size);
  folder.write(bytes);
  const auto value = variables.string("test");
  const bool isVariable = size > kAttributes;
  expect(value.has_value() == isVariable, "a file with a value is a variable");
  expect(!value || *value == bytes.substr(kAttributes), "the value follows the attributes");

  const std::string text(bytes);
  expect(variables.setString(text, "test", std::nullopt), "a value can be stored");
  expect(variables.string("test").value_or("") == text, "what was stored is read");
  const std::string header("\x07\0\0\0", kAttributes);
  expect(
      text.empty() ? !std::filesystem::exists(folder.variable()) : folder.read() == header + text,
      "the file has the attributes and the value, or is gone");
  expect(variables.setString(std::nullopt, "test", std::nullopt), "a variable can be deleted");
  expect(!variables.string("test"), "what was deleted is gone");
  return 0;
}

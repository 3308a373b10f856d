// A LUKS2 header in a file or on a block device, made and looked at with cryptsetup(8).
#pragma once

#include <string>

namespace marrow {

inline constexpr char kLuksPassphrase[] = "correct horse";

// The header's two copies: at the very beginning, and behind the first.
enum class LuksCopy { first, second };

class LuksImage {
 public:
  // Formats what is there already; `type` is "luks2" or "luks1".
  explicit LuksImage(std::string path, const std::string& type = "luks2");

  const std::string& path() const { return _path; }

  // Puts a token into the next free place.
  void addToken(const std::string& json) const;
  // Its JSON as cryptsetup has it; empty when there is none.
  std::string token(int number) const;

  // Overwrites part of a copy's text, or all of it, so that nothing shows that it was there.
  void damage(LuksCopy copy) const;
  void erase(LuksCopy copy) const;

  // Opens it as /dev/mapper/NAME, and puts an ext4 into it while it is open. Needs a kernel with
  // device mapper.
  void open(const std::string& name) const;
  void makeFileSystem() const;

  // True when the passphrase leads to the volume's key.
  bool opens() const;

 private:
  void overwrite(LuksCopy copy, std::size_t from, std::size_t size) const;

  std::string _path;
};

// A file of this size, then a header in it.
LuksImage makeLuksImage(const std::string& path);

}  // namespace marrow

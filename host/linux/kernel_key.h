// Passphrases that somebody has left with the kernel (keyrings(7)). Any thread.
#pragma once

#include <string>
#include <vector>

namespace marrow {

// What the kernel keeps under a name. Wiped at the end.
class KernelKey {
 public:
  // Reads the key of type "user" with this description, from the key rings that the process can
  // search: its own, its session's, and with it the user's.
  explicit KernelKey(const std::string& description);
  ~KernelKey();
  KernelKey(const KernelKey&) = delete;
  KernelKey& operator=(const KernelKey&) = delete;

  // 0, or why there is none: ENOKEY, EKEYEXPIRED, EKEYREVOKED, EACCES and whatever else
  // request_key(2) and keyctl(2) give.
  int errorNumber() const { return _errorNumber; }

  // systemd keeps several under one name, each ended by a zero byte; other programs leave just one.
  const std::vector<std::string>& passphrases() const { return _passphrases; }

 private:
  int read(const std::string& description);
  void split(const std::string& payload);

  std::vector<std::string> _passphrases;
  int _errorNumber;
};

}  // namespace marrow

// A file system that treats its files as efivarfs does the firmware's variables, and fails where a
// test says so: what a firmware refuses, and when, cannot be had from a real one.
#pragma once

#include "tests/linux/firmware/mounted_image.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct fuse;
struct fuse_operations;

namespace marrow {

class FirmwareFileSystem {
 public:
  // Values, with their attributes, beyond this are refused (EINVAL).
  static constexpr std::size_t kLargest = 33024 + 4;

  FirmwareFileSystem();
  FirmwareFileSystem(const FirmwareFileSystem&) = delete;
  FirmwareFileSystem& operator=(const FirmwareFileSystem&) = delete;
  ~FirmwareFileSystem();

  const std::string& path() const { return _mountPoint; }

  // The next calls of this kind ("open", "read", "write", "unlink", "getflags", "setflags") fail
  // with these errno values, one after the other; 0 lets one pass.
  void failNext(const std::string& call, const std::vector<int>& numbers);
  // How long each call takes from now on.
  void beSlow(std::chrono::milliseconds delay);

  // What the store holds, past all flags.
  void put(const std::string& file, const std::string& bytes);
  std::string bytes(const std::string& file);
  bool isImmutable(const std::string& file);

  // How often the flash was changed.
  int changes();

 private:
  struct Variable {
    std::string bytes;
    bool immutable = false;
  };
  struct Calls;

  int enter(const std::string& call);
  int write(const std::string& file, const std::string& bytes);

  MountedMemory _place{"size=64k"};
  std::string _mountPoint;
  std::mutex _mutex;  // for what follows
  std::map<std::string, Variable> _variables;
  std::map<std::string, std::vector<int>> _failures;
  std::chrono::milliseconds _delay{0};
  int _changes = 0;

  fuse* _session = nullptr;
  std::thread _serving;
};

}  // namespace marrow

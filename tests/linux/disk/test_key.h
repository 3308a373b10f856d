// A key in the test process's own key ring, taken away at the end.
#pragma once

#include <string>

namespace marrow {

class TestKey {
 public:
  TestKey(const std::string& description, const std::string& payload);
  ~TestKey() { remove(); }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;

  void remove();
  // It is there, but nobody may use it any more.
  void revoke() const;

 private:
  long _key;
};

}  // namespace marrow

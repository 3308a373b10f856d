// Every call that was made of the machine, in order, each as a short text: the service's class, a
// point, the method, and after a blank what it was called with:
//
//   Files.open /dev/console writeOnly|append|noControllingTerminal
//   Files.fullSync /Volumes/preboot/GROUP
//   FileTrees.swap A -> B
//   DVStaticLoamVolume.unmount /dev/disk0s5 {DVLoamVolumeUnmountOptionAll=true}
//   FirmwareVariables.setString OTA-migrator-metrics=text
//   Log.error[Operations] text            (Log.default text for the channel without a category)
//
// A call that fails stands there like any other. Reading the clock is not written down. Any thread.
#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {

class Journal {
 public:
  struct Entry {
    std::string call;
    std::string queue;  // label of the queue that it was made on; empty outside of queues
  };

  void add(std::string call);

  std::vector<std::string> calls() const;

  // Those that begin with one of the prefixes, in the order in which they were made.
  std::vector<std::string> calls(std::initializer_list<std::string_view> prefixes) const;
  std::vector<std::string> calls(std::string_view prefix) const;

  std::size_t count(std::string_view prefix) const { return calls(prefix).size(); }
  bool contains(std::string_view prefix) const { return count(prefix) > 0; }

  // True when both were made, the first call that begins with `first` before the first that begins
  // with `second`.
  bool inOrder(std::string_view first, std::string_view second) const;

  // The labels of the queues on which the calls with this prefix were made, in order.
  std::vector<std::string> queuesOf(std::string_view prefix) const;

  void clear();

  // How the machine tells which queue is running.
  void setQueueSource(std::function<std::string()> source);

 private:
  std::vector<Entry> entries(std::string_view prefix) const;

  mutable std::mutex _mutex;
  std::vector<Entry> _entries;
  std::function<std::string()> _queueSource;
};

}  // namespace marrow

// A second thread that removes folders of a tree while the first goes on beside it.
#pragma once

#include "host/linux/descriptor.h"
#include "host/linux/shared_names.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace marrow {

// For one thread, the one that shares its work. The helper's own thread is started with the first
// that it is given.
class RemovalHelper {
 public:
  // Removes the folder of this name in the folder that is open; 0, or the errno of what stayed.
  using Remove = std::function<int(int folder, const std::string& name)>;

  explicit RemovalHelper(Remove remove) : _remove(std::move(remove)) {}
  // Waits for what it is doing.
  ~RemovalHelper();
  RemovalHelper(const RemovalHelper&) = delete;
  RemovalHelper& operator=(const RemovalHelper&) = delete;

  // Removes what it gets of these names in the open folder, while the caller takes from them too.
  // The folder is kept open until then. False when it has something to do already, or when there is
  // no thread to be had.
  bool share(std::shared_ptr<Descriptor> folder, std::shared_ptr<SharedNames> names);

  // Until all that it took is removed. 0, or the first errno since the last call.
  int wait();

 private:
  bool start();
  void run();
  int removeShared() const;

  const Remove _remove;
  std::mutex _mutex;
  std::condition_variable _changed;
  std::shared_ptr<Descriptor> _folder;  // this one and the names: of what is to be done
  std::shared_ptr<SharedNames> _names;
  bool _busy = false;
  bool _ending = false;
  int _error = 0;
  std::thread _thread;
};

}  // namespace marrow

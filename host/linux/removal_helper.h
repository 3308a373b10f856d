// A second thread that removes folders of a tree while the first goes on beside it.
#pragma once

#include <condition_variable>
#include <dirent.h>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace marrow {

// One folder at a time. For one thread, the one that hands folders over. The helper's own thread is
// started with the first of them.
class RemovalHelper {
 public:
  // Removes the folder of this name in the folder that is open; 0, or the errno of what stayed.
  using Remove = std::function<int(int folder, const std::string& name)>;

  explicit RemovalHelper(Remove remove) : _remove(std::move(remove)) {}
  // Waits for what it is doing.
  ~RemovalHelper();
  RemovalHelper(const RemovalHelper&) = delete;
  RemovalHelper& operator=(const RemovalHelper&) = delete;

  // The open folder is kept until what is in it under this name is removed. False when it has
  // something to do already, or when there is no thread to be had: the folder of this name is then
  // still the caller's to remove.
  bool take(std::shared_ptr<DIR> folder, const std::string& name);

  // Until everything that was taken is done. 0, or the first errno since the last call.
  int wait();

 private:
  bool start();
  void run();

  const Remove _remove;
  std::mutex _mutex;
  std::condition_variable _changed;
  std::shared_ptr<DIR> _folder;  // of what is to be done
  std::string _name;
  bool _busy = false;
  bool _ending = false;
  int _error = 0;
  std::thread _thread;
};

}  // namespace marrow

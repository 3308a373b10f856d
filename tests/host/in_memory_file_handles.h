// File handles over descriptors of the machine's files. A callback runs inline when something is
// written to the FIFO, outside of all queues (its label is "FileHandles").
#pragma once

#include "host/file_handles.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_files.h"
#include "tests/host/in_memory_task_queues.h"

#include <functional>
#include <memory>
#include <vector>

namespace marrow {

class InMemoryFileHandle;

class InMemoryFileHandles : public FileHandles {
 public:
  InMemoryFileHandles(Calls& calls, InMemoryFiles& files, InMemoryFileSystem& fileSystem,
                      InMemoryTaskQueues& queues);
  ~InMemoryFileHandles() override;

  std::shared_ptr<FileHandle> createHandle(int descriptor) override;

  // What is written meanwhile is reported once, at the end, as when the reader comes late.
  void deliverTogether(const std::function<void()>& writes);

  // How many handles are alive.
  std::size_t openHandles() const;

 private:
  friend class InMemoryFileHandle;
  void written(const FileNodeRef& fifo);

  Calls& _calls;
  InMemoryFiles& _files;
  InMemoryFileSystem& _fileSystem;
  InMemoryTaskQueues& _queues;
  std::vector<std::weak_ptr<InMemoryFileHandle>> _handles;
  bool _holding = false;
  std::vector<FileNodeRef> _held;
};

}  // namespace marrow

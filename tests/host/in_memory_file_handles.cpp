#include "tests/host/in_memory_file_handles.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace marrow {

class InMemoryFileHandle : public FileHandle,
                           public std::enable_shared_from_this<InMemoryFileHandle> {
 public:
  InMemoryFileHandle(InMemoryFileHandles& owner, int descriptor)
      : _owner(owner),
        _descriptor(descriptor),
        _path(owner._files.describe(descriptor)),
        _node(owner._files.nodeOf(descriptor)) {}

  ~InMemoryFileHandle() override {
    _owner._calls.note("FileHandle.close", _path);
    if (_node) {
      _owner._files.closeQuietly(_descriptor);
    }
  }

  std::string availableData() override {
    if (_owner._calls.made("FileHandle.availableData", _path) || !_node) {
      return {};
    }
    return _owner._files.readAvailable(_descriptor);
  }

  void setReadabilityHandler(ReadabilityHandler handler) override {
    const bool removed = handler == nullptr;
    _owner._calls.note("FileHandle.setReadabilityHandler", _path + (removed ? " none" : ""));
    _handler = std::move(handler);
    if (_node && !_node->content.empty()) {
      runHandler();
    }
  }

  bool reads(const FileNodeRef& node) const { return _node == node; }

  void runHandler() {
    const auto self = shared_from_this();
    const ReadabilityHandler handler = _handler;
    if (handler) {
      _owner._queues.runElsewhere("FileHandles", [&] { handler(*this); });
    }
  }

 private:
  InMemoryFileHandles& _owner;
  const int _descriptor;
  const std::string _path;
  const FileNodeRef _node;
  ReadabilityHandler _handler;
};

InMemoryFileHandles::InMemoryFileHandles(Calls& calls, InMemoryFiles& files,
                                         InMemoryFileSystem& fileSystem, InMemoryTaskQueues& queues)
    : _calls(calls), _files(files), _fileSystem(fileSystem), _queues(queues) {
  _fileSystem.setFIFOListener([this](const FileNodeRef& fifo) { written(fifo); });
}

InMemoryFileHandles::~InMemoryFileHandles() { _fileSystem.setFIFOListener(nullptr); }

std::shared_ptr<FileHandle> InMemoryFileHandles::createHandle(int descriptor) {
  _calls.note("FileHandles.createHandle", _files.describe(descriptor));
  EXPECT_NE(_files.nodeOf(descriptor), nullptr) << "this descriptor is not open: " << descriptor;
  auto handle = std::make_shared<InMemoryFileHandle>(*this, descriptor);
  _handles.push_back(handle);
  return handle;
}

void InMemoryFileHandles::deliverTogether(const std::function<void()>& writes) {
  _holding = true;
  writes();
  _holding = false;
  for (const FileNodeRef& fifo : std::exchange(_held, {})) {
    written(fifo);
  }
}

std::size_t InMemoryFileHandles::openHandles() const {
  return static_cast<std::size_t>(std::count_if(
      _handles.begin(), _handles.end(), [](const auto& handle) { return !handle.expired(); }));
}

void InMemoryFileHandles::written(const FileNodeRef& fifo) {
  if (_holding) {
    if (std::find(_held.begin(), _held.end(), fifo) == _held.end()) {
      _held.push_back(fifo);
    }
    return;
  }
  const auto handles = _handles;
  for (const auto& weak : handles) {
    const auto handle = weak.lock();
    if (handle && handle->reads(fifo)) {
      handle->runHandler();
    }
  }
}

}  // namespace marrow

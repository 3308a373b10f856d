#include "tests/host/in_memory_arbitration.h"

#include <algorithm>
#include <set>
#include <utility>

namespace marrow {

namespace {

class InMemoryDisk : public DADisk {
 public:
  InMemoryDisk(InMemoryRegistry& registry, std::string name)
      : _registry(registry), _name(std::move(name)) {}

  std::string bsdName() const override { return _name; }
  RegistryEntry copyMediaEntry() override {
    return {_registry, _registry.reference(_registry.named(_name))};
  }

 private:
  InMemoryRegistry& _registry;
  const std::string _name;
};

}  // namespace

class InMemorySession : public DASession {
 public:
  explicit InMemorySession(InMemoryArbitration& owner) : _owner(owner) {
    _owner._sessions.push_back(this);
  }

  ~InMemorySession() override {
    unschedule();
    std::erase(_owner._sessions, this);
  }

  void registerMountApproval(DAMountApproval callback) override {
    _owner._calls.note("DASession.registerMountApproval");
    _callback = std::move(callback);
  }

  void setQueue(std::shared_ptr<SerialTaskQueue> queue) override {
    _owner._calls.note("DASession.setQueue", queue ? queue->label() : "none");
    unschedule();
    _queue = std::move(queue);
    if (_queue) {
      runOn(*_queue, [this] { askAboutPresent(); });
    }
  }

  bool isScheduled() const { return _queue != nullptr; }
  bool refuses(const std::string& name) const { return _refused.contains(name); }

  // Absent also while the session is not scheduled.
  std::optional<DADissent> ask(const std::string& name) {
    std::optional<DADissent> answer;
    if (_queue) {
      runOn(*_queue, [&] { answer = decide(name); });
    }
    return answer;
  }

 private:
  void askAboutPresent() {
    for (const std::string& name : std::vector(_owner._partitions.names())) {
      decide(name);
    }
  }

  std::optional<DADissent> decide(const std::string& name) {
    InMemoryDisk disk(_owner._registry, name);
    auto answer = _callback ? _callback(disk) : std::nullopt;
    _owner._calls.note("DASession.approval", name + (answer ? " refused" : " approved"));
    if (answer) {
      _refused.insert(name);
    } else {
      _refused.erase(name);
    }
    return answer;
  }

  void runOn(SerialTaskQueue& queue, Task task) {
    _owner._calls.leaveOutNext("SerialTaskQueue.sync");
    queue.sync(std::move(task));
  }

  void unschedule() {
    if (const auto queue = std::exchange(_queue, nullptr)) {
      runOn(*queue, [] {});
    }
    _refused.clear();
  }

  InMemoryArbitration& _owner;
  DAMountApproval _callback;
  std::shared_ptr<SerialTaskQueue> _queue;
  std::set<std::string> _refused;
};

InMemoryArbitration::InMemoryArbitration(Calls& calls, InMemoryPartitions& partitions,
                                         InMemoryRegistry& registry)
    : _calls(calls), _partitions(partitions), _registry(registry) {
  _partitions.setAppearanceListener([this](const std::string& name) { appeared(name); });
}

InMemoryArbitration::~InMemoryArbitration() { _partitions.setAppearanceListener(nullptr); }

std::unique_ptr<DASession> InMemoryArbitration::createSession() {
  _calls.note("DiskArbitration.createSession");
  return std::make_unique<InMemorySession>(*this);
}

std::optional<DADissent> InMemoryArbitration::requestMount(const std::string& bsdName) {
  for (InMemorySession* session : std::vector(_sessions)) {
    if (auto dissent = session->ask(bsdName)) {
      return dissent;
    }
  }
  if (_partitions.isVolume(bsdName)) {
    _partitions.mount(bsdName, "/Volumes/" + bsdName);
  }
  return std::nullopt;
}

bool InMemoryArbitration::isRefused(const std::string& bsdName) const {
  return std::any_of(_sessions.begin(), _sessions.end(),
                     [&](const InMemorySession* session) { return session->refuses(bsdName); });
}

std::size_t InMemoryArbitration::scheduledSessions() const {
  return static_cast<std::size_t>(
      std::count_if(_sessions.begin(), _sessions.end(),
                    [](const InMemorySession* session) { return session->isScheduled(); }));
}

void InMemoryArbitration::appeared(const std::string& bsdName) {
  for (InMemorySession* session : std::vector(_sessions)) {
    session->ask(bsdName);
  }
}

}  // namespace marrow

#include "tests/contract/system/system_world.h"
#include "tests/host/in_memory_host.h"

namespace marrow {

namespace {

class InMemoryWorld final : public SystemWorld {
 public:
  InMemoryWorld() { _machine.fileSystem.makeFolder("/files"); }

  Clock& clock() override { return _machine.clock; }
  FileHandles& fileHandles() override { return _machine.fileHandles; }
  FileTrees& fileTrees() override { return _machine.trees; }
  Files& files() override { return _machine.files; }
  LogService& log() override { return _machine.log; }
  Process& process() override { return _machine.process; }
  PropertyListFiles& propertyLists() override { return _machine.propertyLists; }
  TaskLauncher& launcher() override { return _machine.launcher; }
  TaskQueues& queues() override { return _machine.queues; }
  TemporaryDirectory& temporaryDirectory() override { return _machine.temporaryDirectory; }

  std::string at(const std::string& name) override { return "/files/" + name; }

  void makeFolder(const std::string& path) override { _machine.fileSystem.makeFolder(path); }
  void makeLink(const std::string& path, const std::string& target) override {
    _machine.fileSystem.makeLink(path, target);
  }
  void setMode(const std::string& path, unsigned mode) override { node(path)->mode = mode; }
  unsigned mode(const std::string& path) override { return node(path)->mode; }
  void setAttribute(const std::string& path, const std::string& name,
                    const std::string& value) override {
    node(path)->attributes[name] = value;
  }
  std::optional<std::string> attribute(const std::string& path, const std::string& name) override {
    const auto& attributes = node(path)->attributes;
    const auto found = attributes.find(name);
    return found == attributes.end() ? std::nullopt : std::optional(found->second);
  }
  std::vector<std::string> names(const std::string& folder) override {
    return _machine.fileSystem.list(folder);
  }

  void writeToFIFO(const std::string& path, const std::string& bytes) override {
    _machine.fileSystem.write(path, bytes);
  }

  std::string installProgram(int status) override {
    _machine.launcher.install("/program", [status](const std::vector<std::string>& arguments) {
      std::string output;
      for (const std::string& argument : arguments) {
        output += '[' + argument + ']';
      }
      return ProgramResult{output, status};
    });
    return "/program";
  }

  std::vector<std::string> loggedTexts() override { return _machine.log.texts(); }

  Ending endOf(const std::function<void()>& run) override {
    const RunEnded ended = marrow::endOf(run);
    return {ended.kind == RunEnded::Kind::abort,
            ended.kind == RunEnded::Kind::exit ? ended.status : 0};
  }

  void runOnMainLoop(const Task& task) override {
    _machine.queues.mainQueue().async(task);
    _machine.queues.runMainLoop();
  }

  bool waitUntil(const std::function<bool()>& condition, double seconds) override {
    constexpr double kStep = 0.01;
    _machine.queues.runUntilIdle();
    for (double passed = 0.0; !condition() && passed < seconds; passed += kStep) {
      _machine.clock.advance(kStep);
    }
    return condition();
  }

 private:
  FileNodeRef node(const std::string& path) const { return _machine.fileSystem.node(path); }

  InMemoryHost _machine;
};

}  // namespace

std::unique_ptr<SystemWorld> makeInMemoryWorld() { return std::make_unique<InMemoryWorld>(); }

}  // namespace marrow

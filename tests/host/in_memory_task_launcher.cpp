#include "tests/host/in_memory_task_launcher.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <utility>

namespace marrow {

namespace {

class InMemoryTask : public LaunchedTask {
 public:
  InMemoryTask(Calls& calls, std::string path, std::function<ProgramResult()> program)
      : _calls(calls), _path(std::move(path)), _program(std::move(program)) {}

  std::optional<std::string> readOutputToEnd(ErrorSlot error) override {
    if (const auto failure = _calls.made("LaunchedTask.readOutputToEnd", _path)) {
      storeError(error, failure->record("Cannot read the output of " + _path));
      return std::nullopt;
    }
    run();
    return std::exchange(_result.output, "");
  }

  void waitUntilExit() override {
    _calls.note("LaunchedTask.waitUntilExit", _path);
    run();
    _ended = true;
  }

  int terminationStatus() const override {
    EXPECT_TRUE(_ended) << "asked for the status of a task that was not waited for";
    return _result.status;
  }

 private:
  void run() {
    if (const auto program = std::exchange(_program, nullptr)) {
      _result = program();
    }
  }

  Calls& _calls;
  const std::string _path;
  std::function<ProgramResult()> _program;
  ProgramResult _result;
  bool _ended = false;
};

}  // namespace

std::unique_ptr<LaunchedTask> InMemoryTaskLauncher::launch(
    const std::string& path, const std::vector<std::string>& arguments, ErrorSlot error) {
  std::string text = path;
  for (const std::string& argument : arguments) {
    text += " " + argument;
  }
  auto failure = _calls.made("TaskLauncher.launch", text);
  const auto program = _programs.find(path);
  if (!failure && program == _programs.end()) {
    failure = Failure{ENOENT, nullptr};
  }
  if (failure) {
    storeError(error, failure->record("Cannot start " + path));
    return nullptr;
  }
  _launches.push_back({path, arguments});
  return std::make_unique<InMemoryTask>(
      _calls, path, [run = program->second, arguments] { return run(arguments); });
}

void InMemoryTaskLauncher::install(const std::string& path, Program program) {
  _programs[path] = std::move(program);
}

void InMemoryTaskLauncher::uninstall(const std::string& path) { _programs.erase(path); }

}  // namespace marrow

// A queue on a machine of its own, with operations, a data source and a delegate that write down
// what is asked of them.
#pragma once

#include "engine/operation_queue.h"
#include "tests/host/host_test.h"

#include <cstdint>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace marrow {

using Events = std::vector<std::string>;

// An operation whose class name, estimate and work a test chooses. Each call that the queue makes
// is an event "NAME.call".
class TestOperation : public MWOperation {
 public:
  using Body = std::function<bool(TestOperation&)>;

  TestOperation(Events& events, std::string name, double estimate, Body body)
      : _events(events), _name(std::move(name)), _estimate(estimate), _body(std::move(body)) {}

  std::string className() const override { return _name; }

  bool execute() override {
    ++_runs;
    _events.push_back(_name + ".execute");
    return _body(*this);
  }

  double estimatedExecutionTime() const override {
    _events.push_back(_name + ".estimate");
    return _estimate;
  }
  void setEstimate(double seconds) { _estimate = seconds; }

  std::shared_ptr<Progress> progress() override {
    _events.push_back(_name + ".progress");
    return _progress;
  }
  void setProgress(std::shared_ptr<Progress> progress) { _progress = std::move(progress); }

  int runs() const { return _runs; }

 private:
  Events& _events;
  const std::string _name;
  double _estimate;
  const Body _body;
  std::shared_ptr<Progress> _progress;
  int _runs = 0;
};

class TestDataSource : public MWOperationQueueDataSource {
 public:
  std::shared_ptr<MWStorageController> storageController() const override { return nullptr; }
  std::optional<std::string> loamMigratorLogPath() const override { return _logPath; }
  void setLoamMigratorLogPath(std::optional<std::string> path) override {
    _logPath = std::move(path);
  }
  std::optional<std::string> loamMigratorMetricsPath() const override { return _metricsPath; }
  void setLoamMigratorMetricsPath(std::optional<std::string> path) override {
    _metricsPath = std::move(path);
  }

 private:
  std::optional<std::string> _logPath;
  std::optional<std::string> _metricsPath;
};

class TestDelegate : public MWOperationQueueDelegate {
 public:
  struct Report {
    MWOperationQueue* queue = nullptr;
    std::uint64_t secondsRemaining = 0;
    float fraction = 0.0F;
    double moment = 0.0;
    std::string taskQueue;
  };

  using Reports = std::vector<Report>;

  // The reports outlive the delegate.
  TestDelegate(InMemoryHost& machine, Reports& reports) : _machine(machine), _reports(reports) {}

  void operationQueueReceivedEstimatedTimeRemaining(MWOperationQueue& queue,
                                                    std::uint64_t secondsRemaining,
                                                    float percentage) override {
    _reports.push_back({&queue, secondsRemaining, percentage, _machine.clock.now(),
                        _machine.queues.currentLabel()});
  }

 private:
  InMemoryHost& _machine;
  Reports& _reports;
};

class QueueTest : public HostTest {
 protected:
  using Body = TestOperation::Body;

  QueueTest() { machine.osVariant.setInternalContent(true); }

  MWOperationQueue::Services services() {
    return {machine.queues, machine.clock, machine.firmware, machine.osVariant, machine.reboot};
  }

  std::shared_ptr<TestOperation> make(const std::string& name, double estimate, Body body) {
    return std::make_shared<TestOperation>(events, name, estimate, std::move(body));
  }

  std::shared_ptr<TestOperation> add(const std::string& name, double estimate = 1.0,
                                     Body body = succeed) {
    auto operation = make(name, estimate, std::move(body));
    queue->addOperation(operation);
    return operation;
  }

  bool run() { return queue->startAndReturnError(&error); }

  // Which operations did their work, in order.
  Events executions() const {
    Events names;
    for (const std::string& event : events) {
      if (event.ends_with(".execute")) {
        names.push_back(event.substr(0, event.find('.')));
      }
    }
    return names;
  }

  // The bodies of operations.
  static bool succeed(TestOperation& /*operation*/) { return true; }
  static bool failSilently(TestOperation& /*operation*/) { return false; }
  static Body failWith(ErrorRef error) {
    return [error](TestOperation& operation) {
      operation.setError(error);
      return false;
    };
  }
  static Body succeedWith(ErrorRef error) {
    return [error](TestOperation& operation) {
      operation.setError(error);
      return true;
    };
  }
  Body takeTime(double seconds) {
    return [this, seconds](TestOperation& /*operation*/) {
      machine.clock.advance(seconds);
      return true;
    };
  }

  static ErrorRef someError(int code) { return makeError("TestErrorDomain", code); }

  Events events;
  ErrorRef error;  // of the last run
  std::shared_ptr<TestDataSource> dataSource = std::make_shared<TestDataSource>();
  TestDelegate::Reports reports;
  std::shared_ptr<TestDelegate> delegate = std::make_shared<TestDelegate>(machine, reports);
  std::shared_ptr<MWOperationQueue> queue =
      std::make_shared<MWOperationQueue>(dataSource, delegate, services());
};

}  // namespace marrow

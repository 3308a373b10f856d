// A test of the migrator operation, with a tool that a test may replace.
#pragma once

#include "operations/loam_migrator_operation.h"
#include "tests/operations/operation_test.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace marrow {

// Answers what kind of run it is differently from the daemon's own operation.
class AnsweringMigrator : public MWLoamMigratorOperation {
 public:
  using MWLoamMigratorOperation::MWLoamMigratorOperation;

  bool migrationRequired() const override { return required; }
  bool dryRunOnly() const override {
    ++dryRunQueries;
    return dryRun;
  }
  std::uint64_t dryRunTimeout() const override {
    ++timeoutQueries;
    return timeout.value_or(MWLoamMigratorOperation::dryRunTimeout());
  }

  bool required = true;
  bool dryRun = true;
  std::optional<std::uint64_t> timeout;
  mutable int dryRunQueries = 0;
  mutable int timeoutQueries = 0;
};

class MigratorTest : public OperationTest {
 protected:
  using Arguments = std::vector<std::string>;

  MigratorTest() : operation(create<AnsweringMigrator>(services())) {}

  MWLoamMigratorOperation::Services services() {
    return {machine.launcher,           machine.fileHandles, machine.files,    machine.deviceNames,
            machine.temporaryDirectory, machine.installer,   machine.osVariant};
  }

  void installTool(Program program) { machine.launcher.install(kMigratorPath, std::move(program)); }
  void installTool(ProgramResult result) {
    installTool([result](const Arguments&) { return result; });
  }

  // Runs and returns what the tool was given.
  Arguments argumentsOfRun() {
    operation->start();
    const auto& launches = machine.launcher.launches();
    return launches.empty() ? Arguments() : launches.back().arguments;
  }

  std::int64_t percentage() const { return operation->progress()->completedUnitCount(); }

  bool hasFIFO() const { return machine.fileSystem.exists(fifo); }

  void expectNothingHandedOver() {
    EXPECT_FALSE(state->loamMigratorLogPath());
    EXPECT_FALSE(state->loamMigratorMetricsPath());
  }

  void expectHandedOver() {
    EXPECT_EQ(state->loamMigratorLogPath(), "/private/tmp/loam_migrator.log");
    EXPECT_EQ(state->loamMigratorMetricsPath(), "/private/tmp/loam_migrator_metrics.dat");
    EXPECT_FALSE(isRefusingMounts());
  }

  void expectNoPipe() {
    EXPECT_FALSE(operation->progressHandle());
    EXPECT_FALSE(operation->progressPath());
    EXPECT_FALSE(hasFIFO());
    EXPECT_EQ(machine.fileHandles.openHandles(), 0U);
  }

  const std::string fifo = "/run/marrow/tmp/loam_migrator_progress.txt";
  std::shared_ptr<AnsweringMigrator> operation;
};

}  // namespace marrow

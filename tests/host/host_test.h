// A test with a machine of its own, whose log the process-wide channels write to.
#pragma once

#include "daemon/log_channels.h"
#include "tests/host/in_memory_host.h"

#include <gtest/gtest.h>

namespace marrow {

class HostTest : public testing::Test {
 public:
  ~HostTest() override { useLogService(nullptr); }

 protected:
  HostTest() { useLogService(&machine.log); }

  InMemoryHost machine;
};

}  // namespace marrow

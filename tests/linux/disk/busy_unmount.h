// An unmount that a holder stands in the way of.
#pragma once

#include "host/partition_library.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace marrow {

// The volume stays, and the error names its node and who holds it.
inline void expectBusyUnmount(DVStaticLoamVolume& volume, const std::string& node,
                              const VolumeOptions& options, const std::string& holder) {
  ErrorRef error;
  EXPECT_FALSE(volume.unmount(options, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), EBUSY);
  EXPECT_NE(error->description().find(holder), std::string::npos) << error->description();
  EXPECT_NE(error->description().find(node), std::string::npos) << error->description();
}

}  // namespace marrow

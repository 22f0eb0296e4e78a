// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "platform/log/memory/memory_log.h"
#include "platform/pipewire/pipewire.h"

namespace {

class Messages : public testing::Test {
 protected:
  Messages() { memory_log::reset(); }
  // The client's configuration file, which other tests of this program load, turns messages off.
  static void turnOn() { pw_log_set_level(SPA_LOG_LEVEL_WARN); }
};

TEST_F(Messages, ArePrintedByTheProgram) {
  const pipewire::Library library;
  turnOn();
  pw_log_warn("%d of %s", 2, "three");
  pw_log_error("none");
  pw_log_info("all is well");
  EXPECT_EQ(memory_log::takeErrors(), "PipeWire: TestBody: 2 of three\nPipeWire: TestBody: none\n");
}

TEST_F(Messages, ArePrintedByTheProgramAlsoAfterTheLibraryWasLeft) {
  { const pipewire::Library library; }
  const pipewire::Library library;
  turnOn();
  pw_log_warn("again");
  EXPECT_EQ(memory_log::takeErrors(), "PipeWire: TestBody: again\n");
}

TEST_F(Messages, AreCutWhenTheyAreLong) {
  const pipewire::Library library;
  turnOn();
  pw_log_warn("%s", std::string(5000, 'x').c_str());
  EXPECT_EQ(memory_log::takeErrors(), "PipeWire: TestBody: " + std::string(1023, 'x') + "\n");
}

}  // namespace

// SPDX-License-Identifier: MIT
#include "platform/log/memory/memory_log.h"

#include <gmock/gmock.h>

namespace {

using memory_log::Line;
using platform::LogPriority;
using testing::ElementsAre;
using testing::IsEmpty;

class MemoryLog : public testing::Test {
 protected:
  void SetUp() override { memory_log::reset(); }
};

TEST_F(MemoryLog, KeepsTheFormattedLinesInOrder) {
  platform::syslog(LogPriority::kError, "device %d of %s", 3, "all");
  platform::syslog(LogPriority::kNotice, "done");
  EXPECT_THAT(memory_log::lines(), ElementsAre(Line{LogPriority::kError, "device 3 of all"},
                                               Line{LogPriority::kNotice, "done"}));
}

TEST_F(MemoryLog, KeepsWhatIsPrintedOnEachStreamUntilItIsTaken) {
  platform::printOutput("device %d\n", 3);
  platform::printError("no %s\n", "answer");
  platform::printOutput("%s", std::string(1 << 12, 'x').c_str());
  EXPECT_EQ(memory_log::takeOutput(), "device 3\n" + std::string(1 << 12, 'x'));
  EXPECT_EQ(memory_log::takeOutput(), "");
  EXPECT_EQ(memory_log::takeErrors(), "no answer\n");
}

TEST_F(MemoryLog, ForgetsEverythingAtAReset) {
  platform::syslog(LogPriority::kWarning, "gone");
  platform::printOutput("gone");
  platform::printError("gone");
  memory_log::reset();
  EXPECT_THAT(memory_log::lines(), IsEmpty());
  EXPECT_EQ(memory_log::takeOutput(), "");
  EXPECT_EQ(memory_log::takeErrors(), "");
}

}  // namespace

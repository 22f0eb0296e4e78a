// SPDX-License-Identifier: MIT
// What every back end of the log does. Compiled once against each. It is only written to, so each
// back end's own test checks what arrives.
#include "platform/log/log.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using platform::LogPriority;

TEST(Log, TakesAMessageOfEveryPriority) {
  platform::syslog(LogPriority::kError, "plain");
  platform::syslog(LogPriority::kWarning, "number %d", 3);
  platform::syslog(LogPriority::kNotice, "text %s", "VX-310");
}

TEST(Log, TakesAMessageLongerThanAnyBuffer) {
  platform::syslog(LogPriority::kNotice, "%s", std::string(1 << 16, 'x').c_str());
}

TEST(Log, PrintsTextsOfAnyLength) {
  platform::printOutput("plain\n");
  platform::printOutput("number %d of %s\n", 3, "VX-310");
  platform::printError("%s\n", std::string(1 << 12, 'x').c_str());
}

TEST(Log, IsWrittenToFromSeveralThreads) {
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([writer] {
      for (int line = 0; line < 20; ++line) {
        platform::syslog(LogPriority::kNotice, "writer %d line %d", writer, line);
        platform::printOutput("writer %d line %d\n", writer, line);
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
}

}  // namespace

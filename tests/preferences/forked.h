// SPDX-License-Identifier: MIT
// Runs parts of a test in a forked process.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

namespace preferences_test {

// Forks a process that runs `body` and exits, with status 1 when an expectation failed. The process
// is killed when the test ends.
inline pid_t startForked(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child != 0) return child;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  body();
  std::fflush(nullptr);
  ::_exit(testing::Test::HasFailure() ? 1 : 0);
}

// Waits for the child; returns its exit status, or minus the signal that ended it.
inline int waitForForked(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Runs `body` in a forked process and waits for its end. Its output tells which expectation failed.
inline void runForked(const std::function<void()>& body) {
  EXPECT_EQ(waitForForked(startForked(body)), 0);
}

}  // namespace preferences_test

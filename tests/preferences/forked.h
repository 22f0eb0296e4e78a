// SPDX-License-Identifier: MIT
// Parts of a test that run in a process of their own, forked from the test.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

namespace preferences_test {

// Starts `body` in a process of its own, which ends with it: with status 1 when an expectation in
// it failed. It does not outlive the test.
inline pid_t startForked(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child != 0) return child;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  body();
  std::fflush(nullptr);
  ::_exit(testing::Test::HasFailure() ? 1 : 0);
}

// Its exit status, or minus the signal that ended it.
inline int waitForForked(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Runs `body` so and waits for its end; what it printed tells what failed.
inline void runForked(const std::function<void()>& body) {
  EXPECT_EQ(waitForForked(startForked(body)), 0);
}

}  // namespace preferences_test

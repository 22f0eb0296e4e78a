// SPDX-License-Identifier: MIT
// Preferences of processes that are killed during a synchronise, and of processes that synchronise
// at the same time.
#include <fcntl.h>
#include <sched.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "tests/preferences/preferences_test.h"

namespace preferences_test {
namespace {

class KilledProcess : public PreferencesTest {
 protected:
  KilledProcess() {
    EXPECT_EQ(pipe2(pipe_, O_CLOEXEC), 0);
    set("Kept", "always");
    EXPECT_TRUE(synchronize());
  }
  ~KilledProcess() override {
    close(pipe_[0]);
    close(pipe_[1]);
  }

  // Called by the process that will be killed: tells the test that `number` is stored.
  void confirm(int number) { EXPECT_EQ(write(pipe_[1], &number, sizeof number), 4); }

  // The last number confirmed since the previous call; `before` when there was no confirmation.
  int lastConfirmed(int before) {
    fcntl(pipe_[0], F_SETFL, O_NONBLOCK);
    for (int number = 0; read(pipe_[0], &number, sizeof number) == 4;) before = number;
    return before;
  }

  // The file parses, and at most one half-written file is beside it.
  void expectStored(int leastNumber, int mostNumber) {
    const auto values = stored();
    ASSERT_TRUE(values) << bytes();
    EXPECT_EQ(values->count("Kept"), 1u);
    const auto number = CFNumberGetValue<int>(*values, "Number").value_or(0);
    EXPECT_GE(number, leastNumber);
    EXPECT_LE(number, mostNumber);
    if (number > 0) {
      EXPECT_EQ(*CFDictionaryGet<std::string>(*values, "Text"), std::to_string(number));
    }
    EXPECT_LE(names().size(), 3u) << "the file, its lock, and one half-written file";
  }

  static bool save(int number) {
    set("Number", number);
    set("Text", std::to_string(number));
    return synchronize();
  }

  // Starts a traced process that stops before a save and at each of its system calls; 0 when this
  // machine forbids tracing a child.
  pid_t startTracedSave(int number) {
    const pid_t child = startForked([this, number] {
      if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(3);
      raise(SIGSTOP);
      if (save(number)) confirm(number);
    });
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return 0;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    return child;
  }

  int pipe_[2] = {-1, -1};
};

TEST_F(KilledProcess, AConfirmedValueSurvivesAKillAtARandomMomentOf1000SaveLoops) {
  std::minstd_rand random(310);
  std::uniform_int_distribution<int> microseconds(0, 4000);
  int confirmed = 0;
  for (int loop = 0; loop < 1000; ++loop) {
    const pid_t child = startForked([&] {
      for (int number = confirmed + 1;; ++number) {
        if (save(number)) confirm(number);
      }
    });
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds(random));
    while (std::chrono::steady_clock::now() < end) {
    }
    kill(child, SIGKILL);
    ASSERT_EQ(waitForForked(child), -SIGKILL);
    confirmed = lastConfirmed(confirmed);
    expectStored(confirmed, confirmed + 1);
    // The killed process may have stored a number without confirming it; continue from there.
    confirmed = CFNumberGetValue<int>(*stored(), "Number").value_or(0);
    if (HasFailure()) break;
  }
  EXPECT_GT(confirmed, 0) << "no save ever came to its end";
}

// Continues a stopped child to the entry or exit of its next system call; false when it ended.
bool runToSystemCall(pid_t child) {
  int status = 0;
  for (int signalNumber = 0;;) {
    ptrace(PTRACE_SYSCALL, child, nullptr, signalNumber);
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return false;
    if (WSTOPSIG(status) == (SIGTRAP | 0x80)) return true;
    signalNumber = WSTOPSIG(status);
  }
}

TEST_F(KilledProcess, AConfirmedValueSurvivesAKillAtEachSystemCallOfASave) {
  int number = 0;
  for (int calls = 0;; ++calls) {
    ++number;
    const pid_t child = startTracedSave(number);
    ASSERT_NE(child, 0);
    int done = 0;
    while (done < calls && runToSystemCall(child)) ++done;
    const bool isOver = done < calls;
    if (!isOver) {
      kill(child, SIGKILL);
      ASSERT_EQ(waitForForked(child), -SIGKILL);
    }
    const int confirmed = lastConfirmed(0);
    expectStored(confirmed ? confirmed : 0, number);
    number = CFNumberGetValue<int>(*stored(), "Number").value_or(0);
    if (HasFailure()) FAIL() << "after " << calls << " starts and ends of system calls";
    if (isOver) {
      EXPECT_EQ(confirmed, number);
      EXPECT_GT(calls, 20) << "a save takes more than this";
      break;
    }
  }
  // The next save removes what the killed ones left.
  EXPECT_TRUE(save(number + 1));
  EXPECT_EQ(names().size(), 2u) << "the file and its lock";
}

bool isRename(std::uint64_t call) {
#ifdef SYS_rename
  if (call == SYS_rename) return true;
#endif
  return call == SYS_renameat || call == SYS_renameat2;
}

// A power failure must lose nothing: the file is synced before the rename, and the folder is synced
// before synchronize() returns.
TEST_F(KilledProcess, ASaveSyncsTheFileBeforeTheRenameAndTheFolderBeforeItReturns) {
  const pid_t child = startTracedSave(1);
  ASSERT_NE(child, 0);
  std::vector<std::string> calls;
  while (runToSystemCall(child)) {
    __ptrace_syscall_info call = {};
    ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof call, &call);
    if (call.op != PTRACE_SYSCALL_INFO_ENTRY) continue;
    if (call.entry.nr == SYS_fsync) calls.push_back("fsync");
    if (isRename(call.entry.nr)) calls.push_back("rename");
    if (call.entry.nr == SYS_write && call.entry.args[0] == static_cast<unsigned>(pipe_[1])) {
      calls.push_back("confirm");
    }
  }
  EXPECT_EQ(calls, (std::vector<std::string>{"fsync", "rename", "fsync", "confirm"}));
}

TEST_F(KilledProcess, ProcessesThatStoreDifferentKeysAtOnceLoseNothing) {
  constexpr int kProcesses = 4;
  constexpr int kKeys = 50;
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(startForked([process] {
      for (int key = 0; key < kKeys; ++key) {
        set(std::to_string(process) + "." + std::to_string(key), key);
        synchronize();  // may leave it to a later one: the others take the lock again at once
      }
      while (!synchronize()) sched_yield();
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(waitForForked(child), 0);
  EXPECT_EQ(stored()->size(), kProcesses * kKeys + 1u);
  EXPECT_TRUE(synchronize());
  for (int process = 0; process < kProcesses; ++process) {
    EXPECT_EQ(copy(std::to_string(process) + "." + std::to_string(kKeys - 1)), CFValue(kKeys - 1));
  }
}

TEST_F(KilledProcess, AReaderNeverSeesAHalfWrittenFile) {
  const pid_t writer = startForked([] {
    for (int number = 1;; ++number) save(number);
  });
  int last = 0;
  for (int reading = 0; reading < 2000; ++reading) {
    EXPECT_TRUE(synchronize());
    ASSERT_EQ(copy("Kept"), CFValue("always"));
    const auto number = copy("Number");
    if (!number) continue;
    EXPECT_EQ(copy("Text"), CFValue(std::to_string(*number->as<std::int64_t>())));
    EXPECT_GE(*number->as<std::int64_t>(), last);
    last = static_cast<int>(*number->as<std::int64_t>());
  }
  kill(writer, SIGKILL);
  EXPECT_EQ(waitForForked(writer), -SIGKILL);
}

}  // namespace
}  // namespace preferences_test

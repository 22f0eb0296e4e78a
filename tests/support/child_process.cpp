// SPDX-License-Identifier: MIT
#include "tests/support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace test_support {

namespace {

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
      std::perror("pipe2");
      std::abort();
    }
    reading = FileDescriptor(ends[0]);
    writing = FileDescriptor(ends[1]);
  }
  FileDescriptor reading;
  FileDescriptor writing;
};

std::string nameOf(const std::string& entry) { return entry.substr(0, entry.find('=')); }

// A copy of this process's environment with the changes.
std::vector<std::string> changedEnvironment(const std::vector<std::string>& changes) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry; ++entry) {
    bool replaced = false;
    for (const std::string& change : changes) replaced |= nameOf(change) == nameOf(*entry);
    if (!replaced) result.push_back(*entry);
  }
  for (const std::string& change : changes) {
    if (change.find('=') != std::string::npos) result.push_back(change);
  }
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

bool waitReadable(int descriptor, std::chrono::milliseconds limit) {
  pollfd entry{descriptor, POLLIN, 0};
  return ::poll(&entry, 1, static_cast<int>(limit.count())) == 1;
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment, Output output) {
  // Allocate before the fork: in the child, locks of other threads may be held forever.
  std::vector<std::string> ownArguments = arguments;
  std::vector<std::string> ownEnvironment = changedEnvironment(environment);
  const std::vector<char*> argv = pointers(ownArguments);
  const std::vector<char*> envp = pointers(ownEnvironment);
  start(output, [&] {
    ::execvpe(argv[0], argv.data(), envp.data());
    ::_exit(127);
  });
}

ChildProcess::ChildProcess(const std::function<void()>& body) { start(Output::kept, body); }

void ChildProcess::start(Output output, const std::function<void()>& body) {
  Pipe printed;
  Pipe errors;
  const pid_t parent = ::getpid();
  std::fflush(stdout);  // otherwise the child would print this process's buffered output too
  pid_ = ::fork();
  if (pid_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    if (output == Output::kept) {
      ::dup2(printed.writing.get(), STDOUT_FILENO);
      ::dup2(errors.writing.get(), STDERR_FILENO);
    }
    body();
    ::_exit(0);
  }
  if (pid_ < 0) return;
  ended_ = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
  output_ = std::move(printed.reading);
  errors_ = std::move(errors.reading);
}

ChildProcess::~ChildProcess() {
  signal(SIGKILL);
  wait();
}

void ChildProcess::signal(int number) {
  if (pid_ > 0 && !status_) ::kill(pid_, number);
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds limit) {
  if (pid_ <= 0 || status_ || !waitReadable(ended_.get(), limit)) return status_;
  int status = 0;
  if (::waitpid(pid_, &status, 0) != pid_) return std::nullopt;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return status_;
}

std::string ChildProcess::readLine() {
  std::string line;
  char character = 0;
  while (waitReadable(output_.get(), kPatience) && ::read(output_.get(), &character, 1) == 1) {
    if (character == '\n') return line;
    line += character;
  }
  return "";
}

std::string ChildProcess::readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> part{};
  while (waitReadable(descriptor, kPatience)) {
    const ssize_t size = ::read(descriptor, part.data(), part.size());
    if (size <= 0) break;
    text.append(part.data(), static_cast<std::size_t>(size));
  }
  return text;
}

}  // namespace test_support

#include "driver/testing/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace driver::testing {

namespace {

using std::chrono::milliseconds;

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
    reading = FileDescriptor(ends[0]);
    writing = FileDescriptor(ends[1]);
  }
  FileDescriptor reading;
  FileDescriptor writing;
};

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  // execvpe() does not write to them.
  for (const auto& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& extra) {
  std::vector<std::string> all = extra;
  for (char** entry = environ; *entry != nullptr; ++entry) all.emplace_back(*entry);
  return all;
}

}  // namespace

bool waitReadable(int descriptor, milliseconds limit) {
  pollfd entry{descriptor, POLLIN, 0};
  return poll(&entry, 1, static_cast<int>(limit.count())) == 1;
}

ChildProcess::ChildProcess(const std::vector<std::string>& words,
                           const std::vector<std::string>& environment) {
  Pipe output;
  Pipe errors;
  const auto arguments = pointersTo(words);
  const auto all = environmentWith(environment);
  const auto variables = pointersTo(all);
  id_ = fork();
  if (id_ == 0) {
    // It must not outlive a test that is killed.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output.writing.get(), STDOUT_FILENO);
    dup2(errors.writing.get(), STDERR_FILENO);
    execvpe(arguments[0], arguments.data(), variables.data());
    _exit(127);
  }
  if (id_ < 0) std::abort();
  process_ = FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, id_, 0)));
  output_ = std::move(output.reading);
  errors_ = std::move(errors.reading);
}

ChildProcess::~ChildProcess() {
  if (status_) return;
  signal(SIGKILL);
  waitpid(id_, nullptr, 0);
}

void ChildProcess::signal(int number) { kill(id_, number); }

std::optional<int> ChildProcess::wait(milliseconds limit) {
  if (!status_ && waitReadable(process_.get(), limit)) {
    int status = 0;
    waitpid(id_, &status, 0);
    status_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }
  return status_;
}

std::string ChildProcess::readLine() {
  std::string line;
  char character = 0;
  while (waitReadable(output_.get(), kPatience) && read(output_.get(), &character, 1) == 1) {
    if (character == '\n') return line;
    line += character;
  }
  return "";
}

std::string ChildProcess::readAll(FileDescriptor& from) {
  std::string text;
  std::array<char, 4096> part{};
  while (waitReadable(from.get(), kPatience)) {
    const ssize_t size = read(from.get(), part.data(), part.size());
    if (size <= 0) break;
    text.append(part.data(), static_cast<std::size_t>(size));
  }
  return text;
}

}  // namespace driver::testing

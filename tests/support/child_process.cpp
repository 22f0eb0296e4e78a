#include "tests/support/child_process.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace test_support {

namespace {

std::string nameOf(const std::string& entry) { return entry.substr(0, entry.find('=')); }

// This process's environment with the changes made.
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

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment) {
  // Everything that allocates is done before the fork: other threads may hold locks then.
  std::vector<std::string> ownArguments = arguments;
  std::vector<std::string> ownEnvironment = changedEnvironment(environment);
  const std::vector<char*> argv = pointers(ownArguments);
  const std::vector<char*> envp = pointers(ownEnvironment);
  const pid_t parent = ::getpid();
  pid_ = ::fork();
  if (pid_ != 0) return;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() == parent) ::execvpe(argv[0], argv.data(), envp.data());
  ::_exit(127);
}

ChildProcess::~ChildProcess() {
  signal(SIGKILL);
  wait(std::chrono::seconds(10));
}

void ChildProcess::signal(int number) {
  if (pid_ > 0 && !status_) ::kill(pid_, number);
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds limit) {
  if (pid_ <= 0 || status_) return status_;
  // Readable when the process has ended.
  const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
  pollfd ended{descriptor, POLLIN, 0};
  const int ready = ::poll(&ended, 1, static_cast<int>(limit.count()));
  ::close(descriptor);
  if (ready <= 0) return std::nullopt;
  int status = 0;
  if (::waitpid(pid_, &status, 0) != pid_) return std::nullopt;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return status_;
}

}  // namespace test_support

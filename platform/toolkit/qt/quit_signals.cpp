// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/quit_signals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <utility>

#include "platform/toolkit/qt/guarded.h"

namespace qt_toolkit {

namespace {

// Handlers instead of a blocked signal mask: the browser that shows the help would inherit the
// mask.
std::atomic<int> eventOfHandler{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void handleSignal(int) {
  const int error = errno;
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = write(eventOfHandler, &one, sizeof one);
  errno = error;
}

void handleNothing(int) {}

}  // namespace

QuitSignals::QuitSignals(std::function<void()> quit)
    : event_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  eventOfHandler = event_;
  notifier_ = std::make_unique<QSocketNotifier>(event_, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                   [event = event_, quit = std::move(quit)] {
                     std::uint64_t count = 0;
                     if (read(event, &count, sizeof count) == sizeof count) guarded(quit);
                   });
  struct sigaction action {};
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    action.sa_handler = kSignals[i] == SIGPIPE ? handleNothing : handleSignal;
    sigaction(kSignals[i], nullptr, &previous_[i]);
    // A signal that was ignored at the start (nohup, a script's background job) stays ignored.
    if (previous_[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

QuitSignals::~QuitSignals() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], &previous_[i], nullptr);
  }
  notifier_.reset();
  eventOfHandler = -1;
  close(event_);
}

}  // namespace qt_toolkit

// SPDX-License-Identifier: MIT
// Handles the signals that end a program in Qt's event loop instead.
#pragma once

#include <QSocketNotifier>
#include <csignal>
#include <functional>
#include <iterator>
#include <memory>

namespace qt_toolkit {

// While an object of this class lives, SIGINT, SIGTERM and SIGHUP call `quit` from the event loop;
// a signal that arrives before the loop runs calls it when the loop starts. SIGPIPE does nothing,
// so that the panel keeps running when the reader of its output has gone. One object at a time.
class QuitSignals {
 public:
  explicit QuitSignals(std::function<void()> quit);
  ~QuitSignals();
  QuitSignals(const QuitSignals&) = delete;
  QuitSignals& operator=(const QuitSignals&) = delete;

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

  int event_;
  std::unique_ptr<QSocketNotifier> notifier_;
  struct sigaction previous_[std::size(kSignals)];
};

}  // namespace qt_toolkit

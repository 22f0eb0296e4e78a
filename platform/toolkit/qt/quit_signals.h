// SPDX-License-Identifier: MIT
// The signals that would end a program, which the toolkit's event loop handles instead.
#pragma once

#include <QSocketNotifier>
#include <csignal>
#include <functional>
#include <iterator>
#include <memory>

namespace qt_toolkit {

// From its construction to its end SIGINT, SIGTERM and SIGHUP call `quit` from the event loop; one
// that comes before the loop runs is delivered when it does. SIGPIPE does nothing: a program whose
// output nobody reads any more keeps its window. One object at a time.
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

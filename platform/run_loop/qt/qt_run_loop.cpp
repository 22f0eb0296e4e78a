// SPDX-License-Identifier: MIT
// The run loop of programs with a window: Qt's event loop, on the application's thread. Other
// threads have no run loop.
#include <poll.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "platform/run_loop/run_loop.h"

namespace {

struct Watched {
  CFRunLoopSourceRef source;
  QPointer<QSocketNotifier> notifier;  // owned by the application
};

}  // namespace

struct CFRunLoop {
  std::vector<Watched> watched;
  QEventLoop* innermost = nullptr;  // of the nested CFRunLoopRunInMode calls
  bool stopped = false;
};

namespace {

CFRunLoop applicationLoop;

bool contains(const CFRunLoop& loop, const CFRunLoopSourceRef& source) {
  return std::any_of(loop.watched.begin(), loop.watched.end(),
                     [&](const Watched& watched) { return watched.source == source; });
}

// The caller holds a reference, so that a source may remove itself.
void perform(CFRunLoop& loop, const CFRunLoopSourceRef& source) {
  if (contains(loop, source)) source->perform();
}

bool isReady(const CFRunLoopSource& source) {
  pollfd descriptor{source.descriptor(), POLLIN, 0};
  return poll(&descriptor, 1, 0) > 0;
}

// Performs the sources that are ready at the call, before Qt handles any event.
void performReady(CFRunLoop& loop) {
  std::vector<CFRunLoopSourceRef> ready;
  for (const Watched& watched : loop.watched) {
    if (isReady(*watched.source)) ready.push_back(watched.source);
  }
  for (const CFRunLoopSourceRef& source : ready) {
    if (loop.stopped) return;
    perform(loop, source);
  }
}

// A source that is ready again at once must not keep the window waiting: it is watched again when the
// window's events are handled. Timers of 0 ms come last.
void letWindowGoFirst(QSocketNotifier* notifier) {
  if (!notifier->isEnabled()) return;  // removed by its callback
  notifier->setEnabled(false);
  QTimer::singleShot(0, notifier, [notifier] { notifier->setEnabled(true); });
}

void runToolkitFor(CFRunLoop& loop, double seconds) {
  constexpr double kLongestWait = 1e6;  // seconds; its milliseconds fit in an int
  QEventLoop events;
  const double milliseconds = std::ceil(std::min(seconds, kLongestWait) * 1000);
  QTimer::singleShot(static_cast<int>(milliseconds), Qt::PreciseTimer, &events, &QEventLoop::quit);
  loop.innermost = &events;
  events.exec();
  loop.innermost = nullptr;
}

}  // namespace

CFRunLoopRef CFRunLoopGetCurrent() {
  const QCoreApplication* application = QCoreApplication::instance();
  return application && QThread::currentThread() == application->thread() ? &applicationLoop
                                                                          : nullptr;
}

void CFRunLoopAddSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char*) {
  if (!loop || !source || contains(*loop, source)) return;
  auto* notifier = new QSocketNotifier(source->descriptor(), QSocketNotifier::Read,
                                       QCoreApplication::instance());
  QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                   [loop, notifier, weak = std::weak_ptr(source)] {
                     if (const CFRunLoopSourceRef held = weak.lock()) perform(*loop, held);
                     letWindowGoFirst(notifier);
                   });
  loop->watched.push_back({source, notifier});
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char*) {
  if (!loop) return;
  std::erase_if(loop->watched, [&](const Watched& watched) {
    if (watched.source != source) return false;
    if (watched.notifier) {
      watched.notifier->setEnabled(false);
      watched.notifier->deleteLater();  // it may be the caller
    }
    return true;
  });
}

bool CFRunLoopRunInMode(const char*, double seconds) {
  const CFRunLoopRef loop = CFRunLoopGetCurrent();
  if (!loop) return false;
  const bool stoppedBefore = std::exchange(loop->stopped, false);
  QEventLoop* const outer = std::exchange(loop->innermost, nullptr);
  performReady(*loop);
  if (!stoppedBefore && !loop->stopped && seconds > 0) runToolkitFor(*loop, seconds);
  loop->innermost = outer;
  return std::exchange(loop->stopped, false) || stoppedBefore;
}

void CFRunLoopStop(CFRunLoopRef loop) {
  if (!loop) return;
  loop->stopped = true;
  if (loop->innermost) loop->innermost->quit();
}

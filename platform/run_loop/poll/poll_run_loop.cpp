// SPDX-License-Identifier: MIT
// The run loop of programs without a window: each thread has one, which waits with poll(2).
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>
#include <vector>

#include "platform/run_loop/run_loop.h"

struct CFRunLoop {
  std::vector<CFRunLoopSourceRef> sources;
  bool stopped = false;
};

namespace {

using Clock = std::chrono::steady_clock;

thread_local CFRunLoop loopOfThisThread;

bool contains(const CFRunLoop& loop, const CFRunLoopSourceRef& source) {
  return std::find(loop.sources.begin(), loop.sources.end(), source) != loop.sources.end();
}

// Clamps long waits: adding DBL_MAX seconds would overflow time_point.
Clock::time_point deadlineAfter(double seconds) {
  constexpr double kLongestWait = 1e8;  // three years
  const double wait = seconds > 0 ? std::min(seconds, kLongestWait) : 0;
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(wait));
}

// Rounded up, so that the last wait does not end just before the deadline.
int millisecondsUntil(Clock::time_point deadline) {
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(rest)>(rest, 0, std::numeric_limits<int>::max()));
}

// Waits at most `milliseconds`, then performs the ready sources until one of them stops the loop.
void performReady(CFRunLoop& loop, int milliseconds) {
  const auto sources = loop.sources;  // a copy: perform() may add and remove sources
  std::vector<pollfd> watched;
  watched.reserve(sources.size());
  for (const CFRunLoopSourceRef& source : sources) {
    watched.push_back({source->descriptor(), POLLIN, 0});
  }
  // A signal ends the wait early; the caller waits again until the deadline.
  if (poll(watched.data(), watched.size(), milliseconds) <= 0) return;
  for (std::size_t i = 0; i < sources.size() && !loop.stopped; ++i) {
    if (watched[i].revents != 0 && contains(loop, sources[i])) sources[i]->perform();
  }
}

}  // namespace

CFRunLoopRef CFRunLoopGetCurrent() { return &loopOfThisThread; }

void CFRunLoopAddSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char*) {
  if (loop && source && !contains(*loop, source)) loop->sources.push_back(source);
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char*) {
  if (loop) std::erase(loop->sources, source);
}

bool CFRunLoopRunInMode(const char*, double seconds) {
  CFRunLoop& loop = loopOfThisThread;
  const bool stoppedBefore = std::exchange(loop.stopped, false);
  const auto deadline = deadlineAfter(stoppedBefore ? 0 : seconds);
  do {
    performReady(loop, millisecondsUntil(deadline));
    if (std::exchange(loop.stopped, false)) return true;
  } while (Clock::now() < deadline);
  return stoppedBefore;
}

void CFRunLoopStop(CFRunLoopRef loop) {
  if (loop) loop->stopped = true;
}

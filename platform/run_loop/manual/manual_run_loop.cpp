// SPDX-License-Identifier: MIT
#include "platform/run_loop/manual/manual_run_loop.h"

#include <algorithm>
#include <utility>
#include <vector>

struct CFRunLoop {
  std::vector<CFRunLoopSourceRef> sources;
  bool stopped = false;
  bool available = true;
};

namespace {

CFRunLoop loopDrivenByHand;

bool contains(const CFRunLoop& loop, const CFRunLoopSourceRef& source) {
  return std::find(loop.sources.begin(), loop.sources.end(), source) != loop.sources.end();
}

}  // namespace

namespace manual_run_loop {

void performAll() {
  const auto sources = loopDrivenByHand.sources;  // a copy: perform() may add and remove sources
  for (const CFRunLoopSourceRef& source : sources) {
    if (contains(loopDrivenByHand, source)) source->perform();
  }
}

std::size_t sourceCount() { return loopDrivenByHand.sources.size(); }

void setAvailable(bool available) { loopDrivenByHand.available = available; }

void reset() { loopDrivenByHand = CFRunLoop{}; }

}  // namespace manual_run_loop

CFRunLoopRef CFRunLoopGetCurrent() {
  return loopDrivenByHand.available ? &loopDrivenByHand : nullptr;
}

void CFRunLoopAddSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char*) {
  if (loop && source && !contains(*loop, source)) loop->sources.push_back(source);
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char*) {
  if (loop) std::erase(loop->sources, source);
}

bool CFRunLoopRunInMode(const char*, double) {
  manual_run_loop::performAll();
  return std::exchange(loopDrivenByHand.stopped, false);
}

void CFRunLoopStop(CFRunLoopRef loop) {
  if (loop) loop->stopped = true;
}

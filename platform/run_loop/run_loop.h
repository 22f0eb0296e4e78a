// SPDX-License-Identifier: MIT
// Run loop seam: one thread's event loop, which performs sources such as the device notifications.
//
// Back ends: qt/ (the toolkit's loop), poll/ (programs without a window), manual/ (driven by
// tests). A program links exactly one.
#pragma once

#include <memory>

// A source of events that a run loop performs. Its maker and every loop that it was added to share
// ownership.
class CFRunLoopSource {
 public:
  virtual ~CFRunLoopSource() = default;

  // A descriptor that reads as ready while there are events. The source owns it; it stays open and
  // the same as long as the source lives.
  virtual int descriptor() const = 0;

  // Handles the events that are ready and returns without waiting for more. Runs on the loop's
  // thread; may add and remove sources, this one included. Must not throw.
  virtual void perform() = 0;
};

using CFRunLoopSourceRef = std::shared_ptr<CFRunLoopSource>;

// The run loop of one thread; null for no loop.
struct CFRunLoop;
using CFRunLoopRef = CFRunLoop*;

// The only mode in use.
inline constexpr const char* kCFRunLoopDefaultMode = "kCFRunLoopDefaultMode";

// The calling thread's run loop; null when the thread cannot have one. Valid until the thread ends;
// not to be released.
CFRunLoopRef CFRunLoopGetCurrent();

// Adds `source` to `loop`, which then performs it whenever its descriptor is ready. Does nothing if
// the loop has the source. Thread: the loop's.
void CFRunLoopAddSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char* mode);

// Removes `source` from `loop`, which does not perform it again, even if its descriptor is ready.
// Does nothing if the loop does not have the source. Thread: the loop's.
void CFRunLoopRemoveSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char* mode);

// Runs the calling thread's loop until CFRunLoopStop or for `seconds`. Performs at least the
// sources that are ready at the call, even with 0 seconds. Returns true when it was stopped, false
// when the time has passed. May be called from perform().
bool CFRunLoopRunInMode(const char* mode, double seconds);

// Makes the innermost CFRunLoopRunInMode of `loop` return after the source that it is performing.
// If none is running, the next call returns after performing the ready sources. Thread: the loop's.
void CFRunLoopStop(CFRunLoopRef loop);

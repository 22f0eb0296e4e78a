// SPDX-License-Identifier: MIT
// Run loop seam: the loop on which device notifications, panel actions and timers of one thread
// run.
//
// Back ends: qt/ (the toolkit's own loop), poll/ (programs without a window), manual/ (driven by
// hand, for tests). A program links exactly one.
#pragma once

#include <memory>

// Something whose work a run loop performs. The maker owns it together with every loop it was added
// to; it stays alive until the last of them lets go.
class CFRunLoopSource {
 public:
  virtual ~CFRunLoopSource() = default;

  // A descriptor that reads as ready while there is work. It stays the same and open for as long as
  // the source lives. The source keeps it; the loop only watches it.
  virtual int descriptor() const = 0;

  // Does all work that is ready and returns; never waits for more to come. Runs on the thread of
  // the loop, and may add and remove sources, this one included. Lets no exception out: not every
  // loop could pass it on.
  virtual void perform() = 0;
};

using CFRunLoopSourceRef = std::shared_ptr<CFRunLoopSource>;

// Names the run loop of one thread. Null names none.
struct CFRunLoop;
using CFRunLoopRef = CFRunLoop*;

// The one mode that this system uses.
inline constexpr const char* kCFRunLoopDefaultMode = "kCFRunLoopDefaultMode";

// The calling thread's run loop; null where the thread has none and cannot have one. The reference
// is valid as long as the thread; nobody releases it.
CFRunLoopRef CFRunLoopGetCurrent();

// Adds `source` to `loop`, which performs it from then on whenever its descriptor is ready. Adding
// a source twice changes nothing. Thread of the loop only.
void CFRunLoopAddSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char* mode);

// The opposite. After the return the source is not performed again by this loop, also when its
// descriptor was ready already. Removing an absent source changes nothing.
void CFRunLoopRemoveSource(CFRunLoopRef loop, const CFRunLoopSourceRef& source, const char* mode);

// Runs the calling thread's loop until CFRunLoopStop is called for it or `seconds` have passed,
// whichever comes first. At least the sources that are ready at the call are performed, also with 0
// seconds. True when it was stopped, false when the time ran out. May be called from within
// perform().
bool CFRunLoopRunInMode(const char* mode, double seconds);

// Makes the innermost CFRunLoopRunInMode of `loop` return once the source being performed has
// returned. Without one running, the next returns at once. Thread of the loop only.
void CFRunLoopStop(CFRunLoopRef loop);

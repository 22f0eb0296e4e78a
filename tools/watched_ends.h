// SPDX-License-Identifier: MIT
// The run loop of commands that go on until something ends them from outside.
#pragma once

#include <memory>

#include "tools/commands.h"
#include "tools/interfaces.h"

namespace vx310ctl {

class ReaderEnd;
class BusEnd;

// Runs the thread's run loop until standard output has no reader any more or cannot be written, the
// session bus goes away, or CFRunLoopStop(). One at a time.
class WatchedEnds {
 public:
  // With a connection to the session bus, which discovery does not report the end of.
  explicit WatchedEnds(session_bus::Bus bus);
  ~WatchedEnds();
  WatchedEnds(const WatchedEnds&) = delete;
  WatchedEnds& operator=(const WatchedEnds&) = delete;

  void run();

  // kDone after CFRunLoopStop(); otherwise kFailed with an explanation on standard error. Output
  // that cannot be written is explained by main().
  ExitStatus status() const;

 private:
  std::shared_ptr<ReaderEnd> reader_;
  std::shared_ptr<BusEnd> bus_;
};

}  // namespace vx310ctl

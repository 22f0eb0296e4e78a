// SPDX-License-Identifier: MIT
#include "tools/watched_ends.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "platform/posix/posix.h"
#include "platform/run_loop/run_loop.h"

namespace vx310ctl {

// Stops the run loop when the session bus goes away.
class BusEnd final : public CFRunLoopSource {
 public:
  explicit BusEnd(session_bus::Bus bus) : bus_(std::move(bus)) {}
  int descriptor() const override { return sd_bus_get_fd(bus_.get()); }
  void perform() override {
    int result = 0;
    do {
      result = sd_bus_process(bus_.get(), nullptr);
    } while (result > 0);
    hasGone_ = result < 0;
    if (hasGone_) CFRunLoopStop(CFRunLoopGetCurrent());
  }
  bool hasGone() const { return hasGone_; }

 private:
  session_bus::Bus bus_;
  bool hasGone_ = false;
};

// Stops the run loop when standard output has no reader any more, also while there is nothing to
// print.
class ReaderEnd final : public CFRunLoopSource {
 public:
  ReaderEnd() : poll_(::epoll_create1(EPOLL_CLOEXEC)) {
    epoll_event hangUpsAndErrors{};
    // Fails for a regular file, which has no reader that could go.
    ::epoll_ctl(poll_.get(), EPOLL_CTL_ADD, STDOUT_FILENO, &hangUpsAndErrors);
  }
  int descriptor() const override { return poll_.get(); }
  void perform() override {
    hasGone_ = true;
    CFRunLoopStop(CFRunLoopGetCurrent());
  }
  bool hasGone() const { return hasGone_; }

 private:
  FileDescriptor poll_;
  bool hasGone_ = false;
};

WatchedEnds::WatchedEnds(session_bus::Bus bus)
    : reader_(std::make_shared<ReaderEnd>()), bus_(std::make_shared<BusEnd>(std::move(bus))) {
  CFRunLoopAddSource(CFRunLoopGetCurrent(), reader_, kCFRunLoopDefaultMode);
  CFRunLoopAddSource(CFRunLoopGetCurrent(), bus_, kCFRunLoopDefaultMode);
}

WatchedEnds::~WatchedEnds() {
  CFRunLoopRemoveSource(CFRunLoopGetCurrent(), reader_, kCFRunLoopDefaultMode);
  CFRunLoopRemoveSource(CFRunLoopGetCurrent(), bus_, kCFRunLoopDefaultMode);
}

void WatchedEnds::run() {
  constexpr double kOneHour = 3600;  // the loop runs in slices of this length
  while (std::ferror(stdout) == 0 && !CFRunLoopRunInMode(kCFRunLoopDefaultMode, kOneHour)) {
  }
  // When the bus goes, its interfaces go too, which may stop the loop before this is performed.
  if (std::ferror(stdout) == 0 && !reader_->hasGone()) bus_->perform();
}

ExitStatus WatchedEnds::status() const {
  if (std::ferror(stdout) != 0) return kFailed;
  if (!reader_->hasGone() && !bus_->hasGone()) return kDone;
  std::fputs(reader_->hasGone() ? "vx310ctl: the output cannot be written\n"  // as main() says it
                                : "vx310ctl: the session bus has gone\n",
             stderr);
  return kFailed;
}

}  // namespace vx310ctl

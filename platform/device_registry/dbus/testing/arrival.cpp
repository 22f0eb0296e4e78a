// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/testing/arrival.h"

#include <poll.h>

#include "platform/device_registry/device_registry.h"
#include "platform/session_bus/session_bus.h"

namespace {

constexpr const char* kMarkerClass = "Marker";

void drain(void* count, io_iterator_t iterator) {
  while (const io_object_t service = IOIteratorNext(iterator)) {
    ++*static_cast<int*>(count);
    IOObjectRelease(service);
  }
}

// A notification port that counts the marker services that appear or leave.
class MarkerCounter {
 public:
  explicit MarkerCounter(const char* kind) {
    if (IOMasterPort(&master_) != kIOReturnSuccess) return;
    port_ = IONotificationPortCreate(master_);
    IOServiceAddMatchingNotification(port_, kind, IOServiceMatching(kMarkerClass), drain, &count_,
                                     &iterator_);
    drain(&count_, iterator_);
    count_ = 0;
  }
  ~MarkerCounter() {
    IOObjectRelease(iterator_);
    IONotificationPortDestroy(port_);
    mach_port_deallocate(master_);
  }
  bool waitForOne() {
    const auto source = IONotificationPortGetRunLoopSource(port_);
    return source && performUntil(*source, [this] { return count_ > 0; });
  }

 private:
  mach_port_t master_ = 0;
  IONotificationPortRef port_ = nullptr;
  io_iterator_t iterator_ = 0;
  int count_ = 0;
};

}  // namespace

bool performUntil(CFRunLoopSource& source, const std::function<bool()>& done) {
  const session_bus::Deadline deadline(kArrivalLimitMs);
  while (!done() && !deadline.hasPassed()) {
    pollfd watched{source.descriptor(), POLLIN, 0};
    if (poll(&watched, 1, deadline.milliseconds()) > 0) source.perform();
  }
  return done();
}

// The driver's signals arrive in order: when a marker published now has arrived, so has everything
// sent before it.
bool arriveFrom(scripted_driver::DriverThread& driver) {
  static int count = 0;
  const std::string name = "Marker" + std::to_string(++count);
  scripted_driver::Service marker;
  marker.className = kMarkerClass;
  MarkerCounter come(kIOPublishNotification);
  MarkerCounter gone(kIOTerminatedNotification);
  driver.perform([&](scripted_driver::Driver& d) { d.publish(name, marker); });
  if (!come.waitForOne()) return false;
  driver.perform([&](scripted_driver::Driver& d) { d.terminate(name); });
  return gone.waitForOne();
}

// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/testing/dbus_fixture.h"

#include <poll.h>
#include <sys/timerfd.h>

#include "platform/posix/posix.h"
#include "platform/session_bus/session_bus.h"
#include "protocol/dispatch.h"

namespace {

constexpr const char* kMarkerClass = "Marker";

void drain(void* count, io_iterator_t iterator) {
  while (const io_object_t service = IOIteratorNext(iterator)) {
    ++*static_cast<int*>(count);
    IOObjectRelease(service);
  }
}

// A notification port that counts published or terminated markers.
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

// Announcements arrive in the order in which the driver sent them: once a marker published now has
// arrived, everything before it has too.
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

int millisecondsOf(const std::function<void()>& action) {
  const auto before = std::chrono::steady_clock::now();
  action();
  const auto passed = std::chrono::steady_clock::now() - before;
  return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

void takeABreak() {
  const FileDescriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
  itimerspec interval{};
  interval.it_value.tv_sec = kRegistryBreakMs / 1000;
  interval.it_value.tv_nsec = (kRegistryBreakMs % 1000 + 1) * 1000000L;
  ASSERT_EQ(timerfd_settime(timer.get(), 0, &interval, nullptr), 0);
  pollfd watched{timer.get(), POLLIN, 0};
  ASSERT_EQ(poll(&watched, 1, kArrivalLimitMs), 1);
}

IOReturn DbusClient::open() {
  if (const IOReturn result = IOMasterPort(&master_)) return result;
  port_ = IONotificationPortCreate(master_);
  const CFDictionary matching = IOServiceMatching(kTestClass);
  objects_.resize(2);
  IOServiceAddMatchingNotification(port_, kIOPublishNotification, matching, published, this,
                                   &objects_[0]);
  IOServiceAddMatchingNotification(port_, kIOTerminatedNotification, matching, terminated, this,
                                   &objects_[1]);
  published(this, objects_[0]);
  terminated(this, objects_[1]);
  return kIOReturnSuccess;
}

void DbusClient::close() {
  for (const io_object_t object : std::exchange(objects_, {})) IOObjectRelease(object);
  for (const io_service_t service : std::exchange(services, {})) IOObjectRelease(service);
  IONotificationPortDestroy(std::exchange(port_, nullptr));
  mach_port_deallocate(std::exchange(master_, 0));
}

bool DbusClient::isReady() {
  pollfd watched{source().descriptor(), POLLIN, 0};
  return poll(&watched, 1, 0) > 0;
}

IOReturn DbusClient::addInterest(io_service_t service) {
  io_object_t interest = 0;
  const IOReturn result =
      IOServiceAddInterestNotification(port_, service, kIOGeneralInterest, told, this, &interest);
  objects_.push_back(interest);
  return result;
}

void DbusClient::published(void* self, io_iterator_t iterator) {
  auto& client = *static_cast<DbusClient*>(self);
  while (const io_service_t service = IOIteratorNext(iterator)) {
    ++client.come;
    client.services.push_back(service);
    if (client.takeIn) client.takeIn(service);
  }
}

void DbusClient::terminated(void* self, io_iterator_t iterator) {
  auto& client = *static_cast<DbusClient*>(self);
  while (const io_service_t service = IOIteratorNext(iterator)) {
    ++client.gone;
    client.services.push_back(service);  // released when the client closes
  }
}

void DbusClient::told(void* self, io_service_t, natural_t type,
                      std::span<const std::uint8_t> argument) {
  auto& client = *static_cast<DbusClient*>(self);
  client.messages.emplace_back(type, std::vector<std::uint8_t>(argument.begin(), argument.end()));
}

void DbusTest::startDriver(Service service) {
  driver_.perform([&](Driver& driver) {
    driver.publish("Device", service);
    driver.claimName();
  });
}

void DbusTest::startAll(Service service) {
  startDriver(std::move(service));
  ASSERT_EQ(client_.open(), kIOReturnSuccess);
  ASSERT_EQ(client_.come, 1);
}

std::promise<void> DbusTest::hang() {
  std::promise<void> release;
  auto hanging = std::make_shared<std::promise<void>>();
  driver_.start([hanging, released = release.get_future().share()](Driver&) {
    hanging->set_value();
    released.wait();
  });
  hanging->get_future().wait();
  return release;
}

bool DbusTest::driverReaches(const std::function<bool(Driver&)>& done) {
  const session_bus::Deadline deadline(kArrivalLimitMs);
  bool reached = false;
  while (!reached && !deadline.hasPassed()) {
    driver_.perform([&](Driver& driver) { reached = done(driver); });
  }
  return reached;
}

void DbusRequestTest::connect(Service service) {
  startAll(std::move(service));
  ASSERT_EQ(IOServiceOpen(client_.service(), kDispatchConnectionType, &connection_),
            kIOReturnSuccess);
}

IOReturn DbusRequestTest::send(std::uint8_t request) {
  return IOConnectMethodStructureIStructureO(connection_, 0, std::array{request}, output_, &size_);
}

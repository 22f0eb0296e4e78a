// SPDX-License-Identifier: MIT
// The parts of what the panel does when an interface arrives, each alone. For every line on
// standard input, carries out each part with the real servers and prints the parts' milliseconds in
// one line.
#include <chrono>
#include <cstdio>
#include <memory>

#include "app/user_defaults.h"
#include "device/usb_device.h"
#include "io/audio_device.h"
#include "platform/device_registry/device_registry.h"
#include "protocol/services.h"
#include "settings/osx_asio_registry.h"

namespace {

constexpr int kExchanges = 34;

bool exchanges() {
  mach_port_t port = 0;
  if (IOMasterPort(&port) != kIOReturnSuccess) return false;
  io_iterator_t present = 0;
  IOServiceGetMatchingServices(port, IOServiceMatching(kVX310DriverClass), &present);
  const io_service_t service = IOIteratorNext(present);
  IOObjectRelease(present);
  if (service == 0) return false;
  const auto device = std::make_unique<USBDevice>(service);
  bool good = device->open(false);
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < kExchanges; ++i) good = device->getCurrentClockSource() >= 0 && good;
  const auto end = std::chrono::steady_clock::now();
  std::printf("%.3f ", std::chrono::duration<double, std::milli>(end - begin).count());
  device->close();
  mach_port_deallocate(port);
  return good;
}

bool routings() {
  return setRouting(true, 0, 0) && setRouting(true, 1, 0) && setRouting(true, 2, 0) &&
         setRouting(false, 0, 0) && setRouting(false, 1, 0);
}

bool stores() {
  OSXAsioRegistry settings(kVX310Settings);
  return settings.store() && NSUserDefaults::standardUserDefaults().synchronize();
}

bool timed(bool (*part)()) {
  const auto begin = std::chrono::steady_clock::now();
  const bool good = part();
  const auto end = std::chrono::steady_clock::now();
  std::printf("%.3f ", std::chrono::duration<double, std::milli>(end - begin).count());
  return good;
}

}  // namespace

int main() {
  setHalDeviceName(kVX310AudioDeviceName);
  for (int next = std::getchar(); next != EOF; next = std::getchar()) {
    findHalDevice();
    if (!exchanges() || !timed(routings) || !timed(stores)) {
      std::fputs("arrival_parts: a part failed\n", stderr);
      return 1;
    }
    std::printf("\n");
    std::fflush(stdout);
  }
}

// SPDX-License-Identifier: MIT
#include "tools/interfaces.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "device/discovery.h"
#include "device/discovery_state.h"
#include "device/usb_device.h"
#include "protocol/services.h"

namespace vx310ctl {

namespace {

void collect(void* context, USBDevice* device, VQAPI_CBEvent event) {
  if (event != VQAPI_CB_Arrived) return;
  device->retain();
  static_cast<std::vector<USBDevice*>*>(context)->push_back(device);
}

}  // namespace

ExitStatus connectToBus(session_bus::Bus* bus) {
  const int result = session_bus::openSessionBus(kBusLimitMs, bus);
  if (result >= 0) return kDone;
  if (result == -ETIMEDOUT) {
    std::fputs("vx310ctl: the session bus does not answer\n", stderr);
  } else {
    std::fprintf(stderr, "vx310ctl: cannot reach the session bus: %s\n", std::strerror(-result));
  }
  return kFailed;
}

ExitStatus driverStatus() {
  session_bus::Bus bus;
  if (const ExitStatus status = connectToBus(&bus); status != kDone) return status;
  sd_bus_message* answer = nullptr;
  sd_bus_call_method(bus.get(), session_bus::kBusName, session_bus::kBusPath, session_bus::kBusName,
                     "NameHasOwner", nullptr, &answer, "s", kDriverName);
  const session_bus::BusMessage reply(answer);
  int owned = 0;
  if (!answer || sd_bus_message_read(answer, "b", &owned) < 0) {
    std::fputs("vx310ctl: the session bus does not answer\n", stderr);
    return kFailed;
  }
  if (owned == 0) {
    std::fputs("vx310ctl: no driver service is running (start vx310-driver)\n", stderr);
    return kNoDriver;
  }
  if (sd_bus_call_method(bus.get(), kDriverName, "/", "org.freedesktop.DBus.Peer", "Ping", nullptr,
                         nullptr, "") < 0) {
    std::fputs("vx310ctl: the driver service does not answer\n", stderr);
    return kFailed;
  }
  return kDone;
}

Interfaces::Interfaces() {
  GUID identity{};
  std::string_view(kVX310DriverClass).copy(identity.data(), identity.size() - 1);
  vqapiInit(collect, &devices_, identity);
}

Interfaces::~Interfaces() {
  for (USBDevice* device : devices_) {
    device->close();
    device->release();
  }
  vqapiTerm();
}

ExitStatus Interfaces::status() const {
  if (!devices_.empty()) return kDone;
  const ExitStatus status = driverStatus();
  if (status != kDone || _vqapiMasterDevicePort != 0) return status;
  // It answers now, but did not list its interfaces in time.
  std::fputs("vx310ctl: the driver service does not answer\n", stderr);
  return kFailed;
}

}  // namespace vx310ctl

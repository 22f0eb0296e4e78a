// SPDX-License-Identifier: MIT
#include "tools/current_interface.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "device/usb_device.h"
#include "io/driver_events.h"
#include "protocol/services.h"

namespace vx310ctl {

namespace {

bool isVX310(const USBDevice* device) {
  return device->vendorId() == kVX310VendorId && device->productId() == kVX310ProductId;
}

}  // namespace

CurrentInterface::CurrentInterface(std::function<void(const Info&)> infoShown,
                                   std::function<void()> updated)
    : infoShown_(std::move(infoShown)), updated_(std::move(updated)) {
  IOInit();
}

CurrentInterface::~CurrentInterface() { IOTerm(); }

ExitStatus CurrentInterface::status() {
  if (_ioDevice) return kDone;
  if (const ExitStatus status = driverStatus(); status != kDone) return status;
  IOTerm();  // discovery is for one at a time
  const Interfaces interfaces;
  if (std::ranges::any_of(interfaces.all(), isVX310)) {
    std::fputs("vx310ctl: the interface does not answer\n", stderr);
    return kFailed;
  }
  std::fputs("vx310ctl: no interface is connected\n", stderr);
  return kNoInterface;
}

void CurrentInterface::Invalidate(bool /*flag*/) {
  if (updated_) updated_();
}

void CurrentInterface::EnableUSB1Mode(bool /*enable*/) {}

void CurrentInterface::ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) {
  if (infoShown_) infoShown_({id, flag, value, text ? text : ""});
}

void CurrentInterface::FoundHardware(std::int32_t /*index*/) {}

}  // namespace vx310ctl

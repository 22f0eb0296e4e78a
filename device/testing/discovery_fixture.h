// SPDX-License-Identifier: MIT
// A client of discovery that writes down its events, for the tests of discovery and of the driver's
// messages.
#pragma once

#include <algorithm>
#include <functional>
#include <string_view>
#include <vector>

#include "device/discovery.h"
#include "device/discovery_state.h"
#include "device/testing/device_fixture.h"

inline GUID identityOf(std::string_view className) {
  GUID identity = {};
  std::copy_n(className.begin(), std::min(className.size(), identity.size()), identity.begin());
  return identity;
}

struct Event {
  USBDevice* device;
  VQAPI_CBEvent event;
  bool operator==(const Event&) const = default;
};

// A client that writes down its events and may do something of its own at each.
class Discovery : public BackEndsTest {
 protected:
  void TearDown() override {
    vqapiTerm();
    EXPECT_EQ(kept(), 0u);
    BackEndsTest::TearDown();
  }

  void start() { vqapiInit(&Discovery::record, this, identityOf(kVX310DriverClass)); }

  static memory_registry::DeviceId publish(const char* className = kVX310DriverClass) {
    memory_registry::Device device;
    device.className = className;
    device.properties = interfaceProperties();
    return memory_registry::publish(std::move(device));
  }

  static void sendNotification(memory_registry::DeviceId device, std::uint32_t number) {
    std::vector<std::uint8_t> argument(36);
    wire::store<std::uint32_t>(argument, 0, 36);
    wire::store<std::uint32_t>(argument, 4, number);
    memory_registry::sendMessage(device, kDriverMessage, argument);
  }

  static std::size_t kept() {
    return kVqapiDeviceLimit - static_cast<std::size_t>(std::count(vqapiDeviceMap.begin(),
                                                                   vqapiDeviceMap.end(), nullptr));
  }

  std::vector<VQAPI_CBEvent> kinds() const {
    std::vector<VQAPI_CBEvent> kinds;
    for (const Event& event : events) kinds.push_back(event.event);
    return kinds;
  }

  static void record(void* context, USBDevice* device, VQAPI_CBEvent event) {
    auto* self = static_cast<Discovery*>(context);
    self->events.push_back({device, event});
    if (self->onEvent) self->onEvent(device, event);
  }

  std::vector<Event> events;
  std::function<void(USBDevice* device, VQAPI_CBEvent event)> onEvent;
};

// SPDX-License-Identifier: MIT
#include <optional>

#include "device/discovery_state.h"
#include "device/usb_device.h"
#include "protocol/services.h"

namespace {

std::optional<VQAPI_CBEvent> eventOf(std::uint32_t notification) {
  switch (notification) {
    case kStateChanged:
    case kDigitalInputChanged:
    case kConfigurationChanged:
    case kClockSourceChanged:
    case kOptionsChanged:
      return VQAPI_CB_Changed;
    case 34:
      return VQAPI_CB_Notify4;
    case 14:
      return VQAPI_CB_Notify5;
    case 35:
      return VQAPI_CB_Notify6;
    case 48:
      return VQAPI_CB_Notify7;
    default:
      return std::nullopt;
  }
}

}  // namespace

void USBDevice::addInterestNotification(IONotificationPortRef port) {
  if (!port || interestNotification_ != 0) return;
  // After a failure the device is used without messages.
  IOServiceAddInterestNotification(port, service_, kIOGeneralInterest,
                                   &USBDevice::ServiceInterestCallback, this,
                                   &interestNotification_);
}

void USBDevice::ServiceInterestCallback(void* refcon, io_service_t service, natural_t messageType,
                                        std::span<const std::uint8_t> argument) {
  if (refcon) {
    static_cast<USBDevice*>(refcon)->onServiceInterestCallback(service, messageType, argument);
  }
}

// Ignores the message about termination: terminated services have a notification of their own.
void USBDevice::onServiceInterestCallback(io_service_t, natural_t messageType,
                                          std::span<const std::uint8_t> argument) {
  const auto notification = notificationOf(messageType, argument);
  const auto event = notification ? eventOf(*notification) : std::nullopt;
  if (event) vqapiDeliver(this, *event);  // may destroy this device: use no member after it
}

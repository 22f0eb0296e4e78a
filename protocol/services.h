// SPDX-License-Identifier: MIT
// The names by which a driver and its clients find each other, on the session bus, among the
// registry properties of a service and in the audio server; and the driver's messages.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "protocol/wire.h"

// --- The session bus ---

// The driver service's well-known name, and its object manager. Each published service is an object
// below it with kServiceInterface.
inline constexpr const char* kDriverName = "com.vantrel.Driver1";
inline constexpr const char* kDriverPath = "/com/vantrel/Driver1";
inline constexpr const char* kObjectManagerInterface = "org.freedesktop.DBus.ObjectManager";

// Its members: property ClassName (s), property Properties (a{sv}), method Open (u type) -> h,
// signal Message (u type, ay argument).
inline constexpr const char* kServiceInterface = "com.vantrel.Driver1.Service";
inline constexpr const char* kClassNameProperty = "ClassName";
inline constexpr const char* kRegistryProperties = "Properties";
inline constexpr const char* kOpenMethod = "Open";
inline constexpr const char* kMessageSignal = "Message";

// The control of the virtual interfaces, outside the tree of the published services. Its one method
// Run (u interface, as words) -> s takes the words of `vx310ctl sim` and replies with the text to
// print. Wrong words fail with org.freedesktop.DBus.Error.InvalidArgs; each message is for people.
inline constexpr const char* kVirtualInterfacesPath = "/com/vantrel/VirtualInterfaces1";
inline constexpr const char* kVirtualInterfacesInterface = "com.vantrel.VirtualInterfaces1";
inline constexpr const char* kRunMethod = "Run";
inline constexpr const char* kRefusedError = "com.vantrel.VirtualInterfaces1.Error.Refused";
inline constexpr const char* kNotPluggedError = "com.vantrel.VirtualInterfaces1.Error.NotPlugged";
inline constexpr const char* kNoInterfaceError = "com.vantrel.VirtualInterfaces1.Error.NoInterface";

// --- Registry properties ---

inline constexpr const char* kVendorIdKey = "idVendor";
inline constexpr const char* kProductIdKey = "idProduct";
inline constexpr const char* kProductNameKey = "USB Product Name";
// Sibling family only: the unit's 64-bit id as 8 bytes, little-endian.
inline constexpr const char* kOrbekUidKey = "OrbekUID";
// A dictionary with one number for each routing, under routingKey().
inline constexpr const char* kRoutingsKey = "AjExtData";
inline std::string routingKey(bool input, std::int32_t pair) {
  return (input ? "RoutingIn" : "RoutingOut") + std::to_string(pair);
}

// --- Identities ---

// The classes of the services: the VX-310's, and the sibling family's.
inline constexpr const char* kVX310DriverClass = "LumKernelDeviceVantrelVX310";
inline constexpr const char* kOrbekServiceClass = "LumKernelDeviceOrbekTalvo4";

// The USB ids of the VX-310, any release.
inline constexpr std::uint16_t kVX310VendorId = 0x7F21;
inline constexpr std::uint16_t kVX310ProductId = 0x5D12;

// The sibling family, and its model with ten inputs and twelve outputs.
inline constexpr std::uint16_t kOrbekVendorId = 0x7f33;
inline constexpr std::uint16_t kOrbekProduct8 = 8;

// The name of the VX-310's audio device.
inline constexpr const char* kVX310AudioDeviceName = "VX-310";

// --- Driver messages ---

// The type of a driver's own messages, and the size of their argument in bytes: its size, then the
// notification number, 32 bits each; the rest is zero.
inline constexpr std::uint32_t kDriverMessage = 0xe0000130;
inline constexpr std::uint32_t kDriverMessageSize = 36;

// Notification numbers. Each makes clients read the whole state again.
enum VQ_Notification : std::uint32_t {
  kStateChanged = 3,  // several changes at once, and what has no number of its own
  kDigitalInputChanged = 49,
  kConfigurationChanged = 50,  // or the buffer size
  kClockSourceChanged = 55,
  kOptionsChanged = 56,
};

// The argument of a message about `notification`; `size` is its first word.
inline std::array<std::uint8_t, kDriverMessageSize> driverMessageArgument(
    std::uint32_t notification, std::uint32_t size = kDriverMessageSize) {
  std::array<std::uint8_t, kDriverMessageSize> argument{};
  wire::store(argument, 0, size);
  wire::store(argument, 4, notification);
  return argument;
}

// The notification number of a message; nullopt for another type, for an argument whose first word
// is another size, and for one that is shorter than it says. Bytes after it are not read.
inline std::optional<std::uint32_t> notificationOf(std::uint32_t messageType,
                                                   std::span<const std::uint8_t> argument) {
  if (messageType != kDriverMessage || argument.size() < kDriverMessageSize) return std::nullopt;
  if (wire::load<std::uint32_t>(argument, 0) != kDriverMessageSize) return std::nullopt;
  return wire::load<std::uint32_t>(argument, 4);
}

// SPDX-License-Identifier: MIT
// What the drivers publish, as both sides of the connection know it.
#pragma once

#include <cstdint>

// The classes of the services: the VX-310's, and the sibling family's.
inline constexpr const char* kVX310DriverClass = "LumKernelDeviceVantrelVX310";
inline constexpr const char* kOrbekServiceClass = "LumKernelDeviceOrbekTalvo4";

// The identity of the VX-310, any release.
inline constexpr std::uint16_t kVX310VendorId = 0x7F21;
inline constexpr std::uint16_t kVX310ProductId = 0x5D12;

// The name of its audio device.
inline constexpr const char* kVX310AudioDeviceName = "VX-310";

// The type of the messages that a driver sends of its own. The argument says its size, then the
// notification's number.
inline constexpr std::uint32_t kDriverMessage = 0xe0000130;
inline constexpr std::uint32_t kDriverMessageSize = 36;

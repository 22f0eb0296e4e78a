// SPDX-License-Identifier: MIT
// The state of the virtual interface: a VX-310 as data. Each type enforces its own invariants; the
// command files change the model on request.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "driver/interface.h"
#include "driver/virtual_interface/sample_clock.h"
#include "protocol/records.h"
#include "protocol/services.h"

namespace driver {

// Frames per buffer.
inline constexpr std::array<std::uint32_t, 6> kBufferSizes = {64, 128, 256, 512, 1024, 2048};

// Six capture and four playback channels in the order in which they are listed.
inline constexpr VQ_Orbek_ChannelMap kDefaultChannelMap = {
    {160, 161, 128, 129, 130, 131, VQ_Orbek_ChannelMap::kUnused, VQ_Orbek_ChannelMap::kUnused},
    {32, 33, 0, 1, VQ_Orbek_ChannelMap::kUnused, VQ_Orbek_ChannelMap::kUnused,
     VQ_Orbek_ChannelMap::kUnused, VQ_Orbek_ChannelMap::kUnused}};

// The codecs' registers: which chips, which registers in each.
inline constexpr std::size_t kCodecs = 4;
inline constexpr std::size_t kCodecRegisters = 128;

// How many of the latest bytes sent to the control port are kept.
inline constexpr std::size_t kControlPortHistory = 4096;

struct Identity {
  std::string className = kVX310DriverClass;
  std::uint16_t vendorId = kVX310VendorId;
  std::uint16_t productId = kVX310ProductId;
  std::uint16_t release = 0x0107;
  std::string productName = "VX-310";
  std::uint64_t uniqueId = 0;

  bool operator==(const Identity&) const = default;
};

struct Versions {
  std::uint32_t driver = 0x02050400;  // 2.05, a release
  // The version in the firmware, and the one that the driver has read from it: 0 until it has.
  std::uint32_t firmware = 0x01070002;
  std::uint32_t firmwareKnownToDriver = 0x01070002;
  std::string firmwareDate = "Mar 14 2009 1.7";  // at most 15 characters

  bool operator==(const Versions&) const = default;
};

struct Options {
  std::uint32_t usb1Mode = 0;            // 0 or 1
  std::uint32_t digitalOutMode = 0;      // 0 consumer, 1 professional
  std::uint32_t digitalOutSelector = 0;  // any value
  std::uint8_t logicByte = 0;            // kDigitalMonitorBit, kMixOutSelectBit

  bool operator==(const Options&) const = default;
};

struct ControlPort {
  std::uint64_t received = 0;        // bytes since the interface was made
  std::vector<std::uint8_t> latest;  // the last of them
};

struct Model {
  Identity identity;
  Versions versions;
  bool usb2 = true;
  SampleClock clock;
  std::uint32_t bufferSize = 256;
  Options options;
  Routings routings = {{0, 1}, {0, 1, 2}};
  VQ_Orbek_ChannelMap channelMap = kDefaultChannelMap;
  std::string deviceName = "VX-310";
  bool streamingSuspended = false;
  bool preparedForFirmwareUpdate = false;
  std::array<std::array<std::uint16_t, kCodecRegisters>, kCodecs> codecRegisters{};
  ControlPort controlPort;
};

// False, and nothing changed, for an unknown routing or a value out of its range.
bool setRouting(Model& model, bool input, std::int32_t pair, std::int32_t value);

// Every configuration of the interface differs from the others in the rate alone.
VQ_DeviceConfiguration configurationAt(std::uint32_t sampleRate);

// False, and nothing changed, when the interface has no such configuration or its clock cannot run
// at that rate now.
bool setConfiguration(Model& model, const VQ_DeviceConfiguration& configuration);

AudioState audioStateOf(const Model& model);

// The interface's registry entry.
RegistryEntry registryEntryOf(const Model& model);

// The number of the driver message that announces the change from `before` to `after`; 0 for none.
std::uint32_t notificationForChange(const Model& before, const Model& after);

}  // namespace driver

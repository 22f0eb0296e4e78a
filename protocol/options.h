// SPDX-License-Identifier: MIT
// The values of an interface's options and states, and the record of one routing. Plain values; any
// thread.
//
// An enumeration's type has room for every 32-bit value: a value without a name is passed on as it
// is, in both directions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "protocol/wire.h"

// --- Clock and digital input ---

enum VQE_ClockSource : std::int32_t {
  kClockAutomatic = 0,  // the digital input while its signal is valid, otherwise internal
  kClockInternal = 1,
  kClockDigitalInput = 2,
};

// Any other value means no signal.
enum VQE_LockState : std::uint32_t {
  kLockNone = 0,
  kLockInvalid = 1,
  kLockValid = 2,
  kLockMuted = 3,  // valid, but its samples are not for listening
};

// The VX-310's sample rates in Hz, its channels and the width of every sample in bits.
inline constexpr std::array<std::uint32_t, 4> kSampleRates = {44100, 48000, 88200, 96000};
inline constexpr std::uint32_t kInputChannels = 6;
inline constexpr std::uint32_t kOutputChannels = 4;
inline constexpr std::uint32_t kSampleWidth = 24;

// --- Options ---

// The speed of the connection; every other number means USB 2.0 too.
inline constexpr std::uint32_t kSpeedUsb11 = 0;
inline constexpr std::uint32_t kSpeedUsb20 = 1;

enum VQE_DigitalOutMode : std::int32_t {
  kDigitalOutConsumer = 0,
  kDigitalOutProfessional = 1,
};

enum VQE_USB1Mode : std::int32_t {};

// Bits of the logic chip's byte.
inline constexpr std::uint32_t kMixOutSelectBit = 0x08;
inline constexpr std::uint32_t kDigitalMonitorBit = 0x10;

// --- Routing ---

// The routing property of the audio device: a selector of four characters to clients, a key in the
// Props of the PipeWire node.
inline constexpr char kRoutingProperty[] = "VQrt";

// A property of the interface's PipeWire nodes: the object path of its service on the session bus.
inline constexpr char kServiceObjectProperty[] = "vantrel.driver.object";

// One routing: which source feeds a pair of channels. The audio device's property has its bytes in
// host byte order, VQ_Command::kSetRouting its encoded fields.
struct RoutingRecord {
  std::uint32_t input;  // 1 = an input routing, 0 = an output routing
  std::int32_t pair;    // outputs: 0 = line, 1 = digital; inputs: 0 = 1/2, 1 = 3/4, 2 = 5/6
  std::int32_t value;   // the source: VQE_InputSource or VQE_OutputSource

  static RoutingRecord decode(std::span<const std::uint8_t> from) {
    return {wire::load<std::uint32_t>(from, 0),
            static_cast<std::int32_t>(wire::load<std::uint32_t>(from, 4)),
            static_cast<std::int32_t>(wire::load<std::uint32_t>(from, 8))};
  }
  void encode(std::span<std::uint8_t> to) const {
    wire::store(to, 0, input);
    wire::store(to, 4, static_cast<std::uint32_t>(pair));
    wire::store(to, 8, static_cast<std::uint32_t>(value));
  }
  bool operator==(const RoutingRecord&) const = default;
};
static_assert(sizeof(RoutingRecord) == 12, "the property has the record's bytes");
// The leading bytes, which name the routing.
inline constexpr std::size_t kRoutingNameSize = offsetof(RoutingRecord, value);

inline constexpr std::int32_t kInputPairs = kInputChannels / 2;
inline constexpr std::int32_t kOutputPairs = kOutputChannels / 2;
// The outputs' routings, then the inputs', each by its pair.
using RoutingRecords = std::array<RoutingRecord, kOutputPairs + kInputPairs>;

enum VQE_InputSource : std::int32_t {
  kFromAnalog12 = 0,
  kFromAnalog34 = 1,
  kFromDigital = 2,
  kFromLoopback = 3,  // what is played on channels 1 and 2
};
inline constexpr std::int32_t kInputSources = 4;

enum VQE_OutputSource : std::int32_t {
  kFromPlayback12 = 0,
  kFromPlayback34 = 1,
  kFromInput12 = 2,
  kFromInput34 = 3,
  kFromInput56 = 4,
};
inline constexpr std::int32_t kOutputSources = 5;

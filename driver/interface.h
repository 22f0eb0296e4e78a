// SPDX-License-Identifier: MIT
// One connected interface, as the driver service sees it. The virtual interface implements this; a
// driver for real hardware adds a second implementation.
//
// Everything runs on the driver's one thread. No operation may wait for hardware: a driver that has
// to wait returns its last known values.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "protocol/dispatch.h"
#include "protocol/options.h"

namespace driver {

// What feeds each pair of channels, as the index of the source (see docs/driver-protocol.md).
struct Routings {
  std::array<std::int32_t, kOutputPairs> outputs;  // line, digital
  std::array<std::int32_t, kInputPairs> inputs;    // channels 1/2, 3/4, 5/6

  bool operator==(const Routings&) const = default;
};

// What the interface's audio does now.
struct AudioState {
  Routings routings{};
  std::uint32_t sampleRate = 48000;  // Hz
  bool hearsDigitalInput = false;    // its signal is valid and not muted
  bool streams = true;               // false while streaming is suspended: everything is silent

  bool operator==(const AudioState&) const = default;
};

// Full scale of a level: the largest 24-bit sample.
inline constexpr std::uint32_t kFullScale = 0x7fffff;

// The peaks of the capture channels, and of the outputs: line, then digital.
using InputLevels = std::array<std::uint32_t, kInputChannels>;
using OutputLevels = std::array<std::uint32_t, kOutputChannels>;

// Measures the interface's audio.
class LevelMeter {
 public:
  // The peaks since the last call of the same function; 0 without audio.
  virtual InputLevels takeInputLevels() = 0;
  virtual OutputLevels takeOutputLevels() = 0;

 protected:
  ~LevelMeter() = default;
};

// A published interface's registry entry.
struct RegistryEntry {
  std::string className;
  std::uint16_t vendorId = 0;
  std::uint16_t productId = 0;
  std::string productName;
  Routings routings{};
  // The unique id of a device of the sibling family; an interface of this family publishes none.
  std::optional<std::uint64_t> orbekUid;

  bool operator==(const RegistryEntry&) const = default;
};

enum class Outcome {
  answered,         // the record holds the answer
  refused,          // the command is unknown or does not apply; the caller is told that it failed
  left,             // the interface left the bus while it should have answered, and comes back
  answeredAndLeft,  // the record holds the answer; after it the interface leaves and comes back
};

// Receives the changes that clients must hear of. Not called from inside the constructor.
class InterfaceListener {
 public:
  // `notification` is the number of the driver message to send. The registry entry may have
  // changed with it.
  virtual void interfaceChanged(std::uint32_t notification) = 0;

  // Interface::audioState() has changed. Comes before interfaceChanged() of the same change.
  virtual void audioChanged() = 0;

 protected:
  ~InterfaceListener() = default;
};

class Interface {
 public:
  virtual ~Interface() = default;

  virtual RegistryEntry registryEntry() const = 0;

  // The name under which programs find the interface's audio device; empty when it has none.
  virtual std::string audioDeviceName() const = 0;

  // The first part of its nodes' names in PipeWire: the same whenever this interface is plugged in,
  // since session managers store volumes and defaults by it.
  virtual std::string audioNodeName() const = 0;

  virtual AudioState audioState() const = 0;

  // Measures the interface's audio, and is used until another is set; not owned, null for none.
  virtual void setMeter(LevelMeter* meter) = 0;

  // Answers one request in place, as the hardware's driver would.
  virtual Outcome answer(VQ_Dispatch& record) = 0;

  // Sets one routing. False, and nothing changed, for an unknown routing or a value out of range.
  virtual bool setRouting(bool input, std::int32_t pair, std::int32_t value) = 0;

  // The interface was connected to the USB bus. Resets the state that a reconnect clears.
  virtual void connected() = 0;

  // At most one listener, not owned; null for none.
  virtual void setListener(InterfaceListener* listener) = 0;
};

}  // namespace driver

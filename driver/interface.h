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

 protected:
  ~InterfaceListener() = default;
};

class Interface {
 public:
  virtual ~Interface() = default;

  virtual RegistryEntry registryEntry() const = 0;

  // The name under which programs find the interface's audio device; empty when it has none.
  virtual std::string audioDeviceName() const = 0;

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

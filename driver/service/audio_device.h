// SPDX-License-Identifier: MIT
// The audio device of one interface: keeps the driver's PipeWire node and the interface in step.
#pragma once

#include <functional>
#include <optional>

#include "driver/audio_node/audio_node.h"
#include "driver/service/service_context.h"
#include "driver/service/timer.h"

namespace driver {

class Interface;

class AudioDevice {
 public:
  AudioDevice(ServiceContext& context, Interface& interface);
  AudioDevice(const AudioDevice&) = delete;
  AudioDevice& operator=(const AudioDevice&) = delete;

  // Publishes the device and calls `ready` once others can find it, or once it is no use waiting
  // any longer: without an audio server it appears when one comes. May call `ready` at once.
  void publish(std::function<void()> ready);

  // Takes the device away. `ready` is not called any more.
  void withdraw();

  // The interface's routings may be others now.
  void update();

 private:
  void routingWritten(const RoutingRecord& routing);
  void finishWait();

  AudioGraph& graph_;
  Interface& interface_;
  std::function<void()> ready_;
  Timer wait_;
  std::optional<AudioNode> node_;
};

}  // namespace driver

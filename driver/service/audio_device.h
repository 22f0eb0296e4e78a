// SPDX-License-Identifier: MIT
// The audio device of one interface: keeps the driver's PipeWire nodes and the interface in step.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "driver/audio_node/audio_node.h"
#include "driver/service/service_context.h"
#include "driver/service/timer.h"

namespace driver {

class Interface;
class RequestHandler;

class AudioDevice {
 public:
  // All arguments must outlive the device. `handler` takes the routings that clients write.
  AudioDevice(ServiceContext& context, Interface& interface, RequestHandler& handler);
  ~AudioDevice() { withdraw(); }
  AudioDevice(const AudioDevice&) = delete;
  AudioDevice& operator=(const AudioDevice&) = delete;

  // Publishes the device of the interface whose service will be the object `path`, and calls
  // `ready` once others can find the device or after a time-out: without an audio server it appears
  // when a server starts. May call `ready` at once.
  void publish(const std::string& path, std::function<void()> ready);

  // Removes the device. A pending `ready` is not called.
  void withdraw();

  // Call when the interface's audio state has changed.
  void update();

 private:
  void finishWait();

  AudioGraph& graph_;
  Interface& interface_;
  RequestHandler& handler_;
  std::function<void()> ready_;
  Timer wait_;
  std::optional<AudioNode> node_;
};

}  // namespace driver

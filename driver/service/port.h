// SPDX-License-Identifier: MIT
// The place where one interface is plugged in and out: makes it appear to clients, its audio device
// first, makes both disappear, and brings them back when the interface leaves the bus of its own
// accord.
#pragma once

#include <functional>
#include <memory>

#include "driver/service/audio_device.h"
#include "driver/service/publication.h"

namespace driver {

class Port final : private InterfaceListener, private Publication::Owner {
 public:
  // All arguments must outlive the port.
  Port(ServiceContext& context, Interface& interface, RequestHandler& handler);
  ~Port();
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  // Makes the interface appear, and calls `done` once it has (true) or cannot (false). One that is
  // there already is done at once.
  void plug(std::function<void(bool appeared)> done);

  // Makes the interface disappear, also one that is on its way in: that plug is done, with false.
  void unplug();

  // Out and in again, as an interface does whose identity changes; `done` as for plug(). One that
  // is out stays out and is done at once, with false.
  void replug(std::function<void(bool appeared)> done);

  // What clients see of it now; null while it is not there.
  Publication* publication() { return publication_.get(); }

 private:
  void interfaceChanged(std::uint32_t notification) override;
  void interfaceLeft() override;
  void appear();
  void disappear();
  void finishPlug(bool appeared);

  ServiceContext& context_;
  Interface& interface_;
  RequestHandler& handler_;
  std::vector<std::function<void(bool)>> waiting_;  // for the plug in progress
  bool appearing_ = false;
  AudioDevice audio_;
  std::unique_ptr<Publication> publication_;
  Timer away_;
};

}  // namespace driver

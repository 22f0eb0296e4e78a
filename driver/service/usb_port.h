// SPDX-License-Identifier: MIT
// The USB port of one interface. Plugging in publishes the audio device, then the interface;
// unplugging removes both. Reconnects an interface that leaves the USB bus by itself.
#pragma once

#include <functional>
#include <memory>

#include "driver/service/audio_device.h"
#include "driver/service/publication.h"

namespace driver {

class UsbPort final : private InterfaceListener, private Publication::Owner {
 public:
  // All arguments must outlive the port.
  UsbPort(ServiceContext& context, Interface& interface, RequestHandler& handler);
  ~UsbPort();
  UsbPort(const UsbPort&) = delete;
  UsbPort& operator=(const UsbPort&) = delete;

  // Publishes the interface and calls `done` with the result; at once if it is published already.
  void plug(std::function<void(bool appeared)> done);

  // Unpublishes the interface. A plug() in progress is cancelled; its callback receives false.
  void unplug();

  // Unplugs and plugs in, as when the identity changes; `done` as for plug(). An unplugged
  // interface stays unplugged, and `done` receives false at once.
  void replug(std::function<void(bool appeared)> done);

  // Null while the interface is not published.
  Publication* publication() { return publication_.get(); }

 private:
  void interfaceChanged(std::uint32_t notification) override;
  void audioChanged() override;
  void interfaceLeft() override;
  void appear(const std::string& path);
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

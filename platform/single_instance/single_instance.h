// SPDX-License-Identifier: MIT
// Keeps a program with a window to one instance for each session bus: a second start shows the
// first one's window and ends. No seam: for main() of such a program, on the main thread.
//
// The first instance owns a bus name and implements Activate of org.freedesktop.Application
// (Desktop Entry Specification 1.5, "D-Bus Activation") at the object path made from it. Without a
// session bus at the start, and after the bus is lost, further starts open windows of their own.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/run_loop/run_loop.h"
#include "platform/session_bus/session_bus.h"

// The name of the panel, which `vx310ctl doctor` looks for.
inline constexpr const char* kPanelBusName = "com.vantrel.vx310.Panel";

class SingleInstance final : public CFRunLoopSource,
                             public std::enable_shared_from_this<SingleInstance> {
 public:
  // Shows the window. `token` is the XDG activation token of the user's action; empty for none.
  using Activate = std::function<void(std::string_view token)>;

  // `name` is a bus name such as "com.example.Viewer". `activate` runs on the run loop's thread.
  SingleInstance(std::string name, Activate activate);

  // Asks a running instance to show its window. Returns true when it has. Otherwise this is the
  // first instance, or the running one does not answer within 2.5 s, or there is no session bus;
  // the program then opens its window.
  bool showRunningInstance();

  // Begins to show the window when another instance asks; without a session bus it never does.
  // Call it once the thread has a run loop.
  void watch();

  int descriptor() const override;
  void perform() override;

 private:
  int askToActivate();
  static int onActivate(sd_bus_message* message, void* instance, sd_bus_error*) noexcept;

  static const sd_bus_vtable kVtable[];

  std::string name_;
  std::string path_;
  Activate activate_;
  session_bus::Bus bus_;
};

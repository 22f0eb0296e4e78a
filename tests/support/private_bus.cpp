// SPDX-License-Identifier: MIT
#include "tests/support/private_bus.h"

#include <systemd/sd-bus.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace test_support {

namespace {

[[noreturn]] void giveUp(const char* what) {
  std::fprintf(stderr, "private bus: %s failed\n", what);
  std::abort();
}

std::string configuration(const std::string& folder) {
  return "<busconfig>\n<type>session</type>\n<listen>unix:path=" + folder +
         "/bus</listen>\n<servicedir>" + folder +
         "/services</servicedir>\n<policy context=\"default\">\n"
         "<allow send_destination=\"*\"/>\n<allow receive_sender=\"*\"/>\n<allow own=\"*\"/>\n"
         "</policy>\n</busconfig>\n";
}

}  // namespace

PrivateBus::PrivateBus() : address_("unix:path=" + folder() + "/bus") {
  std::filesystem::create_directory(folder() + "/services");
  folder_.write("bus.conf", configuration(folder()));
  start();
  setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

void PrivateBus::start() {
  const std::string file = folder() + "/bus.conf";
  daemon_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{"dbus-daemon", "--config-file=" + file, "--nofork", "--nopidfile",
                               "--nosyslog", "--print-address=1"});
  // The daemon prints its address once it listens.
  if (daemon_->readLine().empty()) giveUp("dbus-daemon");
}

void PrivateBus::makeActivatable(const std::string& name, const std::string& command) {
  folder_.write("services/" + name + ".service",
                "[D-BUS Service]\nName=" + name + "\nExec=" + command + "\n");
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0 ||
      sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus", "ReloadConfig", nullptr, nullptr, "") < 0) {
    giveUp("ReloadConfig");
  }
  sd_bus_close_unref(bus);
}

}  // namespace test_support

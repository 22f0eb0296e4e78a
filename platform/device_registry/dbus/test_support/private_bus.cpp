#include "platform/device_registry/dbus/test_support/private_bus.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

[[noreturn]] void giveUp(const char* what) {
  std::perror(what);
  std::abort();
}

void writeConfiguration(const std::string& file, const std::string& folder) {
  std::ofstream(file)
      << "<busconfig>\n<type>session</type>\n<listen>unix:path=" << folder
      << "/bus</listen>\n<servicedir>" << folder
      << "/services</servicedir>\n<policy context=\"default\">\n"
         "<allow send_destination=\"*\"/>\n<allow receive_sender=\"*\"/>\n<allow own=\"*\"/>\n"
         "</policy>\n</busconfig>\n";
}

}  // namespace

PrivateBus::PrivateBus() {
  std::string pattern = (std::filesystem::temp_directory_path() / "private-bus-XXXXXX").string();
  if (!mkdtemp(pattern.data())) giveUp("mkdtemp");
  folder_ = pattern;
  address_ = "unix:path=" + folder_ + "/bus";
  const std::string configuration = folder_ + "/bus.conf";
  std::filesystem::create_directory(folder_ + "/services");
  writeConfiguration(configuration, folder_);

  // The daemon writes its address when it listens; that is waited for.
  std::array<int, 2> ready{};
  if (pipe(ready.data()) != 0) giveUp("pipe");
  const std::string option = "--config-file=" + configuration;
  const std::string print = "--print-address=" + std::to_string(ready[1]);
  daemon_ = fork();
  if (daemon_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlives the test
    // It complains about limits that it does not need.
    if (!std::freopen((folder_ + "/log").c_str(), "w", stderr)) _exit(127);
    execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--nopidfile", "--nosyslog",
           print.c_str(), nullptr);
    _exit(127);
  }
  close(ready[1]);
  char byte = 0;
  if (daemon_ < 0 || read(ready[0], &byte, 1) != 1) giveUp("dbus-daemon");
  close(ready[0]);
  setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
  stop();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void PrivateBus::makeActivatable(const std::string& name, const std::string& command) {
  std::ofstream(folder_ + "/services/" + name + ".service")
      << "[D-BUS Service]\nName=" << name << "\nExec=" << command << "\n";
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0 ||
      sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus", "ReloadConfig", nullptr, nullptr, "") < 0) {
    giveUp("ReloadConfig");
  }
  sd_bus_flush_close_unref(bus);
}

void PrivateBus::stop() {
  if (daemon_ < 0) return;
  kill(daemon_, SIGKILL);
  waitpid(daemon_, nullptr, 0);
  daemon_ = -1;
}

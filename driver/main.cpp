// SPDX-License-Identifier: MIT
// vx310-driver: publishes its interfaces on the session bus and answers requests to them, until it
// is told to end.
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "driver/virtual_control/virtual_interfaces.h"
#include "platform/command_line/command_line.h"
#include "platform/posix/posix.h"
#include "protocol/services.h"

namespace {

using driver::Bus;
using driver::Event;

// Limit for connecting to the bus and for each call at the start.
constexpr int kBusLimitMs = 5000;

int failed(const char* what, int result) {
  std::fprintf(stderr, "vx310-driver: %s: %s\n", what, std::strerror(-result));
  return EXIT_FAILURE;
}

// Every client connection and audio device takes descriptors; the usual 1024 are soon used up.
void allowManyDescriptors() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

int endOnSignals(sd_event* event) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  // Without a handler the loop ends with the source's data, null, as its result.
  int result = sd_event_add_signal(event, nullptr, SIGTERM, nullptr, nullptr);
  if (result >= 0) result = sd_event_add_signal(event, nullptr, SIGINT, nullptr, nullptr);
  return result;
}

int connect(sd_event* event, Bus& bus) {
  int result = session_bus::openSessionBus(kBusLimitMs, &bus);
  if (result >= 0) result = sd_bus_set_exit_on_disconnect(bus.get(), true);
  // Closing would flush at the loop's end, and wait for the bus without a limit.
  if (result >= 0) result = sd_bus_set_close_on_exit(bus.get(), false);
  if (result >= 0) result = sd_bus_attach_event(bus.get(), event, SD_EVENT_PRIORITY_NORMAL);
  return result;
}

// Requests the bus name once every start-up interface is published or has failed, so a client that
// sees the name sees them too.
class NameOwner {
 public:
  NameOwner(sd_event* event, sd_bus* bus, unsigned awaited)
      : event_(event), bus_(bus), awaited_(awaited) {}

  void appeared() {
    if (--awaited_ == 0) take();
  }

  void take() {
    const int result = sd_bus_request_name(bus_, kDriverName, 0);
    if (result == -EEXIST) {
      std::fputs("vx310-driver: another driver service is running already\n", stderr);
      sd_event_exit(event_, EXIT_FAILURE);
    } else if (result < 0) {
      const std::string problem = std::string("cannot own the name ") + kDriverName;
      sd_event_exit(event_, failed(problem.c_str(), result));
    }
  }

 private:
  sd_event* event_;
  sd_bus* bus_;
  unsigned awaited_;
};

// `interfaces` are plugged in at the start.
int serve(unsigned interfaces) {
  allowManyDescriptors();
  sd_event* created = nullptr;
  int result = sd_event_new(&created);
  if (result < 0) return failed("cannot make an event loop", result);
  const Event event(created);
  if (result = endOnSignals(event.get()); result < 0) return failed("cannot await signals", result);

  Bus bus;
  if (result = connect(event.get(), bus); result < 0) {
    std::fprintf(stderr, "vx310-driver: cannot reach the session bus: %s\n",
                 session_bus::reasonOf(result).c_str());
    return EXIT_FAILURE;
  }
  driver::ServiceContext context{event.get(), bus.get()};
  driver::VirtualInterfaces virtuals(context);
  result = sd_bus_add_object_manager(bus.get(), nullptr, kDriverPath);
  if (result >= 0) result = virtuals.start();
  if (result < 0) return failed("cannot publish on the session bus", result);

  NameOwner name(event.get(), bus.get(), interfaces);
  for (unsigned i = 0; i < interfaces; ++i) {
    virtuals.add().usbPort().plug([&name](bool) { name.appeared(); });
  }
  if (interfaces == 0) name.take();

  result = sd_event_loop(event.get());
  if (sd_bus_is_open(bus.get()) <= 0)
    std::fputs("vx310-driver: the session bus has gone\n", stderr);
  return result < 0 ? failed("the event loop failed", result) : result;
}

}  // namespace

int main(int count, char** words) {
  openStandardDescriptors();
  unsigned interfaces = 1;
  const auto ended = parseCommandLine(
      "vx310-driver",
      "Serves virtual VX-310 audio interfaces on the session bus until it is terminated.", count,
      words, [&interfaces](CLI::App& program) {
        // The last of the two options holds.
        program
            .add_option("--count", interfaces,
                        "Number of interfaces to start with, at most " +
                            std::to_string(driver::VirtualInterfaces::kMaximumInterfaces))
            ->transform(numberUpTo(driver::VirtualInterfaces::kMaximumInterfaces))
            ->trigger_on_parse();
        program
            .add_flag_callback(
                "--unplugged", [&interfaces] { interfaces = 0; },
                "Start without an interface; 'vx310ctl sim plug' plugs it in")
            ->trigger_on_parse();
        program.footer(
            "Exit status: 0 after SIGTERM or SIGINT, 1 when the session bus cannot be used or its\n"
            "name " +
            std::string(kDriverName) + " is taken, 2 for a wrong command line.");
      });
  return ended ? *ended : serve(interfaces);
}

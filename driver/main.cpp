// SPDX-License-Identifier: MIT
// vx310-driver: publishes its interfaces on the session bus and answers requests to them, until it
// is told to end.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "driver/service/service_context.h"
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

// Clients that see the name find the interfaces.
void takeName(sd_event* event, sd_bus* bus) {
  const int result = sd_bus_request_name(bus, kDriverName, 0);
  if (result == -EEXIST) {
    std::fputs("vx310-driver: another driver service is running already\n", stderr);
    sd_event_exit(event, EXIT_FAILURE);
  } else if (result < 0) {
    const std::string problem = std::string("cannot own the name ") + kDriverName;
    sd_event_exit(event, failed(problem.c_str(), result));
  }
}

int serve(std::unique_ptr<driver::InterfaceSource> given) {
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
  const auto source = std::move(given);  // is destroyed before the context
  result = sd_bus_add_object_manager(bus.get(), nullptr, kDriverPath);
  if (result >= 0) {
    result = source->start(context, [&event, &bus] { takeName(event.get(), bus.get()); });
  }
  if (result < 0) return failed("cannot publish on the session bus", result);

  result = sd_event_loop(event.get());
  if (sd_bus_is_open(bus.get()) <= 0)
    std::fputs("vx310-driver: the session bus has gone\n", stderr);
  return result < 0 ? failed("the event loop failed", result) : result;
}

}  // namespace

int main(int count, char** words) {
  openStandardDescriptors();
  std::unique_ptr<driver::InterfaceSource> source = std::make_unique<driver::VirtualInterfaces>();
  const auto ended = parseCommandLine(
      "vx310-driver",
      "Serves virtual VX-310 audio interfaces on the session bus until it is terminated.", count,
      words, [&source](CLI::App& program) {
        source->declareOptions(program);
        program.footer(
            "Exit status: 0 after SIGTERM or SIGINT, 1 when the session bus cannot be used or its\n"
            "name " +
            std::string(kDriverName) + " is taken, 2 for a wrong command line.");
      });
  return ended ? *ended : serve(std::move(source));
}

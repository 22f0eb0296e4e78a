// SPDX-License-Identifier: MIT
// `vx310ctl sim`: the driver's virtual interfaces, reached over the session bus.
#include <cstdio>
#include <cstring>

#include "protocol/services.h"
#include "tools/commands.h"
#include "tools/interfaces.h"

namespace vx310ctl {

namespace {

using session_bus::BusMessage;

ExitStatus explain(const char* what) {
  std::fprintf(stderr, "vx310ctl: %s\n", what);
  return kFailed;
}

ExitStatus explainFailure(const char* what, int result) {
  std::fprintf(stderr, "vx310ctl: %s: %s\n", what, std::strerror(-result));
  return kFailed;
}

ExitStatus explainError(const sd_bus_error& error) {
  const auto is = [&error](const char* name) { return sd_bus_error_has_name(&error, name) != 0; };
  if (is(SD_BUS_ERROR_SERVICE_UNKNOWN) || is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
    explain("no driver service is running (start vx310-driver)");
    return kNoDriver;
  }
  if (is(SD_BUS_ERROR_UNKNOWN_OBJECT) || is(SD_BUS_ERROR_UNKNOWN_METHOD) ||
      is(SD_BUS_ERROR_UNKNOWN_INTERFACE)) {
    return explain("the running driver service has no virtual interfaces");
  }
  if (is(SD_BUS_ERROR_NO_REPLY) || is(SD_BUS_ERROR_TIMEOUT)) {
    return explain("the driver service does not answer");
  }
  const char* message = error.message ? error.message : error.name;
  if (is(SD_BUS_ERROR_INVALID_ARGS)) return wrong(message, "vx310ctl sim");
  explain(message);
  return is(kNoInterfaceError) ? kNoInterface : kFailed;
}

// Makes the call of Run. Negative errno on failure.
int makeCall(sd_bus* bus, std::uint32_t interface, const std::vector<std::string>& words,
             BusMessage* call) {
  sd_bus_message* message = nullptr;
  int result = sd_bus_message_new_method_call(bus, &message, kDriverName, kVirtualInterfacesPath,
                                              kVirtualInterfacesInterface, kRunMethod);
  call->reset(message);
  // No auto-start: the user means the driver that is already running.
  if (result >= 0) result = sd_bus_message_set_auto_start(message, 0);
  if (result >= 0) result = sd_bus_message_append(message, "u", interface);
  if (result >= 0) result = sd_bus_message_open_container(message, 'a', "s");
  for (const auto& word : words) {
    if (result >= 0) result = sd_bus_message_append(message, "s", word.c_str());
  }
  return result < 0 ? result : sd_bus_message_close_container(message);
}

}  // namespace

const char* const kSimUsage =
    "Usage: vx310ctl sim [--interface N] COMMAND\n"
    "Moves the virtual interfaces of the running driver service. Numbers may be decimal or,\n"
    "after 0x, hexadecimal. Interface 0 is meant unless --interface names another.\n"
    "\n"
    "Commands:\n"
    "  plug [--second]          plug the interface in; with --second add another one and print\n"
    "                           its number\n"
    "  unplug                   unplug it; it keeps its settings\n"
    "  list                     list the virtual interfaces\n"
    "  state [--json]           show all that the interface knows\n"
    "  notify NUMBER [--type TYPE] [--size SIZE]\n"
    "                           send a driver message with this notification number, and with\n"
    "                           another type or size word than a driver's\n"
    "  fault none               end all faults and a stall\n"
    "  fault stall [MS]         answer no requests for MS milliseconds, or until 'fault none'\n"
    "  fault KIND [AMOUNT] [command NUMBER] [times COUNT | always]\n"
    "                           spoil the answers to the next request, or the next COUNT, or all;\n"
    "                           only to those with that command number if one is given\n"
    "\n"
    "Fault kinds: short [BYTES], long [BYTES], late [MS], missing, garbled, empty, close (the\n"
    "connection instead of answering), die (the driver service is killed instead of answering),\n"
    "hang (it is stopped instead, until it gets SIGCONT), refuse and ignore (settings: they fail,\n"
    "or are answered but not taken).\n"
    "\n"
    "Settings:\n"
    "  digital-input none|invalid|valid RATE|muted RATE\n"
    "        what the digital input carries, with the measured rate in Hz\n"
    "  sample-rate RATE\n"
    "        44100, 48000, 88200 or 96000, on the internal clock\n"
    "  clock automatic|internal|digital\n"
    "        the chosen clock source\n"
    "  routing in|out PAIR SOURCE\n"
    "        a routing, as another program would set it\n"
    "  usb 2.0|1.1\n"
    "        the speed of the connection; the interface reconnects\n"
    "  ids VENDOR PRODUCT\n"
    "        the USB ids; the interface reconnects\n"
    "  class vx310|orbek\n"
    "        the family, with its class name and ids; the interface reconnects\n"
    "  product-name TEXT\n"
    "        the product's name\n"
    "  driver-version WORD\n"
    "        the driver's version number, for example 0x02050400\n"
    "  firmware-version WORD\n"
    "        the firmware's version number, for example 0x01070002\n"
    "  firmware-known yes|no\n"
    "        whether the driver knows that number or leaves it to be asked of the interface\n"
    "  firmware-date TEXT\n"
    "        the firmware's date, at most 15 characters\n"
    "\n"
    "Every call waits at most 2 seconds for the driver service.\n"
    "Exit status: as of vx310ctl; see 'vx310ctl --help'.\n";

ExitStatus runSim(std::uint32_t interface, const std::vector<std::string>& words) {
  session_bus::Bus bus;
  if (const ExitStatus status = connectToBus(&bus); status != kDone) return status;
  BusMessage call;
  int result = makeCall(bus.get(), interface, words, &call);
  if (result < 0) return explainFailure("cannot ask the driver service", result);

  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  result = sd_bus_call(bus.get(), call.get(), 0, &error, &answer);
  const BusMessage reply(answer);
  const char* output = nullptr;
  ExitStatus status = kDone;
  if (sd_bus_error_is_set(&error)) {
    status = explainError(error);
  } else if (result < 0) {
    status = explainFailure("cannot reach the driver service", result);
  } else if (sd_bus_message_read(answer, "s", &output) < 0) {
    status = explain("the driver service answers something else");
  } else {
    std::fputs(output, stdout);
  }
  sd_bus_error_free(&error);
  return status;
}

}  // namespace vx310ctl

// SPDX-License-Identifier: MIT
#include "tools/sim_usage.h"

#include <cstdio>

namespace vx310ctl {

namespace {

constexpr const char* kSimUsage =
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

}  // namespace

void printSimUsage() { std::fputs(kSimUsage, stdout); }

}  // namespace vx310ctl

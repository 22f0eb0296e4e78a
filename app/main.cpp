// SPDX-License-Identifier: MIT
// vx310-panel: the control panel's window.
#include <cstdio>
#include <string_view>

#include "app/kv_panel_nib.h"
#include "platform/toolkit/toolkit.h"

namespace {

constexpr const char* kUsage =
    "Usage: vx310-panel [--help | --version]\n"
    "Opens the control panel of the VX-310 audio interface. It needs a display, follows the "
    "driver\n"
    "service on the session bus and writes routings through PipeWire; it waits for both while "
    "they\n"
    "are not there. The toolkit's own options, such as -platform, are taken too.\n";

}  // namespace

int main(int argc, char** argv) {
  const std::string_view word = argc == 2 ? argv[1] : "";
  if (word == "--help") return std::fputs(kUsage, stdout) < 0;
  if (word == "--version") return std::puts("vx310-panel " VX310_VERSION) < 0;
  return NSApplicationMain(argc, argv, loadPanelNib);
}

// SPDX-License-Identifier: MIT
// vx310-panel: the control panel's window.
#include "app/kv_panel_nib.h"
#include "platform/command_line/command_line.h"
#include "platform/posix/posix.h"
#include "platform/toolkit/toolkit.h"

int main(int argc, char** argv) {
  openStandardDescriptors();
  const auto ended = parseCommandLine(
      "vx310-panel", "Opens the control panel of the VX-310 audio interface.", argc, argv,
      [](CLI::App& program) {
        // The toolkit parses all others and takes its own with one dash or two, so that a wrong one
        // cannot be told from them here.
        program.allow_extras();
        program.footer(
            "It needs a display, follows the driver service on the session bus and writes "
            "routings\n"
            "through PipeWire; it waits for both while they are not there. The toolkit's own\n"
            "options, such as -platform, are taken too.");
      });
  return ended ? *ended : NSApplicationMain(argc, argv, loadPanelNib);
}

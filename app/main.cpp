// SPDX-License-Identifier: MIT
// vx310-panel: the control panel's window.
#include <cstdio>
#include <memory>

#include "app/kv_panel_nib.h"
#include "platform/command_line/command_line.h"
#include "platform/posix/posix.h"
#include "platform/single_instance/single_instance.h"
#include "platform/toolkit/toolkit.h"

namespace {

std::shared_ptr<SingleInstance> instance;

std::unique_ptr<NSObject> loadPanel(NSNib& nib) {
  instance->watch();
  return loadPanelNib(nib);
}

}  // namespace

int main(int argc, char** argv) {
  openStandardDescriptors();
  const auto ended = parseCommandLine(
      "vx310-panel", "Opens the control panel of the VX-310 audio interface.", argc, argv,
      [](CLI::App& program) {
        program.allow_extras();  // the toolkit's
        program.footer(
            "It needs a display, follows the driver service on the session bus and writes "
            "routings\n"
            "through PipeWire; it waits for both while they are not there. A second start shows\n"
            "the first one's window. The toolkit's own options, such as -platform, are taken too.\n"
            "Exit status: 0 when it was closed, 1 without a display, 2 for a wrong command line.");
      });
  if (ended) return *ended;
  if (const char* word = NSApplicationForeignWord(argc, argv)) {
    std::fprintf(stderr, "vx310-panel: '%s' is no option; try 'vx310-panel --help'\n", word);
    return kExitUsage;
  }
  instance = std::make_shared<SingleInstance>(kPanelBusName, NSAppActivate);
  if (instance->showRunningInstance()) return 0;
  return NSApplicationMain(argc, argv, loadPanel);
}

// SPDX-License-Identifier: MIT
// vx310-panel: the control panel's window.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "app/kv_panel_nib.h"
#include "platform/posix/posix.h"
#include "platform/single_instance/single_instance.h"
#include "platform/toolkit/toolkit.h"

namespace {

constexpr const char* kUsage =
    "Usage: vx310-panel [--help | --version]\n"
    "Opens the control panel of the VX-310 audio interface. It needs a display, follows the "
    "driver\n"
    "service on the session bus and writes routings through PipeWire; it waits for both while "
    "they\n"
    "are not there. The toolkit's own options, such as -platform, are taken too.\n";

constexpr const char* kPanelBusName = "com.vantrel.vx310.Panel";

std::shared_ptr<SingleInstance> instance;

std::unique_ptr<NSObject> loadPanel(NSNib& nib) {
  instance->watch();
  return loadPanelNib(nib);
}

}  // namespace

int main(int argc, char** argv) {
  openStandardDescriptors();
  try {
    CLI::App options;
    options.set_version_flag("--version", "vx310-panel " VX310_VERSION);
    // The toolkit parses all others and takes its own with one dash or two, so that a wrong one
    // cannot be told from them here.
    options.allow_extras();
    options.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return std::fputs(kUsage, stdout) < 0;
  } catch (const CLI::CallForVersion& version) {
    return std::puts(version.what()) < 0;
  } catch (const CLI::Error& error) {
    std::fprintf(stderr, "vx310-panel: %s\nTry 'vx310-panel --help'.\n", error.what());
    return 2;
  }
  instance = std::make_shared<SingleInstance>(kPanelBusName, NSAppActivate);
  if (instance->showRunningInstance()) return 0;
  return NSApplicationMain(argc, argv, loadPanel);
}

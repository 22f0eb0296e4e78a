// SPDX-License-Identifier: MIT
// vx310-panel: the control panel's window.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "app/kv_panel_nib.h"
#include "platform/command_line/command_line.h"
#include "platform/posix/posix.h"
#include "platform/single_instance/single_instance.h"
#include "platform/toolkit/toolkit.h"

namespace {

std::shared_ptr<SingleInstance> instance;

// The options of the toolkit and its window systems, which it takes with one dash or two. It would
// pass over any other word.
constexpr std::string_view kFlagsOfToolkit[] = {"dograb", "nograb", "qmljsdebugger", "reverse",
                                                "widgetcount"};
constexpr std::string_view kOptionsOfToolkit[] = {
    "display",         "geometry",           "icon",          "name",
    "platform",        "platformpluginpath", "platformtheme", "plugin",
    "qwindowgeometry", "qwindowicon",        "qwindowtitle",  "session",
    "style",           "stylesheet",         "title",         "visual"};

// The first word that the toolkit does not take; null when it takes all of them.
const char* wordForNobody(int count, char** words) {
  for (int i = 1; i < count; ++i) {
    std::string_view name = words[i];
    if (!name.starts_with('-')) return words[i];
    name.remove_prefix(name.starts_with("--") ? 2 : 1);
    const bool hasValue = name.find('=') != name.npos;
    name = name.substr(0, name.find('='));
    if (std::ranges::find(kFlagsOfToolkit, name) != std::end(kFlagsOfToolkit)) continue;
    if (std::ranges::find(kOptionsOfToolkit, name) == std::end(kOptionsOfToolkit)) return words[i];
    if (!hasValue) ++i;
  }
  return nullptr;
}

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
  if (const char* word = wordForNobody(argc, argv)) {
    std::fprintf(stderr, "vx310-panel: '%s' is no option; try 'vx310-panel --help'\n", word);
    return kExitUsage;
  }
  instance = std::make_shared<SingleInstance>(kPanelBusName, NSAppActivate);
  if (instance->showRunningInstance()) return 0;
  return NSApplicationMain(argc, argv, loadPanel);
}

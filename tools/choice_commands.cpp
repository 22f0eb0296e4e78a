// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "io/audio_device.h"
#include "platform/preferences/preferences.h"
#include "protocol/services.h"
#include "protocol/words.h"
#include "settings/osx_asio_registry.h"
#include "tools/choices.h"
#include "tools/commands.h"
#include "tools/current_interface.h"

namespace vx310ctl {

namespace {

ExitStatus noAnswer(const Choice& choice) {
  const std::string name(choice.name);
  std::fprintf(stderr, "vx310ctl: the interface does not report its %s\n", name.c_str());
  return kFailed;
}

}  // namespace

void explainAudioDevice() {
  const std::string name = kVX310AudioDeviceName;
  std::uint32_t size = 0;
  const bool isRunning =
      AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size) ==
      kAudioHardwareNoError;
  std::string problem = "the audio server has no device " + name;
  if (!isRunning) {
    problem += "; is PipeWire running?";
  } else if (size / sizeof(AudioObjectID) > kExaminedDevices) {
    problem = name + " is not among the audio server's first " + std::to_string(kExaminedDevices) +
              " devices; no others are looked at";
  }
  std::fprintf(stderr, "vx310ctl: %s\n", problem.c_str());
}

ExitStatus runGet(bool json, const Choice* wanted) {
  CurrentInterface interface;
  if (const ExitStatus status = interface.status(); status != kDone) return status;
  nlohmann::ordered_json settings;
  std::string lines;
  for (const Choice& choice : choices()) {
    if (wanted && &choice != wanted) continue;
    const std::int32_t value = currentValue(choice);
    if (value == kNoAnswer) return noAnswer(choice);
    const std::string text = itemText(choice, value);
    settings[memberOf(choice.name)] = valueJson(choice.words, value);
    lines += wanted ? text + "\n" : lineOf(choice.name, text);
  }
  if (json) {
    printJson({{member::kSettings, settings}});
  } else {
    std::fputs(lines.c_str(), stdout);
  }
  return kDone;
}

ExitStatus runSet(const Choice& choice, std::int32_t item) {
  const std::string name(choice.name);
  CurrentInterface interface;
  if (const ExitStatus status = interface.status(); status != kDone) return status;
  const bool sent = choice.command(item);
  const std::int32_t now = currentValue(choice);
  if (now == kNoAnswer) return noAnswer(choice);
  if (now == item) {
    // True again, and nothing to do, when the command could store what it set.
    if (!choice.isStored || CFPreferencesAppSynchronize(DEVICE_HAL_DOMAIN)) return kDone;
    std::fprintf(stderr,
                 "vx310ctl: %s is set, but could not be stored for the driver's next start\n",
                 name.c_str());
    return kFailed;
  }
  if (!sent && _halDevice == 0) {
    explainAudioDevice();
    return kFailed;
  }
  std::fprintf(stderr, "vx310ctl: the interface did not take it; %s is %s\n", name.c_str(),
               itemText(choice, now).c_str());
  return kFailed;
}

}  // namespace vx310ctl

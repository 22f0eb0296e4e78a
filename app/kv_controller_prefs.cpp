// SPDX-License-Identifier: MIT
// The panel's memory of the user's choices.
#include "app/kv_controller.h"

namespace {

constexpr const char* kPrefsVersion = "1.00";

}  // namespace

void KvController::loadPrefs() {
  KvPrefDictionary = NSUserDefaults::standardUserDefaults();
  const auto version = KvPrefDictionary.objectForKey("Version");
  const auto* text = version ? version->as<std::string>() : nullptr;
  if (text && *text == kPrefsVersion) return;
  // Each pair of inputs and each output from its own position.
  setPrefsDictionaryWithValues(0, 1, 2, 0, 1, 0, 0, 0, 0);
}

void KvController::savePrefs() { KvPrefDictionary.synchronize(); }

void KvController::setPrefsDictionaryWithValues(std::int32_t in12, std::int32_t in34,
                                                std::int32_t in56, std::int32_t out12,
                                                std::int32_t out34, std::int32_t digOutFormat,
                                                std::int32_t clockSource,
                                                std::int32_t audioPerformance,
                                                std::int32_t usb11Mode) {
  KvPrefDictionary.setObject(in12, "In12");
  KvPrefDictionary.setObject(in34, "In34");
  KvPrefDictionary.setObject(in56, "In56");
  KvPrefDictionary.setObject(out12, "Out12");
  KvPrefDictionary.setObject(out34, "Out34");
  KvPrefDictionary.setObject(clockSource, "ClockSource");
  KvPrefDictionary.setObject(digOutFormat, "DigOutFormat");
  KvPrefDictionary.setObject(audioPerformance, "AudioPerformance");
  KvPrefDictionary.setObject(usb11Mode, "USB11Mode");
  KvPrefDictionary.setObject(kPrefsVersion, "Version");
  KvPrefDictionary.synchronize();
}

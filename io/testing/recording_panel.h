// SPDX-License-Identifier: MIT
// A panel for tests that records each call of the bridge.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "io/korvel_dlg.h"

class RecordingPanel final : public PanelReceiver {
 public:
  // One line per call, in order: "ShowInfo 5 true 0 \"none found\"", "FoundHardware 9", …
  std::vector<std::string> calls;
  // Runs inside each call, which it gets as its line in `calls`.
  std::function<void(const std::string&)> onCall;

  void Detach() override { record("Detach"); }
  void Invalidate(bool flag) override { record("Invalidate " + text(flag)); }
  void EnableUSB1Mode(bool enable) override { record("EnableUSB1Mode " + text(enable)); }
  void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* shown) override {
    record("ShowInfo " + std::to_string(id) + " " + text(flag) + " " + std::to_string(value) + " " +
           (shown ? '"' + std::string(shown) + '"' : "null"));
  }
  void FoundHardware(std::int32_t index) override {
    record("FoundHardware " + std::to_string(index));
  }

 private:
  void record(const std::string& call) {
    calls.push_back(call);
    if (onCall) onCall(call);
  }
  static std::string text(bool flag) { return flag ? "true" : "false"; }
};

// SPDX-License-Identifier: MIT
// A panel for tests that records each call of the bridge.
#pragma once

#include <string>
#include <vector>

#include "io/korvel_dlg.h"

class RecordingPanel final : public PanelReceiver {
 public:
  // One line per call, in order: "ShowInfo 5 true 0 \"none found\"", "FoundHardware 9", …
  std::vector<std::string> calls;

  void Detach() override { calls.push_back("Detach"); }
  void Invalidate(bool flag) override { calls.push_back("Invalidate " + text(flag)); }
  void EnableUSB1Mode(bool enable) override { calls.push_back("EnableUSB1Mode " + text(enable)); }
  void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* shown) override {
    calls.push_back("ShowInfo " + std::to_string(id) + " " + text(flag) + " " +
                    std::to_string(value) + " " +
                    (shown ? '"' + std::string(shown) + '"' : "null"));
  }
  void FoundHardware(std::int32_t index) override {
    calls.push_back("FoundHardware " + std::to_string(index));
  }

 private:
  static std::string text(bool flag) { return flag ? "true" : "false"; }
};

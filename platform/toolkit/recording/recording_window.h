// SPDX-License-Identifier: MIT
// The state of the recording toolkit, which the program's operations and the tests' share.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/toolkit/recording/recording_toolkit.h"

namespace recording_toolkit {

struct RecordedControl : Control {
  std::string name;
  NSNib::Action action;
};

class Window final : public NSNib {
 public:
  NSTextField textField(std::string_view name) override;
  NSPopUpButton popUpButton(std::string_view name) override;
  NSImageView imageView(std::string_view name) override;
  NSButton button(std::string_view name) override;
  void connectAction(std::string_view name, Action action) override;

  // Null when the window does not have the control.
  RecordedControl* find(std::string_view name);
  RecordedControl& add(std::string_view name, std::optional<Kind> kind);

  bool hasEveryControl = true;

 private:
  // The control of this name and kind; if it is missing, a new one when the window has every
  // control, else null.
  RecordedControl* outlet(std::string_view name, Kind kind);

  std::map<std::string, std::unique_ptr<RecordedControl>, std::less<>> controls_;
};

struct State {
  Window window;
  std::vector<std::string> log;
  std::function<void(const std::string&)> onOperation;
  std::set<std::string, std::less<>> missingImages;
  std::string mainBundlePath = "/Applications/Panel.app";
  bool openFileResult = true;
  NSApplicationDelegate* delegate = nullptr;
  std::deque<std::function<void()>> events;
  bool terminating = false;
};

State& state();

void record(std::string line);

}  // namespace recording_toolkit

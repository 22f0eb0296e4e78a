// SPDX-License-Identifier: MIT
#include "platform/toolkit/recording/recording_window.h"

#include <utility>

namespace recording_toolkit {

namespace {

std::unique_ptr<State> currentState = std::make_unique<State>();

RecordedControl* usable(std::string_view name) {
  RecordedControl* control = state().window.find(name);
  return control && !control->hidden && control->enabled ? control : nullptr;
}

void perform(const NSNib::Action& action) {
  if (const NSNib::Action running = action) running();
}

}  // namespace

State& state() { return *currentState; }

void record(std::string line) {
  state().log.push_back(std::move(line));
  if (state().onOperation) state().onOperation(state().log.back());
}

NSTextField Window::textField(std::string_view name) {
  return NSTextField(outlet(name, Kind::kTextField));
}

NSPopUpButton Window::popUpButton(std::string_view name) {
  return NSPopUpButton(outlet(name, Kind::kPopUpButton));
}

NSImageView Window::imageView(std::string_view name) {
  return NSImageView(outlet(name, Kind::kImageView));
}

NSButton Window::button(std::string_view name) { return NSButton(outlet(name, Kind::kButton)); }

void Window::connectAction(std::string_view name, Action action) {
  if (RecordedControl* control = find(name)) control->action = std::move(action);
}

RecordedControl* Window::find(std::string_view name) {
  const auto found = controls_.find(name);
  return found == controls_.end() ? nullptr : found->second.get();
}

RecordedControl& Window::add(std::string_view name, std::optional<Kind> kind) {
  auto control = std::make_unique<RecordedControl>();
  control->name = name;
  control->kind = kind;
  return *controls_.insert_or_assign(std::string(name), std::move(control)).first->second;
}

RecordedControl* Window::outlet(std::string_view name, Kind kind) {
  if (RecordedControl* control = find(name)) {
    if (!control->kind) control->kind = kind;
    return control->kind == kind ? control : nullptr;
  }
  return hasEveryControl ? &add(name, kind) : nullptr;
}

void reset() { currentState = std::make_unique<State>(); }

void loadWindow(const std::vector<Outlet>& outlets) {
  state().window.hasEveryControl = false;
  for (const Outlet& outlet : outlets) state().window.add(outlet.name, outlet.kind);
}

NSNib& nib() { return state().window; }

Control& control(std::string_view name) {
  RecordedControl* control = state().window.find(name);
  return control ? *control : state().window.add(name, std::nullopt);
}

const std::vector<std::string>& log() { return state().log; }

void clearLog() { state().log.clear(); }

void onOperation(std::function<void(const std::string&)> action) {
  state().onOperation = std::move(action);
}

void removeImage(std::string name) { state().missingImages.insert(std::move(name)); }

void setMainBundlePath(std::string path) { state().mainBundlePath = std::move(path); }

void setOpenFileResult(bool result) { state().openFileResult = result; }

NSApplicationDelegate* delegate() { return state().delegate; }

bool pickItem(std::string_view name, std::int32_t index) {
  RecordedControl* menu = usable(name);
  if (!menu || index < 0 || index >= menu->itemCount) return false;
  menu->selectedItem = index;
  perform(menu->action);
  return true;
}

bool press(std::string_view name) {
  const RecordedControl* button = usable(name);
  if (!button) return false;
  perform(button->action);
  return true;
}

void closeWindow() {
  record("window.close");
  NSApplicationDelegate* receiver = state().delegate;
  if (!receiver || receiver->applicationShouldTerminateAfterLastWindowClosed()) NSAppTerminate();
}

void post(std::function<void()> event) { state().events.push_back(std::move(event)); }

}  // namespace recording_toolkit

// SPDX-License-Identifier: MIT
#include "platform/toolkit/recording/recording_toolkit.h"

#include <sstream>
#include <utility>

#include "platform/toolkit/recording/recording_window.h"

namespace {

using recording_toolkit::record;
using recording_toolkit::RecordedControl;
using recording_toolkit::state;

RecordedControl* controlOf(const NSView& view) {
  return static_cast<RecordedControl*>(view.object());
}

template <typename... Parts>
void recordFor(const RecordedControl& control, const Parts&... parts) {
  std::ostringstream line;
  line << control.name << '.';
  (line << ... << parts);
  record(line.str());
}

const char* yesOrNo(bool flag) { return flag ? "yes" : "no"; }

std::string nameOf(const NSImage& image) {
  return image.empty() ? std::string() : *static_cast<const std::string*>(image.picture().get());
}

std::string nameOrNothing(const NSImage& image) {
  return image.empty() ? "nothing" : nameOf(image);
}

// The object of every superview and of the window; the log needs only its name.
RecordedControl* windowObject() {
  static RecordedControl window = [] {
    RecordedControl control;
    control.name = "window";
    return control;
  }();
  return &window;
}

void runMainLoop() {
  while (!state().terminating && !state().events.empty()) {
    const auto event = std::move(state().events.front());
    state().events.pop_front();
    event();
  }
}

}  // namespace

NSImage NSImage::imageNamed(std::string_view name) {
  if (state().missingImages.contains(name)) return NSImage();
  return NSImage(std::make_shared<const std::string>(name));
}

NSView NSView::superview() const { return NSView(object_ ? windowObject() : nullptr); }

NSRect NSView::frame() const {
  const RecordedControl* control = controlOf(*this);
  return control ? control->frame : NSRect();
}

void NSView::setFrame(NSRect frame) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->frame = frame;
  recordFor(*control, "setFrame (", frame.origin.x, ", ", frame.origin.y, ") ", frame.size.width,
            "x", frame.size.height);
}

void NSView::display() {
  if (const RecordedControl* control = controlOf(*this)) recordFor(*control, "display");
}

void NSWindow::setBackgroundColor(const NSColor& color) {
  if (object_) record("window.setBackgroundColor " + nameOrNothing(color.pattern));
}

void NSControl::setHidden(bool hidden) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->hidden = hidden;
  recordFor(*control, "setHidden ", yesOrNo(hidden));
}

void NSControl::setEnabled(bool enabled) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->enabled = enabled;
  recordFor(*control, "setEnabled ", yesOrNo(enabled));
}

NSWindow NSControl::window() const { return NSWindow(object() ? windowObject() : nullptr); }

void NSTextField::setStringValue(std::string_view text) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->text = text;
  recordFor(*control, "setStringValue \"", text, '"');
}

void NSPopUpButton::selectItemAtIndex(std::int32_t index) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->selectedItem = index >= 0 && index < control->itemCount ? index : -1;
  recordFor(*control, "selectItemAtIndex ", index);
}

void NSPopUpButton::selectItem(std::nullptr_t) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->selectedItem = -1;
  recordFor(*control, "selectItem nothing");
}

std::int32_t NSPopUpButton::indexOfSelectedItem() const {
  const RecordedControl* control = controlOf(*this);
  return control ? control->selectedItem : 0;
}

void NSImageView::setImage(const NSImage& image) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->image = nameOf(image);
  recordFor(*control, "setImage ", nameOrNothing(image));
}

void NSImageView::setFrameSize(NSSize size) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->frame.size = size;
  recordFor(*control, "setFrameSize ", size.width, "x", size.height);
}

void NSImageView::setFrameOrigin(NSPoint origin) {
  RecordedControl* control = controlOf(*this);
  if (!control) return;
  control->frame.origin = origin;
  recordFor(*control, "setFrameOrigin (", origin.x, ", ", origin.y, ")");
}

const char* NSApplicationForeignWord(int argc, const char* const* argv) {
  return argc > 1 ? argv[1] : nullptr;
}

int NSApplicationMain(int, char**, NSNibLoader loader) {
  state().terminating = false;
  auto owner = loader(state().window);
  record("window.show");
  if (owner) owner->awakeFromNib();
  if (state().delegate) state().delegate->applicationDidFinishLaunching();
  runMainLoop();
  if (state().delegate) state().delegate->applicationWillTerminate();
  owner.reset();
  state().delegate = nullptr;
  return 0;
}

void NSAppSetDelegate(NSApplicationDelegate* delegate) {
  state().delegate = delegate;
  record(delegate ? "application.setDelegate" : "application.setDelegate nothing");
}

void NSAppActivate(std::string_view) { record("application.activate"); }

void NSAppTerminate() {
  state().terminating = true;
  record("application.terminate");
}

std::string NSBundleMainBundlePath() { return state().mainBundlePath; }

bool NSWorkspaceOpenFile(std::string_view path) {
  record("workspace.openFile \"" + std::string(path) + '"');
  return state().openFileResult;
}

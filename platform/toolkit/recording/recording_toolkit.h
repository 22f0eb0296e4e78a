// SPDX-License-Identifier: MIT
// What tests do to the recording toolkit: read the operations that a program performed on its
// window, look at the controls, and act as the user.
//
// Every operation is one line of readable text: `KvDeviceField.setStringValue "none found"`,
// `KvDeviceField.setHidden no`, `KvSampleClockSourceMenu.selectItem nothing`,
// `KvDeviceBitmap.setFrameSize 296x132`, `window.setBackgroundColor StripTexture.png`.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/toolkit/toolkit.h"

namespace recording_toolkit {

enum class Kind { kTextField, kPopUpButton, kImageView, kButton };

struct Outlet {
  std::string name;
  Kind kind;
};

// A control of the window. Unless a test says otherwise, the program finds it shown and enabled,
// empty, and at the origin.
struct Control {
  std::optional<Kind> kind;  // the first that the program asks for, unless the window was given
  bool hidden = false;
  bool enabled = true;
  std::string text;
  std::int32_t itemCount = 16;
  std::int32_t selectedItem = -1;
  std::string image;  // the resource's name; empty for none
  NSRect frame;
};

// Takes everything back to the start: an empty log, and a window that has every control that the
// program asks for.
void reset();

// Gives the window these controls and no others.
void loadWindow(const std::vector<Outlet>& outlets);

// The window, for tests that make its owner themselves and not through NSApplicationMain.
NSNib& nib();

// A control to look at or to change. One that nobody asked for yet is made.
Control& control(std::string_view name);

// The operations since the last reset or clearLog.
const std::vector<std::string>& log();
void clearLog();

// Calls `action` with each operation after it was written down, for tests that see in which order
// it comes with what happens elsewhere. An empty action ends that.
void onOperation(std::function<void(const std::string& operation)> action);

// Makes the resource, which otherwise exists, one that cannot be found.
void removeImage(std::string name);

// What NSBundleMainBundlePath answers.
void setMainBundlePath(std::string path);

// What NSWorkspaceOpenFile answers; otherwise true.
void setOpenFileResult(bool result);

NSApplicationDelegate* delegate();

// Acts as the user: picks an item, presses a button, closes the window. A hidden or disabled
// control cannot be used; then nothing happens and the answer is false.
bool pickItem(std::string_view name, std::int32_t index);
bool press(std::string_view name);
void closeWindow();

// Puts `event` at the end of what NSApplicationMain's main loop goes through. When it has gone
// through everything, the application is ended as by a signal.
void post(std::function<void()> event);

}  // namespace recording_toolkit

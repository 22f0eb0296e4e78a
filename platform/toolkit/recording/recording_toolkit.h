// SPDX-License-Identifier: MIT
// The tests' side of the recording toolkit: read the operations that the program performed on its
// window, read and change the controls, act as the user. One thread.
//
// An operation is recorded as one line of text: `KvDeviceField.setStringValue "none found"`,
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

// A control of the window. By default it is shown, enabled, empty and at the origin.
struct Control {
  std::optional<Kind> kind;  // from loadWindow(), else the first kind that the program asked for
  bool hidden = false;
  bool enabled = true;
  std::string text;
  std::int32_t itemCount = 16;
  std::int32_t selectedItem = -1;
  std::string image;  // the resource's name; empty without an image
  NSRect frame;
};

// Clears the log and makes a new window, which has every control that the program asks for.
void reset();

// Makes a window with these controls only.
void loadWindow(const std::vector<Outlet>& outlets);

// The window, for tests that make its owner without NSApplicationMain.
NSNib& nib();

// A control, for the test to read or change; made if the window does not have it yet.
Control& control(std::string_view name);

// The operations since the last reset or clearLog.
const std::vector<std::string>& log();
void clearLog();

// Calls `action` with each operation after it was recorded, for tests that compare its order with
// events elsewhere. An empty action ends this.
void onOperation(std::function<void(const std::string& operation)> action);

// Removes a resource; all others exist.
void removeImage(std::string name);

// Sets the result of NSBundleMainBundlePath.
void setMainBundlePath(std::string path);

// Sets the result of NSWorkspaceOpenFile; true by default.
void setOpenFileResult(bool result);

NSApplicationDelegate* delegate();

// Act as the user: pick an item, press a button, close the window. They do nothing and return false
// for a hidden or disabled control.
bool pickItem(std::string_view name, std::int32_t index);
bool press(std::string_view name);
void closeWindow();

// Appends `event` to the queue of NSApplicationMain's main loop. When the queue is empty, the
// application is terminated as by a signal.
void post(std::function<void()> event);

}  // namespace recording_toolkit

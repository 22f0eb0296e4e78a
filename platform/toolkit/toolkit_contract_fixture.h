// SPDX-License-Identifier: MIT
// What the contract tests need from a back end beyond the contract: to act as the user and to read
// the state of the controls. Each back end's test program defines these functions.
#pragma once

#include <functional>
#include <string>

#include "platform/toolkit/toolkit.h"

namespace toolkit_contract {

// Controls and resources that every back end is tested with.
inline constexpr const char* kField = "KvDeviceField";
inline constexpr const char* kMenu = "KvIoRInCh1And2Menu";  // has kMenuItems items
inline constexpr const char* kImageView = "KvDeviceBitmap";
inline constexpr const char* kButton = "Help";
inline constexpr std::int32_t kMenuItems = 4;
inline constexpr const char* kImage = "VX-310.png";
inline constexpr const char* kMissingImage = "Missing.png";

// Called before each test.
void prepare();

// Runs the program with `loader`, as main does.
int run(NSNibLoader loader);

// Makes the main loop call `event`, once it runs, after the events that are already queued.
void post(std::function<void()> event);

std::string textOf(const char* field);
bool isHidden(const char* control);
bool isEnabled(const char* control);
bool showsPicture(const char* imageView);
// Whether the window is shown and has the user's input.
bool isWindowInFront();

// Act as the user. The controls must be shown.
void pickLastItem(const char* menu);
void press(const char* button);
void closeWindow();
void minimizeWindow();
void coverWindow();  // with another window, which gets the user's input

}  // namespace toolkit_contract

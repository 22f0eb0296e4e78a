// SPDX-License-Identifier: MIT
// What the contract tests need from a back end besides the contract: its user, and eyes. Each back
// end's test program defines the operations.
#pragma once

#include <functional>
#include <string>

#include "platform/toolkit/toolkit.h"

namespace toolkit_contract {

// Names of the window that every back end is tested with.
inline constexpr const char* kField = "KvDeviceField";
inline constexpr const char* kMenu = "KvIoRInCh1And2Menu";  // of kMenuItems
inline constexpr const char* kImageView = "KvDeviceBitmap";
inline constexpr const char* kButton = "Help";
inline constexpr std::int32_t kMenuItems = 4;
inline constexpr const char* kImage = "VX-310.png";
inline constexpr const char* kMissingImage = "Missing.png";

// Called before each test.
void prepare();

// Runs the program with `loader`, as main does.
int run(NSNibLoader loader);

// Once the application runs: lets the main loop call `event` after what is already waiting.
void post(std::function<void()> event);

std::string textOf(const char* field);
bool isHidden(const char* control);
bool isEnabled(const char* control);
bool showsPicture(const char* imageView);

// The user's doings. The controls must be shown.
void pickLastItem(const char* menu);
void press(const char* button);
void closeWindow();

}  // namespace toolkit_contract

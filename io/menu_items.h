// SPDX-License-Identifier: MIT
// The texts of the panel's menu items. An item's index in its array is its value in commands and in
// the stored choices. vx310ctl offers these items; the window file repeats them, and
// tests/window/panel_window_test.cpp compares the two.
#pragma once

#include <iterator>
#include <string_view>

#include "protocol/options.h"

// The version that the panel's choices are stored with, under "Version"; choices with another one
// are replaced by the defaults.
inline constexpr const char* kChoicesVersion = "1.00";

// Items of the three input menus.
inline constexpr std::string_view kInputItems[] = {"Analog 1/2", "Analog 3/4", "Digital",
                                                   "Loopback"};
// Items of the two output menus.
inline constexpr std::string_view kOutputItems[] = {"Playback 1/2", "Playback 3/4", "Input 1/2",
                                                    "Input 3/4", "Input 5/6"};
static_assert(std::size(kInputItems) == kInputSources && std::size(kOutputItems) == kOutputSources);
inline constexpr std::string_view kClockSourceItems[] = {"Automatic", "Internal"};
inline constexpr std::string_view kDigitalOutputFormatItems[] = {"Consumer (S/PDIF)",
                                                                 "Professional (AES3)"};
inline constexpr std::string_view kUsb1InputItems[] = {"Analog", "Digital"};
inline constexpr std::string_view kAudioPerformanceItems[] = {"Standard", "Low latency", "Safe"};

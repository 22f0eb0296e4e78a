// SPDX-License-Identifier: MIT
// The options that Qt takes from a program's command line, with one dash or two. It does not tell
// which they are, and takes them only after it has opened the display; a test compares the two.
#pragma once

#include <string_view>

namespace qt_toolkit {

inline constexpr std::string_view kFlags[] = {"reverse", "widgetcount"};
inline constexpr std::string_view kOptionsWithValue[] = {
    "platform",    "platformpluginpath", "platformtheme", "plugin", "qwindowgeometry",
    "qwindowicon", "qwindowtitle",       "session",       "style",  "stylesheet"};
// Those of them whose value may follow a "=", too.
inline constexpr std::string_view kOptionsWithEquals[] = {"style", "stylesheet"};
// Under X11 alone.
inline constexpr std::string_view kFlagsOfX11[] = {"dograb", "nograb"};
inline constexpr std::string_view kOptionsOfX11[] = {"display", "geometry", "icon",
                                                     "name",    "title",    "visual"};

}  // namespace qt_toolkit

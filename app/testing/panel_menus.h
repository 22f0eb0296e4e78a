// SPDX-License-Identifier: MIT
// The panel's menus by the names of their outlets, for tests that go through all of them.
#pragma once

#include <span>
#include <string_view>

#include "io/menu_items.h"

struct PanelMenu {
  const char* name;
  std::span<const std::string_view> items;
};
inline constexpr PanelMenu kPanelMenus[] = {
    {"KvIoRInCh1And2Menu", kInputItems},
    {"KvIoRInCh3And4Menu", kInputItems},
    {"KvIoRInCh5And6Menu", kInputItems},
    {"KvIoROutLineMenu", kOutputItems},
    {"KvIoROutDigitalMenu", kOutputItems},
    {"KvSampleClockSourceMenu", kClockSourceItems},
    {"KvDigitalOutputFormatMenu", kDigitalOutputFormatItems},
    {"KvUsb1ModeInputSelectionMenu", kUsb1InputItems},
    {"KvCoreAudioPerformanceMenu", kAudioPerformanceItems},
};

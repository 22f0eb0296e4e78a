// SPDX-License-Identifier: MIT
// The panel's menus and status fields as tables. Connecting the window, applying and storing the
// choices, ShowInfo and the empty panel at the start all read these rows.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "app/kv_controller.h"
#include "io/korvel_dlg.h"
#include "platform/toolkit/toolkit.h"

// A control of the window, and the controller's member that it is bound to. Both have one name.
template <typename Control>
struct Outlet {
  const char* name;
  Control KvController::*member;

  Control& in(KvController& panel) const { return panel.*member; }
};

// The outlet called `member`. A macro, because only the preprocessor turns an identifier into text.
#define OUTLET(member) \
  { #member, &KvController::member }

// A menu's selection while ShowInfo hides the menu. kClearedLast also selects an item only after
// the menu is shown; the others select it before.
enum class HiddenSelection { kKept, kClearedFirst, kClearedLast };

struct PanelMenu {
  Outlet<NSPopUpButton> menu;
  Outlet<NSTextField> title;
  void (*action)(KvController& panel, const NSPopUpButton& sender);
  void (*command)(std::int32_t item);
  std::span<const std::string_view> items;  // as in the window file; tests compare them
  const char* key;                          // of the choice in the panel's preferences
  std::int32_t defaultItem;                 // the choice of a first run
  int turn;                                 // place in the order of InitRoutingValuesAndSet, from 1
  InfoId info;                              // the routing menus share kInfoRoutingMenus
  HiddenSelection hiddenSelection;
};

// In the order in which the choices are stored and the routing menus are shown.
extern const std::span<const PanelMenu> kPanelMenus;

struct StatusField {
  InfoId info;
  Outlet<NSTextField> field;
  Outlet<NSTextField> title;
};

extern const std::span<const StatusField> kStatusFields;

// SPDX-License-Identifier: MIT
// The status fields' table, and ShowInfo.
#include <string_view>

#include "app/kv_controller.h"
#include "app/panel_tables.h"

namespace {

constexpr StatusField kFields[] = {
    {kInfoSampleWidth, OUTLET(KvSampleWidthField), OUTLET(KvSampleWidthFieldTitle)},
    {kInfoSampleRate, OUTLET(KvSampleRateField), OUTLET(KvSampleRateFieldTitle)},
    {kInfoDigitalInputStatus, OUTLET(KvDigitalInputStatusField),
     OUTLET(KvDigitalInputStatusFieldTitle)},
    {kInfoFirmwareVersion, OUTLET(KvFirmwareVersionField), OUTLET(KvFirmwareVersionFieldTitle)},
    {kInfoDriverVersion, OUTLET(KvDriverVersionField), OUTLET(KvDriverVersionFieldTitle)},
    {kInfoDevice, OUTLET(KvDeviceField), OUTLET(KvDeviceFieldTitle)},
    {kInfoConnectionType, OUTLET(KvConnectionTypeField), OUTLET(KvConnectionTypeFieldTitle)},
    {kInfoSampleClockSource, OUTLET(KvSampleClockSourceField),
     OUTLET(KvSampleClockSourceFieldTitle)},
};

// A hidden field keeps its text; only the sample width is cleared in both cases.
void showField(KvController& panel, const StatusField& row, bool flag, std::string_view text) {
  NSTextField& field = row.field.in(panel);
  if (row.info == kInfoSampleWidth) field.setStringValue("");
  field.setHidden(!flag);
  row.title.in(panel).setHidden(!flag);
  if (flag) field.setStringValue(text);
}

void showStatus(KvController& panel, const StatusField& row, bool flag, const char* text) {
  const std::string_view shown = text ? text : "";
  // The driver version is never hidden. Unless one is reported, it is the driver package's.
  if (row.info == kInfoDriverVersion && (!flag || shown.empty())) {
    showField(panel, row, true, panel.szDriverFileVersion);
  } else {
    showField(panel, row, flag, shown);
  }
}

void selectOrClear(NSPopUpButton& menu, const PanelMenu& row, bool flag, std::int32_t item) {
  if (flag) {
    menu.selectItemAtIndex(item);
  } else if (row.hiddenSelection != HiddenSelection::kKept) {
    menu.selectItem(nullptr);
  }
}

void showMenu(KvController& panel, const PanelMenu& row, bool flag, std::int32_t item) {
  NSPopUpButton& menu = row.menu.in(panel);
  const bool selectsLast = row.hiddenSelection == HiddenSelection::kClearedLast;
  menu.setEnabled(flag);
  if (!selectsLast) selectOrClear(menu, row, flag, item);
  menu.setHidden(!flag);
  if (selectsLast) selectOrClear(menu, row, flag, item);
  row.title.in(panel).setHidden(!flag);
}

template <typename Action>
void forEachRoutingMenu(Action action) {
  for (const PanelMenu& row : kPanelMenus) {
    if (row.info == kInfoRoutingMenus) action(row);
  }
}

void showRoutingMenus(KvController& panel, bool flag) {
  forEachRoutingMenu([&](const PanelMenu& row) {
    // The menu for inputs 5 and 6 always stays enabled.
    if (row.menu.member == &KvController::KvIoRInCh5And6Menu) return;
    row.menu.in(panel).setEnabled(flag);
  });
  forEachRoutingMenu([&](const PanelMenu& row) { row.menu.in(panel).setHidden(!flag); });
  forEachRoutingMenu([&](const PanelMenu& row) { row.title.in(panel).setHidden(!flag); });
}

// A routing's value: the pair or output in the upper half, the item in its menu in the lower.
std::int32_t upperHalf(std::int32_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) >> 16);
}
std::int32_t lowerHalf(std::int32_t value) { return value & 0xFFFF; }

void selectInputRouting(KvController& panel, std::int32_t value) {
  const std::int32_t pair = upperHalf(value);
  NSPopUpButton& menu = pair == 0   ? panel.KvIoRInCh1And2Menu
                        : pair == 1 ? panel.KvIoRInCh3And4Menu
                                    : panel.KvIoRInCh5And6Menu;
  menu.selectItemAtIndex(lowerHalf(value));
}

void selectOutputRouting(KvController& panel, std::int32_t value) {
  NSPopUpButton& menu = upperHalf(value) == 0 ? panel.KvIoROutLineMenu : panel.KvIoROutDigitalMenu;
  menu.selectItemAtIndex(lowerHalf(value));
}

}  // namespace

constinit const std::span<const StatusField> kStatusFields = kFields;

void KvController::ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) {
  switch (id) {
    case kInfoPanelSubtitle:
      KvPanelSubTitle.setStringValue("Control Panel");
      break;
    case kInfoRoutingMenus:
      showRoutingMenus(*this, flag);
      break;
    case kInfoInputRouting:
      selectInputRouting(*this, value);
      break;
    case kInfoOutputRouting:
      selectOutputRouting(*this, value);
      break;
    default:
      for (const StatusField& row : kFields) {
        if (row.info == id) showStatus(*this, row, flag, text);
      }
      for (const PanelMenu& row : kPanelMenus) {
        if (row.info == id) showMenu(*this, row, flag, value);
      }
  }
}

// SPDX-License-Identifier: MIT
// The status fields: their table, ShowInfo, and the sampling frequency of a channel status block.
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

constexpr const char* kNone = "Freq not indicated";

// Byte 3, bits 0 to 3 (IEC 60958-3).
constexpr const char* kConsumer[16] = {
    "44.1 kHz.", kNone, "48 kHz.", "32 kHz.", kNone,        kNone, kNone,      kNone,
    "88.2 kHz.", kNone, "96 kHz.", kNone,     "176.4 kHz.", kNone, "192 kHz.", kNone};

// Byte 0, bits 6 and 7, read as a number whose high bit is bit 7 (IEC 60958-4). With 0, byte 4,
// bits 3 to 6, has the frequency.
constexpr const char* kProfessional[4] = {nullptr, "44.1 kHz.", "48 kHz.", "32 kHz."};
constexpr const char* kExtended[16] = {
    kNone, kNone, "96 kHz.",   "192 kHz.",   kNone, kNone, kNone, kNone,
    kNone, kNone, "88.2 kHz.", "176.4 kHz.", kNone, kNone, kNone, kNone};

const char* samplingFrequency(const std::uint8_t* status) {
  const bool professional = status[0] & 1;
  if (!professional) return kConsumer[status[3] & 15];
  const unsigned code = status[0] >> 6;
  return code != 0 ? kProfessional[code] : kExtended[(status[4] >> 3) & 15];
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

void KvController::decodeChannelStatus(const std::uint8_t* status) {
  KvDigitalInputStatusField.setStringValue(samplingFrequency(status));
}

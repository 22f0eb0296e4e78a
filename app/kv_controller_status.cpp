// SPDX-License-Identifier: MIT
// What ShowInfo does to the status fields and menus.
#include <string_view>

#include "app/kv_controller.h"

namespace {

std::string_view orEmpty(const char* text) { return text ? std::string_view(text) : ""; }

// The field keeps its text while it is hidden.
void showField(NSTextField field, NSTextField title, bool flag, const char* text) {
  field.setHidden(!flag);
  title.setHidden(!flag);
  if (flag) field.setStringValue(orEmpty(text));
}

// The menu keeps its selection while it is hidden.
void showMenu(NSPopUpButton menu, NSTextField title, bool flag, std::int32_t item) {
  menu.setEnabled(flag);
  if (flag) menu.selectItemAtIndex(item);
  menu.setHidden(!flag);
  title.setHidden(!flag);
}

void showPerformanceMenu(NSPopUpButton menu, NSTextField title, bool flag, std::int32_t item) {
  menu.setEnabled(flag);
  if (flag) {
    menu.selectItemAtIndex(item);
  } else {
    menu.selectItem(nullptr);
  }
  menu.setHidden(!flag);
  title.setHidden(!flag);
}

void showUsb1Menu(NSPopUpButton menu, NSTextField title, bool flag, std::int32_t item) {
  menu.setEnabled(flag);
  menu.setHidden(!flag);
  if (flag) {
    menu.selectItemAtIndex(item);
  } else {
    menu.selectItem(nullptr);
  }
  title.setHidden(!flag);
}

// The halves of a routing's value: which routing, and the item selected in its menu.
std::int32_t upperHalf(std::int32_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) >> 16);
}
std::int32_t lowerHalf(std::int32_t value) { return value & 0xFFFF; }

}  // namespace

void KvController::ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) {
  switch (id) {
    case kInfoSampleWidth:
      KvSampleWidthField.setStringValue("");
      showField(KvSampleWidthField, KvSampleWidthFieldTitle, flag, text);
      break;
    case kInfoSampleRate:
      showField(KvSampleRateField, KvSampleRateFieldTitle, flag, text);
      break;
    case kInfoDigitalInputStatus:
      showField(KvDigitalInputStatusField, KvDigitalInputStatusFieldTitle, flag, text);
      break;
    case kInfoFirmwareVersion:
      showField(KvFirmwareVersionField, KvFirmwareVersionFieldTitle, flag, text);
      break;
    case kInfoDriverVersion:
      showDriverVersion(flag, text);
      break;
    case kInfoDevice:
      showField(KvDeviceField, KvDeviceFieldTitle, flag, text);
      break;
    case kInfoPanelSubtitle:
      KvPanelSubTitle.setStringValue("Control Panel");
      break;
    case kInfoConnectionType:
      showField(KvConnectionTypeField, KvConnectionTypeFieldTitle, flag, text);
      break;
    case kInfoSampleClockSource:
      showField(KvSampleClockSourceField, KvSampleClockSourceFieldTitle, flag, text);
      break;
    case kInfoUsb1ModeInputSelection:
      showUsb1Menu(KvUsb1ModeInputSelectionMenu, KvUsb1ModeInputSelectionTitle, flag, value);
      break;
    case kInfoSampleClockSourceMenu:
      showMenu(KvSampleClockSourceMenu, KvSampleClockSourceTitle, flag, value);
      break;
    case kInfoDigitalOutputFormat:
      showMenu(KvDigitalOutputFormatMenu, KvDigitalOutputFormatTitle, flag, value);
      break;
    case kInfoCoreAudioPerformance:
      showPerformanceMenu(KvCoreAudioPerformanceMenu, KvCoreAudioPerformanceTitle, flag, value);
      break;
    case kInfoRoutingMenus:
      showRoutingMenus(flag);
      break;
    case kInfoInputRouting:
      selectInputRouting(value);
      break;
    case kInfoOutputRouting:
      selectOutputRouting(value);
      break;
    default:
      break;
  }
}

// Always shown: what the device cannot say, the driver package does.
void KvController::showDriverVersion(bool flag, const char* text) {
  const bool reported = flag && !orEmpty(text).empty();
  showField(KvDriverVersionField, KvDriverVersionFieldTitle, true,
            reported ? text : szDriverFileVersion);
}

void KvController::showRoutingMenus(bool flag) {
  // The menu for inputs 5 and 6 is never disabled.
  for (NSPopUpButton menu :
       {KvIoRInCh1And2Menu, KvIoRInCh3And4Menu, KvIoROutLineMenu, KvIoROutDigitalMenu}) {
    menu.setEnabled(flag);
  }
  for (NSPopUpButton menu : {KvIoRInCh1And2Menu, KvIoRInCh3And4Menu, KvIoRInCh5And6Menu,
                             KvIoROutLineMenu, KvIoROutDigitalMenu}) {
    menu.setHidden(!flag);
  }
  for (NSTextField title : {KvIoRInCh1And2Title, KvIoRInCh3And4Title, KvIoRInCh5And6Title,
                            KvIoROutLineTitle, KvIoROutDigitalTitle}) {
    title.setHidden(!flag);
  }
}

void KvController::selectInputRouting(std::int32_t value) {
  const std::int32_t pair = upperHalf(value);
  NSPopUpButton& menu = pair == 0   ? KvIoRInCh1And2Menu
                        : pair == 1 ? KvIoRInCh3And4Menu
                                    : KvIoRInCh5And6Menu;
  menu.selectItemAtIndex(lowerHalf(value));
}

void KvController::selectOutputRouting(std::int32_t value) {
  NSPopUpButton& menu = upperHalf(value) == 0 ? KvIoROutLineMenu : KvIoROutDigitalMenu;
  menu.selectItemAtIndex(lowerHalf(value));
}

// SPDX-License-Identifier: MIT
#include "app/kv_panel_nib.h"

#include "app/kv_controller.h"

namespace {

template <typename Control>
struct Outlet {
  const char* name;
  Control KvController::*control;
};

constexpr Outlet<NSTextField> kTextFields[] = {
    {"KvPanelSubTitle", &KvController::KvPanelSubTitle},
    {"KvDriverVersionField", &KvController::KvDriverVersionField},
    {"KvDeviceField", &KvController::KvDeviceField},
    {"KvConnectionTypeField", &KvController::KvConnectionTypeField},
    {"KvFirmwareVersionField", &KvController::KvFirmwareVersionField},
    {"KvSampleWidthField", &KvController::KvSampleWidthField},
    {"KvSampleRateField", &KvController::KvSampleRateField},
    {"KvSampleClockSourceField", &KvController::KvSampleClockSourceField},
    {"KvDigitalInputStatusField", &KvController::KvDigitalInputStatusField},
    {"KvDriverVersionFieldTitle", &KvController::KvDriverVersionFieldTitle},
    {"KvDeviceFieldTitle", &KvController::KvDeviceFieldTitle},
    {"KvConnectionTypeFieldTitle", &KvController::KvConnectionTypeFieldTitle},
    {"KvFirmwareVersionFieldTitle", &KvController::KvFirmwareVersionFieldTitle},
    {"KvSampleWidthFieldTitle", &KvController::KvSampleWidthFieldTitle},
    {"KvSampleRateFieldTitle", &KvController::KvSampleRateFieldTitle},
    {"KvSampleClockSourceFieldTitle", &KvController::KvSampleClockSourceFieldTitle},
    {"KvDigitalInputStatusFieldTitle", &KvController::KvDigitalInputStatusFieldTitle},
    {"KvCoreAudioPerformanceTitle", &KvController::KvCoreAudioPerformanceTitle},
    {"KvDigitalOutputFormatTitle", &KvController::KvDigitalOutputFormatTitle},
    {"KvUsb1ModeInputSelectionTitle", &KvController::KvUsb1ModeInputSelectionTitle},
    {"KvSampleClockSourceTitle", &KvController::KvSampleClockSourceTitle},
    {"KvIoRInCh1And2Title", &KvController::KvIoRInCh1And2Title},
    {"KvIoRInCh3And4Title", &KvController::KvIoRInCh3And4Title},
    {"KvIoRInCh5And6Title", &KvController::KvIoRInCh5And6Title},
    {"KvIoROutLineTitle", &KvController::KvIoROutLineTitle},
    {"KvIoROutDigitalTitle", &KvController::KvIoROutDigitalTitle},
    {"AKM00Field", &KvController::AKM00Field},
    {"RxStatusField", &KvController::RxStatusField},
    {"TxStatusField", &KvController::TxStatusField},
    {"ReceiverStatusField", &KvController::ReceiverStatusField},
};

constexpr Outlet<NSPopUpButton> kMenus[] = {
    {"KvCoreAudioPerformanceMenu", &KvController::KvCoreAudioPerformanceMenu},
    {"KvDigitalOutputFormatMenu", &KvController::KvDigitalOutputFormatMenu},
    {"KvUsb1ModeInputSelectionMenu", &KvController::KvUsb1ModeInputSelectionMenu},
    {"KvSampleClockSourceMenu", &KvController::KvSampleClockSourceMenu},
    {"KvIoRInCh1And2Menu", &KvController::KvIoRInCh1And2Menu},
    {"KvIoRInCh3And4Menu", &KvController::KvIoRInCh3And4Menu},
    {"KvIoRInCh5And6Menu", &KvController::KvIoRInCh5And6Menu},
    {"KvIoROutLineMenu", &KvController::KvIoROutLineMenu},
    {"KvIoROutDigitalMenu", &KvController::KvIoROutDigitalMenu},
};

constexpr Outlet<NSButton> kButtons[] = {
    {"Help", &KvController::Help},
    {"CloseButton", &KvController::CloseButton},
};

void connectOutlets(NSNib& nib, KvController& controller) {
  for (const auto& [name, field] : kTextFields) controller.*field = nib.textField(name);
  for (const auto& [name, menu] : kMenus) controller.*menu = nib.popUpButton(name);
  for (const auto& [name, button] : kButtons) controller.*button = nib.button(name);
  controller.KvDeviceBitmap = nib.imageView("KvDeviceBitmap");
}

struct RoutingAction {
  const char* menu;
  NSPopUpButton KvController::*sender;
  void (KvController::*action)(const NSPopUpButton&);
};
constexpr RoutingAction kRoutingActions[] = {
    {"KvIoRInCh1And2Menu", &KvController::KvIoRInCh1And2Menu, &KvController::doChannel1and2},
    {"KvIoRInCh3And4Menu", &KvController::KvIoRInCh3And4Menu, &KvController::doChannel3and4},
    {"KvIoRInCh5And6Menu", &KvController::KvIoRInCh5And6Menu, &KvController::doChannel5and6},
    {"KvIoROutLineMenu", &KvController::KvIoROutLineMenu, &KvController::doLineOut},
    {"KvIoROutDigitalMenu", &KvController::KvIoROutDigitalMenu, &KvController::doDigitalOut},
};

struct OptionAction {
  const char* menu;
  NSPopUpButton KvController::*sender;
  void (KvController::*action)(const NSControl&);
};
constexpr OptionAction kOptionActions[] = {
    {"KvSampleClockSourceMenu", &KvController::KvSampleClockSourceMenu,
     &KvController::doSampleClockSource},
    {"KvUsb1ModeInputSelectionMenu", &KvController::KvUsb1ModeInputSelectionMenu,
     &KvController::doUsb1ModeInputSelection},
    {"KvDigitalOutputFormatMenu", &KvController::KvDigitalOutputFormatMenu,
     &KvController::doDigitalOutputFormat},
    {"KvCoreAudioPerformanceMenu", &KvController::KvCoreAudioPerformanceMenu,
     &KvController::doCoreAudioPerformance},
};

template <typename Actions>
void connectMenus(NSNib& nib, KvController& controller, const Actions& actions) {
  for (const auto& row : actions) {
    nib.connectAction(row.menu,
                      [&controller, row] { (controller.*row.action)(controller.*row.sender); });
  }
}

void connectActions(NSNib& nib, KvController& controller) {
  connectMenus(nib, controller, kRoutingActions);
  connectMenus(nib, controller, kOptionActions);
  nib.connectAction("Help", [&controller] { controller.doHelp(controller.Help); });
  nib.connectAction("CloseButton",
                    [&controller] { controller.doCloseButton(controller.CloseButton); });
}

}  // namespace

std::unique_ptr<NSObject> loadPanelNib(NSNib& nib) {
  auto controller = std::make_unique<KvController>();
  connectOutlets(nib, *controller);
  connectActions(nib, *controller);
  return controller;
}

// SPDX-License-Identifier: MIT
#include "app/kv_panel_nib.h"

#include "app/kv_controller.h"
#include "app/panel_tables.h"

namespace {

// Text fields that are in neither table.
constexpr Outlet<NSTextField> kOtherFields[] = {
    OUTLET(KvPanelSubTitle), OUTLET(AKM00Field),          OUTLET(RxStatusField),
    OUTLET(TxStatusField),   OUTLET(ReceiverStatusField),
};

struct PanelButton {
  Outlet<NSButton> button;
  void (KvController::*action)(const NSControl& sender);
};
constexpr PanelButton kButtons[] = {
    {OUTLET(Help), &KvController::doHelp},
    {OUTLET(CloseButton), &KvController::doCloseButton},
};

void connectField(NSNib& nib, KvController& panel, const Outlet<NSTextField>& field) {
  field.in(panel) = nib.textField(field.name);
}

void connectStatusFields(NSNib& nib, KvController& panel) {
  for (const StatusField& row : kStatusFields) {
    connectField(nib, panel, row.field);
    connectField(nib, panel, row.title);
  }
}

void connectMenus(NSNib& nib, KvController& panel) {
  for (const PanelMenu& row : kPanelMenus) {
    row.menu.in(panel) = nib.popUpButton(row.menu.name);
    connectField(nib, panel, row.title);
    nib.connectAction(row.menu.name, [&panel, &row] { row.action(panel, row.menu.in(panel)); });
  }
}

void connectButtons(NSNib& nib, KvController& panel) {
  for (const PanelButton& row : kButtons) {
    row.button.in(panel) = nib.button(row.button.name);
    nib.connectAction(row.button.name,
                      [&panel, &row] { (panel.*row.action)(row.button.in(panel)); });
  }
}

}  // namespace

std::unique_ptr<NSObject> loadPanelNib(NSNib& nib) {
  auto controller = std::make_unique<KvController>();
  connectStatusFields(nib, *controller);
  connectMenus(nib, *controller);
  connectButtons(nib, *controller);
  for (const auto& field : kOtherFields) connectField(nib, *controller, field);
  controller->KvDeviceBitmap = nib.imageView("KvDeviceBitmap");
  return controller;
}

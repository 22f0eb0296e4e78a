// SPDX-License-Identifier: MIT
#include "app/kv_panel_nib.h"

#include "app/panel_tables.h"
#include "app/testing/controller_test.h"

namespace {

using recording_toolkit::Kind;
using testing::ElementsAre;

class PanelNib : public ControllerTest {
 protected:
  // Disables the control through its outlet: the control called `name` must record it.
  static void expectBound(NSControl& outlet, const char* name) {
    outlet.setEnabled(false);
    EXPECT_THAT(operations(), ElementsAre(std::string(name) + ".setEnabled no"));
  }
};

TEST_F(PanelNib, BindsTheMenusOfTheTable) {
  loadQuietly();
  for (const PanelMenu& row : kPanelMenus) {
    expectBound(row.menu.in(*controller), row.menu.name);
    expectBound(row.title.in(*controller), row.title.name);
  }
}

TEST_F(PanelNib, BindsTheStatusFieldsOfTheTable) {
  loadQuietly();
  for (const StatusField& row : kStatusFields) {
    expectBound(row.field.in(*controller), row.field.name);
    expectBound(row.title.in(*controller), row.title.name);
  }
}

TEST_F(PanelNib, BindsTheOtherOutlets) {
  loadQuietly();
  expectBound(controller->KvPanelSubTitle, "KvPanelSubTitle");
  expectBound(controller->KvDeviceBitmap, "KvDeviceBitmap");
  expectBound(controller->Help, "Help");
  expectBound(controller->CloseButton, "CloseButton");
  expectBound(controller->AKM00Field, "AKM00Field");
  expectBound(controller->RxStatusField, "RxStatusField");
  expectBound(controller->TxStatusField, "TxStatusField");
  expectBound(controller->ReceiverStatusField, "ReceiverStatusField");
}

TEST_F(PanelNib, LeavesMissingOutletsEmpty) {
  recording_toolkit::loadWindow({{"KvDeviceField", Kind::kTextField}});
  load();
  EXPECT_NE(controller->KvDeviceField.object(), nullptr);
  EXPECT_EQ(controller->AKM00Field.object(), nullptr);
  EXPECT_EQ(controller->CloseButton.object(), nullptr);
}

}  // namespace

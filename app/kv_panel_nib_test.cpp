// SPDX-License-Identifier: MIT
#include "app/kv_panel_nib.h"

#include "app/testing/controller_test.h"

namespace {

using recording_toolkit::Kind;
using testing::ElementsAre;

class PanelNib : public ControllerTest {};

// Each outlet is told something and the control of its name must hear it.
TEST_F(PanelNib, BindsEachOutletToTheControlOfItsName) {
  loadQuietly();
  KvController& panel = *controller;
  const std::pair<NSControl*, const char*> outlets[] = {
      {&panel.KvPanelSubTitle, "KvPanelSubTitle"},
      {&panel.KvDriverVersionField, "KvDriverVersionField"},
      {&panel.KvDeviceField, "KvDeviceField"},
      {&panel.KvConnectionTypeField, "KvConnectionTypeField"},
      {&panel.KvFirmwareVersionField, "KvFirmwareVersionField"},
      {&panel.KvSampleWidthField, "KvSampleWidthField"},
      {&panel.KvSampleRateField, "KvSampleRateField"},
      {&panel.KvSampleClockSourceField, "KvSampleClockSourceField"},
      {&panel.KvDigitalInputStatusField, "KvDigitalInputStatusField"},
      {&panel.KvDriverVersionFieldTitle, "KvDriverVersionFieldTitle"},
      {&panel.KvDeviceFieldTitle, "KvDeviceFieldTitle"},
      {&panel.KvConnectionTypeFieldTitle, "KvConnectionTypeFieldTitle"},
      {&panel.KvFirmwareVersionFieldTitle, "KvFirmwareVersionFieldTitle"},
      {&panel.KvSampleWidthFieldTitle, "KvSampleWidthFieldTitle"},
      {&panel.KvSampleRateFieldTitle, "KvSampleRateFieldTitle"},
      {&panel.KvSampleClockSourceFieldTitle, "KvSampleClockSourceFieldTitle"},
      {&panel.KvDigitalInputStatusFieldTitle, "KvDigitalInputStatusFieldTitle"},
      {&panel.KvCoreAudioPerformanceMenu, "KvCoreAudioPerformanceMenu"},
      {&panel.KvDigitalOutputFormatMenu, "KvDigitalOutputFormatMenu"},
      {&panel.KvUsb1ModeInputSelectionMenu, "KvUsb1ModeInputSelectionMenu"},
      {&panel.KvSampleClockSourceMenu, "KvSampleClockSourceMenu"},
      {&panel.KvCoreAudioPerformanceTitle, "KvCoreAudioPerformanceTitle"},
      {&panel.KvDigitalOutputFormatTitle, "KvDigitalOutputFormatTitle"},
      {&panel.KvUsb1ModeInputSelectionTitle, "KvUsb1ModeInputSelectionTitle"},
      {&panel.KvSampleClockSourceTitle, "KvSampleClockSourceTitle"},
      {&panel.KvIoRInCh1And2Title, "KvIoRInCh1And2Title"},
      {&panel.KvIoRInCh1And2Menu, "KvIoRInCh1And2Menu"},
      {&panel.KvIoRInCh3And4Title, "KvIoRInCh3And4Title"},
      {&panel.KvIoRInCh3And4Menu, "KvIoRInCh3And4Menu"},
      {&panel.KvIoRInCh5And6Title, "KvIoRInCh5And6Title"},
      {&panel.KvIoRInCh5And6Menu, "KvIoRInCh5And6Menu"},
      {&panel.KvIoROutLineTitle, "KvIoROutLineTitle"},
      {&panel.KvIoROutLineMenu, "KvIoROutLineMenu"},
      {&panel.KvIoROutDigitalTitle, "KvIoROutDigitalTitle"},
      {&panel.KvIoROutDigitalMenu, "KvIoROutDigitalMenu"},
      {&panel.KvDeviceBitmap, "KvDeviceBitmap"},
      {&panel.Help, "Help"},
      {&panel.CloseButton, "CloseButton"},
      {&panel.AKM00Field, "AKM00Field"},
      {&panel.RxStatusField, "RxStatusField"},
      {&panel.TxStatusField, "TxStatusField"},
      {&panel.ReceiverStatusField, "ReceiverStatusField"},
  };
  for (const auto& [outlet, name] : outlets) {
    outlet->setEnabled(false);
    EXPECT_THAT(operations(), ElementsAre(std::string(name) + ".setEnabled no"));
  }
}

TEST_F(PanelNib, LeavesOutletsThatTheWindowLacksNamingNothing) {
  recording_toolkit::loadWindow({{"KvDeviceField", Kind::kTextField}});
  load();
  EXPECT_NE(controller->KvDeviceField.object(), nullptr);
  EXPECT_EQ(controller->AKM00Field.object(), nullptr);
  EXPECT_EQ(controller->CloseButton.object(), nullptr);
}

}  // namespace

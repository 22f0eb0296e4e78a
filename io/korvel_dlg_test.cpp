// SPDX-License-Identifier: MIT
#include "io/korvel_dlg.h"

#include <gmock/gmock.h>

#include <memory>
#include <utility>

namespace {

using testing::StrictMock;

class MockReceiver : public PanelReceiver {
 public:
  virtual ~MockReceiver() = default;
  MOCK_METHOD(void, Detach, (), (override));
  MOCK_METHOD(void, Invalidate, (bool), (override));
  MOCK_METHOD(void, EnableUSB1Mode, (bool), (override));
  MOCK_METHOD(void, ShowInfo, (std::int32_t, bool, std::int32_t, const char*), (override));
  MOCK_METHOD(void, FoundHardware, (std::int32_t), (override));
};

class PanelBridge : public testing::Test {
 protected:
  StrictMock<MockReceiver> receiver;
  CKorvelDlg bridge{&receiver};
};

// The numbers are part of the panel's interface. Other tests use the names.
TEST(InfoIds, EachValueHasItsNumber) {
  const std::pair<InfoId, int> expected[] = {
      {kInfoSampleWidth, 0},
      {kInfoSampleRate, 1},
      {kInfoDigitalInputStatus, 2},
      {kInfoFirmwareVersion, 3},
      {kInfoDriverVersion, 4},
      {kInfoDevice, 5},
      {kInfoPanelSubtitle, 6},
      {kInfoConnectionType, 7},
      {kInfoSampleClockSource, 8},
      {kInfoUsb1ModeInputSelection, 9},
      {kInfoSampleClockSourceMenu, 10},
      {kInfoDigitalOutputFormat, 11},
      {kInfoCoreAudioPerformance, 12},
      {kInfoRoutingMenus, 13},
      {kInfoInputRouting, 14},
      {kInfoOutputRouting, 15},
  };
  for (const auto& [id, number] : expected) EXPECT_EQ(id, number);
}

TEST_F(PanelBridge, ConstructionSetsTheGlobalBridge) { EXPECT_EQ(controlDlg, &bridge); }

TEST_F(PanelBridge, DetachIsForwarded) {
  EXPECT_CALL(receiver, Detach());
  bridge.Detach();
}

TEST_F(PanelBridge, InvalidateIsForwardedWithItsFlag) {
  EXPECT_CALL(receiver, Invalidate(true));
  bridge.Invalidate(true);
}

TEST_F(PanelBridge, EnableUSB1ModeIsForwardedWithItsFlag) {
  EXPECT_CALL(receiver, EnableUSB1Mode(true));
  EXPECT_CALL(receiver, EnableUSB1Mode(false));
  bridge.enableUSB1Mode(true);
  bridge.enableUSB1Mode(false);
}

TEST_F(PanelBridge, ShowInfoIsForwardedWithItsFourArgumentsUnchanged) {
  const char* text = "48 kHz";
  EXPECT_CALL(receiver, ShowInfo(-1, true, 0x2FFFF, text));
  bridge.ShowInfo(-1, true, 0x2FFFF, text);
}

TEST_F(PanelBridge, ShowInfoForwardsANullText) {
  EXPECT_CALL(receiver, ShowInfo(kInfoDevice, false, 0, nullptr));
  bridge.ShowInfo(kInfoDevice, false, 0, nullptr);
}

TEST_F(PanelBridge, ShowInfoCstringIsForwardedAsShowInfo) {
  const char* text = "VX-310";
  EXPECT_CALL(receiver, ShowInfo(kInfoDevice, true, 7, text));
  bridge.ShowInfoCstring(kInfoDevice, true, 7, text);
}

TEST_F(PanelBridge, FoundHardwareIsForwardedWithItsIndex) {
  EXPECT_CALL(receiver, FoundHardware(kHardwareIndexVX310));
  bridge.FoundHardware(kHardwareIndexVX310);
}

TEST(PanelBridgeWithoutReceiver, DropsEveryCall) {
  CKorvelDlg bridge(nullptr);
  bridge.Detach();
  bridge.Invalidate(true);
  bridge.enableUSB1Mode(true);
  bridge.ShowInfo(kInfoDevice, true, 0, "VX-310");
  bridge.ShowInfoCstring(kInfoDevice, true, 0, "VX-310");
  bridge.FoundHardware(kHardwareIndexVX310);
}

TEST(PanelBridgeLifetime, DestructionDoesNotResetTheGlobalBridge) {
  auto bridge = std::make_unique<CKorvelDlg>(nullptr);
  const CKorvelDlg* address = bridge.get();
  bridge.reset();
  EXPECT_EQ(controlDlg, address);
}

}  // namespace

// SPDX-License-Identifier: MIT
#include <array>

#include "app/testing/controller_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Status : public ControllerTest {
 protected:
  Status() { loadQuietly(); }

  // Calls ShowInfo over the bridge; returns its operations.
  static Log shown(std::int32_t id, bool flag, std::int32_t value, const char* text) {
    controlDlg->ShowInfo(id, flag, value, text);
    return operations();
  }
};

// Fields ------------------------------------------------------------------------------------------

struct PlainField {
  InfoId id;
  const char* field;
};
void PrintTo(const PlainField& field, std::ostream* out) { *out << field.field; }

class PlainStatusField : public Status, public testing::WithParamInterface<PlainField> {
 protected:
  const std::string field = GetParam().field;
  const std::string title = field + "Title";
  const InfoId id = GetParam().id;
};

TEST_P(PlainStatusField, ShowsFieldAndLabelAndThenTheText) {
  EXPECT_THAT(shown(id, true, 7, "a text"),
              ElementsAre(field + ".setHidden no", title + ".setHidden no",
                          field + ".setStringValue \"a text\""));
}

TEST_P(PlainStatusField, HidesFieldAndLabelAndKeepsTheText) {
  shown(id, true, 0, "old");
  EXPECT_THAT(shown(id, false, 7, "new"),
              ElementsAre(field + ".setHidden yes", title + ".setHidden yes"));
  EXPECT_EQ(control(field.c_str()).text, "old");
}

TEST_P(PlainStatusField, ShowsANewTextAfterItWasHidden) {
  shown(id, true, 0, "old");
  shown(id, false, 0, "");
  shown(id, true, 0, "new");
  EXPECT_EQ(control(field.c_str()).text, "new");
  EXPECT_FALSE(control(field.c_str()).hidden);
}

TEST_P(PlainStatusField, ShowsANullTextAsAnEmptyText) {
  EXPECT_THAT(shown(id, true, 0, nullptr),
              ElementsAre(field + ".setHidden no", title + ".setHidden no",
                          field + ".setStringValue \"\""));
}

INSTANTIATE_TEST_SUITE_P(
    Status, PlainStatusField,
    testing::Values(PlainField{kInfoSampleRate, "KvSampleRateField"},
                    PlainField{kInfoDigitalInputStatus, "KvDigitalInputStatusField"},
                    PlainField{kInfoFirmwareVersion, "KvFirmwareVersionField"},
                    PlainField{kInfoDevice, "KvDeviceField"},
                    PlainField{kInfoConnectionType, "KvConnectionTypeField"},
                    PlainField{kInfoSampleClockSource, "KvSampleClockSourceField"}),
    [](const auto& parameter) { return std::string(parameter.param.field); });

TEST_F(Status, TheSampleWidthIsClearedBeforeItIsShown) {
  EXPECT_THAT(shown(kInfoSampleWidth, true, 0, "24 bits"),
              ElementsAre("KvSampleWidthField.setStringValue \"\"",
                          "KvSampleWidthField.setHidden no", "KvSampleWidthFieldTitle.setHidden no",
                          "KvSampleWidthField.setStringValue \"24 bits\""));
}

TEST_F(Status, TheSampleWidthIsClearedBeforeItIsHidden) {
  shown(kInfoSampleWidth, true, 0, "24 bits");
  EXPECT_THAT(
      shown(kInfoSampleWidth, false, 0, "ignored"),
      ElementsAre("KvSampleWidthField.setStringValue \"\"", "KvSampleWidthField.setHidden yes",
                  "KvSampleWidthFieldTitle.setHidden yes"));
  EXPECT_EQ(control("KvSampleWidthField").text, "");
}

TEST_F(Status, TheSampleWidthShowsANullTextAsAnEmptyText) {
  shown(kInfoSampleWidth, true, 0, nullptr);
  EXPECT_EQ(control("KvSampleWidthField").text, "");
  EXPECT_FALSE(control("KvSampleWidthField").hidden);
}

TEST_F(Status, AReportedDriverVersionIsShown) {
  EXPECT_THAT(
      shown(kInfoDriverVersion, true, 0, "2.0.1"),
      ElementsAre("KvDriverVersionField.setHidden no", "KvDriverVersionFieldTitle.setHidden no",
                  "KvDriverVersionField.setStringValue \"2.0.1\""));
}

TEST_F(Status, TheDriverPackagesVersionIsShownWhenNoVersionIsReported) {
  const auto ofThePackage =
      ElementsAre("KvDriverVersionField.setHidden no", "KvDriverVersionFieldTitle.setHidden no",
                  "KvDriverVersionField.setStringValue \"1.2.3\"");
  EXPECT_THAT(shown(kInfoDriverVersion, true, 0, ""), ofThePackage);
  EXPECT_THAT(shown(kInfoDriverVersion, true, 0, nullptr), ofThePackage);
  EXPECT_THAT(shown(kInfoDriverVersion, false, 0, "2.0.1"), ofThePackage);
  EXPECT_THAT(shown(kInfoDriverVersion, false, 0, nullptr), ofThePackage);
}

TEST_F(Status, TheSubtitleIgnoresFlagAndText) {
  const auto subtitle = ElementsAre("KvPanelSubTitle.setStringValue \"Control Panel\"");
  EXPECT_THAT(shown(kInfoPanelSubtitle, true, 0, "Another Title"), subtitle);
  EXPECT_THAT(shown(kInfoPanelSubtitle, false, 3, nullptr), subtitle);
}

// Option menus ------------------------------------------------------------------------------------

TEST_F(Status, TheUsb1MenuSelectsAfterItIsShown) {
  EXPECT_THAT(shown(kInfoUsb1ModeInputSelection, true, 1, ""),
              ElementsAre("KvUsb1ModeInputSelectionMenu.setEnabled yes",
                          "KvUsb1ModeInputSelectionMenu.setHidden no",
                          "KvUsb1ModeInputSelectionMenu.selectItemAtIndex 1",
                          "KvUsb1ModeInputSelectionTitle.setHidden no"));
}

TEST_F(Status, TheUsb1MenusSelectionIsClearedAfterItIsHidden) {
  EXPECT_THAT(shown(kInfoUsb1ModeInputSelection, false, 1, ""),
              ElementsAre("KvUsb1ModeInputSelectionMenu.setEnabled no",
                          "KvUsb1ModeInputSelectionMenu.setHidden yes",
                          "KvUsb1ModeInputSelectionMenu.selectItem nothing",
                          "KvUsb1ModeInputSelectionTitle.setHidden yes"));
}

TEST_F(Status, TheClockSourceMenuSelectsBeforeItIsShown) {
  EXPECT_THAT(
      shown(kInfoSampleClockSourceMenu, true, 1, ""),
      ElementsAre("KvSampleClockSourceMenu.setEnabled yes",
                  "KvSampleClockSourceMenu.selectItemAtIndex 1",
                  "KvSampleClockSourceMenu.setHidden no", "KvSampleClockSourceTitle.setHidden no"));
}

TEST_F(Status, TheHiddenClockSourceMenuKeepsItsSelection) {
  shown(kInfoSampleClockSourceMenu, true, 1, "");
  EXPECT_THAT(
      shown(kInfoSampleClockSourceMenu, false, 0, ""),
      ElementsAre("KvSampleClockSourceMenu.setEnabled no", "KvSampleClockSourceMenu.setHidden yes",
                  "KvSampleClockSourceTitle.setHidden yes"));
  EXPECT_EQ(control("KvSampleClockSourceMenu").selectedItem, 1);
}

TEST_F(Status, TheOutputFormatMenuSelectsBeforeItIsShown) {
  EXPECT_THAT(shown(kInfoDigitalOutputFormat, true, 1, ""),
              ElementsAre("KvDigitalOutputFormatMenu.setEnabled yes",
                          "KvDigitalOutputFormatMenu.selectItemAtIndex 1",
                          "KvDigitalOutputFormatMenu.setHidden no",
                          "KvDigitalOutputFormatTitle.setHidden no"));
}

TEST_F(Status, TheHiddenOutputFormatMenuKeepsItsSelection) {
  shown(kInfoDigitalOutputFormat, true, 1, "");
  EXPECT_THAT(shown(kInfoDigitalOutputFormat, false, 0, ""),
              ElementsAre("KvDigitalOutputFormatMenu.setEnabled no",
                          "KvDigitalOutputFormatMenu.setHidden yes",
                          "KvDigitalOutputFormatTitle.setHidden yes"));
  EXPECT_EQ(control("KvDigitalOutputFormatMenu").selectedItem, 1);
}

TEST_F(Status, ThePerformanceMenuSelectsBeforeItIsShown) {
  EXPECT_THAT(shown(kInfoCoreAudioPerformance, true, 2, ""),
              ElementsAre("KvCoreAudioPerformanceMenu.setEnabled yes",
                          "KvCoreAudioPerformanceMenu.selectItemAtIndex 2",
                          "KvCoreAudioPerformanceMenu.setHidden no",
                          "KvCoreAudioPerformanceTitle.setHidden no"));
}

TEST_F(Status, ThePerformanceMenusSelectionIsClearedBeforeItIsHidden) {
  EXPECT_THAT(shown(kInfoCoreAudioPerformance, false, 2, ""),
              ElementsAre("KvCoreAudioPerformanceMenu.setEnabled no",
                          "KvCoreAudioPerformanceMenu.selectItem nothing",
                          "KvCoreAudioPerformanceMenu.setHidden yes",
                          "KvCoreAudioPerformanceTitle.setHidden yes"));
}

TEST_F(Status, AnItemOutOfRangeClearsTheSelection) {
  control("KvDigitalOutputFormatMenu").itemCount = 2;
  shown(kInfoDigitalOutputFormat, true, 2, "");
  EXPECT_EQ(control("KvDigitalOutputFormatMenu").selectedItem, -1);
  shown(kInfoDigitalOutputFormat, true, -1, "");
  EXPECT_EQ(control("KvDigitalOutputFormatMenu").selectedItem, -1);
}

// Routing menus -----------------------------------------------------------------------------------

TEST_F(Status, TheRoutingMenusAreEnabledAndShown) {
  EXPECT_THAT(shown(kInfoRoutingMenus, true, 0, ""),
              ElementsAre("KvIoRInCh1And2Menu.setEnabled yes", "KvIoRInCh3And4Menu.setEnabled yes",
                          "KvIoROutLineMenu.setEnabled yes", "KvIoROutDigitalMenu.setEnabled yes",
                          "KvIoRInCh1And2Menu.setHidden no", "KvIoRInCh3And4Menu.setHidden no",
                          "KvIoRInCh5And6Menu.setHidden no", "KvIoROutLineMenu.setHidden no",
                          "KvIoROutDigitalMenu.setHidden no", "KvIoRInCh1And2Title.setHidden no",
                          "KvIoRInCh3And4Title.setHidden no", "KvIoRInCh5And6Title.setHidden no",
                          "KvIoROutLineTitle.setHidden no", "KvIoROutDigitalTitle.setHidden no"));
}

TEST_F(Status, TheRoutingMenusAreDisabledAndHidden) {
  EXPECT_THAT(shown(kInfoRoutingMenus, false, 0, ""),
              ElementsAre("KvIoRInCh1And2Menu.setEnabled no", "KvIoRInCh3And4Menu.setEnabled no",
                          "KvIoROutLineMenu.setEnabled no", "KvIoROutDigitalMenu.setEnabled no",
                          "KvIoRInCh1And2Menu.setHidden yes", "KvIoRInCh3And4Menu.setHidden yes",
                          "KvIoRInCh5And6Menu.setHidden yes", "KvIoROutLineMenu.setHidden yes",
                          "KvIoROutDigitalMenu.setHidden yes", "KvIoRInCh1And2Title.setHidden yes",
                          "KvIoRInCh3And4Title.setHidden yes", "KvIoRInCh5And6Title.setHidden yes",
                          "KvIoROutLineTitle.setHidden yes", "KvIoROutDigitalTitle.setHidden yes"));
}

TEST_F(Status, TheMenuForInputs5And6StaysEnabledThoughHidden) {
  shown(kInfoRoutingMenus, false, 0, "");
  EXPECT_TRUE(control("KvIoRInCh5And6Menu").enabled);
  EXPECT_TRUE(control("KvIoRInCh5And6Menu").hidden);
}

TEST_F(Status, AnInputRoutingSelectsInTheMenuOfItsPair) {
  EXPECT_THAT(shown(kInfoInputRouting, true, 3, ""),
              ElementsAre("KvIoRInCh1And2Menu.selectItemAtIndex 3"));
  EXPECT_THAT(shown(kInfoInputRouting, true, 0x10002, ""),
              ElementsAre("KvIoRInCh3And4Menu.selectItemAtIndex 2"));
  EXPECT_THAT(shown(kInfoInputRouting, true, 0x20003, ""),
              ElementsAre("KvIoRInCh5And6Menu.selectItemAtIndex 3"));
}

TEST_F(Status, AnInputRoutingOfAnyOtherPairSelectsInTheMenuForInputs5And6) {
  EXPECT_THAT(shown(kInfoInputRouting, true, 0x70003, ""),
              ElementsAre("KvIoRInCh5And6Menu.selectItemAtIndex 3"));
  EXPECT_THAT(shown(kInfoInputRouting, true, -1, ""),
              ElementsAre("KvIoRInCh5And6Menu.selectItemAtIndex 65535"));
}

TEST_F(Status, AnOutputRoutingSelectsInTheMenuOfItsOutput) {
  EXPECT_THAT(shown(kInfoOutputRouting, true, 4, ""),
              ElementsAre("KvIoROutLineMenu.selectItemAtIndex 4"));
  EXPECT_THAT(shown(kInfoOutputRouting, true, 0x10001, ""),
              ElementsAre("KvIoROutDigitalMenu.selectItemAtIndex 1"));
  EXPECT_THAT(shown(kInfoOutputRouting, true, -0x10000, ""),
              ElementsAre("KvIoROutDigitalMenu.selectItemAtIndex 0"));
}

TEST_F(Status, ARoutingIgnoresItsFlag) {
  EXPECT_THAT(shown(kInfoInputRouting, false, 0x10002, nullptr),
              ElementsAre("KvIoRInCh3And4Menu.selectItemAtIndex 2"));
  EXPECT_THAT(shown(kInfoOutputRouting, false, 2, nullptr),
              ElementsAre("KvIoROutLineMenu.selectItemAtIndex 2"));
}

TEST_F(Status, OtherIdsChangeNothing) {
  for (const std::int32_t id : {16, -1, INT32_MAX, INT32_MIN}) {
    EXPECT_THAT(shown(id, true, 1, "text"), IsEmpty()) << id;
    EXPECT_THAT(shown(id, false, 0, nullptr), IsEmpty()) << id;
  }
}

// Channel status
// -----------------------------------------------------------------------------------

class ChannelStatus : public ControllerTest {
 protected:
  ChannelStatus() { loadQuietly(); }

  // The text shown for `status`; fails when anything else happens to the window.
  std::string decoded(std::array<std::uint8_t, 5> status) {
    control("KvDigitalInputStatusField").text.clear();
    recording_toolkit::clearLog();
    controller->decodeChannelStatus(status.data());
    const std::string text = control("KvDigitalInputStatusField").text;
    EXPECT_EQ(operations(), Log{"KvDigitalInputStatusField.setStringValue \"" + text + "\""});
    return text;
  }
};

const std::string kNotIndicated = "Freq not indicated";

TEST_F(ChannelStatus, ConsumerFrequencyIsReadFromTheLowBitsOfByte3) {
  const std::string texts[16] = {"44.1 kHz.",   kNotIndicated, "48 kHz.",     "32 kHz.",
                                 kNotIndicated, kNotIndicated, kNotIndicated, kNotIndicated,
                                 "88.2 kHz.",   kNotIndicated, "96 kHz.",     kNotIndicated,
                                 "176.4 kHz.",  kNotIndicated, "192 kHz.",    kNotIndicated};
  for (std::uint8_t code = 0; code < 16; ++code) {
    EXPECT_EQ(decoded({0, 0, 0, code, 0}), texts[code]) << int{code};
    EXPECT_EQ(decoded({0xFE, 0xFF, 0xFF, static_cast<std::uint8_t>(0xF0 | code), 0xFF}),
              texts[code])
        << int{code};
  }
}

TEST_F(ChannelStatus, ProfessionalFrequencyIsReadFromTheHighBitsOfByte0) {
  for (const unsigned others : {0x01u, 0x3Fu}) {
    EXPECT_EQ(decoded({static_cast<std::uint8_t>(0x40 | others), 0, 0, 2, 0x50}), "44.1 kHz.");
    EXPECT_EQ(decoded({static_cast<std::uint8_t>(0x80 | others), 0, 0, 2, 0x50}), "48 kHz.");
    EXPECT_EQ(decoded({static_cast<std::uint8_t>(0xC0 | others), 0, 0, 2, 0x50}), "32 kHz.");
  }
}

TEST_F(ChannelStatus, ProfessionalFrequencyIsReadFromByte4WhenByte0IndicatesNothing) {
  const std::string texts[16] = {kNotIndicated, kNotIndicated, "96 kHz.",     "192 kHz.",
                                 kNotIndicated, kNotIndicated, kNotIndicated, kNotIndicated,
                                 kNotIndicated, kNotIndicated, "88.2 kHz.",   "176.4 kHz.",
                                 kNotIndicated, kNotIndicated, kNotIndicated, kNotIndicated};
  for (std::uint8_t code = 0; code < 16; ++code) {
    const auto byte = static_cast<std::uint8_t>(code << 3);
    EXPECT_EQ(decoded({0x01, 0, 0, 2, byte}), texts[code]) << int{code};
    EXPECT_EQ(decoded({0x3F, 0, 0, 2, static_cast<std::uint8_t>(byte | 0x87)}), texts[code])
        << int{code};
  }
}

TEST_F(ChannelStatus, DecodingDoesNotShowAHiddenField) {
  control("KvDigitalInputStatusField").hidden = true;
  decoded({0, 0, 0, 2, 0});
  EXPECT_TRUE(control("KvDigitalInputStatusField").hidden);
}

}  // namespace

// SPDX-License-Identifier: MIT
#include <array>

#include "app/testing/controller_test.h"

namespace {

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

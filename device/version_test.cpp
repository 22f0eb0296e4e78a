// SPDX-License-Identifier: MIT
#include "device/version.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::uint32_t packed(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  return (a << 24) | (b << 16) | (c << 8) | d;
}

TEST(DriverVersion, Bytes2And5And2And3RenderAsABuildOfABeta) {
  const VqVersion version = _vqapiDecodeDriverVersion(packed(2, 5, 2, 3));
  EXPECT_STREQ(version.text, "2.05.b3");
  EXPECT_EQ(version.major, 2u);
  EXPECT_EQ(version.sub, 15u);
  EXPECT_EQ(version.minor, 5u);
  EXPECT_EQ(version.stage, 2u);
  EXPECT_EQ(version.build, 3u);
  EXPECT_EQ(version.letter, '0');
  EXPECT_STREQ(version.date, "");
}

TEST(DriverVersion, Bytes18And3And4And0RenderAsAReleaseWithASecondNumber) {
  EXPECT_STREQ(_vqapiDecodeDriverVersion(packed(18, 3, 4, 0)).text, "1.2.3");
}

TEST(DriverVersion, AMajorByteOf16IsMajor16WithoutSecondNumber) {
  const VqVersion version = _vqapiDecodeDriverVersion(packed(16, 3, 4, 0));
  EXPECT_EQ(version.major, 16u);
  EXPECT_EQ(version.sub, 15u);
  EXPECT_STREQ(version.text, "16.03");
}

TEST(DriverVersion, AMajorByteOf17IsMajor1WithSecondNumber1) {
  const VqVersion version = _vqapiDecodeDriverVersion(packed(17, 3, 4, 0));
  EXPECT_EQ(version.major, 1u);
  EXPECT_EQ(version.sub, 1u);
  EXPECT_STREQ(version.text, "1.1.3");
}

TEST(DriverVersion, EachStageHasItsLetters) {
  const char* expected[] = {"2.05.d9", "2.05.a9", "2.05.b9", "2.05.rc9", "2.05", "2.05.d9"};
  for (std::uint32_t stage = 0; stage < 6; ++stage) {
    EXPECT_STREQ(_vqapiDecodeDriverVersion(packed(2, 5, stage, 9)).text, expected[stage]);
  }
  EXPECT_STREQ(_vqapiDecodeDriverVersion(packed(2, 5, 255, 9)).text, "2.05.d9");
}

TEST(DriverVersion, AMinorNumberAbove99IsShownWhole) {
  EXPECT_STREQ(_vqapiDecodeDriverVersion(packed(2, 255, 1, 255)).text, "2.255.a255");
}

TEST(DriverVersion, ASecondNumberIsShownWithoutLeadingZeros) {
  EXPECT_STREQ(_vqapiDecodeDriverVersion(packed(0x21, 7, 3, 1)).text, "2.1.7.rc1");
}

TEST(DriverVersion, NumbersOf32BitsAreShownAsSignedAndFit) {
  VqVersion version;
  version.major = version.sub = version.minor = version.build = 0x80000000;
  _vqapiMakeVersionString(version);
  EXPECT_STREQ(version.text, "-2147483648.-2147483648.-2147483648.d-2147483648");
}

TEST(FirmwareVersion, TheNumberIsFourFieldsAndALetter) {
  const VqVersion version = _vqapiDecodeFirmwareVersion(packed(1, 2, 3, 'k'));
  EXPECT_EQ(version.major, 1u);
  EXPECT_EQ(version.sub, 0u);
  EXPECT_EQ(version.minor, 2u);
  EXPECT_EQ(version.stage, 3u);
  EXPECT_EQ(version.build, static_cast<std::uint32_t>('k'));
  EXPECT_EQ(version.letter, 'k');
  EXPECT_STREQ(version.text, "1.2.3");
}

TEST(FirmwareVersion, AMajorNumberFrom17OnStaysWhole) {
  EXPECT_STREQ(_vqapiDecodeFirmwareVersion(packed(18, 0, 255, 0)).text, "18.0.255");
}

TEST(FirmwareVersion, TheTextIsTheSameUnderBothNames) {
  VqVersion version;
  version.major = 4;
  version.minor = 5;
  version.stage = 6;
  _vqapiMakeVersionStringStd(version);
  EXPECT_STREQ(version.text, "4.5.6");
  version.stage = 7;
  _vqapiMakeVersionStringFirmware(version);
  EXPECT_STREQ(version.text, "4.5.7");
}

}  // namespace

// SPDX-License-Identifier: MIT
#include "protocol/versions.h"

#include <gtest/gtest.h>

namespace {

TEST(DriverVersions, AreFourBytesFromTheHighestOn) {
  EXPECT_EQ(DriverVersion::decode(0x02050403), (DriverVersion{2, DriverVersion::kNoSub, 5, 4, 3}));
  EXPECT_EQ(DriverVersion::decode(0x00FFFEFD),
            (DriverVersion{0, DriverVersion::kNoSub, 255, 254, 253}));
}

TEST(DriverVersions, AFirstByteOf17OrMoreIsTwoNumbers) {
  EXPECT_EQ(DriverVersion::decode(0x10030400).major, 16u);
  EXPECT_EQ(DriverVersion::decode(0x10030400).sub, DriverVersion::kNoSub);
  EXPECT_EQ(DriverVersion::decode(0x11030400), (DriverVersion{1, 1, 3, 4, 0}));
  EXPECT_EQ(DriverVersion::decode(0xFE000000), (DriverVersion{15, 14, 0, 0, 0}));
}

TEST(FirmwareVersions, AreFourBytesFromTheHighestOn) {
  EXPECT_EQ(FirmwareVersion::decode(0x12FF0304), (FirmwareVersion{18, 255, 3, 4}));
  EXPECT_EQ((FirmwareVersion{18, 255, 3, 4}).encode(), 0x12FF0304u);
}

TEST(FirmwareVersions, TheInterfacesAnswerHasTheSecondAndThirdNumberAsOneDecimal) {
  const FirmwareVersion version = {1, 2, 3, 5};
  EXPECT_EQ(version.toAnswer(), (FirmwareVersion::Answer{5, 1, 23}));
  EXPECT_EQ(FirmwareVersion::fromAnswer({5, 1, 23}), version);
}

TEST(FirmwareVersions, TheAnswersLastByteHolds8Bits) {
  EXPECT_EQ((FirmwareVersion{1, 30, 7, 5}).toAnswer(), (FirmwareVersion::Answer{5, 1, 51}));
  EXPECT_EQ(FirmwareVersion::fromAnswer({254, 253, 255}), (FirmwareVersion{253, 25, 5, 254}));
}

}  // namespace

// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t kRead = 128;
constexpr std::uint32_t kWrite = 0;
constexpr std::uint32_t kVendor = 64;

class UsbRequest : public CommandTest {
 protected:
  void SetUp() override {
    interface_.change([](Model& model) { model.versions.firmware = 0x01020305; });
  }

  void driverOfVersion1() {
    interface_.change([](Model& model) { model.versions.driver = 0x01050400; });
  }

  // Offsets here count from the start of the record.
  static VQ_Dispatch oldLayout(std::uint32_t direction, std::uint8_t number, std::uint32_t length) {
    VQ_Dispatch record(VQ_Command::kUsbRequest);
    store32(record, 4, direction);
    store32(record, 8, kVendor);
    record.bytes[16] = number;
    store32(record, 24, length);
    return record;
  }
  static VQ_Dispatch newLayout(std::uint32_t direction, std::uint8_t number, std::uint32_t length) {
    VQ_Dispatch record(VQ_Command::kUsbRequest);
    store32(record, 132, length);
    store32(record, 140, direction);
    store32(record, 144, kVendor);
    record.bytes[152] = number;
    return record;
  }

  static void store32(VQ_Dispatch& record, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
      record.bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
  }

  static std::vector<std::uint8_t> bytes(const VQ_Dispatch& record, std::size_t offset,
                                         std::size_t count) {
    return {record.bytes.begin() + static_cast<std::ptrdiff_t>(offset),
            record.bytes.begin() + static_cast<std::ptrdiff_t>(offset + count)};
  }
};

TEST_F(UsbRequest, TheFirmwareNumberIsReadInTheNewLayout) {
  const auto answered = answer(newLayout(kRead, 0x56, 3));
  ASSERT_TRUE(answered);
  EXPECT_THAT(bytes(*answered, 4, 4), ElementsAre(5, 1, 23, 0));
  EXPECT_THAT(bytes(*answered, 132, 4), ElementsAre(3, 0, 0, 0));
}

TEST_F(UsbRequest, TheFirmwareNumberIsReadInTheOldLayoutOfAVersion1Driver) {
  driverOfVersion1();
  const auto answered = answer(oldLayout(kRead, 0x56, 3));
  ASSERT_TRUE(answered);
  EXPECT_THAT(bytes(*answered, 28, 4), ElementsAre(5, 1, 23, 0));
  EXPECT_THAT(bytes(*answered, 24, 4), ElementsAre(3, 0, 0, 0));
}

TEST_F(UsbRequest, AVersion1DriverTakesTheNewLayoutToo) {
  driverOfVersion1();
  const auto answered = answer(newLayout(kRead, 0x56, 3));
  ASSERT_TRUE(answered);
  EXPECT_THAT(bytes(*answered, 4, 3), ElementsAre(5, 1, 23));
}

TEST_F(UsbRequest, ALaterDriverRefusesTheOldLayout) {
  EXPECT_EQ(answer(oldLayout(kRead, 0x56, 3)), std::nullopt);
}

TEST_F(UsbRequest, ADriverOfMajorVersion1WithASecondNumberTakesTheOldLayout) {
  interface_.change([](Model& model) { model.versions.driver = 0x12050400; });  // 1.2.5
  const auto answered = answer(oldLayout(kRead, 0x56, 3));
  ASSERT_TRUE(answered);
  EXPECT_THAT(bytes(*answered, 28, 3), ElementsAre(5, 1, 23));
}

TEST_F(UsbRequest, AShortReadGetsTheFirstBytes) {
  const auto answered = answer(newLayout(kRead, 0x56, 1));
  ASSERT_TRUE(answered);
  EXPECT_THAT(bytes(*answered, 4, 2), ElementsAre(5, 0));
  EXPECT_THAT(bytes(*answered, 132, 4), ElementsAre(1, 0, 0, 0));
}

TEST_F(UsbRequest, ALongReadTellsHowManyBytesCame) {
  const auto answered = answer(newLayout(kRead, 0x56, 0xFFFFFFFF));
  ASSERT_TRUE(answered);
  EXPECT_THAT(bytes(*answered, 132, 4), ElementsAre(3, 0, 0, 0));
}

TEST_F(UsbRequest, ReplugIsAnsweredAndThenLeaves) {
  auto record = newLayout(kWrite, 0x52, 0);
  EXPECT_EQ(interface_.answer(record), Outcome::answeredAndLeft);
}

TEST_F(UsbRequest, ReplugWorksInTheOldLayout) {
  driverOfVersion1();
  auto record = oldLayout(kWrite, 0x52, 0);
  EXPECT_EQ(interface_.answer(record), Outcome::answeredAndLeft);
}

TEST_F(UsbRequest, ARequestInTheWrongDirectionIsRefused) {
  EXPECT_EQ(answer(newLayout(kWrite, 0x56, 3)), std::nullopt);
  EXPECT_EQ(answer(newLayout(kRead, 0x52, 0)), std::nullopt);
}

TEST_F(UsbRequest, AnUnknownRequestIsRefused) {
  EXPECT_EQ(answer(newLayout(kRead, 0x57, 3)), std::nullopt);
}

TEST_F(UsbRequest, OnlyVendorRequestsToTheDeviceAreAnswered) {
  auto record = newLayout(kRead, 0x56, 3);
  store32(record, 144, 32);
  EXPECT_EQ(answer(record), std::nullopt);
  record = newLayout(kRead, 0x56, 3);
  store32(record, 148, 1);
  EXPECT_EQ(answer(record), std::nullopt);
}

}  // namespace
}  // namespace driver

// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <array>
#include <numeric>

#include "device/testing/device_fixture.h"

namespace {

using testing::IsEmpty;

// Where the fields stand, as offsets in the record.
struct Offsets {
  std::size_t direction, level, recipient, request, value, index, length, data;
};
constexpr Offsets kOld = {4, 8, 12, 16, 18, 20, 24, 28};
constexpr Offsets kNew = {140, 144, 148, 152, 136, 138, 132, 4};

class UsbRequest : public OpenDeviceTest {
 protected:
  UsbRequest() {
    driver.answerWords(VQ_Command::kGetDriverVersion, {0x01050203});
    reopen();
  }

  bool send(unsigned short length, bool newLayout = false,
            EDirection direction = EDIR_HostToDevice) {
    std::iota(data.begin(), data.end(), '\0');  // a byte says where it belongs
    return device->request(direction, EDRQ_Vendor, EDRQ_Device, 0x57, 0x1234, 0x5678, data.data(),
                           length, newLayout);
  }

  // The driver answers with this length field and with `data` full of 'd'.
  void answerWithLength(const Offsets& layout, std::uint32_t length) {
    driver.answer(VQ_Command::kUsbRequest, [=](VQ_Dispatch record) {
      std::fill(record.bytes.begin() + static_cast<std::ptrdiff_t>(layout.data), record.bytes.end(),
                std::uint8_t{'d'});
      wire::store(record.bytes, layout.length, length);
      return ScriptedDriver::bytesOf(record);
    });
  }

  std::size_t countOfAnswered() const {
    const auto isAnswer = [](char byte) { return byte == 'd'; };
    return static_cast<std::size_t>(std::find_if_not(data.begin(), data.end(), isAnswer) -
                                    data.begin());
  }

  static void expectSetup(const VQ_Dispatch& record, const Offsets& at, std::uint32_t direction,
                          std::uint32_t length) {
    EXPECT_EQ(record.command(), VQ_Command::kUsbRequest);
    EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, 0), 34u);
    EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, at.direction), direction);
    EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, at.level), 64u);
    EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, at.recipient), 0u);
    EXPECT_EQ(wire::load<std::uint8_t>(record.bytes, at.request), 0x57);
    EXPECT_EQ(wire::load<std::uint16_t>(record.bytes, at.value), 0x1234);
    EXPECT_EQ(wire::load<std::uint16_t>(record.bytes, at.index), 0x5678);
    EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, at.length), length);
  }

  // That bytes `from` to `from` + `count` of the record are the first `count` of the data.
  void expectData(const VQ_Dispatch& record, std::size_t from, std::size_t count) const {
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_EQ(record.bytes[from + i], static_cast<std::uint8_t>(i)) << i;
    }
  }

  std::array<char, 257> data = {};
};

TEST_F(UsbRequest, ALengthOf257FailsWithoutADispatch) {
  EXPECT_FALSE(send(257));
  EXPECT_FALSE(send(257, true));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(UsbRequest, AClosedDeviceFailsWithoutADispatch) {
  device->close();
  EXPECT_FALSE(send(8));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(UsbRequest, TheOldLayoutHasTheSetupFieldsBeforeTheData) {
  EXPECT_TRUE(send(8));
  const auto record = onlyRequest();
  expectSetup(record, kOld, 0, 8);
  expectData(record, 28, 8);
  EXPECT_EQ(record.bytes[28 + 8], 0);
}

TEST_F(UsbRequest, OneByteOfDataIsSent) {
  data[0] = 'd';
  EXPECT_TRUE(device->request(EDIR_HostToDevice, EDRQ_Vendor, EDRQ_Device, 0x57, 0x1234, 0x5678,
                              data.data(), 1, true));
  const auto record = onlyRequest();
  expectSetup(record, kNew, 0, 1);
  EXPECT_EQ(record.bytes[4], 'd');
}

TEST_F(UsbRequest, TheNewLayoutHasTheDataBeforeTheSetupFields) {
  EXPECT_TRUE(send(8, true));
  const auto record = onlyRequest();
  expectSetup(record, kNew, 0, 8);
  expectData(record, 4, 8);
  EXPECT_EQ(record.bytes[4 + 8], 0);
}

TEST_F(UsbRequest, DriversOfOtherMajorVersionsTakeTheNewLayout) {
  for (const std::uint32_t version : {0x00050203u, 0x02050203u}) {
    driver.answerWords(VQ_Command::kGetDriverVersion, {version});
    reopen();
    EXPECT_TRUE(send(8));
    expectSetup(onlyRequest(), kNew, 0, 8);
  }
}

TEST_F(UsbRequest, AVersionWithASecondNumberAndMajor1TakesTheOldLayout) {
  driver.answerWords(VQ_Command::kGetDriverVersion, {0x12050203});
  reopen();
  EXPECT_TRUE(send(8));
  expectSetup(onlyRequest(), kOld, 0, 8);
}

TEST_F(UsbRequest, ALengthOf256SendsWhatTheOldLayoutHolds) {
  EXPECT_TRUE(send(256));
  const auto record = onlyRequest();
  expectSetup(record, kOld, 0, 256);
  expectData(record, 28, 232);
}

TEST_F(UsbRequest, DataOf128BytesLeavesTheNewLayoutsSetupFieldsAlone) {
  EXPECT_TRUE(send(128, true));
  const auto record = onlyRequest();
  expectSetup(record, kNew, 0, 128);
  expectData(record, 4, 128);
}

TEST_F(UsbRequest, LongerDataOverwritesTheNewLayoutsSetupFields) {
  EXPECT_TRUE(send(130, true));
  auto record = onlyRequest();
  expectData(record, 4, 130);
  EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, kNew.length), 0x8180u);
  EXPECT_EQ(wire::load<std::uint16_t>(record.bytes, kNew.value), 0x1234);

  EXPECT_TRUE(send(256, true));
  record = onlyRequest();
  EXPECT_EQ(record.command(), VQ_Command::kUsbRequest);
  expectData(record, 4, 256);
}

TEST_F(UsbRequest, WithoutDataTheOldLayoutsAreaIsClear) {
  EXPECT_TRUE(device->request(EDIR_HostToDevice, EDRQ_Vendor, EDRQ_Device, 0x57, 0x1234, 0x5678,
                              nullptr, 8, false));
  auto record = onlyRequest();
  expectSetup(record, kOld, 0, 8);
  EXPECT_EQ(std::count(record.bytes.begin() + 28, record.bytes.end(), 0), 232);

  EXPECT_TRUE(send(0));
  record = onlyRequest();
  expectSetup(record, kOld, 0, 0);
  EXPECT_EQ(std::count(record.bytes.begin() + 28, record.bytes.end(), 0), 232);
}

TEST_F(UsbRequest, WithoutDataTheNewLayoutsWholePayloadIsClear) {
  EXPECT_TRUE(send(0, true));
  const auto record = onlyRequest();
  EXPECT_EQ(record.command(), VQ_Command::kUsbRequest);
  EXPECT_EQ(std::count(record.payload().begin(), record.payload().end(), 0), 256);
}

TEST_F(UsbRequest, DeviceToHostCopiesTheAnswersDataBack) {
  answerWithLength(kOld, 5);
  EXPECT_TRUE(send(8, false, EDIR_DeviceToHost));
  expectSetup(onlyRequest(), kOld, 128, 8);
  EXPECT_EQ(countOfAnswered(), 5u);
  EXPECT_EQ(data[5], 5);

  answerWithLength(kNew, 6);
  EXPECT_TRUE(send(8, true, EDIR_DeviceToHost));
  expectSetup(onlyRequest(), kNew, 128, 8);
  EXPECT_EQ(countOfAnswered(), 6u);
}

TEST_F(UsbRequest, AReturnedLengthAboveTheCallersCopiesOnlyTheCallers) {
  for (const std::uint32_t length : {9u, 256u, 257u, 0x80000000u, 0xffffffffu}) {
    answerWithLength(kOld, length);
    EXPECT_TRUE(send(8, false, EDIR_DeviceToHost));
    EXPECT_EQ(countOfAnswered(), 8u);
    answerWithLength(kNew, length);
    EXPECT_TRUE(send(8, true, EDIR_DeviceToHost));
    EXPECT_EQ(countOfAnswered(), 8u);
  }
}

TEST_F(UsbRequest, OldLayoutDataBeyondTheRecordComesBackUnchanged) {
  answerWithLength(kOld, 256);
  EXPECT_TRUE(send(256, false, EDIR_DeviceToHost));
  EXPECT_EQ(countOfAnswered(), 232u);
  EXPECT_EQ(data[231], 'd');
  EXPECT_EQ(static_cast<std::uint8_t>(data[232]), 232);
  EXPECT_EQ(static_cast<std::uint8_t>(data[255]), 255);
}

TEST_F(UsbRequest, HostToDeviceCopiesNothingBack) {
  answerWithLength(kOld, 8);
  EXPECT_TRUE(send(8));
  EXPECT_EQ(countOfAnswered(), 0u);
}

TEST_F(UsbRequest, DeviceToHostWithoutABufferCopiesNothing) {
  answerWithLength(kOld, 8);
  EXPECT_TRUE(
      device->request(EDIR_DeviceToHost, EDRQ_Vendor, EDRQ_Device, 0x57, 0, 0, nullptr, 8, false));
}

TEST_F(UsbRequest, AShortAnswerFailsAndCopiesNothing) {
  answerWithLength(kOld, 8);
  driver.shorten(VQ_Command::kUsbRequest, 259);
  EXPECT_FALSE(send(8, false, EDIR_DeviceToHost));
  EXPECT_EQ(data[0], 0);
}

TEST_F(UsbRequest, ADriverThatDoesNotAnswerFails) {
  driver.failAt(VQ_Command::kUsbRequest);
  EXPECT_FALSE(send(8));
}

}  // namespace

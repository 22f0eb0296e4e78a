// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "device/testing/device_fixture.h"
#include "platform/log/memory/memory_log.h"

namespace {

using testing::IsEmpty;

// A failed read must clear the previous result.
VqVersion formerVersion() { return _vqapiDecodeDriverVersion(0x09080706); }

void expectCleared(const VqVersion& version) {
  EXPECT_EQ(version.major, 0u);
  EXPECT_EQ(version.minor, 0u);
  EXPECT_EQ(version.stage, 0u);
  EXPECT_EQ(version.letter, 0);
  EXPECT_STREQ(version.text, "");
  EXPECT_STREQ(version.date, "");
}

class VersionReading : public OpenDeviceTest {
 protected:
  VersionReading() {
    driver.answerWords(VQ_Command::kGetFirmwareVersion, {0x01020304});
    driver.answerBytes(VQ_Command::kGetFirmwareDate,
                       {'M', 'a', 'r', ' ', '1', '2', ' ', '2', '0', '0', '9', 0});
  }

  // The device's own answer to the USB request.
  void deviceAnswers(std::uint8_t b0, std::uint8_t b1, std::uint8_t b2) {
    driver.answer(VQ_Command::kUsbRequest, [=](VQ_Dispatch record) {
      record.payload()[0] = b0;
      record.payload()[1] = b1;
      record.payload()[2] = b2;
      return ScriptedDriver::bytesOf(record);
    });
  }

  bool readFirmware(bool askDevice) {
    memory_log::takeOutput();
    const bool isRead = device->getFirmwareVersion(version, askDevice);
    printed = memory_log::takeOutput();
    return isRead;
  }

  VqVersion version = formerVersion();
  std::string printed;
};

TEST_F(VersionReading, TheDriverVersionComesFromTheFirstWord) {
  driver.answerWords(VQ_Command::kGetDriverVersion, {0x12030400, 0xffffffff});
  EXPECT_TRUE(device->getDriverVersion(version));
  EXPECT_STREQ(version.text, "1.2.3");
  EXPECT_EQ(onlyRequest().command(), VQ_Command::kGetDriverVersion);
}

TEST_F(VersionReading, AFailedDriverVersionClearsTheRecord) {
  driver.failAt(VQ_Command::kGetDriverVersion);
  EXPECT_FALSE(device->getDriverVersion(version));
  expectCleared(version);

  version = formerVersion();
  device->close();
  takeRequests();
  EXPECT_FALSE(device->getDriverVersion(version));
  expectCleared(version);
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(VersionReading, TheFirmwareVersionComesFromTheDriver) {
  EXPECT_TRUE(readFirmware(false));
  EXPECT_STREQ(version.text, "1.2.3");
  EXPECT_EQ(version.build, 4u);
  EXPECT_STREQ(version.date, "Mar 12 2009");
  EXPECT_EQ(printed, "uFirmwareVersion 01020304\n");
  EXPECT_EQ(takeRequests().size(), 2u);
}

TEST_F(VersionReading, AskingTheDeviceSendsTheVendorRequestInTheNewLayout) {
  driver.answerWords(VQ_Command::kGetDriverVersion, {0x01050203});
  reopen();
  deviceAnswers(7, 2, 23);
  EXPECT_TRUE(readFirmware(true));
  const auto requests = takeRequests();
  ASSERT_EQ(requests.size(), 2u);
  const auto& bytes = requests[0].bytes;
  EXPECT_EQ(requests[0].command(), VQ_Command::kUsbRequest);
  EXPECT_EQ(wire::load<std::uint32_t>(bytes, 132), 3u);
  EXPECT_EQ(wire::load<std::uint32_t>(bytes, 136), 0u);
  EXPECT_EQ(wire::load<std::uint32_t>(bytes, 140), 128u);
  EXPECT_EQ(wire::load<std::uint32_t>(bytes, 144), 64u);
  EXPECT_EQ(wire::load<std::uint32_t>(bytes, 148), 0u);
  EXPECT_EQ(bytes[152], 86);
}

TEST_F(VersionReading, AThirdByteOf23BecomesTheNumbers2And3) {
  deviceAnswers(7, 4, 23);
  EXPECT_TRUE(readFirmware(true));
  EXPECT_EQ(version.major, 4u);
  EXPECT_EQ(version.minor, 2u);
  EXPECT_EQ(version.stage, 3u);
  EXPECT_EQ(version.build, 7u);
  EXPECT_EQ(version.letter, 7);
  EXPECT_EQ(printed, "fwupdater 04020307\nuFirmwareVersion 04020307\n");
}

TEST_F(VersionReading, TheDevicesBytesAreUnsigned) {
  deviceAnswers(255, 200, 255);
  EXPECT_TRUE(readFirmware(true));
  EXPECT_EQ(printed, "fwupdater C81905FF\nuFirmwareVersion C81905FF\n");
}

TEST_F(VersionReading, WhenTheDriverAnswers0TheNumberIsReadFromTheDevice) {
  driver.answerWords(VQ_Command::kGetFirmwareVersion, {0});
  deviceAnswers(1, 2, 34);
  EXPECT_TRUE(readFirmware(false));
  EXPECT_STREQ(version.text, "2.3.4");
  EXPECT_EQ(takeRequests().size(), 3u);
}

TEST_F(VersionReading, AShortAnswerOfTheDriverIsAccepted) {
  driver.shorten(VQ_Command::kGetFirmwareVersion, 8);
  driver.shorten(VQ_Command::kGetFirmwareDate, 20);
  EXPECT_TRUE(readFirmware(false));
  EXPECT_STREQ(version.text, "1.2.3");
  EXPECT_STREQ(version.date, "Mar 12 2009");
}

TEST_F(VersionReading, AFailedFirmwareNumberClearsTheRecordAndPrintsNothing) {
  driver.failAt(VQ_Command::kGetFirmwareVersion);
  EXPECT_FALSE(readFirmware(false));
  expectCleared(version);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(takeRequests().size(), 1u);

  version = formerVersion();
  driver.failAt(VQ_Command::kUsbRequest);
  EXPECT_FALSE(readFirmware(true));
  expectCleared(version);
  EXPECT_EQ(printed, "");
}

TEST_F(VersionReading, AMissingDateLeavesTheVersion) {
  driver.failAt(VQ_Command::kGetFirmwareDate);
  EXPECT_TRUE(readFirmware(false));
  EXPECT_STREQ(version.text, "1.2.3");
  EXPECT_STREQ(version.date, "");
}

TEST_F(VersionReading, ALongDateIsCutTo15Characters) {
  driver.answerBytes(VQ_Command::kGetFirmwareDate, std::vector<std::uint8_t>(40, 'd'));
  EXPECT_TRUE(readFirmware(false));
  EXPECT_EQ(version.date, std::string(15, 'd'));
}

TEST_F(VersionReading, AClosedDeviceFailsWithoutContactingTheDriver) {
  device->close();
  EXPECT_FALSE(readFirmware(false));
  EXPECT_FALSE(readFirmware(true));
  expectCleared(version);
  EXPECT_THAT(takeRequests(), IsEmpty());
}

}  // namespace

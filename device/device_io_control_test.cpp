// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <array>

#include "device/testing/device_fixture.h"

namespace {

using testing::Each;
using testing::IsEmpty;

// Every payload byte is 'x'; the rest of the out buffer starts as '-'.
class ControlCode : public OpenDeviceTest {
 protected:
  ControlCode() {
    out.fill('-');
    for (const auto command :
         {VQ_Command::kGetString0, VQ_Command::kGetString1, VQ_Command::kGetDeviceDescriptor,
          VQ_Command::kGetUsbSpeed, VQ_Command::kGetDriverVersion, VQ_Command::kControlCode56}) {
      driver.answerBytes(command, std::vector<std::uint8_t>(256, 'x'));
    }
  }

  bool ask(int code, std::uint32_t size) {
    return device->DeviceIoControl(1, code, nullptr, 0, out.data(), size, &returned, nullptr);
  }

  // The number of bytes written at the start of the out buffer.
  std::size_t received() const {
    return static_cast<std::size_t>(std::find(out.begin(), out.end(), '-') - out.begin());
  }

  std::array<char, 300> out;
  std::uint32_t returned = 77;
};

TEST_F(ControlCode, EachCodeSendsItsCommand) {
  const std::pair<int, VQ_Command> expected[] = {
      {kControlCodeString0, VQ_Command::kGetString0},
      {kControlCodeString1, VQ_Command::kGetString1},
      {kControlCodeDeviceDescriptor, VQ_Command::kGetDeviceDescriptor},
      {kControlCodeUsbSpeed, VQ_Command::kGetUsbSpeed},
      {kControlCodeDriverVersion, VQ_Command::kGetDriverVersion},
      {kControlCode56, VQ_Command::kControlCode56}};
  for (const auto& [code, command] : expected) {
    EXPECT_TRUE(ask(code, 4)) << code;
    EXPECT_EQ(onlyRequest().command(), command);
  }
}

TEST_F(ControlCode, UnknownCodesFailWithoutSendingARecord) {
  for (const int code : {2, -1, 37, 40, 42, 55, 57}) {
    returned = 77;
    EXPECT_FALSE(ask(code, 4)) << code;
    EXPECT_EQ(returned, 0u);
  }
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(ControlCode, ATextOf300BytesIsCutTo256AndTerminatedAtByte255) {
  EXPECT_TRUE(ask(kControlCodeString0, 300));
  EXPECT_EQ(returned, 256u);
  EXPECT_EQ(received(), 256u);
  EXPECT_EQ(out[254], 'x');
  EXPECT_EQ(out[255], 0);
}

TEST_F(ControlCode, TextsAreTerminatedAtTheLastByteCopied) {
  for (const int code : {kControlCodeString0, kControlCodeString1}) {
    out.fill('-');
    EXPECT_TRUE(ask(code, 64));
    EXPECT_EQ(returned, 64u);
    EXPECT_EQ(received(), 64u);
    EXPECT_EQ(out[62], 'x');
    EXPECT_EQ(out[63], 0);
  }
}

TEST_F(ControlCode, BytesAreCopiedUnchanged) {
  for (const int code : {kControlCodeDeviceDescriptor, kControlCodeUsbSpeed,
                         kControlCodeDriverVersion, kControlCode56}) {
    out.fill('-');
    EXPECT_TRUE(ask(code, 16));
    EXPECT_EQ(returned, 16u);
    EXPECT_EQ(received(), 16u);
    EXPECT_EQ(out[15], 'x');
  }
}

TEST_F(ControlCode, WithoutABufferTheCommandIsSentAndNoByteReturned) {
  EXPECT_TRUE(
      device->DeviceIoControl(1, kControlCodeString0, nullptr, 0, nullptr, 64, &returned, nullptr));
  EXPECT_EQ(returned, 0u);
  EXPECT_EQ(onlyRequest().command(), VQ_Command::kGetString0);
}

TEST_F(ControlCode, WithASizeOf0NothingIsWritten) {
  EXPECT_TRUE(ask(kControlCodeString0, 0));
  EXPECT_EQ(returned, 0u);
  EXPECT_THAT(out, Each('-'));
}

TEST_F(ControlCode, WithASizeOf1OneByteIsWritten) {
  EXPECT_TRUE(ask(kControlCodeUsbSpeed, 1));
  EXPECT_EQ(returned, 1u);
  EXPECT_EQ(received(), 1u);
}

TEST_F(ControlCode, ThePointerToTheReturnedSizeMayBeNull) {
  EXPECT_TRUE(device->DeviceIoControl(1, kControlCodeDeviceDescriptor, nullptr, 0, out.data(), 16,
                                      nullptr, nullptr));
  EXPECT_EQ(received(), 16u);
}

TEST_F(ControlCode, TheHandle0Fails) {
  EXPECT_FALSE(device->DeviceIoControl(0, kControlCodeString0, nullptr, 0, out.data(), 16,
                                       &returned, nullptr));
  EXPECT_EQ(returned, 0u);
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(ControlCode, TheInputIsNotSent) {
  char in[] = "input";
  EXPECT_TRUE(device->DeviceIoControl(1, kControlCodeDeviceDescriptor, in, sizeof in, out.data(),
                                      16, nullptr, nullptr));
  const auto record = onlyRequest();
  EXPECT_THAT(record.payload(), Each(0));
}

TEST_F(ControlCode, AFailedOrShortAnswerWritesNothing) {
  driver.shorten(VQ_Command::kGetString0, 259);
  EXPECT_FALSE(ask(kControlCodeString0, 64));
  driver.failAt(VQ_Command::kGetString0);
  EXPECT_FALSE(ask(kControlCodeString0, 64));
  EXPECT_EQ(returned, 0u);
  EXPECT_THAT(out, Each('-'));
}

TEST_F(ControlCode, AClosedDeviceFailsWithoutContactingTheDriver) {
  device->close();
  EXPECT_FALSE(ask(kControlCodeString0, 64));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

}  // namespace

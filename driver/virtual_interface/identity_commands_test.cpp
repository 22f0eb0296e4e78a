// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <bit>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::ElementsAre;

class IdentityCommands : public CommandTest {
 protected:
  std::string text(VQ_Command command) {
    const auto record = answer(command);
    return record ? reinterpret_cast<const char*>(record->payload().data()) : "(refused)";
  }

  // The 64-bit number at the start of the payload.
  std::uint64_t number64(VQ_Command command) {
    const auto values = words(command, 2);
    return values.size() == 2 ? values[0] | std::uint64_t{values[1]} << 32 : 0;
  }
};

TEST_F(IdentityCommands, StringZeroNamesMakerAndProduct) {
  EXPECT_EQ(text(kGetString0), "Vantrel VX-310");
}

TEST_F(IdentityCommands, StringOneIsTheUnitsNumber) {
  interface_.change([](Model& model) { model.identity.uniqueId = 0x1234ABCD; });
  EXPECT_EQ(text(kGetString1), "000000001234ABCD");
}

TEST_F(IdentityCommands, AStringIsCutAt63Characters) {
  interface_.change([](Model& model) { model.identity.productName = std::string(100, 'n'); });
  EXPECT_EQ(text(kGetString0), "Vantrel " + std::string(55, 'n'));
}

TEST_F(IdentityCommands, TheSpeedWordIsNonZeroForUsb2) {
  EXPECT_EQ(word(kGetUsbSpeed), 1u);
  interface_.change([](Model& model) { model.usb2 = false; });
  EXPECT_EQ(word(kGetUsbSpeed), 0u);
}

TEST_F(IdentityCommands, TheDescriptorHoldsTheIdsAtTheirPlaces) {
  const auto record = answer(kGetDeviceDescriptor);
  ASSERT_TRUE(record);
  const auto bytes = record->payload().first<16>();
  EXPECT_THAT(bytes, ElementsAre(0x00, 0x02, 0xFF, 0x00, 0x00, 0x40, 0x21, 0x7F, 0x12, 0x5D, 0x07,
                                 0x01, 0x01, 0x02, 0x03, 0x01));
}

TEST_F(IdentityCommands, TheDescriptorTellsUsb11) {
  interface_.change([](Model& model) { model.usb2 = false; });
  EXPECT_EQ(answer(kGetDeviceDescriptor)->word(0) & 0xFFFF, 0x0110u);
}

TEST_F(IdentityCommands, TheDriverWordIsEightBytes) {
  EXPECT_THAT(words(kGetDriverVersion, 2), ElementsAre(0x02050400, 0));
}

TEST_F(IdentityCommands, TheFirmwareNumberIsTheOneThatTheDriverKnows) {
  EXPECT_EQ(word(kGetFirmwareVersion), 0x01070002u);
  interface_.change([](Model& model) { model.versions.firmwareKnownToDriver = 0; });
  EXPECT_EQ(word(kGetFirmwareVersion), 0u);
}

TEST_F(IdentityCommands, TheFirmwareDateHas15Characters) {
  EXPECT_EQ(text(kGetFirmwareDate), "Mar 14 2009 1.7");
  EXPECT_EQ(text(kGetFirmwareDate).size(), 15u);
  interface_.change([](Model& model) { model.versions.firmwareDate = "December 24 2010"; });
  EXPECT_EQ(text(kGetFirmwareDate), "December 24 201");
}

TEST_F(IdentityCommands, TheUniqueIdHas64Bits) {
  interface_.change([](Model& model) { model.identity.uniqueId = 0x0123456789ABCDEF; });
  EXPECT_EQ(number64(kControlCode56), 0x0123456789ABCDEFu);
}

TEST_F(IdentityCommands, TheValueAtOpenIsTheRateAsAFloat) {
  EXPECT_EQ(std::bit_cast<double>(number64(kGetValueAtOpen)), 48000.0);
}

}  // namespace
}  // namespace driver

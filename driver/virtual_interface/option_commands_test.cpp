// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::ElementsAre;

class OptionCommands : public CommandTest {
 protected:
  // Asks for a codec register, with the contents for a write.
  std::optional<std::uint16_t> codec(VQ_Command command, std::uint16_t chip, std::uint16_t number,
                                     std::uint16_t contents = 0) {
    VQ_Dispatch record(command);
    wire::store(record.payload(), 0, chip);
    wire::store(record.payload(), 2, number);
    wire::store(record.payload(), 4, contents);
    const auto answered = answer(record);
    return answered ? std::optional(wire::load<std::uint16_t>(answered->payload(), 4))
                    : std::nullopt;
  }
};

TEST_F(OptionCommands, TheDigitalOutSelectorKeepsAnyValue) {
  EXPECT_EQ(word(kGetDigitalOutSelector), 0u);
  EXPECT_TRUE(answer(kSetDigitalOutSelector, {7}));
  EXPECT_EQ(word(kGetDigitalOutSelector), 7u);
}

TEST_F(OptionCommands, TheLogicByteIsReadWithWordZero) {
  EXPECT_EQ(word(kReadLogicChip, {0}), 0u);
  EXPECT_EQ(word(kWriteLogicChip, {0x18}), 0x18u);
  EXPECT_EQ(word(kReadLogicChip, {0}), 0x18u);
}

TEST_F(OptionCommands, TheLogicChipHasEightBits) {
  EXPECT_EQ(word(kWriteLogicChip, {0x1234}), 0x34u);
  EXPECT_EQ(word(kReadLogicChip), 0x34u);
}

TEST_F(OptionCommands, TheUsb1ModeIsZeroOrOne) {
  EXPECT_EQ(word(kGetUSB1Mode), 0u);
  EXPECT_EQ(word(kSetUSB1Mode, {1}), 1u);
  EXPECT_EQ(word(kSetUSB1Mode, {2}), 1u);
  EXPECT_EQ(word(kGetUSB1Mode), 1u);
}

TEST_F(OptionCommands, TheDigitalOutModeIsZeroOrOne) {
  EXPECT_EQ(word(kGetDigitalOutMode), 0u);
  EXPECT_EQ(word(kSetDigitalOutMode, {1}), 1u);
  EXPECT_EQ(word(kSetDigitalOutMode, {2}), 1u);
  EXPECT_EQ(word(kGetDigitalOutMode), 1u);
}

TEST_F(OptionCommands, ARoutingIsSetAndItsValueComesBack) {
  EXPECT_THAT(words(kSetRouting, 3, {1, 2, 3}), ElementsAre(1, 2, 3));
  EXPECT_THAT(words(kSetRouting, 3, {0, 1, 4}), ElementsAre(0, 1, 4));
  EXPECT_EQ(model().routings, (Routings{{0, 4}, {0, 1, 3}}));
}

TEST_F(OptionCommands, ARoutingValueOutOfRangeAnswersTheCurrentValue) {
  EXPECT_THAT(words(kSetRouting, 3, {1, 1, 4}), ElementsAre(1, 1, 1));
  EXPECT_THAT(words(kSetRouting, 3, {0, 1, 5}), ElementsAre(0, 1, 1));
  EXPECT_THAT(words(kSetRouting, 3, {0, 0, 0xFFFFFFFF}), ElementsAre(0, 0, 0));
  EXPECT_EQ(model().routings, Model().routings);
}

TEST_F(OptionCommands, ARoutingThatDoesNotExistIsRefused) {
  EXPECT_EQ(answer(kSetRouting, {0, 2, 0}), std::nullopt);
  EXPECT_EQ(answer(kSetRouting, {1, 3, 0}), std::nullopt);
  EXPECT_EQ(answer(kSetRouting, {1, 0x80000000, 0}), std::nullopt);
}

TEST_F(OptionCommands, ARoutingThatIsNeitherInputNorOutputIsRefused) {
  EXPECT_EQ(answer(kSetRouting, {2, 0, 3}), std::nullopt);
  EXPECT_EQ(answer(kSetRouting, {0xFFFFFFFF, 0, 3}), std::nullopt);
  EXPECT_EQ(model().routings, Model().routings);
}

TEST_F(OptionCommands, ACodecRegisterReadsWhatWasWritten) {
  EXPECT_EQ(codec(kGetWMRegister, 3, 127), 0u);
  EXPECT_EQ(codec(kSetWMRegister, 3, 127, 0xBEEF), 0xBEEF);
  EXPECT_EQ(codec(kGetWMRegister, 3, 127), 0xBEEF);
  EXPECT_EQ(codec(kGetWMRegister, 2, 127), 0u);
}

TEST_F(OptionCommands, ACodecRegisterThatDoesNotExistIsRefused) {
  EXPECT_EQ(codec(kSetWMRegister, 4, 0, 1), std::nullopt);
  EXPECT_EQ(codec(kGetWMRegister, 0, 128), std::nullopt);
  EXPECT_EQ(codec(kGetWMRegister, 0xFFFF, 0xFFFF), std::nullopt);
}

}  // namespace
}  // namespace driver

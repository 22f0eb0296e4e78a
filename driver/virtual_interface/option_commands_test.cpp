// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::ElementsAre;

class OptionCommands : public CommandTest {
 protected:
  // Asks for a codec register, with the contents for a write.
  std::optional<std::uint16_t> codec(std::uint32_t command, std::uint16_t chip,
                                     std::uint16_t number, std::uint16_t contents = 0) {
    VQ_Dispatch record(static_cast<VQ_Command>(command));
    record.setHalfword(0, chip);
    record.setHalfword(1, number);
    record.setHalfword(2, contents);
    const auto answered = answer(record);
    return answered ? std::optional(answered->halfword(2)) : std::nullopt;
  }
};

TEST_F(OptionCommands, TheDigitalOutSelectorKeepsAnyValue) {
  EXPECT_EQ(word(2), 0u);
  EXPECT_TRUE(answer(3, {7}));
  EXPECT_EQ(word(2), 7u);
}

TEST_F(OptionCommands, TheLogicByteIsReadWithWordZero) {
  EXPECT_EQ(word(4, {0}), 0u);
  EXPECT_EQ(word(5, {0x18}), 0x18u);
  EXPECT_EQ(word(4, {0}), 0x18u);
}

TEST_F(OptionCommands, TheLogicChipHasEightBits) {
  EXPECT_EQ(word(5, {0x1234}), 0x34u);
  EXPECT_EQ(word(4), 0x34u);
}

TEST_F(OptionCommands, TheUsb1ModeIsZeroOrOne) {
  EXPECT_EQ(word(25), 0u);
  EXPECT_EQ(word(26, {1}), 1u);
  EXPECT_EQ(word(26, {2}), 1u);
  EXPECT_EQ(word(25), 1u);
}

TEST_F(OptionCommands, TheDigitalOutModeIsZeroOrOne) {
  EXPECT_EQ(word(27), 0u);
  EXPECT_EQ(word(28, {1}), 1u);
  EXPECT_EQ(word(28, {2}), 1u);
  EXPECT_EQ(word(27), 1u);
}

TEST_F(OptionCommands, ARoutingIsSetAndItsValueComesBack) {
  EXPECT_THAT(words(40, 3, {1, 2, 3}), ElementsAre(1, 2, 3));
  EXPECT_THAT(words(40, 3, {0, 1, 4}), ElementsAre(0, 1, 4));
  EXPECT_EQ(model().routings, (Routings{{0, 4}, {0, 1, 3}}));
}

TEST_F(OptionCommands, ARoutingValueOutOfRangeAnswersTheCurrentValue) {
  EXPECT_THAT(words(40, 3, {1, 1, 4}), ElementsAre(1, 1, 1));
  EXPECT_THAT(words(40, 3, {0, 1, 5}), ElementsAre(0, 1, 1));
  EXPECT_THAT(words(40, 3, {0, 0, 0xFFFFFFFF}), ElementsAre(0, 0, 0));
  EXPECT_EQ(model().routings, Model().routings);
}

TEST_F(OptionCommands, ARoutingThatDoesNotExistIsRefused) {
  EXPECT_EQ(answer(40, {0, 2, 0}), std::nullopt);
  EXPECT_EQ(answer(40, {1, 3, 0}), std::nullopt);
  EXPECT_EQ(answer(40, {1, 0x80000000, 0}), std::nullopt);
}

TEST_F(OptionCommands, ACodecRegisterReadsWhatWasWritten) {
  EXPECT_EQ(codec(41, 3, 127), 0u);
  EXPECT_EQ(codec(42, 3, 127, 0xBEEF), 0xBEEF);
  EXPECT_EQ(codec(41, 3, 127), 0xBEEF);
  EXPECT_EQ(codec(41, 2, 127), 0u);
}

TEST_F(OptionCommands, ACodecRegisterThatDoesNotExistIsRefused) {
  EXPECT_EQ(codec(42, 4, 0, 1), std::nullopt);
  EXPECT_EQ(codec(41, 0, 128), std::nullopt);
  EXPECT_EQ(codec(41, 0xFFFF, 0xFFFF), std::nullopt);
}

}  // namespace
}  // namespace driver

// SPDX-License-Identifier: MIT
// A virtual interface and requests to it, for the tests of the commands.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>

#include "driver/virtual_interface/virtual_interface.h"

namespace driver {

class CommandTest : public testing::Test {
 protected:
  using enum VQ_Command;

  // A record of `command` whose payload begins with `words`.
  static VQ_Dispatch request(VQ_Command command, std::initializer_list<std::uint32_t> words) {
    VQ_Dispatch record(command);
    std::size_t index = 0;
    for (const std::uint32_t word : words) record.setWord(index++, word);
    return record;
  }

  // The record as answered; nullopt if it was refused.
  std::optional<VQ_Dispatch> answer(VQ_Dispatch record) {
    const VQ_Dispatch sent = record;
    if (interface_.answer(record) == Outcome::answered) return record;
    EXPECT_EQ(record.bytes, sent.bytes) << "a refused record comes back as it was";
    return std::nullopt;
  }
  std::optional<VQ_Dispatch> answer(VQ_Command command,
                                    std::initializer_list<std::uint32_t> words = {}) {
    return answer(request(command, words));
  }

  // Payload word 0 of the answer; nullopt if it was refused.
  std::optional<std::uint32_t> word(VQ_Command command,
                                    std::initializer_list<std::uint32_t> words = {}) {
    const auto record = answer(command, words);
    return record ? std::optional(record->word(0)) : std::nullopt;
  }

  std::vector<std::uint32_t> words(VQ_Command command, std::size_t count,
                                   std::initializer_list<std::uint32_t> sent = {}) {
    std::vector<std::uint32_t> values;
    const auto record = answer(command, sent);
    for (std::size_t i = 0; record && i < count; ++i) values.push_back(record->word(i));
    return values;
  }

  void digitalInput(VQE_LockState lockState, std::uint32_t rate = 0) {
    interface_.change([&](Model& model) { model.clock.setDigitalInput({lockState, rate}); });
  }

  const Model& model() const { return interface_.model(); }

  VirtualInterface interface_;
};

}  // namespace driver

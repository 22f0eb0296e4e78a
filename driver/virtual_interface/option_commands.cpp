// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

// Options with two values ignore any other value.
Outcome setTwoValued(VQ_Dispatch& record, std::uint32_t& option) {
  if (record.word(0) <= 1) option = record.word(0);
  return answerWord(record, option);
}

Outcome setSelector(Model& model, VQ_Dispatch& record) {
  model.options.digitalOutSelector = record.word(0);
  return Outcome::answered;
}

Outcome setLogicByte(Model& model, VQ_Dispatch& record) {
  model.options.logicByte = static_cast<std::uint8_t>(record.word(0));
  return answerWord(record, model.options.logicByte);
}

// Words: input, pair, value. Answers with the resulting value.
Outcome setRoutingByCommand(Model& model, VQ_Dispatch& record) {
  if (record.word(0) > 1) return Outcome::refused;
  const bool input = record.word(0) == 1;
  const std::uint32_t pair = record.word(1);
  if (pair >= (input ? model.routings.inputs.size() : model.routings.outputs.size())) {
    return Outcome::refused;
  }
  setRouting(model, input, static_cast<std::int32_t>(pair),
             static_cast<std::int32_t>(record.word(2)));
  const std::int32_t value = input ? model.routings.inputs[pair] : model.routings.outputs[pair];
  record.setWord(2, static_cast<std::uint32_t>(value));
  return Outcome::answered;
}

// 16-bit numbers: codec, register, contents.
Outcome accessCodecRegister(Model& model, VQ_Dispatch& record, bool write) {
  const std::uint16_t codec = record.halfword(0);
  const std::uint16_t number = record.halfword(1);
  if (codec >= kCodecs || number >= kCodecRegisters) return Outcome::refused;
  if (write) model.codecRegisters[codec][number] = record.halfword(2);
  record.setHalfword(2, model.codecRegisters[codec][number]);
  return Outcome::answered;
}

}  // namespace

GroupAnswer answerOptionCommand(Model& model, VQ_Dispatch& record) {
  switch (record.command()) {
    case VQ_Command::kGetDigitalOutSelector:
      return answerWord(record, model.options.digitalOutSelector);
    case VQ_Command::kSetDigitalOutSelector:
      return setSelector(model, record);
    case VQ_Command::kReadLogicChip:
      return answerWord(record, model.options.logicByte);
    case VQ_Command::kWriteLogicChip:
      return setLogicByte(model, record);
    case VQ_Command::kGetUSB1Mode:
      return answerWord(record, model.options.usb1Mode);
    case VQ_Command::kSetUSB1Mode:
      return setTwoValued(record, model.options.usb1Mode);
    case VQ_Command::kGetDigitalOutMode:
      return answerWord(record, model.options.digitalOutMode);
    case VQ_Command::kSetDigitalOutMode:
      return setTwoValued(record, model.options.digitalOutMode);
    case VQ_Command::kSetRouting:
      return setRoutingByCommand(model, record);
    case VQ_Command::kGetWMRegister:
      return accessCodecRegister(model, record, false);
    case VQ_Command::kSetWMRegister:
      return accessCodecRegister(model, record, true);
    default:
      return std::nullopt;
  }
}

}  // namespace driver

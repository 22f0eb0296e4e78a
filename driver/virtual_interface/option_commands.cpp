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

// Answers with the resulting value.
Outcome setRoutingByCommand(Model& model, VQ_Dispatch& record) {
  RoutingRecord routing = RoutingRecord::decode(record.payload());
  if (routing.input > 1) return Outcome::refused;
  const bool input = routing.input == 1;
  const auto pair = static_cast<std::uint32_t>(routing.pair);
  if (pair >= (input ? model.routings.inputs.size() : model.routings.outputs.size())) {
    return Outcome::refused;
  }
  setRouting(model, input, routing.pair, routing.value);
  routing.value = input ? model.routings.inputs[pair] : model.routings.outputs[pair];
  routing.encode(record.payload());
  return Outcome::answered;
}

Outcome accessCodecRegister(Model& model, VQ_Dispatch& record, bool write) {
  CodecRegister accessed = CodecRegister::decode(record.payload());
  if (accessed.codec >= kCodecs || accessed.number >= kCodecRegisters) return Outcome::refused;
  std::uint16_t& contents = model.codecRegisters[accessed.codec][accessed.number];
  if (write) contents = accessed.contents;
  accessed.contents = contents;
  accessed.encode(record.payload());
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

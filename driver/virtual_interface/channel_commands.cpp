// SPDX-License-Identifier: MIT
#include <algorithm>

#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

bool isAcceptable(const Model& model, const VQ_Orbek_ChannelMap& map) {
  return map.isValid({model.identity.vendorId, model.identity.productId});
}

Outcome answerMap(const Model& model, VQ_Dispatch& record) {
  model.channelMap.encode(record.payload());
  return Outcome::answered;
}

Outcome setMap(Model& model, VQ_Dispatch& record) {
  const auto map = VQ_Orbek_ChannelMap::decode(record.payload());
  if (isAcceptable(model, map)) model.channelMap = map;
  return answerMap(model, record);
}

Outcome answerConfigurationAndMap(const Model& model, VQ_Dispatch& record) {
  const VQ_Orbek_ConfigAndMap answer = {configurationAt(model.clock.rate()), model.channelMap};
  answer.encode(record.payload());
  return Outcome::answered;
}

// Sets both or neither: an invalid map also keeps the configuration, and the other way round.
Outcome setConfigurationAndMap(Model& model, VQ_Dispatch& record) {
  const auto wanted = VQ_Orbek_ConfigAndMap::decode(record.payload());
  if (isAcceptable(model, wanted.map) && setConfiguration(model, wanted.configuration)) {
    model.channelMap = wanted.map;
  }
  return answerConfigurationAndMap(model, record);
}

Outcome answerName(const Model& model, VQ_Dispatch& record) {
  return answerText(record, model.deviceName, kDeviceNameSize);
}

// Truncates a name that fills the field, so that it is read back NUL-terminated.
Outcome setName(Model& model, VQ_Dispatch& record) {
  const auto field = record.payload().first<kDeviceNameSize - 1>();
  model.deviceName.assign(field.begin(), std::find(field.begin(), field.end(), 0));
  return answerName(model, record);
}

}  // namespace

GroupAnswer answerChannelCommand(Model& model, VQ_Dispatch& record) {
  switch (record.command()) {
    case VQ_Command::kGetChannelMap:
      return answerMap(model, record);
    case VQ_Command::kSetChannelMap:
      return setMap(model, record);
    case VQ_Command::kSetConfigurationAndChannelMap:
      return setConfigurationAndMap(model, record);
    case VQ_Command::kGetConfigurationAndChannelMap:
      return answerConfigurationAndMap(model, record);
    case VQ_Command::kGetDeviceName:
      return answerName(model, record);
    case VQ_Command::kSetDeviceName:
      return setName(model, record);
    default:
      return std::nullopt;
  }
}

}  // namespace driver

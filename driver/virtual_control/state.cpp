// SPDX-License-Identifier: MIT
#include "driver/virtual_control/settings.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "protocol/words.h"

namespace driver {

namespace {

using Json = nlohmann::ordered_json;

std::string unitId(std::uint64_t id) {
  std::array<char, 17> text{};
  std::snprintf(text.data(), text.size(), "%016llX", static_cast<unsigned long long>(id));
  return text.data();
}

// The value's word, or the value itself if it has none.
Json wordOrNumber(std::span<const std::string_view> words, std::int64_t value) {
  const auto word = wordOf(words, value);
  return word ? Json(*word) : Json(value);
}

void addIdentity(Json& state, const Model& model) {
  state["class_name"] = model.identity.className;
  state[member::kVendorId] = model.identity.vendorId;
  state[member::kProductId] = model.identity.productId;
  state[member::kProductName] = model.identity.productName;
  state[member::kUnitId] = unitId(model.identity.uniqueId);
  state["device_name"] = model.deviceName;
  state[member::kUsb] = kSpeedWords[model.usb2 ? kSpeedUsb20 : kSpeedUsb11];
  state["driver_version_word"] = model.versions.driver;
  state["firmware_version_word"] = model.versions.firmware;
  state["firmware_version_word_known_to_driver"] = model.versions.firmwareKnownToDriver;
  state[member::kFirmwareDate] = model.versions.firmwareDate;
}

void addClock(Json& state, const Model& model) {
  state[member::kSampleRate] = model.clock.rate();
  state[member::kBufferSize] = model.bufferSize;
  state[member::kEffectiveClockSource] = wordOrNumber(kClockSourceWords, model.clock.effective());
  state[member::kDigitalInput] =
      wordOrNumber(kLockStateWords, model.clock.digitalInput().lockState);
  state[member::kDigitalInputRate] = model.clock.digitalInput().rate;
}

Json settingsOf(const Model& model) {
  Json settings;
  for (std::size_t i = 0; i < kInputSettings.size(); ++i) {
    settings[memberOf(kInputSettings[i])] =
        wordOrNumber(kInputSourceWords, model.routings.inputs[i]);
  }
  for (std::size_t i = 0; i < kOutputSettings.size(); ++i) {
    settings[memberOf(kOutputSettings[i])] =
        wordOrNumber(kOutputSourceWords, model.routings.outputs[i]);
  }
  settings[memberOf(kClockSourceSetting)] = wordOrNumber(kClockSourceWords, model.clock.chosen());
  settings[memberOf(kDigitalOutputFormatSetting)] =
      wordOrNumber(kDigitalOutputFormatWords, model.options.digitalOutMode);
  return settings;
}

void addOptions(Json& state, const Model& model) {
  state[member::kSettings] = settingsOf(model);
  state[member::kUsb1Input] = wordOrNumber(kUsb1InputWords, model.options.digitalOutSelector);
  state["usb1_mode"] = model.options.usb1Mode;
  state["logic_byte"] = model.options.logicByte;
  state["input_map"] = model.channelMap.inputs;
  state["output_map"] = model.channelMap.outputs;
}

void addActivity(Json& state, const Model& model) {
  state["streaming_suspended"] = model.streamingSuspended;
  state["prepared_for_firmware_update"] = model.preparedForFirmwareUpdate;
  state["control_port_received_bytes"] = model.controlPort.received;
  state["control_port_latest"] = model.controlPort.latest;
}

std::string dumped(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string escaped(char control) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x",
                static_cast<unsigned>(static_cast<unsigned char>(control)));
  return text.data();
}

// The library escapes U+0000 to U+001F; DEL and U+0080 to U+009F (0xC2 and one more byte) move the
// cursor, too.
std::string textLine(const Json& text) {
  const std::string json = dumped(text);
  std::string line;
  for (std::size_t i = 1; i + 1 < json.size(); ++i) {
    const bool isEscape = json[i] == '\\' && (json[i + 1] == '"' || json[i + 1] == '\\');
    const bool isControl = json[i] == '\xC2' && static_cast<unsigned char>(json[i + 1]) < 0xA0;
    if (isEscape || isControl) ++i;
    line += isControl || json[i] == '\x7F' ? escaped(json[i]) : std::string(1, json[i]);
  }
  return line;
}

std::string arrayLine(const Json& array) {
  std::string line;
  for (const Json& element : array) line += (line.empty() ? "" : ", ") + dumped(element);
  return "[" + line + "]";
}

}  // namespace

Json stateOf(const Model& model) {
  Json state;
  addIdentity(state, model);
  addClock(state, model);
  addOptions(state, model);
  addActivity(state, model);
  return state;
}

std::string jsonOf(const Json& state) { return dumped(state) + "\n"; }

std::string linesOf(const Json& state) {
  std::string lines;
  for (const auto& [name, value] : state.items()) {
    if (value.is_object()) {
      lines += linesOf(value);
      continue;
    }
    lines += name + ": ";
    lines += value.is_string()  ? textLine(value)
             : value.is_array() ? arrayLine(value)
                                : dumped(value);
    lines += "\n";
  }
  return lines;
}

}  // namespace driver

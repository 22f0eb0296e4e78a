// SPDX-License-Identifier: MIT
#include "tools/report.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <vector>

#include "device/usb_device.h"
#include "io/menu_items.h"
#include "io/status_texts.h"
#include "protocol/words.h"
#include "tools/choices.h"
#include "tools/commands.h"

namespace vx310ctl {

namespace {

using Json = nlohmann::ordered_json;

struct Line {
  const char* name;  // for people; null when only programs get the value
  std::string text;
  std::string member;  // for programs
  Json value;
  bool isSetting = false;
};
using Lines = std::vector<Line>;

// A text that was not answered is empty.
Json textJson(const std::string& text) { return text.empty() ? Json() : Json(text); }

void addText(Lines& lines, const char* name, const char* member, const std::string& text) {
  lines.push_back({name, text, member, textJson(text)});
}

void addId(Lines& lines, const char* name, const char* member, std::int16_t id) {
  std::array<char, 8> text{};
  const auto number = static_cast<std::uint16_t>(id);
  std::snprintf(text.data(), text.size(), "0x%04X", static_cast<unsigned>(number));
  lines.push_back({name, text.data(), member, number});
}

void addIdentity(Lines& lines, USBDevice& device) {
  addText(lines, "Device", member::kProductName, device.getProductString());
  addId(lines, "Vendor id", member::kVendorId, device.vendorId());
  addId(lines, "Product id", member::kProductId, device.productId());
  addText(lines, "Unit", member::kUnitId, device.string1());
  const bool usb2 = device.isUSB2Device();
  lines.push_back({"Connection", connectionText(usb2), member::kUsb,
                   kSpeedWords[usb2 ? kSpeedUsb20 : kSpeedUsb11]});
  VqVersion version;
  device.getDriverVersion(version);
  addText(lines, "Driver version", "driver_version", version.text);
  device.getFirmwareVersion(version, false);
  addText(lines, "Firmware version", "firmware_version", version.text);
  addText(lines, "Firmware", member::kFirmwareDate, version.date);
}

// What the clock runs on, as a clock source.
std::int32_t effectiveSource(std::int32_t source, const VQ_DigitalStatus& digitalInput) {
  if (source != kClockAutomatic) return source;
  return hasValidSignal(digitalInput) ? kClockDigitalInput : kClockInternal;
}

void addFormat(Lines& lines, USBDevice& device) {
  lines.push_back({"Sample width", kSampleWidthText, "sample_width_bits", kSampleWidth});
  VQ_DeviceConfiguration configuration;
  const bool isKnown = device.getCurrentConfiguration(configuration);
  const std::uint32_t rate = configuration.sampleRate;
  lines.push_back(
      {"Sample rate", sampleRateText(rate), member::kSampleRate, isKnown ? Json(rate) : Json()});
  const std::uint32_t size = device.getCurrentBufferSize();
  lines.push_back(
      {"Buffer size", std::to_string(size), member::kBufferSize, size != 0 ? Json(size) : Json()});
}

void addClock(Lines& lines, USBDevice& device) {
  const std::int32_t source = device.getCurrentClockSource();
  VQ_DigitalStatus status;
  const bool isKnown = device.getDigitalStatus(status);
  const bool isCertain = isKnown || source != kClockAutomatic;
  lines.push_back(
      {"Effective clock source", clockSourceText(source, hasValidSignal(status)),
       member::kEffectiveClockSource,
       isCertain ? valueJson(kClockSourceWords, effectiveSource(source, status)) : Json()});
  lines.push_back({"Chosen clock source", itemText(kClockSourceItems, kClockSourceWords, source),
                   memberOf(kClockSourceSetting), valueJson(kClockSourceWords, source), true});
  const auto lockState = static_cast<std::int32_t>(status.lockState);
  lines.push_back({"Digital input", digitalInputText(source, status), member::kDigitalInput,
                   isKnown ? valueJson(kLockStateWords, lockState) : Json()});
  lines.push_back({nullptr, "", member::kDigitalInputRate, isKnown ? Json(status.rate) : Json()});
}

// A setting that `get` and `set` call by the choice's name.
void addChoice(Lines& lines, const char* name, std::string_view setting, USBDevice& device) {
  const Choice& choice = *findChoice(setting);
  const std::int32_t value = choice.read(device);
  lines.push_back(
      {name, itemText(choice, value), memberOf(setting), valueJson(choice.words, value), true});
}

void addOptions(Lines& lines, USBDevice& device) {
  addChoice(lines, "Digital output format", kDigitalOutputFormatSetting, device);
  const std::int32_t selector = device.getDigitalOutSelector();
  lines.push_back({"USB 1.1 input", itemText(kUsb1InputItems, kUsb1InputWords, selector),
                   member::kUsb1Input, valueJson(kUsb1InputWords, selector)});
  addChoice(lines, "Inputs 1/2", kInputSettings[0], device);
  addChoice(lines, "Inputs 3/4", kInputSettings[1], device);
  addChoice(lines, "Inputs 5/6", kInputSettings[2], device);
  addChoice(lines, "Line outputs", kOutputSettings[0], device);
  addChoice(lines, "Digital output", kOutputSettings[1], device);
}

Lines linesOf(USBDevice& device) {
  Lines lines;
  addIdentity(lines, device);
  addFormat(lines, device);
  addClock(lines, device);
  addOptions(lines, device);
  return lines;
}

}  // namespace

std::string reportText(USBDevice& device) {
  std::string text;
  for (const Line& line : linesOf(device)) {
    if (line.name) text += lineOf(line.name, line.text);
  }
  return text;
}

nlohmann::ordered_json reportJson(USBDevice& device) {
  Json report;
  Json settings;
  for (const Choice& choice : choices()) settings[memberOf(choice.name)] = nullptr;  // their order
  for (const Line& line : linesOf(device))
    (line.isSetting ? settings : report)[line.member] = line.value;
  report[member::kSettings] = settings;
  return report;
}

}  // namespace vx310ctl

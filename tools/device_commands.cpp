// SPDX-License-Identifier: MIT
// `vx310ctl list` and `vx310ctl show`: the connected interfaces as the panel sees them.
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "device/usb_device.h"
#include "io/menu_items.h"
#include "io/status_texts.h"
#include "tools/choices.h"
#include "tools/commands.h"
#include "tools/interfaces.h"

namespace vx310ctl {

namespace {

// All that can be read from one interface, as names and values.
struct ReportLine {
  std::string key;   // for programs; stays the same from version to version
  std::string name;  // for people
  std::string text;
  nlohmann::ordered_json json;
};
using Report = std::vector<ReportLine>;

// The chosen source; the clock may run on another.
std::string clockChoiceText(std::int32_t source) {
  return source == kClockAutomatic ? "automatic" : clockSourceText(source, false);
}

void addText(Report& report, const char* key, const char* name, const std::string& text) {
  report.push_back({key, name, text, text});
}

void addNumber(Report& report, const char* key, const char* name, std::uint32_t number) {
  report.push_back({key, name, std::to_string(number), number});
}

void addId(Report& report, const char* key, const char* name, std::int16_t id) {
  std::array<char, 8> text{};
  const auto number = static_cast<std::uint16_t>(id);
  std::snprintf(text.data(), text.size(), "0x%04X", static_cast<unsigned>(number));
  report.push_back({key, name, text.data(), number});
}

void addIdentity(Report& report, USBDevice& device) {
  addText(report, "product_name", "Device", device.getProductString());
  addId(report, "vendor_id", "Vendor id", device.vendorId());
  addId(report, "product_id", "Product id", device.productId());
  addText(report, "unit", "Unit", device.string1());
  addText(report, "connection", "Connection", connectionText(device.isUSB2Device()));
  VqVersion version;
  device.getDriverVersion(version);
  addText(report, "driver_version", "Driver version", version.text);
  device.getFirmwareVersion(version, false);
  addText(report, "firmware_version", "Firmware version", version.text);
  addText(report, "firmware_date", "Firmware", version.date);
}

void addClock(Report& report, USBDevice& device) {
  addText(report, "sample_width", "Sample width", kSampleWidthText);
  VQ_DeviceConfiguration configuration;
  device.getCurrentConfiguration(configuration);
  addText(report, "sample_rate", "Sample rate", sampleRateText(configuration.sampleRate));
  addNumber(report, "buffer_size", "Buffer size", device.getCurrentBufferSize());
  const std::int32_t source = device.getCurrentClockSource();
  VQ_DigitalStatus status;
  device.getDigitalStatus(status);
  addText(report, "clock_source", "Clock source", clockSourceText(source, hasValidSignal(status)));
  addText(report, "clock_choice", "Chosen clock", clockChoiceText(source));
  addText(report, "digital_input", "Digital input", digitalInputText(source, status));
}

// An item of the menu that `get` and `set` call by the choice's name.
void addChoice(Report& report, const char* key, const char* name, const char* choice,
               std::int32_t item) {
  addText(report, key, name, itemText(findChoice(choice)->items, item));
}

void addOptions(Report& report, USBDevice& device) {
  addChoice(report, "digital_output_format", "Digital output format", "digital-output-format",
            device.getDigitalOutMode());
  addText(report, "usb1_input", "USB 1.1 input",
          itemText(kUsb1InputItems, device.getDigitalOutSelector()));
  addChoice(report, "inputs_1_2", "Inputs 1/2", "input-1-2", device.getRouting(true, 0));
  addChoice(report, "inputs_3_4", "Inputs 3/4", "input-3-4", device.getRouting(true, 1));
  addChoice(report, "inputs_5_6", "Inputs 5/6", "input-5-6", device.getRouting(true, 2));
  addChoice(report, "line_outputs", "Line outputs", "line-output", device.getRouting(false, 0));
  addChoice(report, "digital_output", "Digital output", "digital-output",
            device.getRouting(false, 1));
}

// Reads an open interface. Unanswered requests show what the panel would show; all texts are the
// panel's.
Report reportOf(USBDevice& device) {
  Report report;
  addIdentity(report, device);
  addClock(report, device);
  addOptions(report, device);
  return report;
}

void print(const Report& report) {
  for (const auto& line : report) {
    std::fputs(lineOf(line.name, line.text).c_str(), stdout);
  }
}

void printJson(const Report& report) {
  nlohmann::ordered_json json;
  for (const auto& line : report) json[line.key] = line.json;
  std::fputs(lineOf(json).c_str(), stdout);
}

}  // namespace

ExitStatus runList() {
  const Interfaces interfaces;
  std::size_t index = 0;
  for (const USBDevice* device : interfaces.all()) {
    std::printf("%zu  %04X:%04X  %s\n", index++,
                static_cast<unsigned>(static_cast<std::uint16_t>(device->vendorId())),
                static_cast<unsigned>(static_cast<std::uint16_t>(device->productId())),
                printable(device->getProductString()).c_str());
  }
  return interfaces.status();
}

ExitStatus runShow(bool json, std::uint32_t index) {
  const Interfaces interfaces;
  if (const ExitStatus status = interfaces.status(); status != kDone) return status;
  if (index >= interfaces.all().size()) {
    std::fprintf(stderr, "vx310ctl: there is no interface %u\n", index);
    return kNoInterface;
  }
  USBDevice& device = *interfaces.all()[index];
  if (!device.open(false)) {
    std::fprintf(stderr, "vx310ctl: interface %u does not answer\n", index);
    return kFailed;
  }
  const Report report = reportOf(device);
  json ? printJson(report) : print(report);
  return kDone;
}

}  // namespace vx310ctl

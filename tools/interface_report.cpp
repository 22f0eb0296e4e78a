#include "tools/interface_report.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "device/usb_device.h"
#include "driver/simulator/json.h"
#include "io/status_texts.h"

namespace vx310ctl {

namespace {

// The panel's menu items, in their order.
constexpr std::array<std::string_view, 4> kInputSources = {"Analog 1/2", "Analog 3/4", "Digital",
                                                           "Loopback"};
constexpr std::array<std::string_view, 5> kOutputSources = {"Playback 1/2", "Playback 3/4",
                                                            "Input 1/2", "Input 3/4", "Input 5/6"};
constexpr std::array<std::string_view, 2> kOutputFormats = {"Consumer (S/PDIF)",
                                                            "Professional (AES3)"};
constexpr std::array<std::string_view, 2> kUsb1Inputs = {"Analog", "Digital"};

template <std::size_t size>
std::string itemText(const std::array<std::string_view, size>& items, std::int32_t item) {
  const bool known = item >= 0 && static_cast<std::size_t>(item) < size;
  return known ? std::string(items[static_cast<std::size_t>(item)]) : "unknown";
}

// The source that was chosen, which is not always the one that the clock runs on.
std::string clockChoiceText(std::int32_t source) {
  return source == kClockAutomatic ? "automatic" : clockSourceText(source, false);
}

void addText(Report& report, const char* key, const char* name, const std::string& text) {
  report.push_back({key, name, text, driver::jsonText(text)});
}

void addNumber(Report& report, const char* key, const char* name, std::uint32_t number) {
  report.push_back({key, name, std::to_string(number), driver::jsonNumber(number)});
}

void addId(Report& report, const char* key, const char* name, std::int16_t id) {
  std::array<char, 8> text{};
  const auto number = static_cast<std::uint16_t>(id);
  std::snprintf(text.data(), text.size(), "0x%04X", static_cast<unsigned>(number));
  report.push_back({key, name, text.data(), driver::jsonNumber(number)});
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

void addOptions(Report& report, USBDevice& device) {
  addText(report, "digital_output_format", "Digital output format",
          itemText(kOutputFormats, device.getDigitalOutMode()));
  addText(report, "usb1_input", "USB 1.1 input",
          itemText(kUsb1Inputs, device.getDigitalOutSelector()));
  addText(report, "inputs_1_2", "Inputs 1/2", itemText(kInputSources, device.getRouting(true, 0)));
  addText(report, "inputs_3_4", "Inputs 3/4", itemText(kInputSources, device.getRouting(true, 1)));
  addText(report, "inputs_5_6", "Inputs 5/6", itemText(kInputSources, device.getRouting(true, 2)));
  addText(report, "line_outputs", "Line outputs",
          itemText(kOutputSources, device.getRouting(false, 0)));
  addText(report, "digital_output", "Digital output",
          itemText(kOutputSources, device.getRouting(false, 1)));
}

}  // namespace

Report reportOf(USBDevice& device) {
  Report report;
  addIdentity(report, device);
  addClock(report, device);
  addOptions(report, device);
  return report;
}

}  // namespace vx310ctl

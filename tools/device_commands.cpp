// SPDX-License-Identifier: MIT
#include "tools/device_commands.h"

#include <cstdio>

#include "device/usb_device.h"
#include "protocol/services.h"
#include "tools/interface_report.h"
#include "tools/interfaces.h"
#include "tools/messages.h"

namespace vx310ctl {

namespace {

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

struct ShowOptions {
  std::uint32_t index = 0;
  bool json = false;
};

bool parse(const std::vector<std::string>& words, ShowOptions& options) {
  bool indexGiven = false;
  for (const auto& word : words) {
    const auto number = parseNumber(word, 0xFFFFFFFF);
    if (word == "--json") {
      options.json = true;
    } else if (number && !indexGiven) {
      indexGiven = true;
      options.index = *number;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

ExitStatus runList(const std::vector<std::string>& words) {
  if (!words.empty()) return wrong("'list' takes nothing");
  const Interfaces interfaces;
  std::size_t index = 0;
  for (const USBDevice* device : interfaces.all()) {
    std::printf("%zu  %04X:%04X  %s\n", index++,
                static_cast<unsigned>(static_cast<std::uint16_t>(device->vendorId())),
                static_cast<unsigned>(static_cast<std::uint16_t>(device->productId())),
                device->getProductString().c_str());
  }
  return interfaces.status();
}

ExitStatus runShow(const std::vector<std::string>& words) {
  ShowOptions options;
  if (!parse(words, options)) return wrong("'show' takes [--json] [INDEX]");
  const Interfaces interfaces;
  if (const ExitStatus status = interfaces.status(); status != kDone) return status;
  if (options.index >= interfaces.all().size()) {
    std::fprintf(stderr, "vx310ctl: there is no interface %u\n", options.index);
    return kNoInterface;
  }
  USBDevice& device = *interfaces.all()[options.index];
  if (!device.open(false)) {
    std::fprintf(stderr, "vx310ctl: interface %u does not answer\n", options.index);
    return kFailed;
  }
  const Report report = reportOf(device);
  options.json ? printJson(report) : print(report);
  return kDone;
}

}  // namespace vx310ctl

// SPDX-License-Identifier: MIT
// `vx310ctl list` and `vx310ctl show`: the connected interfaces as the panel sees them.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "device/usb_device.h"
#include "protocol/words.h"
#include "tools/commands.h"
#include "tools/interfaces.h"
#include "tools/report.h"

namespace vx310ctl {

namespace {

struct Ids {
  explicit Ids(const USBDevice& device)
      : vendor(static_cast<std::uint16_t>(device.vendorId())),
        product(static_cast<std::uint16_t>(device.productId())) {}
  unsigned vendor;
  unsigned product;
};

void printList(const std::vector<USBDevice*>& devices) {
  std::size_t index = 0;
  for (const USBDevice* device : devices) {
    const Ids ids(*device);
    std::printf("%zu  %04X:%04X  %s\n", index++, ids.vendor, ids.product,
                printable(device->getProductString()).c_str());
  }
}

void printListJson(const std::vector<USBDevice*>& devices) {
  auto list = nlohmann::ordered_json::array();
  for (const USBDevice* device : devices) {
    const Ids ids(*device);
    list.push_back({{"index", list.size()},
                    {member::kVendorId, ids.vendor},
                    {member::kProductId, ids.product},
                    {member::kProductName, device->getProductString()}});
  }
  printJson({{"interfaces", list}});
}

}  // namespace

ExitStatus runList(bool json) {
  const Interfaces interfaces;
  const ExitStatus status = interfaces.status();
  if (status != kDone) return status;
  json ? printListJson(interfaces.all()) : printList(interfaces.all());
  return kDone;
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
  if (json) {
    printJson(reportJson(device));
  } else {
    std::fputs(reportText(device).c_str(), stdout);
  }
  return kDone;
}

}  // namespace vx310ctl

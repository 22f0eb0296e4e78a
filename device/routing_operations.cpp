// SPDX-License-Identifier: MIT
#include "device/usb_device.h"
#include "platform/log/log.h"
#include "protocol/services.h"

std::int32_t USBDevice::setRouting(bool input, std::int32_t index, std::int32_t value) {
  VQ_Dispatch record(VQ_Command::kSetRouting);
  RoutingRecord{input ? 1U : 0U, index, value}.encode(record.payload());
  if (!dispatch(record, true)) return index;
  return RoutingRecord::decode(record.payload()).value;
}

// The properties are read anew each time, for the driver changes them when a routing is set.
std::int32_t USBDevice::getRouting(bool input, std::int32_t index) {
  if (service_ == 0) return -1;
  CFDictionary properties;
  const IOReturn result = IORegistryEntryCreateCFProperties(service_, &properties);
  if (result != kIOReturnSuccess) {
    platform::printOutput("Error %x\n", static_cast<std::uint32_t>(result));
    return -1;
  }
  const auto* published = CFDictionaryGet<CFDictionary>(properties, kRoutingsKey);
  if (!published) {
    platform::printOutput("Error No AjExtData\n");
    return -1;
  }
  const std::string key = routingKey(input, index);
  const std::int32_t value = CFNumberGetValue<std::int32_t>(*published, key).value_or(-1);
  platform::printOutput("getRouting %s returns: %d\n", key.c_str(), value);
  return value;
}

// SPDX-License-Identifier: MIT
// What the checks of settings have in common.
#pragma once

#include <vector>

#include "driver/check/session.h"
#include "protocol/usb_request.h"

namespace check {

// A setting and the command that reads it.
struct Setting {
  VQ_Command get;
  VQ_Command set;
  std::size_t size;        // of its value in the payloads, in bytes
  bool isAnswered = true;  // whether the answer to `set` has the value
  bool isText = false;     // that ends with a zero byte
};

Bytes wordBytes(std::initializer_list<std::uint32_t> words);
VQ_Dispatch recordWith(VQ_Command command, std::span<const std::uint8_t> payload);
// A vendor request to the device, with zeros as its data.
VQ_Dispatch usbRequest(std::uint8_t number, EDirection direction, std::uint32_t length,
                       UsbRequestLayout layout = UsbRequestLayout::kNew);
// The value that the interface has; nullopt after a verdict.
std::optional<Bytes> readValue(Session& session, const Setting& setting, Verdict& verdict);

// Sets the first of `values` that is another one than the interface has and that it takes, and sets
// the old one again. The answers must have the values that the interface has.
void checkSetting(Session& session, Verdict& verdict, const Setting& setting,
                  const std::vector<Bytes>& values);

// Sends a value that the interface does not take.
void checkNotTaken(Session& session, Verdict& verdict, const Setting& setting, const Bytes& value);

// The same for values that no interface takes.
void checkSettingsNotTaken(Session& session, Verdict& verdict);

}  // namespace check

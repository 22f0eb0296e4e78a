// SPDX-License-Identifier: MIT
// The texts that show an interface's state, made from the values that it reports. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "protocol/records.h"

inline constexpr const char* kSampleWidthText = "24 bits";

// The type of the USB connection.
const char* connectionText(bool usb2);

// The rate in kHz, with one decimal unless it is a whole number. A rate that is not in kSampleRates
// is shown as the lowest of them.
std::string sampleRateText(std::uint32_t hertz);

// Whether the automatic clock follows the digital input.
bool hasValidSignal(const VQ_DigitalStatus& digitalInput);

// The source of the sample clock. `validSignal` matters only for the automatic clock.
const char* clockSourceText(std::int32_t clockSource, bool validSignal);

// The state of the digital input: "unavailable" on the internal clock; a valid or muted signal is
// followed by its rate as in sampleRateText.
std::string digitalInputText(std::int32_t clockSource, const VQ_DigitalStatus& digitalInput);

// SPDX-License-Identifier: MIT
// The texts in which an interface's state is shown, from the values that it reports.
#pragma once

#include <cstdint>
#include <string>

#include "protocol/records.h"

// The width of every sample.
inline constexpr const char* kSampleWidthText = "24 bits";

const char* connectionText(bool usb2);

// Any other rate than those of the device is shown as the lowest.
std::string sampleRateText(std::uint32_t hertz);

// Whether a clock that is chosen automatically follows the digital input.
bool hasValidSignal(const VQ_DigitalStatus& digitalInput);

// The source that the clock runs on. `validSignal` counts with the automatic choice alone.
const char* clockSourceText(std::int32_t clockSource, bool validSignal);

// The state of the digital input, which has none on the internal clock; for a signal its state
// followed by its rate in kHz, with one decimal where that is no whole number.
std::string digitalInputText(std::int32_t clockSource, const VQ_DigitalStatus& digitalInput);

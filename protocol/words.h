// SPDX-License-Identifier: MIT
// The words for scripts that the driver and the tool share: on the command line, and in the JSON
// that they print, which docs/vx310ctl.schema.json describes. What the panel shows are texts for
// people and stand in io/status_texts.h and io/menu_items.h.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// --- Values of options.h: a word's index is the value ---

inline constexpr std::array<std::string_view, 3> kClockSourceWords = {"automatic", "internal",
                                                                      "digital"};
inline constexpr std::array<std::string_view, 4> kLockStateWords = {"none", "invalid", "valid",
                                                                    "muted"};
inline constexpr std::array<std::string_view, 2> kSpeedWords = {"1.1", "2.0"};
inline constexpr std::array<std::string_view, 4> kInputSourceWords = {"analog-1-2", "analog-3-4",
                                                                      "digital", "loopback"};
inline constexpr std::array<std::string_view, 5> kOutputSourceWords = {
    "playback-1-2", "playback-3-4", "input-1-2", "input-3-4", "input-5-6"};
inline constexpr std::array<std::string_view, 2> kDigitalOutputFormatWords = {"consumer",
                                                                              "professional"};
inline constexpr std::array<std::string_view, 2> kUsb1InputWords = {"analog", "digital"};

// nullopt for a value without a word.
inline std::optional<std::string_view> wordOf(std::span<const std::string_view> words,
                                              std::int64_t value) {
  if (value < 0 || value >= static_cast<std::int64_t>(words.size())) return std::nullopt;
  return words[static_cast<std::size_t>(value)];
}

// --- Names of settings, on the command line ---

inline constexpr std::array<std::string_view, 3> kInputSettings = {"input-1-2", "input-3-4",
                                                                   "input-5-6"};
inline constexpr std::array<std::string_view, 2> kOutputSettings = {"line-output",
                                                                    "digital-output"};
inline constexpr std::string_view kClockSourceSetting = "clock-source";
inline constexpr std::string_view kDigitalOutputFormatSetting = "digital-output-format";

// The setting's name in JSON, which jq takes without quotes: "clock_source".
inline std::string memberOf(std::string_view setting) {
  std::string member(setting);
  std::ranges::replace(member, '-', '_');
  return member;
}

// --- Names in JSON ---

// Every output has this number as its member "schema". It rises when a name or the meaning of a
// value changes, but not when names are added.
inline constexpr int kJsonSchema = 1;

namespace member {

inline constexpr const char* kSchema = "schema";
inline constexpr const char* kProductName = "product_name";
inline constexpr const char* kVendorId = "vendor_id";
inline constexpr const char* kProductId = "product_id";
inline constexpr const char* kUnitId = "unit_id";
inline constexpr const char* kUsb = "usb";
inline constexpr const char* kFirmwareDate = "firmware_date";
inline constexpr const char* kSampleRate = "sample_rate_hz";
inline constexpr const char* kBufferSize = "buffer_size_frames";
// What the sample clock runs on; the chosen source is the setting clock_source.
inline constexpr const char* kEffectiveClockSource = "effective_clock_source";
inline constexpr const char* kDigitalInput = "digital_input";
inline constexpr const char* kDigitalInputRate = "digital_input_rate_hz";
inline constexpr const char* kUsb1Input = "usb1_input";
inline constexpr const char* kSettings = "settings";
// The kinds of the faults that wait for requests to a virtual interface.
inline constexpr const char* kFaultKinds = "fault_kinds";

}  // namespace member

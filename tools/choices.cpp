// SPDX-License-Identifier: MIT
#include "tools/choices.h"

#include <strings.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "device/usb_device.h"
#include "io/driver_events.h"
#include "io/menu_items.h"
#include "io/option_commands.h"
#include "protocol/numbers.h"
#include "protocol/words.h"

namespace vx310ctl {

namespace {

template <bool input, std::int32_t pair>
std::int32_t readRouting(USBDevice& device) {
  return device.getRouting(input, pair);
}

// The menu's items are the first two of the clock sources.
std::int32_t readClockSource(USBDevice& device) { return device.getCurrentClockSource(); }

std::int32_t readDigitalOutputFormat(USBDevice& device) { return device.getDigitalOutMode(); }

template <std::int32_t (*command)(std::int32_t)>
bool sendRouting(std::int32_t index) {
  return command(index) != 0;
}

template <void (*command)(std::int32_t)>
bool sendOption(std::int32_t index) {
  command(index);
  return true;
}

constexpr Choice kChoices[] = {
    {kInputSettings[0], "In12", kInputItems, kInputSourceWords, readRouting<true, 0>,
     sendRouting<DoChannel1and2>, 0},
    {kInputSettings[1], "In34", kInputItems, kInputSourceWords, readRouting<true, 1>,
     sendRouting<DoChannel3and4>, 1},
    {kInputSettings[2], "In56", kInputItems, kInputSourceWords, readRouting<true, 2>,
     sendRouting<DoChannel5and6>, 2},
    {kOutputSettings[0], "Out12", kOutputItems, kOutputSourceWords, readRouting<false, 0>,
     sendRouting<DoLineOut>, 0},
    {kOutputSettings[1], "Out34", kOutputItems, kOutputSourceWords, readRouting<false, 1>,
     sendRouting<DoDigitalOut>, 1},
    {kClockSourceSetting, "ClockSource", kClockSourceItems, kClockSourceWords, readClockSource,
     sendOption<SampleClockSource>, 0, true},
    {kDigitalOutputFormatSetting, "DigOutFormat", kDigitalOutputFormatItems,
     kDigitalOutputFormatWords, readDigitalOutputFormat, sendOption<DigitalOutputFormat>, 0, true},
};

bool isSameInAnyCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace

std::span<const Choice> choices() { return kChoices; }

const Choice* findChoice(std::string_view name) {
  const auto* found = std::ranges::find(kChoices, name, &Choice::name);
  return found == std::end(kChoices) ? nullptr : found;
}

std::int32_t currentValue(const Choice& choice) {
  return _ioDevice ? choice.read(*_ioDevice) : kNoAnswer;
}

std::optional<std::int32_t> findItem(const Choice& choice, std::string_view item) {
  for (std::size_t i = 0; i < choice.items.size(); ++i) {
    if (isSameInAnyCase(item, choice.items[i]) || isSameInAnyCase(item, choice.words[i])) {
      return static_cast<std::int32_t>(i);
    }
  }
  const auto number = parseNumber(item, static_cast<std::uint32_t>(choice.items.size() - 1));
  return number ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

std::string itemText(const Choice& choice, std::int32_t value) {
  return itemText(choice.items, choice.words, value);
}

std::string itemText(std::span<const std::string_view> items,
                     std::span<const std::string_view> words, std::int32_t value) {
  if (value == kNoAnswer) return "unknown";
  if (const auto item = wordOf(items, value)) return std::string(*item);
  if (const auto word = wordOf(words, value)) return std::string(*word);
  return std::to_string(value);
}

nlohmann::ordered_json valueJson(std::span<const std::string_view> words, std::int32_t value) {
  if (value == kNoAnswer) return nullptr;
  const auto word = wordOf(words, value);
  return word ? nlohmann::ordered_json(*word) : nlohmann::ordered_json(value);
}

nlohmann::ordered_json settingsJson(USBDevice& device) {
  nlohmann::ordered_json settings;
  for (const Choice& choice : kChoices) {
    settings[memberOf(choice.name)] = valueJson(choice.words, choice.read(device));
  }
  return settings;
}

}  // namespace vx310ctl

// SPDX-License-Identifier: MIT
#include "tools/choices.h"

#include <algorithm>

#include "io/driver_events.h"
#include "io/menu_items.h"
#include "io/option_commands.h"
#include "io/status_texts.h"

namespace vx310ctl {

namespace {

// The panel's own query reports "automatic" for a device that does not answer.
std::int32_t clockSource() {
  const std::int32_t source = _ioDevice ? _ioDevice->getCurrentClockSource() : kNoAnswer;
  if (source == kNoAnswer) return kNoAnswer;
  return source == kClockInternal ? 1 : 0;
}

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
    {"input-1-2", kInputItems, GetChannel1and2, sendRouting<DoChannel1and2>},
    {"input-3-4", kInputItems, GetChannel3and4, sendRouting<DoChannel3and4>},
    {"input-5-6", kInputItems, GetChannel5and6, sendRouting<DoChannel5and6>},
    {"line-output", kOutputItems, GetLineOut, sendRouting<DoLineOut>},
    {"digital-output", kOutputItems, GetDigitalOut, sendRouting<DoDigitalOut>},
    {"clock-source", kClockSourceItems, clockSource, sendOption<SampleClockSource>, true},
    {"digital-output-format", kDigitalOutputFormatItems, GetDigitalOutFormat,
     sendOption<DigitalOutputFormat>, true},
};

}  // namespace

std::span<const Choice> choices() { return kChoices; }

const Choice* findChoice(std::string_view name) {
  const auto* found = std::ranges::find(kChoices, name, &Choice::name);
  return found == std::end(kChoices) ? nullptr : found;
}

std::string itemText(std::span<const std::string_view> items, std::int32_t index) {
  if (index == kNoAnswer) return "unknown";
  if (index < 0 || static_cast<std::size_t>(index) >= items.size()) return std::to_string(index);
  return std::string(items[static_cast<std::size_t>(index)]);
}

}  // namespace vx310ctl

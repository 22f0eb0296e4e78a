// SPDX-License-Identifier: MIT
#include "driver/virtual_control/settings.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "driver/virtual_control/usage.h"
#include "protocol/numbers.h"
#include "protocol/words.h"

namespace driver {

namespace {

using Arguments = std::span<const std::string>;
// Reads the arguments and applies them; their number has been checked.
using Apply = SettingResult (*)(Model& model, Arguments arguments);

struct Setting {
  Usage usage;
  std::size_t fewest;
  std::size_t most;
  Apply apply;
};

// The index of `word` in `words`.
template <std::size_t size>
std::optional<std::uint32_t> choice(const std::string& word,
                                    const std::array<std::string_view, size>& words) {
  const auto found = std::find(words.begin(), words.end(), word);
  if (found == words.end()) return std::nullopt;
  return static_cast<std::uint32_t>(found - words.begin());
}

SettingResult resultOf(bool taken) { return taken ? SettingResult::done : SettingResult::refused; }

SettingResult digitalInput(Model& model, Arguments arguments) {
  const auto signal = choice(arguments[0], kLockStateWords);
  if (!signal) return SettingResult::wrongArguments;
  const bool needsRate = *signal >= kLockValid;
  if (needsRate != (arguments.size() == 2)) return SettingResult::wrongArguments;
  const auto rate = needsRate ? parseNumber(arguments[1]) : 0;
  if (!rate) return SettingResult::wrongArguments;
  model.clock.setDigitalInput({*signal, *rate});
  return SettingResult::done;
}

SettingResult sampleRate(Model& model, Arguments arguments) {
  const auto rate = parseNumber(arguments[0]);
  if (!rate || std::find(kSampleRates.begin(), kSampleRates.end(), *rate) == kSampleRates.end()) {
    return SettingResult::wrongArguments;
  }
  return resultOf(model.clock.setRate(*rate));
}

SettingResult clockSource(Model& model, Arguments arguments) {
  const auto source = choice(arguments[0], kClockSourceWords);
  if (!source) return SettingResult::wrongArguments;
  return resultOf(model.clock.choose(static_cast<VQE_ClockSource>(*source)));
}

SettingResult routing(Model& model, Arguments arguments) {
  const auto side = choice<2>(arguments[0], {"out", "in"});
  const auto pair = parseNumber(arguments[1], 0x7FFFFFFF);
  const auto value = parseNumber(arguments[2], 0x7FFFFFFF);
  const bool set = side && pair && value &&
                   setRouting(model, *side == 1, static_cast<std::int32_t>(*pair),
                              static_cast<std::int32_t>(*value));
  return set ? SettingResult::done : SettingResult::wrongArguments;
}

SettingResult usb(Model& model, Arguments arguments) {
  const auto speed = choice(arguments[0], kSpeedWords);
  if (!speed) return SettingResult::wrongArguments;
  model.usb2 = *speed != kSpeedUsb11;
  return SettingResult::done;
}

SettingResult ids(Model& model, Arguments arguments) {
  const auto vendor = parseNumber(arguments[0], 0xFFFF);
  const auto product = parseNumber(arguments[1], 0xFFFF);
  if (!vendor || !product) return SettingResult::wrongArguments;
  model.identity.vendorId = static_cast<std::uint16_t>(*vendor);
  model.identity.productId = static_cast<std::uint16_t>(*product);
  return SettingResult::done;
}

// Sets the family's ids, too; "ids" may change them afterwards.
SettingResult family(Model& model, Arguments arguments) {
  const auto wanted = choice<2>(arguments[0], {"vx310", "orbek"});
  if (!wanted) return SettingResult::wrongArguments;
  const bool orbek = *wanted == 1;
  model.identity.className = orbek ? kOrbekServiceClass : kVX310DriverClass;
  model.identity.vendorId = orbek ? kOrbekVendorId : kVX310VendorId;
  model.identity.productId = orbek ? kOrbekProduct8 : kVX310ProductId;
  return SettingResult::done;
}

SettingResult productName(Model& model, Arguments arguments) {
  model.identity.productName = arguments[0];
  return SettingResult::done;
}

SettingResult driverVersion(Model& model, Arguments arguments) {
  const auto word = parseNumber(arguments[0]);
  if (!word) return SettingResult::wrongArguments;
  model.versions.driver = *word;
  return SettingResult::done;
}

SettingResult firmwareVersion(Model& model, Arguments arguments) {
  const auto word = parseNumber(arguments[0]);
  if (!word) return SettingResult::wrongArguments;
  model.versions.firmware = *word;
  model.versions.firmwareKnownToDriver = *word;
  return SettingResult::done;
}

SettingResult firmwareKnown(Model& model, Arguments arguments) {
  const auto known = choice<2>(arguments[0], {"no", "yes"});
  if (!known) return SettingResult::wrongArguments;
  model.versions.firmwareKnownToDriver = *known == 1 ? model.versions.firmware : 0;
  return SettingResult::done;
}

SettingResult firmwareDate(Model& model, Arguments arguments) {
  if (arguments[0].size() >= kFirmwareDateSize) return SettingResult::wrongArguments;
  model.versions.firmwareDate = arguments[0];
  return SettingResult::done;
}

constexpr std::array kSettings = {
    Setting{{"digital-input", "none|invalid|valid RATE|muted RATE",
             "what the digital input carries, with the measured rate in Hz"},
            1,
            2,
            digitalInput},
    Setting{{"sample-rate", "RATE", "44100, 48000, 88200 or 96000, on the internal clock"},
            1,
            1,
            sampleRate},
    Setting{{"clock", "automatic|internal|digital",
             "the clock source that is chosen: 'set clock-source'"},
            1,
            1,
            clockSource},
    Setting{{"routing", "in|out PAIR SOURCE",
             "a routing, as another program would set it; pairs and sources count from 0"},
            3,
            3,
            routing},
    Setting{{"usb", "2.0|1.1", "the speed of the connection; the interface reconnects"}, 1, 1, usb},
    Setting{{"ids", "VENDOR PRODUCT", "the USB ids; the interface reconnects"}, 2, 2, ids},
    Setting{{"class", "vx310|orbek",
             "the family, with its class name and ids; the interface reconnects"},
            1,
            1,
            family},
    Setting{{"product-name", "TEXT", "the product's name"}, 1, 1, productName},
    Setting{{"driver-version", "WORD", "the driver's version number, for example 0x02050400"},
            1,
            1,
            driverVersion},
    Setting{{"firmware-version", "WORD", "the firmware's version number, for example 0x01070002"},
            1,
            1,
            firmwareVersion},
    Setting{{"firmware-known", "yes|no",
             "whether the driver knows that number or leaves it to be asked of the interface"},
            1,
            1,
            firmwareKnown},
    Setting{{"firmware-date", "TEXT", "the firmware's date, at most 15 characters"},
            1,
            1,
            firmwareDate},
};

}  // namespace

std::string settingsHelp() { return helpSection("Settings", kSettings); }

std::string settingHelp(std::string_view name) { return commandHelp(name, kSettings); }

SettingResult applySetting(Model& model, const std::vector<std::string>& words,
                           std::string* problem) {
  const auto* setting = std::find_if(
      kSettings.begin(), kSettings.end(),
      [&words](const Setting& entry) { return !words.empty() && entry.usage.name == words[0]; });
  if (setting == kSettings.end()) {
    *problem =
        words.empty() ? "no command is named" : "there is no command or setting '" + words[0] + "'";
    return SettingResult::wrongArguments;
  }
  const Arguments arguments = Arguments(words).subspan(1);
  SettingResult result = SettingResult::wrongArguments;
  if (arguments.size() >= setting->fewest && arguments.size() <= setting->most) {
    result = setting->apply(model, arguments);
  }
  if (result == SettingResult::wrongArguments) {
    *problem = expectedArguments(setting->usage);
  } else if (result == SettingResult::refused) {
    *problem = "the interface cannot take this '" + words[0] + "' now";
  }
  return result;
}

}  // namespace driver

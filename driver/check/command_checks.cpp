// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cmath>

#include "driver/check/settings_checks.h"
#include "protocol/options.h"
#include "protocol/records.h"
#include "protocol/services.h"
#include "protocol/usb_request.h"
#include "protocol/versions.h"

namespace check {

namespace {

using enum VQ_Command;

constexpr std::uint32_t kFullScale = 0x7FFFFF;
constexpr std::size_t kUnitIdSize = 8;
constexpr const char* kNotAsked = "it reaches into the interface: --intrusive sends it";

// --- What several checks need ---

void checkAnswered(Session& session, Verdict& verdict, VQ_Command command) {
  session.read(VQ_Dispatch(command), verdict);
}

// `request` must be failed.
void expectFailure(Session& session, Verdict& verdict, const VQ_Dispatch& request,
                   const std::string& what) {
  const Answer answer = session.ask(request);
  verdict.expect(answer.kind == Answer::Kind::failed, "4 bytes for " + what, answer.came);
}

void checkText(Session& session, Verdict& verdict, VQ_Command command, std::size_t size) {
  const auto answer = session.read(VQ_Dispatch(command), verdict);
  if (!answer) return;
  const auto text = answer->payload().first(size);
  verdict.expect(std::ranges::find(text, 0) != text.end(),
                 "a zero byte among the first " + std::to_string(size), hex(text));
}

void checkWordOf(Session& session, Verdict& verdict, VQ_Command command, std::uint32_t largest) {
  const auto answer = session.read(VQ_Dispatch(command), verdict);
  if (!answer) return;
  verdict.expect(answer->word(0) <= largest, "at most " + std::to_string(largest),
                 std::to_string(answer->word(0)));
}

// The elements of a list whose length `count` answers.
std::vector<VQ_Dispatch> readList(Session& session, Verdict& verdict, VQ_Command count,
                                  VQ_Command element) {
  constexpr std::uint32_t kMostElements = 64;
  std::vector<VQ_Dispatch> elements;
  const auto length = session.read(VQ_Dispatch(count), verdict);
  if (!length || !verdict.expect(length->word(0) <= kMostElements, "a count of at most 64",
                                 std::to_string(length->word(0)))) {
    return elements;
  }
  for (std::uint32_t i = 0; i < length->word(0); ++i) {
    if (const auto found = session.read(VQ_Dispatch(element, i), verdict)) {
      elements.push_back(*found);
    }
  }
  return elements;
}

std::vector<Bytes> configurations(Session& session, Verdict& verdict) {
  std::vector<Bytes> found;
  for (const auto& record :
       readList(session, verdict, kGetCountConfigurations, kGetConfiguration)) {
    const auto payload = record.payload().first<VQ_DeviceConfiguration::kSize>();
    found.emplace_back(payload.begin(), payload.end());
  }
  return found;
}

std::vector<Bytes> bufferSizes(Session& session, Verdict& verdict) {
  std::vector<Bytes> found;
  for (const auto& record : readList(session, verdict, kGetCountBufferSizes, kGetBufferSize)) {
    found.push_back(wordBytes({record.word(0), 0, 0, 0, 0}));
  }
  return found;
}

void checkPastTheLast(Session& session, Verdict& verdict, VQ_Command count, VQ_Command element) {
  const auto length = session.read(VQ_Dispatch(count), verdict);
  if (!length) return;
  for (const std::uint32_t index : {length->word(0), 0xFFFFFFFFu}) {
    expectFailure(session, verdict, VQ_Dispatch(element, index), "index " + std::to_string(index));
  }
}

// --- Clock, configurations, buffer sizes ---

void checkCount(Session& session, Verdict& verdict, VQ_Command command) {
  const auto answer = session.read(VQ_Dispatch(command), verdict);
  if (answer) verdict.expect(answer->word(0) > 0, "at least 1", "0");
}

void checkConfiguration(Session& session, Verdict& verdict) {
  for (const Bytes& bytes : configurations(session, verdict)) {
    const bool has =
        std::any_of(bytes.begin() + 4, bytes.end(), [](auto byte) { return byte != 0; });
    verdict.expect(has, "a word after the first that is not 0", hex(bytes));
  }
  if (verdict.state == Verdict::State::ok) {
    checkPastTheLast(session, verdict, kGetCountConfigurations, kGetConfiguration);
  }
}

void checkFour(Session& session, Verdict& verdict) {
  if (at(session.service(), {kClassNameProperty, "value"}) != kVX310DriverClass) {
    return verdict.skip("the interface is not a VX-310");
  }
  const auto found = configurations(session, verdict);
  if (verdict.state != Verdict::State::ok) return;
  std::vector<Bytes> expected;
  for (const std::uint32_t rate : {44100u, 48000u, 88200u, 96000u}) {
    expected.push_back(wordBytes({rate, 6, 24, 4, 24}));
  }
  verdict.expect(found.size() == expected.size(), "4 configurations", std::to_string(found.size()));
  for (const Bytes& one : expected) {
    const bool isThere = std::ranges::find(found, one) != found.end();
    verdict.expect(isThere, hex(one), "a list without it");
  }
}

void checkBufferSize(Session& session, Verdict& verdict) {
  for (const Bytes& bytes : bufferSizes(session, verdict)) {
    verdict.expect(wire::load<std::uint32_t>(bytes, 0) > 0, "more than 0 frames", hex(bytes));
  }
  if (verdict.state == Verdict::State::ok) {
    checkPastTheLast(session, verdict, kGetCountBufferSizes, kGetBufferSize);
  }
}

void checkIsListed(Session& session, Verdict& verdict, const Setting& setting,
                   std::vector<Bytes> (*list)(Session&, Verdict&)) {
  const auto current = readValue(session, setting, verdict);
  if (!current) return;
  Verdict ofList;
  const auto listed = list(session, ofList);
  if (listed.empty()) return;
  const bool found = std::ranges::any_of(listed, [&](const Bytes& value) {
    return std::equal(current->begin(), current->end(), value.begin());
  });
  verdict.expect(found, "one of the list", hex(*current));
}

constexpr Setting kConfiguration = {kGetCurrentConfiguration, kSetConfiguration,
                                    VQ_DeviceConfiguration::kSize};
constexpr Setting kBufferSize = {kGetCurrentBufferSize, VQ_Command::kSetBufferSize, 4};

void checkSetConfigurationOrSize(Session& session, Verdict& verdict) {
  Verdict ofConfiguration;
  Verdict ofSize;
  const auto wanted = configurations(session, ofConfiguration);
  const auto sizes = bufferSizes(session, ofSize);
  if (!wanted.empty()) checkSetting(session, verdict, kConfiguration, wanted);
  if (!sizes.empty()) checkSetting(session, verdict, kBufferSize, sizes);
  if (wanted.empty() && sizes.empty()) verdict.skip("nothing to choose from");
}

constexpr Setting kClockSource = {kGetCurrentClockSource, kSetClockSource, 4};

void checkSetClockSource(Session& session, Verdict& verdict) {
  checkSetting(session, verdict, kClockSource, {wordBytes({1}), wordBytes({0}), wordBytes({2})});
}

void checkFollowed(Session& session, Verdict& verdict) {
  Verdict ofInput;
  const auto answer = session.read(VQ_Dispatch(kGetDigitalStatus), ofInput);
  if (!answer || answer->word(0) == kLockValid) {
    return verdict.skip("the digital input may be followed");
  }
  checkNotTaken(session, verdict, kClockSource, wordBytes({2}));
}

void checkCanClockSource(Session& session, Verdict& verdict) {
  for (const std::uint32_t source : {0u, 1u, 2u}) {
    const auto answer = session.read(VQ_Dispatch(kCanClockSource, source), verdict);
    if (!answer) return;
    verdict.expect(answer->word(0) <= 1, "1 or 0", std::to_string(answer->word(0)));
  }
  Verdict ofCurrent;
  const auto current = session.read(VQ_Dispatch(kGetCurrentClockSource), ofCurrent);
  const auto answer = current
                          ? session.read(VQ_Dispatch(kCanClockSource, current->word(0)), verdict)
                          : std::nullopt;
  if (answer) verdict.expect(answer->word(0) == 1, "1 for the current source", "0");
}

void checkDigitalInput(Session& session, Verdict& verdict) {
  const auto answer = session.read(VQ_Dispatch(kGetDigitalStatus), verdict);
  if (!answer) return;
  const auto status = VQ_DigitalStatus::decode(answer->payload());
  verdict.expect(status.lockState <= kLockMuted, "a state from 0 to 3",
                 std::to_string(status.lockState));
  verdict.expect(status.lockState >= kLockValid || status.rate == 0,
                 "the rate 0 without a valid signal", std::to_string(status.rate));
}

// --- Options ---

void checkLogicByte(Session& session, Verdict& verdict) {
  const Setting setting = {kReadLogicChip, kWriteLogicChip, 4};
  const auto before = readValue(session, setting, verdict);
  if (!before) return;
  const std::uint32_t byte = wire::load<std::uint32_t>(*before, 0);
  checkSetting(session, verdict, setting, {wordBytes({byte ^ kDigitalMonitorBit})});
  checkNotTaken(session, verdict, setting, wordBytes({byte | 0x100}));
}

VQ_Dispatch routingRequest(std::uint32_t input, std::int32_t pair, std::int32_t source) {
  VQ_Dispatch request(kSetRouting);
  RoutingRecord{input, pair, source}.encode(request.payload());
  return request;
}

// Returns false when the interface does not have the command.
bool setRouting(Session& session, Verdict& verdict, bool input, std::int32_t wanted,
                std::int32_t expected) {
  const std::int32_t before = session.announcedRouting(input, 0);
  bool isThere = false;
  session.change("command 40", true, [&]() -> std::optional<bool> {
    const auto answer = session.read(routingRequest(input, 0, wanted), verdict);
    isThere = answer.has_value();
    if (!isThere) return std::nullopt;
    const std::int32_t after = session.announcedRouting(input, 0);
    const std::string found = std::to_string(static_cast<std::int32_t>(answer->word(2)));
    verdict.expect(found == std::to_string(after),
                   "the source that AjExtData has, " + std::to_string(after), found);
    verdict.expect(after == expected,
                   "source " + std::to_string(expected) + " after source " +
                       std::to_string(wanted) + " was set",
                   std::to_string(after));
    return after != before;
  });
  return isThere;
}

void checkSetRouting(Session& session, Verdict& verdict) {
  for (const bool input : {false, true}) {
    const std::int32_t before = session.announcedRouting(input, 0);
    const std::int32_t other = before == 1 ? 0 : 1;
    if (!setRouting(session, verdict, input, other, other)) return;
    setRouting(session, verdict, input, input ? kInputSources : kOutputSources, other);
    setRouting(session, verdict, input, before, before);
  }
  expectFailure(session, verdict, routingRequest(2, 0, 0), "a side of 2");
  expectFailure(session, verdict, routingRequest(0, kOutputPairs, 0), "a pair past the last");
  expectFailure(session, verdict, routingRequest(1, kInputPairs, 0), "a pair past the last");
}

void checkCodecRegister(Session& session, Verdict& verdict) {
  if (!session.read(VQ_Dispatch(kGetWMRegister), verdict)) return;
  expectFailure(session, verdict, recordWith(kGetWMRegister, Bytes(4, 0xFF)),
                "a codec that does not exist");
}

void checkSetCodecRegister(Session& session, Verdict& verdict) {
  if (!session.options.intrusive) return verdict.skip(kNotAsked);
  const auto before = session.read(VQ_Dispatch(kGetWMRegister), verdict);
  if (!before) return;
  const auto old = before->payload().first<6>();
  session.change("command 42", false, [&] {
    const auto answer = session.read(recordWith(kSetWMRegister, old), verdict);
    if (answer) {
      verdict.expect(std::ranges::equal(answer->payload().first<6>(), old), hex(old),
                     hex(answer->payload().first<6>()));
    }
    return std::optional(false);
  });
}

// --- Levels, channel maps, names ---

std::optional<VQ_Dispatch> checkLevels(Session& session, Verdict& verdict, VQ_Command command,
                                       std::size_t words) {
  const auto answer = session.read(VQ_Dispatch(command), verdict);
  for (std::size_t i = 0; answer && i < words; ++i) {
    verdict.expect(answer->word(i) <= kFullScale, "levels of at most 0x7FFFFF",
                   std::to_string(answer->word(i)));
  }
  return answer;
}

// The levels of channels that the configuration does not have are zero.
void checkChannelLevels(Session& session, Verdict& verdict, VQ_Command command, bool inputs) {
  const auto answer = checkLevels(session, verdict, command, VQ_LevelInfo32::kLevelsPerSide);
  Verdict ofConfiguration;
  const auto current = session.read(VQ_Dispatch(kGetCurrentConfiguration), ofConfiguration);
  if (!current || !answer) return;
  const auto configuration = VQ_DeviceConfiguration::decode(current->payload());
  const std::size_t channels = inputs ? configuration.numInputs : configuration.numOutputs;
  for (std::size_t i = channels; i < VQ_LevelInfo32::kLevelsPerSide; ++i) {
    verdict.expect(answer->word(i) == 0, "zeros after the channels",
                   std::to_string(answer->word(i)));
  }
}

constexpr Setting kMap = {kGetChannelMap, VQ_Command::kSetChannelMap, VQ_Orbek_ChannelMap::kSize};

void checkMap(Session& session, Verdict& verdict) {
  const auto bytes = readValue(session, kMap, verdict);
  const auto ids = session.read(VQ_Dispatch(kGetDeviceDescriptor), verdict);
  if (!bytes || !ids) return;
  const auto descriptor = VQ_DeviceDescriptor::decode(ids->payload());
  verdict.expect(
      VQ_Orbek_ChannelMap::decode(*bytes).isValid({descriptor.vendor, descriptor.product}),
      "codes that the interface has", hex(*bytes));
}

void checkSetMap(Session& session, Verdict& verdict) {
  const auto bytes = readValue(session, kMap, verdict);
  if (!bytes) return;
  auto map = VQ_Orbek_ChannelMap::decode(*bytes);
  const auto used = std::ranges::find_if(
      map.inputs, [](auto code) { return code != VQ_Orbek_ChannelMap::kUnused; });
  if (used == map.inputs.end()) return verdict.skip("the map uses no input");
  *used = VQ_Orbek_ChannelMap::kUnused;
  Bytes other(VQ_Orbek_ChannelMap::kSize);
  map.encode(other);
  checkSetting(session, verdict, kMap, {other});
}

constexpr Setting kConfigurationAndMap = {
    kGetConfigurationAndChannelMap, kSetConfigurationAndChannelMap, VQ_Orbek_ConfigAndMap::kSize};

void checkConfigurationAndMap(Session& session, Verdict& verdict) {
  const auto both = readValue(session, kConfigurationAndMap, verdict);
  const auto configuration = readValue(session, kConfiguration, verdict);
  const auto map = readValue(session, kMap, verdict);
  if (!both || !configuration || !map) return;
  Bytes expected = *configuration;
  expected.insert(expected.end(), map->begin(), map->end());
  verdict.expect(*both == expected, "what commands 8 and 65 answer, " + hex(expected), hex(*both));
}

void checkSetConfigurationAndMap(Session& session, Verdict& verdict) {
  const auto before = readValue(session, kConfigurationAndMap, verdict);
  if (!before) return;
  std::vector<Bytes> wanted = configurations(session, verdict);
  for (Bytes& value : wanted) {
    value.insert(value.end(), before->begin() + VQ_DeviceConfiguration::kSize, before->end());
  }
  if (wanted.empty()) return verdict.skip("nothing to choose from");
  checkSetting(session, verdict, kConfigurationAndMap, wanted);
  // A map that is not taken keeps the configuration, too.
  for (Bytes& value : wanted) {
    value[VQ_DeviceConfiguration::kSize] = 7;
    const auto answer = session.read(recordWith(kSetConfigurationAndChannelMap, value), verdict);
    if (!answer) return;
    const auto after = answer->payload().first<VQ_Orbek_ConfigAndMap::kSize>();
    if (verdict.expect(std::ranges::equal(*before, after), "neither taken, " + hex(*before),
                       hex(after))) {
      continue;
    }
    session.ask(recordWith(kSetConfigurationAndChannelMap, *before));
    return;
  }
}

void checkSetName(Session& session, Verdict& verdict) {
  const Setting setting = {kGetDeviceName, kSetDeviceName, kDeviceNameSize, true, true};
  const auto named = [](std::string_view name) {
    Bytes bytes(kDeviceNameSize, 0);
    std::ranges::copy(name, bytes.begin());
    return bytes;
  };
  checkSetting(session, verdict, setting, {named("Checked"), named("Checked 2")});
  checkSetting(session, verdict, setting, {Bytes(kDeviceNameSize, 'C')});
}

// --- Identity and versions ---

void checkValueAtOpen(Session& session, Verdict& verdict) {
  const auto value = session.read(VQ_Dispatch(kGetValueAtOpen), verdict);
  Verdict ofConfiguration;
  const auto current = session.read(VQ_Dispatch(kGetCurrentConfiguration), ofConfiguration);
  if (!value) return;
  const double rate = value->valueAtOpen();
  verdict.expect(std::isfinite(rate) && rate > 0 && (!current || rate == current->word(0)),
                 current ? std::to_string(current->word(0)) : "a rate", std::to_string(rate));
}

void checkDriverVersion(Session& session, Verdict& verdict) {
  const auto answer = session.need(VQ_Dispatch(kGetDriverVersion), verdict);
  if (!answer) return;
  const std::uint32_t version = answer->word(0);
  verdict.expect(version != 0, "a version", "0");
  verdict.expect(DriverVersion::decode(version).stage <= 4, "a stage from 0 to 4",
                 std::to_string(DriverVersion::decode(version).stage));
  verdict.expect(answer->word(1) == 0, "w1 0", std::to_string(answer->word(1)));
}

void checkUnitId(Session& session, Verdict& verdict) {
  const auto answer = session.read(VQ_Dispatch(kControlCode56), verdict);
  const Value& uid = at(session.service(), {kRegistryProperties, "value", kOrbekUidKey, "value"});
  if (!answer || !isArrayOf(kUnitIdSize, uid)) return;
  for (std::size_t i = 0; i < uid.size(); ++i) {
    verdict.expect(uid[i] == answer->payload()[i], "the id of OrbekUID",
                   hex(answer->payload().first<kUnitIdSize>()));
  }
}

// --- Transfers ---

void checkUsbRequest(Session& session, Verdict& verdict) {
  const Answer version = session.ask(VQ_Dispatch(kGetDriverVersion));
  const Answer firmware = session.ask(VQ_Dispatch(kGetFirmwareVersion));
  std::vector<UsbRequestLayout> layouts = {UsbRequestLayout::kNew};
  if (version.kind == Answer::Kind::full &&
      DriverVersion::decode(version.record.word(0)).major == kOldLayoutMajor) {
    layouts.push_back(UsbRequestLayout::kOld);
  }
  for (const UsbRequestLayout layout : layouts) {
    const auto answer =
        session.read(usbRequest(kFirmwareVersionRequest, EDIR_DeviceToHost, 3, layout), verdict);
    if (!answer) return;
    const auto data = decodeUsbAnswer(*answer, layout);
    verdict.expect(data.size() == 3, "3 bytes read", std::to_string(data.size()));
    if (firmware.kind != Answer::Kind::full || firmware.record.word(0) == 0) continue;
    const auto expected = FirmwareVersion::decode(firmware.record.word(0)).toAnswer();
    verdict.expect(std::ranges::equal(data, expected),
                   "the version of command 23, " + hex(expected), hex(data));
  }
}

void checkOtherUsbRequests(Session& session, Verdict& verdict) {
  if (!session.options.intrusive) return verdict.skip(kNotAsked);
  expectFailure(session, verdict, usbRequest(0x01, EDIR_DeviceToHost, 3), "request 0x01");
}

void checkControlPort(Session& session, Verdict& verdict) {
  expectFailure(session, verdict, VQ_Dispatch(kSendCPortBytes), "a count of 0");
  if (!session.options.intrusive || verdict.state == Verdict::State::wrong) return;
  session.read(controlPortRecord(std::array<std::uint8_t, 1>{}), verdict);
}

// Streaming goes on afterwards.
void checkStreaming(Session& session, Verdict& verdict, VQ_Command command) {
  if (!session.options.intrusive) return verdict.skip(kNotAsked);
  session.change("command", false, [&]() -> std::optional<bool> {
    const auto answer = session.read(VQ_Dispatch(command), verdict);
    if (answer && command == kSuspendStreaming) {
      verdict.expect(answer->word(0) == 1, "1", std::to_string(answer->word(0)));
    }
    session.ask(VQ_Dispatch(kResumeStreaming));
    return std::nullopt;
  });
}

constexpr std::array kChecks = {
    Check{"6 count of configurations: w0 count",
          [](Session& s, Verdict& v) { checkCount(s, v, kGetCountConfigurations); }},
    Check{"7 configuration: configuration; fails past the last", checkConfiguration},
    Check{"The VX-310 has four, at 44100, 48000, 88200 and 96000 Hz, each with 6 inputs and 4 "
          "outputs "
          "of 24 bits",
          checkFour},
    Check{"8 current configuration: configuration",
          [](Session& s, Verdict& v) { checkIsListed(s, v, kConfiguration, configurations); }},
    Check{"9 set configuration, or buffer size: the value that the interface then has, in the "
          "same form",
          checkSetConfigurationOrSize},
    Check{"10 count of buffer sizes: w0 count",
          [](Session& s, Verdict& v) { checkCount(s, v, kGetCountBufferSizes); }},
    Check{"11 buffer size: w0 frames; fails past the last", checkBufferSize},
    Check{"12 current buffer size: w0 frames",
          [](Session& s, Verdict& v) { checkIsListed(s, v, kBufferSize, bufferSizes); }},
    Check{"14 can the clock source be chosen: w0 1 for yes, 0 for no", checkCanClockSource},
    Check{"15 current clock source: w0 source",
          [](Session& s, Verdict& v) { checkWordOf(s, v, kGetCurrentClockSource, 2); }},
    Check{"16 set clock source: w0 source that the interface then has", checkSetClockSource},
    Check{"Source 2 is taken only while the input can be followed", checkFollowed},
    Check{"17 digital input: w0 state, w1 measured rate in Hz", checkDigitalInput},
    Check{"2 digital-out selector: w0 selector",
          [](Session& s, Verdict& v) { checkAnswered(s, v, kGetDigitalOutSelector); }},
    Check{"3 set digital-out selector: —",
          [](Session& s, Verdict& v) {
            checkSetting(s, v, {kGetDigitalOutSelector, kSetDigitalOutSelector, 4, false},
                         {wordBytes({1}), wordBytes({0})});
          }},
    Check{"4 logic-chip byte: w0 byte: bit 4 digital monitor, bit 3 mix-out select",
          [](Session& s, Verdict& v) { checkWordOf(s, v, kReadLogicChip, 255); }},
    Check{"5 set logic-chip byte: w0 byte", checkLogicByte},
    Check{"25 USB 1.1 mode: w0 mode",
          [](Session& s, Verdict& v) { checkAnswered(s, v, kGetUSB1Mode); }},
    Check{"26 set USB 1.1 mode: w0 mode that the interface then has",
          [](Session& s, Verdict& v) {
            checkSetting(s, v, {kGetUSB1Mode, kSetUSB1Mode, 4}, {wordBytes({1}), wordBytes({0})});
          }},
    Check{"27 digital output format: w0 0 consumer, 1 professional",
          [](Session& s, Verdict& v) { checkWordOf(s, v, kGetDigitalOutMode, 1); }},
    Check{"28 set digital output format: w0 format that the interface then has",
          [](Session& s, Verdict& v) {
            checkSetting(s, v, {kGetDigitalOutMode, kSetDigitalOutMode, 4},
                         {wordBytes({1}), wordBytes({0})});
          }},
    Check{"40 set routing: w2 source that the interface then has; fails for another w0 and for a "
          "pair that does not exist",
          checkSetRouting},
    Check{"41 codec register: contents at 4; fails for a register that does not exist",
          checkCodecRegister},
    Check{"42 set codec register: contents at 4", checkSetCodecRegister},
    Check{"35 level record: 64 bytes: 8 words of input levels, 8 of output levels",
          [](Session& s, Verdict& v) { checkLevels(s, v, kReadLevelInfo, 16); }},
    Check{"49 output levels: 32 words, one per output channel, then zeros",
          [](Session& s, Verdict& v) { checkChannelLevels(s, v, kGetOutLevels, false); }},
    Check{"72 input levels: 32 words, one per input channel, then zeros",
          [](Session& s, Verdict& v) { checkChannelLevels(s, v, kGetInLevels, true); }},
    Check{"65 channel map: map", checkMap},
    Check{"66 set channel map: map that the interface then has", checkSetMap},
    Check{"69 configuration and map: configuration, then map (84 bytes)", checkConfigurationAndMap},
    Check{"68 set configuration and map: the record that the interface then has; both are taken "
          "or neither",
          checkSetConfigurationAndMap},
    Check{"70 device name: 32 bytes of text, zero-terminated",
          [](Session& s, Verdict& v) { checkText(s, v, kGetDeviceName, kDeviceNameSize); }},
    Check{"71 set device name: the name that the interface then has; at most 31 characters",
          checkSetName},
    Check{"18 string 0: text: maker and product",
          [](Session& s, Verdict& v) { checkText(s, v, kGetString0, kStringSize); }},
    Check{"19 string 1: text: the unit's number",
          [](Session& s, Verdict& v) { checkText(s, v, kGetString1, kStringSize); }},
    Check{"20 speed: w0 non-zero for USB 2.0, 0 for USB 1.1",
          [](Session& s, Verdict& v) { checkAnswered(s, v, kGetUsbSpeed); }},
    Check{"21 device descriptor: 16 bytes, see below",
          [](Session& s, Verdict& v) { s.need(VQ_Dispatch(kGetDeviceDescriptor), v); }},
    Check{"22 driver version: w0 version, w1 0", checkDriverVersion},
    Check{"23 firmware version: w0 version, or 0 when the driver does not know it",
          [](Session& s, Verdict& v) { checkAnswered(s, v, kGetFirmwareVersion); }},
    Check{"24 firmware date: 16 bytes: at most 15 characters and a zero byte",
          [](Session& s, Verdict& v) { checkText(s, v, kGetFirmwareDate, kFirmwareDateSize); }},
    Check{"48 unit id: 64-bit number", checkUnitId},
    Check{"67 value at open: 64-bit float: the sample rate in Hz", checkValueAtOpen},
    Check{"0x56: firmware version: byte 0 its lowest number, byte 1 its highest, byte 2 the lowest "
          "8 bits of 10 times the second number plus the third",
          checkUsbRequest},
    Check{"Other requests fail", checkOtherUsbRequests},
    Check{"33 prepare firmware update: — ; suspends streaming",
          [](Session& s, Verdict& v) { checkStreaming(s, v, kPrepareFirmwareUpdate); }},
    Check{"36 control port bytes: — ; fails for a count of 0", checkControlPort},
    Check{"38 suspend streaming: w0 1",
          [](Session& s, Verdict& v) { checkStreaming(s, v, kSuspendStreaming); }},
    Check{"37 resume streaming: —",
          [](Session& s, Verdict& v) { checkStreaming(s, v, kResumeStreaming); }},
};

}  // namespace

std::span<const Check> commandChecks() { return kChecks; }

}  // namespace check

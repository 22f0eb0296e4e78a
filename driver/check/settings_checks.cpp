// SPDX-License-Identifier: MIT
#include "driver/check/settings_checks.h"

#include <algorithm>

namespace check {

namespace {

using enum VQ_Command;

std::string nameOf(VQ_Command command) {
  return "command " + std::to_string(static_cast<std::uint32_t>(command));
}

// Sends a value to an interface that had `before`, if that is known. Returns the one that it then
// has; nullopt after a verdict.
std::optional<Bytes> set(Session& session, const Setting& setting, const Bytes& value,
                         const std::optional<Bytes>& before, Verdict& verdict) {
  std::optional<Bytes> after;
  session.change(nameOf(setting.set), false, [&]() -> std::optional<bool> {
    const Answer answer = session.ask(recordWith(setting.set, value));
    session.connection.reset();  // all connections see one state
    if (!verdict.expect(
            answer.kind == Answer::Kind::full,
            "an answer of 260 bytes to " + nameOf(setting.set) + ", as to " + nameOf(setting.get),
            answer.came)) {
      return std::nullopt;
    }
    after = readValue(session, setting, verdict);
    if (!after) return std::nullopt;
    const Bytes answered(
        answer.record.payload().begin(),
        answer.record.payload().begin() + static_cast<std::ptrdiff_t>(setting.size));
    verdict.expect(!setting.isAnswered || answered == *after,
                   "what " + nameOf(setting.get) + " then answers, " + hex(*after), hex(answered));
    verdict.expect(!setting.isText || std::ranges::find(*after, 0) != after->end(),
                   "a zero byte after the text", hex(*after));
    if (!before) return std::nullopt;
    return after != before;
  });
  return after;
}

// Sets the value that the interface had, also after a check that went wrong. `size` is that of the
// values that were sent: a buffer size is told from a configuration by the words after it.
void restore(Session& session, const Setting& setting, const Bytes& before, std::size_t size,
             const std::optional<Bytes>& after, Verdict& verdict) {
  if (after == before) return;
  Bytes old = before;
  old.resize(std::max(old.size(), size));
  const auto restored = set(session, setting, old, after, verdict);
  verdict.expect(restored == before, "the old value again, " + hex(before),
                 restored ? hex(*restored) : "nothing");
}

}  // namespace

Bytes wordBytes(std::initializer_list<std::uint32_t> words) {
  Bytes bytes(4 * words.size());
  wire::storeWords(bytes, 0, std::vector(words));
  return bytes;
}

VQ_Dispatch recordWith(VQ_Command command, std::span<const std::uint8_t> payload) {
  VQ_Dispatch record(command);
  wire::copyFitting(payload, record.payload());
  return record;
}

VQ_Dispatch usbRequest(std::uint8_t number, EDirection direction, std::uint32_t length,
                       UsbRequestLayout layout) {
  UsbRequest request;
  request.direction = direction;
  request.request = number;
  request.length = length;
  // Without data the record would have none of the fields.
  return request.encode(layout, Bytes(std::max(length, 1u)));
}

std::optional<Bytes> readValue(Session& session, const Setting& setting, Verdict& verdict) {
  const auto answer = session.read(VQ_Dispatch(setting.get), verdict);
  if (!answer) return std::nullopt;
  const auto value = answer->payload().first(setting.size);
  return Bytes(value.begin(), value.end());
}

void checkSetting(Session& session, Verdict& verdict, const Setting& setting,
                  const std::vector<Bytes>& values) {
  const auto before = readValue(session, setting, verdict);
  if (!before) return;
  std::optional<Bytes> after = before;
  for (const Bytes& value : values) {
    const bool isOther = !std::equal(before->begin(), before->end(), value.begin());
    if (after == before && isOther) after = set(session, setting, value, before, verdict);
  }
  if (!values.empty()) restore(session, setting, *before, values[0].size(), after, verdict);
}

void checkNotTaken(Session& session, Verdict& verdict, const Setting& setting, const Bytes& value) {
  const auto before = readValue(session, setting, verdict);
  if (!before) return;
  const auto after = set(session, setting, value, before, verdict);
  verdict.expect(!after || after == before,
                 hex(*before) + " as before " + nameOf(setting.set) + " with " + hex(value),
                 after ? hex(*after) : "nothing");
  restore(session, setting, *before, value.size(), after, verdict);
}

void checkSettingsNotTaken(Session& session, Verdict& verdict) {
  struct Attempt {
    Setting setting;
    Bytes value;
  };
  Bytes map(64, 0);
  wire::storeWords(map, 0, std::vector<std::uint32_t>(16, 255));
  map[0] = 7;  // no input's code
  const std::vector<Attempt> attempts = {
      {{kGetDigitalOutMode, kSetDigitalOutMode, 4}, wordBytes({2})},
      {{kGetUSB1Mode, kSetUSB1Mode, 4}, wordBytes({2})},
      {{kGetCurrentClockSource, kSetClockSource, 4}, wordBytes({7})},
      {{kGetCurrentConfiguration, kSetConfiguration, 20}, wordBytes({1, 6, 24, 4, 24})},
      {{kGetCurrentBufferSize, kSetBufferSize, 4}, wordBytes({3, 0, 0, 0, 0})},
      {{kGetChannelMap, kSetChannelMap, 64}, map},
  };
  bool isAnyThere = false;
  for (const auto& [setting, value] : attempts) {
    Verdict one;
    checkNotTaken(session, one, setting, value);
    isAnyThere = isAnyThere || one.state != Verdict::State::skipped;
    verdict.expect(one.state != Verdict::State::wrong, one.expected, one.came);
  }
  if (!isAnyThere) verdict.skip("the interface has no setting");
}

}  // namespace check

// SPDX-License-Identifier: MIT
// Checks of the driver messages that came while the others ran.
#include <algorithm>
#include <array>

#include "driver/check/session.h"
#include "protocol/services.h"

namespace check {

namespace {

// The notification of a driver message; nullopt for a message that clients ignore.
std::optional<std::uint32_t> notificationOfSignal(const Signal& signal) {
  if (signal.member != kMessageSignal || signal.arguments.size() != 2) return std::nullopt;
  const Value& type = signal.arguments[0];
  const Value& argument = signal.arguments[1];
  if (!type.is_number_unsigned() || !argument.is_array()) return std::nullopt;
  Bytes bytes;
  for (const Value& byte : argument) {
    bytes.push_back(byte.is_number_unsigned() ? byte.get<std::uint8_t>() : std::uint8_t{0});
  }
  return notificationOf(type.get<std::uint32_t>(), bytes);
}

// Those that make clients read the state again.
std::ptrdiff_t countMessages(const std::vector<Signal>& signals) {
  constexpr std::array kReadAgain = {3u, 49u, 50u, 55u, 56u};
  return std::ranges::count_if(signals, [&](const Signal& signal) {
    const auto number = notificationOfSignal(signal);
    return number && std::ranges::find(kReadAgain, *number) != kReadAgain.end();
  });
}

void checkMessages(Session& session, Verdict& verdict, bool changed, std::ptrdiff_t expected,
                   const char* what) {
  bool isAnyThere = false;
  for (const Change& change : session.changes) {
    if (change.changed != changed) continue;
    isAnyThere = true;
    const std::ptrdiff_t came = countMessages(session.signalsAfter(change));
    verdict.expect(came == expected, what, std::to_string(came) + " after " + change.what);
  }
  if (!isAnyThere) verdict.skip("there was no such setting");
}

void checkForm(Session& session, Verdict& verdict) {
  session.bus->waitFor([] { return false; }, kAnswerWaitMs);  // for messages that come late
  bool isAnyThere = false;
  for (const Signal& signal : session.bus->signals) {
    if (signal.member != kMessageSignal || signal.arguments.size() != 2) continue;
    if (signal.arguments[0] != kDriverMessage) continue;
    isAnyThere = true;
    const Value& argument = signal.arguments[1];
    const bool isRight =
        isArrayOf(kDriverMessageSize, argument) && notificationOfSignal(signal) &&
        std::all_of(argument.begin() + 8, argument.end(), [](const Value& b) { return b == 0; });
    verdict.expect(isRight, "36 bytes: the size 36, the number, zeros", textOf(argument));
  }
  if (!isAnyThere) verdict.skip("the driver sent no message");
}

void checkOrder(Session& session, Verdict& verdict) {
  bool isAnyThere = false;
  for (const Change& change : session.changes) {
    if (!change.isRouting || change.changed != true) continue;
    isAnyThere = true;
    bool announced = false;
    for (const Signal& signal : session.signalsAfter(change)) {
      announced = announced || signal.member == "PropertiesChanged";
      if (signal.member != kMessageSignal) continue;
      verdict.expect(announced, "PropertiesChanged", "the message of a routing first");
    }
  }
  if (!isAnyThere) verdict.skip("no routing was changed");
}

void checkNewValue(Session& session, Verdict& verdict) {
  bool isAnyThere = false;
  for (const Change& change : session.changes) {
    for (const Signal& signal : session.signalsAfter(change)) {
      if (signal.member != "PropertiesChanged" || change.properties.is_null()) continue;
      isAnyThere = true;
      verdict.expect(signal.arguments.size() == 3 && signal.arguments[0] == kServiceInterface &&
                         at(signal.arguments[1], {kRegistryProperties}) == change.properties,
                     kServiceInterface + (" and " + textOf(change.properties)),
                     textOf(signal.arguments));
    }
  }
  if (!isAnyThere) verdict.skip("no routing was changed");
}

constexpr std::array kChecks = {
    Check{"A driver's own messages have the type 0xe0000130 and an argument of 36 bytes",
          checkForm},
    Check{"A driver sends one message for every change that a client can show, also for a change "
          "that the client itself made",
          [](Session& s, Verdict& v) {
            checkMessages(s, v, true, 1, "one message that makes clients read the state again");
          }},
    Check{"a setting that changes nothing sends none",
          [](Session& s, Verdict& v) { checkMessages(s, v, false, 0, "no message"); }},
    Check{"PropertiesChanged comes before the message of the same change", checkOrder},
    Check{"PropertiesChanged is sent with the new value", checkNewValue},
};

}  // namespace

std::span<const Check> messageChecks() { return kChecks; }

}  // namespace check

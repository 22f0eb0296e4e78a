// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cstring>

#include "driver/check/session.h"
#include "protocol/options.h"
#include "protocol/services.h"

namespace check {

namespace {

// The interface's nodes; without them the verdict has the reason.
std::vector<Node> nodesOf(Session& session, Verdict& verdict) {
  std::vector<Node> nodes = session.nodes();
  if (!session.audio) {
    verdict.skip(session.audioProblem);
  } else if (session.audio->named(kVX310AudioDeviceName).empty()) {
    verdict.skip("there is no node \"VX-310\": routings can be read and not be set");
  } else {
    verdict.expect(!nodes.empty(), "a node of " + session.path, "none");
  }
  return nodes;
}

// The same, all with the routing property; empty after a verdict.
std::vector<Node> routingNodes(Session& session, Verdict& verdict) {
  std::vector<Node> nodes = nodesOf(session, verdict);
  for (const Node& node : nodes) {
    const Bytes records = node.routings.value_or(Bytes());
    if (verdict.expect(records.size() == sizeof(RoutingRecords), "the property VQrt of 60 bytes",
                       std::to_string(records.size()) + " bytes")) {
      continue;
    }
    return {};
  }
  return nodes;
}

Bytes bytesOf(const RoutingRecord& record) {
  Bytes bytes(sizeof record);
  std::memcpy(bytes.data(), &record, sizeof record);
  return bytes;
}

// The records that the properties announce.
Bytes announcedRecords(Session& session) {
  Bytes bytes;
  const auto add = [&](bool input, std::int32_t pair) {
    const Bytes record = bytesOf({input ? 1u : 0u, pair, session.announcedRouting(input, pair)});
    bytes.insert(bytes.end(), record.begin(), record.end());
  };
  for (std::int32_t pair = 0; pair < kOutputPairs; ++pair) add(false, pair);
  for (std::int32_t pair = 0; pair < kInputPairs; ++pair) add(true, pair);
  return bytes;
}

void checkNodes(Session& session, Verdict& verdict) {
  const std::vector<Node> nodes = nodesOf(session, verdict);
  if (nodes.empty()) return;
  std::string found;
  for (const Node& node : nodes) {
    found +=
        (found.empty() ? "" : ", ") + node.mediaClass + " with " + std::to_string(node.channels);
  }
  const auto isThere = [&](const char* mediaClass, std::int32_t channels) {
    return std::ranges::count_if(nodes, [&](const Node& node) {
             return node.mediaClass == mediaClass && node.channels == channels;
           }) == 1;
  };
  verdict.expect(nodes.size() == 2 && isThere("Audio/Sink", kOutputChannels) &&
                     isThere("Audio/Source", kInputChannels),
                 "Audio/Sink with 4 channels, Audio/Source with 6", found);
}

void checkObject(Session& session, Verdict& verdict) {
  const auto nodes = session.allNodes();
  if (!session.audio) return verdict.skip(session.audioProblem);
  if (nodes.empty()) return verdict.skip("there is no node \"VX-310\"");
  const auto paths = session.services();
  for (const Node& node : nodes) {
    if (node.object.empty() && paths.size() == 1) {
      verdict.skip("a driver of one interface may leave it out");
      continue;
    }
    verdict.expect(std::ranges::find(paths, node.object) != paths.end(),
                   "the object path of a service", "\"" + node.object + "\"");
    const auto like = std::ranges::count_if(nodes, [&](const Node& other) {
      return other.object == node.object && other.mediaClass == node.mediaClass;
    });
    verdict.expect(like == 1, "another path for another interface",
                   "\"" + node.object + "\" of two nodes " + node.mediaClass);
  }
}

void checkRecords(Session& session, Verdict& verdict) {
  const Bytes announced = announcedRecords(session);
  for (const Node& node : routingNodes(session, verdict)) {
    verdict.expect(*node.routings == announced, "the routings of AjExtData, " + hex(announced),
                   hex(*node.routings));
  }
}

// Writes bytes to a node and notes how often each has answered. All must then have `expected`.
void write(Session& session, Verdict& verdict, const Node& node, const Bytes& bytes,
           const Bytes& expected) {
  session.change("a write to the audio device", true, [&]() -> std::optional<bool> {
    const std::vector<Node> before = session.nodes();
    const auto answers = [&] {
      std::vector<unsigned> counts;
      const auto now = session.audio->named(kVX310AudioDeviceName);
      for (const Node& one : before) {
        const auto found = std::ranges::find(now, one.id, &Node::id);
        counts.push_back(found == now.end() ? 0 : found->updates - one.updates);
      }
      return counts;
    };
    if (before.empty()) return std::nullopt;
    session.audio->write(node.id, bytes);
    session.audio->waitFor(
        [&] { return std::ranges::none_of(answers(), [](unsigned n) { return n == 0; }); },
        kAnswerWaitMs);
    // A second answer may come late.
    session.audio->waitFor(
        [&] { return std::ranges::any_of(answers(), [](unsigned n) { return n > 1; }); },
        kAnswerWaitMs);
    const auto counts = answers();
    session.writeAnswers.insert(session.writeAnswers.end(), counts.begin(), counts.end());
    verdict.expect(std::ranges::any_of(counts, [](unsigned n) { return n > 0; }),
                   "the property again within 250 ms", "nothing");
    const std::vector<Node> after = session.nodes();
    for (const Node& one : after) {
      verdict.expect(one.routings == expected, "all records, " + hex(expected),
                     hex(one.routings.value_or(Bytes())));
    }
    return !after.empty() && after[0].routings != before[0].routings;
  });
}

void checkWrite(Session& session, Verdict& verdict) {
  const auto nodes = routingNodes(session, verdict);
  if (nodes.empty()) return;
  const Bytes before = *nodes[0].routings;
  RoutingRecord first;
  std::memcpy(&first, before.data(), sizeof first);
  RoutingRecord other = first;
  other.value = first.value == kFromInput12 ? kFromPlayback12 : kFromInput12;
  Bytes expected = before;
  std::memcpy(expected.data(), &other, sizeof other);
  write(session, verdict, nodes.front(), bytesOf(other), expected);
  verdict.expect(announcedRecords(session) == expected, "the same in AjExtData",
                 hex(announcedRecords(session)));
  write(session, verdict, nodes.back(), bytesOf(first), before);
  // A node that takes no writes must not leave the other's routing changed.
  if (announcedRecords(session) == expected) {
    write(session, verdict, nodes.front(), bytesOf(first), before);
  }
}

void checkRefused(Session& session, Verdict& verdict) {
  const auto nodes = routingNodes(session, verdict);
  if (nodes.empty()) return;
  for (const RoutingRecord& record :
       {RoutingRecord{0, kOutputPairs, 0}, RoutingRecord{0, 0, kOutputSources}}) {
    write(session, verdict, nodes[0], bytesOf(record), *nodes[0].routings);
  }
}

void checkOtherLengths(Session& session, Verdict& verdict) {
  const auto nodes = routingNodes(session, verdict);
  if (nodes.empty()) return;
  // What is written after it has been handled when it is.
  session.audio->write(nodes[0].id, Bytes(8, 0));
  write(session, verdict, nodes[0], bytesOf({0, kOutputPairs, 0}), *nodes[0].routings);
}

// `isRight` tells how often a node may answer a write.
void checkAnswers(Session& session, Verdict& verdict, bool (*isRight)(unsigned),
                  const char* expected) {
  if (session.writeAnswers.empty()) return verdict.skip("no routing was written");
  for (const unsigned count : session.writeAnswers) {
    verdict.expect(isRight(count), expected, std::to_string(count) + " of a node");
  }
}

constexpr std::array kChecks = {
    Check{"PipeWire nodes with the node.description \"VX-310\" (or \"VX-310 (Bit Accurate)\"), by "
          "which clients find the device",
          checkNodes},
    Check{"Their property vantrel.driver.object is the path of the service's object, which tells "
          "the nodes of two interfaces apart",
          checkObject},
    Check{"Reading gives five records in a row: output 0 and 1, input 0, 1 and 2", checkRecords},
    Check{"After each write the driver sets the property again, all five records", checkWrite},
    Check{"also when it did not take the record because the pair or the source does not exist",
          checkRefused},
    Check{"bytes of another length are ignored", checkOtherLengths},
    Check{"a write to either is answered on both",
          [](Session& s, Verdict& v) {
            checkAnswers(
                s, v, [](unsigned count) { return count > 0; },
                "an answer of each node within 250 ms");
          }},
    Check{"It does so once for each write",
          [](Session& s, Verdict& v) {
            checkAnswers(
                s, v, [](unsigned count) { return count <= 1; }, "one answer of each node");
          }},
};

}  // namespace

std::span<const Check> audioChecks() { return kChecks; }

}  // namespace check

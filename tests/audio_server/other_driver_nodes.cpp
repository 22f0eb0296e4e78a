// SPDX-License-Identifier: MIT
// usage: other_driver_nodes OBJECT ANSWERS...
// Audio nodes of a driver that does not hold to the protocol: a sink and a source in turn, one for
// each of ANSWERS, for the service OBJECT. A node answers each write so many times; "1+" is once,
// and again after a moment. A write to any of them is one to all, and changes nothing. Prints
// "ready" when they are there, and runs until it is killed.
#include <pipewire/pipewire.h>
#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "driver/audio_node/audio_stream.h"
#include "platform/pipewire/pipewire.h"

namespace {

constexpr RoutingRecords kRecords = {{{0, 0, 0}, {0, 1, 1}, {1, 0, 0}, {1, 1, 1}, {1, 2, 2}}};
constexpr int kMomentMs = 100;

driver::AudioStream::Description describe(const std::string& number, bool isSink,
                                          const char* object) {
  return {isSink,
          isSink ? 4u : 6u,
          48000,
          {{PW_KEY_NODE_NAME, "other-" + number},
           {PW_KEY_NODE_DESCRIPTION, "VX-310"},
           {kServiceObjectProperty, object}},
          kRecords};
}

}  // namespace

int main(int count, char** words) {
  const std::span arguments(words, static_cast<std::size_t>(count));
  if (count < 3) return EXIT_FAILURE;
  const auto answers = arguments.subspan(2);
  const pipewire::Library library;
  pw_loop* loop = pw_loop_new(nullptr);
  std::vector<std::unique_ptr<driver::AudioStream>> nodes;
  bool isWritten = false;
  const auto open = [&](pw_core* core) {
    for (std::size_t i = 0; i < answers.size(); ++i) {
      nodes.push_back(std::make_unique<driver::AudioStream>(
          core, describe(std::to_string(i), i % 2 == 0, arguments[1]),
          driver::AudioStream::Handlers{
              [&isWritten](const RoutingRecord&) { isWritten = true; }, [] {},
              [](const driver::Cycle&, std::size_t, std::span<float* const>) {}}));
    }
  };
  pipewire::Connection connection(loop, "client.conf", {open, [&nodes] { nodes.clear(); }});
  connection.start();
  pollfd event{pw_loop_get_fd(loop), POLLIN, 0};
  bool isReady = false;
  for (bool isLate = false;;) {
    const bool isMoment = ::poll(&event, 1, isLate ? kMomentMs : -1) == 0;
    pw_loop_enter(loop);
    pw_loop_iterate(loop, 0);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const std::string times = answers[i];
      if (isLate && isMoment && times.ends_with('+')) nodes[i]->show(kRecords);
      for (int n = isWritten ? std::atoi(answers[i]) : 0; n > 0; --n) nodes[i]->show(kRecords);
    }
    const bool arePresent =
        std::ranges::all_of(nodes, [](const auto& node) { return node->present(); });
    if (!isReady && !nodes.empty() && arePresent) {
      isReady = true;
      std::puts("ready");
      std::fflush(stdout);
    }
    isLate = isWritten || (isLate && !isMoment);
    isWritten = false;
    pw_loop_leave(loop);
  }
}

// SPDX-License-Identifier: MIT
// The driver's audio node on a thread with a loop of its own, as in a driver process.
#pragma once

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "driver/audio_node/audio_node.h"

namespace pipewire_test {

// Takes every value that is written to one of its routings until refuseWrites(). Any thread.
class DriverNode {
 public:
  DriverNode(std::string name, const RoutingRecords& records)
      : stop_(::eventfd(0, EFD_CLOEXEC)),
        thread_([this, name = std::move(name), records] { run(name, records); }) {}

  ~DriverNode() {
    ::eventfd_write(stop_, 1);
    thread_.join();
    ::close(stop_);
  }
  DriverNode(const DriverNode&) = delete;
  DriverNode& operator=(const DriverNode&) = delete;

  void refuseWrites() {
    const std::lock_guard lock(mutex_);
    refuse_ = true;
  }

  // The records that clients have written, in order.
  std::vector<RoutingRecord> written() const {
    const std::lock_guard lock(mutex_);
    return written_;
  }

 private:
  void run(const std::string& name, RoutingRecords records) {
    driver::AudioGraph graph;
    driver::AudioNode* self = nullptr;
    driver::AudioNode node(
        graph, name, records,
        {[&](const RoutingRecord& record) { write(*self, records, record); }, {}});
    self = &node;
    pollfd events[] = {{graph.descriptor(), POLLIN, 0}, {stop_, POLLIN, 0}};
    while (::poll(events, 2, -1) >= 0 && !(events[1].revents & POLLIN)) graph.dispatch();
  }

  void write(driver::AudioNode& node, RoutingRecords& records, const RoutingRecord& record) {
    const std::lock_guard lock(mutex_);
    written_.push_back(record);
    if (refuse_) return;
    for (RoutingRecord& own : records) {
      if (own.input == record.input && own.pair == record.pair) own.value = record.value;
    }
    node.setRoutings(records);
  }

  mutable std::mutex mutex_;  // guards refuse_ and written_
  bool refuse_ = false;
  std::vector<RoutingRecord> written_;
  int stop_;
  std::thread thread_;
};

}  // namespace pipewire_test

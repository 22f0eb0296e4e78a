// SPDX-License-Identifier: MIT
// A driver's node with the routing property, on a thread with a loop of its own, as in a driver
// process.
#pragma once

#include <pipewire/pipewire.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "driver/audio_node/audio_stream.h"
#include "platform/pipewire/pipewire.h"

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
    const pipewire::Library library;
    pw_loop* loop = pw_loop_new(nullptr);
    {
      std::optional<driver::AudioStream> stream;
      std::vector<RoutingRecord> requests;
      const auto open = [&](pw_core* core) {
        stream.emplace(core,
                       driver::AudioStream::Description{
                           true,
                           2,
                           48000,
                           {{PW_KEY_NODE_NAME, name}, {PW_KEY_NODE_DESCRIPTION, name}},
                           records},
                       driver::AudioStream::Handlers{
                           [&](const RoutingRecord& record) { requests.push_back(record); }, [] {},
                           [](const driver::Cycle&, std::size_t, std::span<float* const>) {}});
      };
      pipewire::Connection connection(loop, "client.conf", {open, [&] { stream.reset(); }});
      connection.start();
      pollfd events[] = {{pw_loop_get_fd(loop), POLLIN, 0}, {stop_, POLLIN, 0}};
      while (::poll(events, 2, -1) >= 0 && !(events[1].revents & POLLIN)) {
        pw_loop_enter(loop);
        pw_loop_iterate(loop, 0);
        pw_loop_leave(loop);
        for (const RoutingRecord& record : std::exchange(requests, {})) {
          write(records, record);
          if (stream) stream->show(records);
        }
      }
    }
    pw_loop_destroy(loop);
  }

  void write(RoutingRecords& records, const RoutingRecord& record) {
    const std::lock_guard lock(mutex_);
    written_.push_back(record);
    if (refuse_) return;
    for (RoutingRecord& own : records) {
      if (own.input == record.input && own.pair == record.pair) own.value = record.value;
    }
  }

  mutable std::mutex mutex_;  // guards refuse_ and written_
  bool refuse_ = false;
  std::vector<RoutingRecord> written_;
  int stop_;
  std::thread thread_;
};

}  // namespace pipewire_test

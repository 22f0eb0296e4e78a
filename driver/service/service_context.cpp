// SPDX-License-Identifier: MIT
#include "driver/service/service_context.h"

#include <sys/epoll.h>

namespace driver {

namespace {

int dispatch(sd_event_source*, int, std::uint32_t, void* graph) noexcept {
  static_cast<AudioGraph*>(graph)->dispatch();
  return 0;
}

}  // namespace

AudioService::AudioService(sd_event* event) {
  sd_event_source* source = nullptr;
  sd_event_add_io(event, &source, graph_.descriptor(), EPOLLIN, dispatch, &graph_);
  source_.reset(source);
}

}  // namespace driver

// SPDX-License-Identifier: MIT
#include "platform/notices/notices.h"

#include <bitset>
#include <cstddef>
#include <mutex>
#include <type_traits>

namespace {

// The audio server's thread may still set notices while the program's static objects are destroyed.
struct State {
  std::mutex mutex;
  std::bitset<static_cast<std::size_t>(Notice::kCount)> present;
  void (*changed)(void* context) = nullptr;
  void* context = nullptr;
};
static_assert(std::is_trivially_destructible_v<State>);
constinit State state;

}  // namespace

void setNotice(Notice notice, bool present) {
  const std::lock_guard lock(state.mutex);
  const auto index = static_cast<std::size_t>(notice);
  if (state.present[index] == present) return;
  state.present[index] = present;
  if (state.changed) state.changed(state.context);
}

bool hasNotice(Notice notice) {
  const std::lock_guard lock(state.mutex);
  return state.present[static_cast<std::size_t>(notice)];
}

void setNoticeListener(void (*changed)(void* context), void* context) {
  const std::lock_guard lock(state.mutex);
  state.changed = changed;
  state.context = context;
}

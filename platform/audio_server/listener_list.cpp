// SPDX-License-Identifier: MIT
#include "platform/audio_server/listener_list.h"

#include <algorithm>

bool ListenerList::add(AudioObjectID object, const AudioObjectPropertyAddress& address,
                       AudioObjectPropertyListenerProc proc, void* clientData) {
  const Listener listener{object, address, proc, clientData};
  const std::lock_guard lock(mutex_);
  if (std::ranges::find(listeners_, listener) == listeners_.end()) listeners_.push_back(listener);
  return listeners_.size() == 1;
}

void ListenerList::remove(AudioObjectID object, const AudioObjectPropertyAddress& address,
                          AudioObjectPropertyListenerProc proc, void* clientData) {
  {
    const std::lock_guard lock(mutex_);
    std::erase(listeners_, Listener{object, address, proc, clientData});
  }
  // A round of calls that started before may still be calling `proc`: wait until it ends.
  const std::lock_guard untilCallsEnd(calling_);
}

void ListenerList::call(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  const std::lock_guard calling(calling_);
  std::vector<Listener> round;
  {
    const std::lock_guard lock(mutex_);
    round = listeners_;
  }
  for (const Listener& listener : round) {
    if (listener.object != object || listener.address != address) continue;
    if (!contains(listener)) continue;
    listener.proc(object, {&address, 1}, listener.clientData);
  }
}

bool ListenerList::contains(const Listener& listener) {
  const std::lock_guard lock(mutex_);
  return std::ranges::find(listeners_, listener) != listeners_.end();
}

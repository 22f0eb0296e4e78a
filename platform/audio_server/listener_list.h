// SPDX-License-Identifier: MIT
// The property listeners of a back end. Any thread.
#pragma once

#include <mutex>
#include <vector>

#include "platform/audio_server/audio_server.h"

class ListenerList {
 public:
  // Does nothing for a listener that is in the list. Returns true when the list then has one
  // listener.
  bool add(AudioObjectID object, const AudioObjectPropertyAddress& address,
           AudioObjectPropertyListenerProc proc, void* clientData);

  // Returns when `proc` is not running any more. Must not be called from a listener: it would wait
  // for itself.
  void remove(AudioObjectID object, const AudioObjectPropertyAddress& address,
              AudioObjectPropertyListenerProc proc, void* clientData);

  // Calls the listeners of one property on the calling thread, in the order they were added. A
  // listener may call add().
  void call(AudioObjectID object, const AudioObjectPropertyAddress& address);

 private:
  struct Listener {
    AudioObjectID object;
    AudioObjectPropertyAddress address;
    AudioObjectPropertyListenerProc proc;
    void* clientData;
    bool operator==(const Listener&) const = default;
  };
  bool contains(const Listener& listener);

  std::mutex calling_;  // held while listeners run; locked before mutex_
  std::mutex mutex_;    // guards listeners_
  std::vector<Listener> listeners_;
};

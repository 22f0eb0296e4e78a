// SPDX-License-Identifier: MIT
// The property listeners of a back end: who is called for which property. Any thread.
#pragma once

#include <mutex>
#include <vector>

#include "platform/audio_server/audio_server.h"

class ListenerList {
 public:
  // Adding the same four again changes nothing. True when it is the only one now.
  bool add(AudioObjectID object, const AudioObjectPropertyAddress& address,
           AudioObjectPropertyListenerProc proc, void* clientData);

  // Returns once `proc` is not running any more. Not from inside a listener, which would wait for
  // itself.
  void remove(AudioObjectID object, const AudioObjectPropertyAddress& address,
              AudioObjectPropertyListenerProc proc, void* clientData);

  // Calls the listeners of one property on the calling thread, in the order they were added. No
  // lock is held that adding a listener takes.
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

  std::mutex calling_;  // held while listeners run; taken before mutex_
  std::mutex mutex_;    // guards listeners_
  std::vector<Listener> listeners_;
};

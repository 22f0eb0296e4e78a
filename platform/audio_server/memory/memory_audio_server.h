// SPDX-License-Identifier: MIT
// What tests do to the in-memory audio server: make devices come and go, script the driver's
// routing property, let operations fail, take the server away, and look at what was asked of it.
//
// Any thread, one at a time with the operations of the seam. Nothing here calls a listener by
// itself: a change waits until the test delivers it, on the thread of the test's choice.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/audio_server/audio_server.h"
#include "protocol/options.h"

namespace memory_audio_server {

// The selector of the driver's custom routing property.
inline constexpr std::uint32_t kRoutingSelector = fourCharCode(kRoutingProperty);

// How the driver of a device answers for its routing property.
struct RoutingProperty {
  // What reading and writing take, in bytes, as the driver reports it. Bytes read beyond the
  // record are kFillByte.
  std::uint32_t reportedSize = sizeof(RoutingRecord);
  OSStatus sizeStatus = kAudioHardwareNoError;
  OSStatus readStatus = kAudioHardwareNoError;
  OSStatus writeStatus = kAudioHardwareNoError;
  // The routings. A read gives the one whose first two words the request holds; a write of 12 bytes
  // or more changes the one it names. Neither works for a routing that is not here.
  std::vector<RoutingRecord> records;
};
inline constexpr std::uint8_t kFillByte = 0xEE;

// The records of a driver whose routings all have value 0: outputs 0 and 1, inputs 0, 1 and 2.
std::vector<RoutingRecord> defaultRecords();

// Adds a device at the end of the list. The name may hold any bytes. Ids start at 40, and none is
// used twice between two resets.
AudioObjectID addDevice(std::string name);
AudioObjectID addDevice(std::string name, RoutingProperty routing);
// Unknown ids change nothing.
void removeDevice(AudioObjectID device);

// The property, to look at it or to change its script; null when the device is absent or has none.
// Valid until the device is removed or the server reset.
RoutingProperty* routingProperty(AudioObjectID device);

// Without the server every device is gone and the device list cannot be read. The devices are the
// same when it is back.
void stopServer();
void startServer();

enum class Operation { kHasProperty, kGetSize, kGetData, kSetData, kAddListener, kRemoveListener };

// Lets the next `count` calls that ask the size or the data of `object`'s property `selector` fail
// with `status`.
void failNext(Operation operation, AudioObjectID object, std::uint32_t selector, OSStatus status,
              int count = 1);

// Runs the listeners once for each change of the device list that was not delivered yet, on a
// thread of its own, as a real server does; returns when they have returned.
void deliverNotifications();
// The same on the calling thread.
void deliverNotificationsHere();

// One call of the seam.
struct Call {
  Operation operation;
  AudioObjectID object;
  std::uint32_t selector;
  std::uint32_t size = 0;               // asked for or sent, in bytes; 0 for the other operations
  std::vector<std::uint8_t> data = {};  // what was sent, or on a read what the request held
  bool operator==(const Call&) const = default;
};
// The calls since the last reset, in order, those that failed among them.
std::vector<Call> calls();

// Back to a running server without devices, listeners, scripted failures and recorded calls.
void reset();

}  // namespace memory_audio_server

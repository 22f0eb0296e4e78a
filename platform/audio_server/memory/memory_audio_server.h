// SPDX-License-Identifier: MIT
// The tests' side of the in-memory audio server: add and remove devices, script the driver's
// routing property, make operations fail, stop the server, read the recorded calls.
//
// Any thread. Only deliverNotifications() and deliverNotificationsHere() call listeners: a change
// waits until the test delivers it.
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

// How a device's driver answers reads and writes of its routing property.
struct RoutingProperty {
  // The property's size in bytes, as the driver reports it. Bytes read beyond the record are
  // kFillByte.
  std::uint32_t reportedSize = sizeof(RoutingRecord);
  OSStatus sizeStatus = kAudioHardwareNoError;
  OSStatus readStatus = kAudioHardwareNoError;
  OSStatus writeStatus = kAudioHardwareNoError;
  // A read returns the record whose first two words the request holds; a write of 12 bytes or more
  // replaces it. Both fail for a routing that is not in the list.
  std::vector<RoutingRecord> records;
};
inline constexpr std::uint8_t kFillByte = 0xEE;

// Five records with value 0: outputs 0 and 1, inputs 0, 1 and 2.
std::vector<RoutingRecord> defaultRecords();

// Adds a device at the end of the list. The name may hold any bytes. Ids start at 40 and are not
// reused before reset().
AudioObjectID addDevice(std::string name);
AudioObjectID addDevice(std::string name, RoutingProperty routing);
// Unknown ids change nothing.
void removeDevice(AudioObjectID device);

// The device's routing property, for the test to read or change; null when the device is absent or
// does not have it. Valid until the device is removed or the server reset.
RoutingProperty* routingProperty(AudioObjectID device);

// While the server is stopped there are no devices and reading the device list fails. startServer()
// brings the same devices back.
void stopServer();
void startServer();

enum class Operation { kHasProperty, kGetSize, kGetData, kSetData, kAddListener, kRemoveListener };

// Makes the next `count` calls of `operation` on `object`'s property `selector` fail with `status`.
// Only kGetSize and kGetData can fail this way.
void failNext(Operation operation, AudioObjectID object, std::uint32_t selector, OSStatus status,
              int count = 1);

// Calls the listeners once for each change of the device list since the last delivery, on a new
// thread, as a real server does; returns when they have returned.
void deliverNotifications();
// The same on the calling thread.
void deliverNotificationsHere();

// One call of the seam.
struct Call {
  Operation operation;
  AudioObjectID object;
  std::uint32_t selector;
  std::uint32_t size = 0;               // bytes wanted or sent; 0 for the other operations
  std::vector<std::uint8_t> data = {};  // the bytes sent; for a read, the bytes of the request
  bool operator==(const Call&) const = default;
};
// The calls since the last reset, in order, failed ones included.
std::vector<Call> calls();

// Sets up a running server without devices, listeners, scripted failures and recorded calls.
void reset();

}  // namespace memory_audio_server

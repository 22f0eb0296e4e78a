// SPDX-License-Identifier: MIT
// Audio server seam: the audio server's devices, their names and the driver's routing property.
//
// An object is named by a 32-bit id. Id 1 is the system object, which has the device list; every
// other object is an audio device; 0 names no object. Numbers in property data are in host byte
// order.
//
// Threads: writes belong to the main thread; any thread may call any other operation. Listeners run
// on the audio server's notification thread, one at a time. A listener may read properties; a write
// from a listener fails, because it would wait for its own thread.
//
// Limits: an operation waits at most kAudioServerCallLimitMs; a write may find less left of the
// time that the main thread waits for the driver in one turn, and without any fails at once. After
// a write that timed out, writes of the next kAudioServerCallLimitMs are sent but wait only
// kAudioServerHurriedWriteMs each, so that a device that confirms no routing delays the panel once,
// not once per routing.
//
// While the server is not running there are no devices, and reading the device list fails with
// kAudioHardwareNotRunningError.
//
// Back ends: pipewire/ (a mirror of the PipeWire registry), memory/ (devices made by tests).
#pragma once

#include <cstdint>
#include <span>

#include "protocol/options.h"

using AudioObjectID = std::uint32_t;
using OSStatus = std::int32_t;

inline constexpr int kAudioServerCallLimitMs = 250;
inline constexpr int kAudioServerHurriedWriteMs = 50;

// A four-character code as a number, first character in the highest byte.
constexpr std::uint32_t fourCharCode(const char (&code)[5]) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(code[i]);
  return value;
}

inline constexpr AudioObjectID kAudioObjectSystemObject = 1;

inline constexpr std::uint32_t kAudioHardwarePropertyDevices = fourCharCode("dev#");
inline constexpr std::uint32_t kAudioDevicePropertyDeviceName = fourCharCode("name");
inline constexpr std::uint32_t kAudioObjectPropertyScopeGlobal = fourCharCode("glob");
inline constexpr std::uint32_t kAudioObjectPropertyElementMaster = 0;

inline constexpr OSStatus kAudioHardwareNoError = 0;
inline constexpr OSStatus kAudioHardwareNotRunningError =
    static_cast<OSStatus>(fourCharCode("stop"));
inline constexpr OSStatus kAudioHardwareUnspecifiedError =
    static_cast<OSStatus>(fourCharCode("what"));
inline constexpr OSStatus kAudioHardwareUnknownPropertyError =
    static_cast<OSStatus>(fourCharCode("who?"));
inline constexpr OSStatus kAudioHardwareBadPropertySizeError =
    static_cast<OSStatus>(fourCharCode("!siz"));
inline constexpr OSStatus kAudioHardwareBadObjectError =
    static_cast<OSStatus>(fourCharCode("!obj"));

struct AudioObjectPropertyAddress {
  std::uint32_t mSelector;
  std::uint32_t mScope;
  std::uint32_t mElement;

  bool operator==(const AudioObjectPropertyAddress&) const = default;
};

// The address of a property of the whole object.
constexpr AudioObjectPropertyAddress globalProperty(std::uint32_t selector) {
  return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMaster};
}

// The system object's device list: the ids of all devices, 32 bits each. A device's name: text,
// NUL-terminated. The routing property of the driver's device: one RoutingRecord.
inline constexpr auto kDeviceListAddress = globalProperty(kAudioHardwarePropertyDevices);
inline constexpr auto kDeviceNameAddress = globalProperty(kAudioDevicePropertyDeviceName);
inline constexpr auto kRoutingAddress = globalProperty(fourCharCode(kRoutingProperty));

// Called after the property changed. `addresses` holds that property and lives until the callback
// returns. The return value is ignored.
using AudioObjectPropertyListenerProc = OSStatus (*)(
    AudioObjectID object, std::span<const AudioObjectPropertyAddress> addresses, void* clientData);

// True when `object` exists and has the property.
bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address);

// Stores the size of the property's data, in bytes, in *size. On failure *size is unchanged.
OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        std::uint32_t* size);

// Reads the property into `data`. On entry *size is the number of bytes wanted, at most
// data.size(); on success it becomes the number of bytes stored. Longer data is cut; a text that is
// cut is still NUL-terminated. On failure both are unchanged.
//
// For the routing property, `data` names the routing on entry: its first kRoutingNameSize bytes
// (protocol/options.h) are those of the RoutingRecord to read.
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::uint32_t* size, std::span<std::uint8_t> data);

// Writes the property and waits until the device confirms the new value. Returns
// kAudioHardwareUnspecifiedError when the device refuses it or the wait times out; after a time-out
// the device may still take the value.
OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::span<const std::uint8_t> data);

// Calls `proc` after each change of the property until the listener is removed. Only the system
// object's device list can be listened to; the server's start and stop are changes of it. The four
// arguments identify a listener; adding it again changes nothing. When the first listener is added
// and the list has changed since this process last read it, the listener is called once, so that a
// client that reads the list before it listens misses no change.
OSStatus AudioObjectAddPropertyListener(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        AudioObjectPropertyListenerProc proc, void* clientData);

// Removes a listener: when the call returns, `proc` is not running and is not called again. Must
// not be called from a listener.
OSStatus AudioObjectRemovePropertyListener(AudioObjectID object,
                                           const AudioObjectPropertyAddress& address,
                                           AudioObjectPropertyListenerProc proc, void* clientData);

// SPDX-License-Identifier: MIT
// Audio server seam: the devices of the audio server, their names and the driver's custom property.
//
// Objects are named by 32-bit ids. Id 1 is the system object, which has the device list; every
// other object is an audio device; 0 is never an object. Numbers in property data are in host byte
// order.
//
// Operations may be called from any thread. Reading and writing wait at most
// kAudioServerCallLimitMs. After a write that its device did not confirm, the writes of the next
// kAudioServerCallLimitMs are sent as ever but wait only kAudioServerHurriedWriteMs: a device that
// takes no routing delays the panel once, not once a routing. Listeners run on the audio server's
// notification thread, one at a time, and may themselves read properties; a write that would have
// to wait for that same thread fails.
//
// While the server is away no device exists, and reading the list fails with
// kAudioHardwareNotRunningError.
//
// Back ends: pipewire/ (a mirror of the PipeWire registry), memory/ (devices made by tests).
#pragma once

#include <cstdint>
#include <span>

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

// Called after the property changed. The return value is not used.
using AudioObjectPropertyListenerProc = OSStatus (*)(
    AudioObjectID object, std::span<const AudioObjectPropertyAddress> addresses, void* clientData);

// True when `object` exists and has the property now.
bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address);

// The number of bytes that reading the property would give. Failure leaves *size untouched.
OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        std::uint32_t* size);

// Reads the property. *size is the number of bytes asked for, at most data.size(), and becomes the
// number stored; a property that is longer is cut to it, a text staying NUL-terminated. On entry
// `data` may qualify the request: a driver whose custom property holds one record for each of
// several routings answers with the one whose leading words the request holds. Failure leaves both
// untouched.
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::uint32_t* size, std::span<std::uint8_t> data);

// Writes the property and returns once the device has confirmed it. A device that does not, or not
// in time, fails the call with kAudioHardwareUnspecifiedError; it may take the value all the same.
OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::span<const std::uint8_t> data);

// Calls `proc` after each change of the property until it is removed. The system object's device
// list is the one property that can be listened to. A listener is known by all four arguments;
// adding it twice changes nothing. The server's coming and going counts as a change of the list.
// The first listener is also called when the list changed after this process last read it, so that
// who reads first and listens then misses nothing.
OSStatus AudioObjectAddPropertyListener(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        AudioObjectPropertyListenerProc proc, void* clientData);

// After the return `proc` is not running and is not called again. Not from inside a listener.
OSStatus AudioObjectRemovePropertyListener(AudioObjectID object,
                                           const AudioObjectPropertyAddress& address,
                                           AudioObjectPropertyListenerProc proc, void* clientData);

// SPDX-License-Identifier: MIT
// The interface's audio device in the audio server: finding it by name, and its routing property.
//
// Threads: two. When the server's device list changes, a listener on the audio server's
// notification thread looks the device up again (findHalDevice). Everything else runs on the main
// thread. `halMutex` (audio_device.cpp) keeps the two from looking up or changing the name at the
// same time.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/audio_server/audio_server.h"

// The interface's audio device; 0 when the server has none of that name. Both threads write it, in
// findHalDevice; the main thread reads it without the mutex.
extern std::atomic<AudioObjectID> _halDevice;

// Size of a device name in bytes, with its terminating NUL. Longer names are cut.
inline constexpr std::size_t kHalDeviceNameRoom = 128;

// The look-up examines no more devices than this.
inline constexpr std::size_t kExaminedDevices = 32;

// The name to look for; empty until the first interface has arrived. Only setHalDeviceName writes
// it, and never its last byte, which stays NUL.
extern char _halDeviceName[kHalDeviceNameRoom];

// Looks for the device named _halDeviceName, stores the result in _halDevice and returns it. The
// mutex is held from the look-up to the store, so that an older result cannot replace a newer one.
// Any thread.
AudioObjectID findHalDevice();

// A copy of _halDeviceName. Any thread.
std::string halDeviceName();

// Copies `name` into _halDeviceName, cut to kHalDeviceNameRoom; does nothing if it is there
// already. Main thread.
void setHalDeviceName(const char* name);

// Returns the first of the server's first kExaminedDevices audio devices whose name equals `name`
// or "`name` (Bit Accurate)"; 0 when none has such a name or the device list cannot be read. Any
// thread.
AudioObjectID getHalDevice(const char* name);  // no program calls this

// Writes one routing through the property kRoutingProperty of _halDevice. `pair` and `value` as in
// RoutingRecord (protocol/options.h). Returns false when there is no device, it does not have the
// property, or the write fails; a failed write is printed on standard output. Main thread.
bool setRouting(bool input, int pair, int value);

// Reads one routing of _halDevice. Returns -1 when there is no device or it does not have the
// property, 0 when the read fails. Main thread.
int getRouting(bool input, int pair);  // no program calls this

// Does nothing: the panel's performance setting has no counterpart in the driver.
void AudioPerformance(std::int32_t value);

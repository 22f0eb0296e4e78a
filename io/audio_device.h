// SPDX-License-Identifier: MIT
// The interface's audio device in the audio server: finding it by name, and its routing property.
//
// Main thread, except getHalDevice and the two globals: the listener for the server's device list
// looks the device up again on the audio server's notification thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/audio_server/audio_server.h"

// The interface's audio device; 0 when there is none. The listener thread writes it while the main
// thread reads it.
extern std::atomic<AudioObjectID> _halDevice;

// Room for a device name with its terminating NUL, as the audio server gives it.
inline constexpr std::size_t kHalDeviceNameRoom = 128;

// The name to look for; empty until an interface was found. Only setHalDeviceName writes it. The
// last byte is never anything but NUL, so a reader on the listener thread always finds an end.
extern char _halDeviceName[kHalDeviceNameRoom];

// Looks for _halDeviceName and keeps the result in _halDevice. One look-up at a time, so that what
// is kept is what the last of them found. Any thread.
AudioObjectID findHalDevice();

// A copy of _halDeviceName. Any thread.
std::string halDeviceName();

// Copies `name` into _halDeviceName, cut to its room; the text that stands there already is not
// written again. Main thread.
void setHalDeviceName(const char* name);

// The first of at most 32 audio devices whose name equals `name` or "`name` (Bit Accurate)"; 0 when
// there is none or the device list cannot be read. Any thread.
AudioObjectID getHalDevice(const char* name);

// Writes one routing through the device's routing property: `input` chooses input or output
// routings, `pair` which of them, `value` the source. False without a device, when it does not have
// the property, and when the write fails.
bool setRouting(bool input, int pair, int value);

// Reads one routing. -1 without a device or when it does not have the property, 0 when the read
// fails.
int getRouting(bool input, int pair);

// The performance setting of the audio server has no counterpart in the driver: this does nothing.
void AudioPerformance(std::int32_t value);

// SPDX-License-Identifier: MIT
// The commands and queries behind the panel's menus. A value is the zero-based index of a menu item
// (io/menu_items.h). Main thread only.
//
// A routing command writes the audio device's routing property. An option command writes to the
// current device and to the driver's settings. Queries read from the current device.
#pragma once

#include <cstdint>

// Routing commands. They return the result of setRouting (io/audio_device.h) as a number, which no
// caller uses. DoLine12Out and DoLineOut write the same routing, and so do DoLine34Out and
// DoDigitalOut.
std::int32_t DoLine12Out(std::int32_t value);  // no program calls this
std::int32_t DoLineOut(std::int32_t value);
std::int32_t DoLine34Out(std::int32_t value);  // no program calls this
std::int32_t DoDigitalOut(std::int32_t value);
std::int32_t DoChannel1and2(std::int32_t value);
std::int32_t DoChannel3and4(std::int32_t value);
std::int32_t DoChannel5and6(std::int32_t value);

// Option commands. Each sets the device's option, reads it back, then shows the value read and
// stores it in the driver's settings. Without a current device they do nothing.

// 1 selects the internal clock, 0 the automatic clock; any other value sets nothing, so the present
// source is shown and stored.
void SampleClockSource(std::int32_t value);
void DigitalOutputFormat(std::int32_t value);
// The USB 1.1 input selection. On this interface it sets the digital-out selector, not the device's
// USB 1 mode.
void Usb11Mode(std::int32_t value);

// Queries. They return -1 when there is no current device or it does not answer.
std::int32_t getUSB1Mode();  // no program calls this
std::int32_t GetDigitalOutFormat();
std::int32_t GetLineOut();
std::int32_t GetDigitalOut();
std::int32_t GetChannel1and2();
std::int32_t GetChannel3and4();
std::int32_t GetChannel5and6();

// Returns 1 for the internal clock, 0 for any other source or when the device does not answer, and
// -1 when there is no current device.
std::int32_t GetSampleClockSource();  // no program calls this

// Shows the current clock source in its menu; hides the menu when there is no current device.
void SampleClockSourceReadback();

// Hides the performance menu: the setting has no counterpart in the driver.
void AudioPerformanceReadback();

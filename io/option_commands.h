// SPDX-License-Identifier: MIT
// The commands and queries behind the panel's menus. Every value is the zero-based index of a menu
// item.
//
// Commands write a routing through the audio device's property, or an option through the current
// device and into the driver's settings; queries read both from the current device. Main thread
// only.
#pragma once

#include <cstdint>

// Routing commands. They return what setRouting returns, as a number; nobody needs it. Line outputs
// 1/2 and the line output are one routing under two names, and so are line outputs 3/4 and the
// digital output.
std::int32_t DoLine12Out(std::int32_t value);
std::int32_t DoLineOut(std::int32_t value);
std::int32_t DoLine34Out(std::int32_t value);
std::int32_t DoDigitalOut(std::int32_t value);
std::int32_t DoChannel1and2(std::int32_t value);
std::int32_t DoChannel3and4(std::int32_t value);
std::int32_t DoChannel5and6(std::int32_t value);

// Option commands. Each sets the device's option, shows what the device then reports, and stores
// that, not the argument, in the driver's settings. Without a current device they do nothing.

// 1 for the internal clock, 0 for the automatic choice; any other value sets nothing, and the
// present source is shown and stored.
void SampleClockSource(std::int32_t value);
void DigitalOutputFormat(std::int32_t value);
// The input selection of USB 1.1 connections. On this interface it is the digital-out selector, not
// the device's USB 1 mode.
void Usb11Mode(std::int32_t value);

// Queries. -1 when there is no current device or it does not answer.
std::int32_t getUSB1Mode();
std::int32_t GetDigitalOutFormat();
std::int32_t GetLineOut();
std::int32_t GetDigitalOut();
std::int32_t GetChannel1and2();
std::int32_t GetChannel3and4();
std::int32_t GetChannel5and6();

// 1 for the internal clock, 0 for any other source and for a device that does not answer; -1 when
// there is no current device.
std::int32_t GetSampleClockSource();

// Shows the current clock source in its menu, and hides the menu when there is no current device.
void SampleClockSourceReadback();

// Hides the performance menu: the setting has no counterpart in the driver.
void AudioPerformanceReadback();

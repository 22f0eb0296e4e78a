// SPDX-License-Identifier: MIT
// The current device: the one interface that the panel shows and controls, and its state.
//
// While a device is current it is retained and open. Everything runs on the main thread, whose run
// loop carries the notifications of discovery (device/discovery.h), so nothing is locked.
#pragma once

#include "device/discovery.h"
#include "device/usb_device.h"
#include "protocol/records.h"

// The current device, which owns one reference; null when there is none.
extern USBDevice* _ioDevice;

// The descriptor of the last device that arrived; cleared by IOInit and by the removal of the
// current device.
extern VQ_DeviceDescriptor _ioDescriptor;

// Which of the current device's values IOSetData shows. Set when a device arrives and kept until
// the next arrival.
extern bool _ioShowClockSource;    // clock source field and menu
extern bool _ioShowDigitalStatus;  // digital input status and digital output format
extern bool _ioShowRoutingMenus;   // the five routing menus
extern bool _ioShowDigOutMode;     // the digital-out selector
// The USB 1.1 input selection. Nothing sets it in this build, because the VX-310 does not need the
// menu; the code that reads it is complete, for a device that does.
extern bool _ioShowUSB1Mode;

// Reads the current device's values and sends everything that the panel shows over the bridge; the
// state without a device when there is none (io/status.cpp). A value that cannot be read is shown
// as its USBDevice operation returns it.
void IOSetData();

// Starts discovery and shows the result. An interface that is already connected becomes the current
// device inside this call. `controlDlg` must be set.
void IOInit();

// Closes and releases the current device and stops discovery. Shows nothing.
void IOTerm();

// The client of discovery. Makes the first VX-310 that arrives the current device, releases it when
// it is removed, and shows its state again when it changes. Ignores all other devices and events.
void IODriverCallback(void* context, USBDevice* device, VQAPI_CBEvent event);

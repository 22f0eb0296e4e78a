// SPDX-License-Identifier: MIT
// The panel's one current device: how it becomes current, changes and goes.
//
// There is no current device, or one, which is then retained and open. Everything runs on the main
// thread, whose run loop carries the device layer's notifications; nothing is locked.
#pragma once

#include "device/discovery.h"
#include "device/usb_device.h"
#include "protocol/records.h"

// The current device; null when there is none. It holds one reference while it is set.
extern USBDevice* _ioDevice;

// The descriptor of the device that was looked at last; zeroed at the start and by a removal.
extern VQ_DeviceDescriptor _ioDescriptor;

// What IOSetData gathers of a current device. Set at its arrival, kept until the next one.
extern bool _ioShowClockSource;    // clock source field and menu
extern bool _ioShowDigitalStatus;  // digital input status and digital output format
extern bool _ioShowRoutingMenus;   // the five routing menus
extern bool _ioShowDigOutMode;     // the digital-out selector
// The USB 1.1 input selection. Nothing sets it in this build: the interface needs no such menu.
// What it guards is complete, for a device that does.
extern bool _ioShowUSB1Mode;

// Starts the device layer and shows the state without a device. Interfaces that are present already
// arrive from within this call. `controlDlg` must be set.
void IOInit();

// Lets go of the current device and stops the device layer. Nothing is shown.
void IOTerm();

// The device layer's client: adopts the first VX-310 that arrives, lets go of it when it is
// removed, and shows its state anew when it changes. Other devices and other events are ignored.
void IODriverCallback(void* context, USBDevice* device, VQAPI_CBEvent event);

// SPDX-License-Identifier: MIT
// Lists of devices of the sibling family: those that are connected, and those that the application
// keeps in its preference "DevicesList". Independent of discovery. Main thread.
//
// An entry is a dictionary with "OrbekUID" (8 bytes of data, one little-endian 64-bit number),
// "idVendor" and "idProduct".
#pragma once

#include "platform/values/values.h"

// The registry properties of the connected ones. `out` is left alone when the registry fails.
void getOrbekDevicesFromRegistry(CFArray& out);

// A copy of the kept list; empty when there is none.
void getOrbekDevicesFromPrefs(CFArray& out);

// Appends `device` to `list` and keeps the list. False, and nothing changes, for a device without
// UID or one that counts as listed already: with a UID other than 0 that is every device as soon as
// the list holds anything, for the comparison never looks into the list.
bool addOrbekDeviceToDeviceList(CFArray& list, const CFDictionary& device);

// Removes the first entry with the UID of `device` from `list` and keeps the list. False, and
// nothing changes, when there is none.
bool removeOrbekDeviceFromDeviceList(CFArray& list, const CFDictionary& device);

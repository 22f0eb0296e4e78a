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
// UID or one that counts as listed already: as the driver's other users have it, that is every
// device with a UID other than 0 once the list holds anything.
bool addOrbekDeviceToDeviceList(CFArray& list, const CFDictionary& device);

// Removes the first entry with the UID of `device` from `list` and keeps the list. False, and
// nothing changes, when there is none.
bool removeOrbekDeviceFromDeviceList(CFArray& list, const CFDictionary& device);

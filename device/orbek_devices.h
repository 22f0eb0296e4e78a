// SPDX-License-Identifier: MIT
// Two lists of devices of the sibling family: the connected devices, and the list that the
// application stores in its preference "DevicesList". Independent of discovery. Main thread. No
// program calls these.
//
// An entry of either list is a dictionary with "OrbekUID" (8 bytes of data, one little-endian
// 64-bit number), "idVendor" and "idProduct".
#pragma once

#include "platform/values/values.h"

// Replaces `out` by the registry properties of the connected devices. If the registry cannot be
// read, `out` is left unchanged.
void getOrbekDevicesFromRegistry(CFArray& out);

// Replaces `out` by the stored list; by an empty one when no list is stored.
void getOrbekDevicesFromPrefs(CFArray& out);

// Appends `device` to `list` and stores `list`. Returns false and changes nothing for a device
// without a UID, and for a device with a UID other than 0 once `list` has any entry: the check for
// duplicates never reads the entries.
bool addOrbekDeviceToDeviceList(CFArray& list, const CFDictionary& device);

// Removes the first entry with the UID of `device` from `list` and stores `list`. Returns false and
// changes nothing when no entry has it, or when `device` has no UID.
bool removeOrbekDeviceFromDeviceList(CFArray& list, const CFDictionary& device);

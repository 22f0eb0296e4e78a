// SPDX-License-Identifier: MIT
// Discovery of the interfaces that the driver publishes: keeps a handle of each and tells one
// client when one arrives, leaves or reports a change.
//
// All on one thread, the one that calls vqapiInit and whose run loop then carries the
// notifications; callbacks run from there and may call anything here. A newly published service is
// looked at after a pause of 100 ms, which gives its driver time to finish starting and blocks the
// thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

class USBDevice;

// Names the driver's service class: its name, terminated.
using GUID = std::array<char, 256>;

// The most interfaces that are kept. Arrival of one more is reported, but nothing further about it.
inline constexpr std::size_t kVqapiDeviceLimit = 128;

enum VQAPI_CBEvent : std::int32_t {
  // An interface arrived. The handle is closed. The client retains a handle that it keeps.
  VQAPI_CB_Arrived = 1,
  // It left. The handle is still usable during the callback and is closed right after it.
  VQAPI_CB_Removed = 2,
  // Its state changed: driver notification 3, 49, 50, 55 or 56.
  VQAPI_CB_Changed = 3,
  // Driver notifications 34, 14, 35 and 48.
  VQAPI_CB_Notify4 = 4,
  VQAPI_CB_Notify5 = 5,
  VQAPI_CB_Notify6 = 6,
  VQAPI_CB_Notify7 = 7,
};

using VQAPI_Callback = void (*)(void* context, USBDevice* device, VQAPI_CBEvent event);

// Starts discovery of the services of class `identity` and reports those that are present. While it
// runs a second call changes nothing. `callback` may be null. A failing registry leaves it with
// fewer notifications or none, but running; only when no registry can be reached at all it stays
// stopped and may be started again.
void vqapiInit(VQAPI_Callback callback, void* context, const GUID& identity);

// Stops, and closes and releases every kept handle without a callback. Harmless while stopped.
void vqapiTerm();

// Reports the services that are present. Called by vqapiInit; each further call reports all of them
// again, each with a new handle. Does nothing while stopped.
void _vqapiScanServices();

// Drops a kept handle as if its interface had been unplugged. A handle that is not kept is left
// alone.
void _vqapiMarkAsRemoved(USBDevice* device);

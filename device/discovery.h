// SPDX-License-Identifier: MIT
// Discovery of the interfaces that the driver publishes: keeps a USBDevice for each and tells one
// client when an interface arrives, leaves or changes.
//
// Thread: everything runs on the thread that calls vqapiInit, whose run loop then carries the
// notifications. Callbacks run there and may call any function of this header. After the driver
// publishes services, discovery blocks that thread for 100 ms before it reads them, so that the
// driver can finish starting.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

class USBDevice;

// The name of the driver's service class, NUL-terminated.
using GUID = std::array<char, 256>;

// Size of the device table. Of an interface that arrives while the table is full only the arrival
// is reported, neither its changes nor its removal.
inline constexpr std::size_t kVqapiDeviceLimit = 128;

enum VQAPI_CBEvent : std::int32_t {
  // An interface arrived. `device` is closed; a client that keeps it calls retain().
  VQAPI_CB_Arrived = 1,
  // The interface left. `device` stays usable during the callback and is closed right after it.
  VQAPI_CB_Removed = 2,
  // The interface's state changed: the driver sent a VQ_Notification (protocol/services.h).
  VQAPI_CB_Changed = 3,
  // The driver sent notification 34 (Notify4), 14 (Notify5), 35 (Notify6) or 48 (Notify7).
  VQAPI_CB_Notify4 = 4,
  VQAPI_CB_Notify5 = 5,
  VQAPI_CB_Notify6 = 6,
  VQAPI_CB_Notify7 = 7,
};

using VQAPI_Callback = void (*)(void* context, USBDevice* device, VQAPI_CBEvent event);

// Starts discovery of the services of class `identity` and reports those that are present.
// `callback` may be null. Does nothing while discovery runs. If no registry can be reached,
// discovery stays stopped and may be started again; if a later registry call fails, discovery runs
// with fewer notifications or none.
void vqapiInit(VQAPI_Callback callback, void* context, const GUID& identity);

// Stops discovery; closes and releases every device of the table without a callback. Does nothing
// while discovery is stopped.
void vqapiTerm();

// Reports the services that are present. vqapiInit makes the first scan; each further one reports
// every service again, with a new USBDevice. Does nothing while discovery is stopped.
void _vqapiScanServices();

// Takes `device` out of the table as if its interface had been unplugged: reports the removal, then
// closes and releases the device. Does nothing for a device that is not in the table.
void _vqapiMarkAsRemoved(USBDevice* device);  // no program calls this

// SPDX-License-Identifier: MIT
// The state of discovery, one instance per process, and the handlers that the registry calls. For
// this folder and its tests; clients include device/discovery.h. Thread as there.
#pragma once

#include <array>
#include <span>

#include "device/discovery.h"
#include "platform/device_registry/device_registry.h"
#include "platform/run_loop/run_loop.h"
#include "platform/values/values.h"

// The device table. An empty slot is null. An arriving device takes the lowest empty slot and keeps
// it until it is removed. The table owns one reference of each device.
extern std::array<USBDevice*, kVqapiDeviceLimit> vqapiDeviceMap;
// vqapiInit sets it to 0; nothing reads it.
extern std::int32_t vqapiNumDevices;
extern VQAPI_Callback _vqapiCallbackFunction;
extern void* vqapiCallbackContext;
extern GUID _TheGuid;
extern CFRunLoopRef _vqapiRunLoop;
// Non-zero exactly while discovery runs.
extern mach_port_t _vqapiMasterDevicePort;
extern IONotificationPortRef _vqapiNotifyPort;
extern CFRunLoopSourceRef _vqapiRunLoopSource;
extern io_iterator_t _vqapiServicePublishIterator;
extern io_iterator_t mServiceTerminateIterator;
extern CFDictionary mMatchingDict;
// Set when both notifications have been requested; the first scan arms them and clears it.
extern bool mIteratorsNeedEmptying;

// Calls the client's callback unless it is null.
void vqapiDeliver(USBDevice* device, VQAPI_CBEvent event);

// Handle one service that was published or terminated. The caller keeps its reference.
void ServicePublished(io_service_t service);
void ServiceTerminated(io_service_t service);

// Drain `iterator` into the two functions above; ServicePublishCallback pauses 100 ms first.
void ServicePublishCallback(void* refcon, io_iterator_t iterator);
void ServiceTerminateCallback(void* refcon, io_iterator_t iterator);

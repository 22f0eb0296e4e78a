// SPDX-License-Identifier: MIT
// What discovery keeps, one instance per process, and the handlers that the registry calls. For
// this folder and its tests; clients use device/discovery.h.
#pragma once

#include <array>
#include <span>

#include "device/discovery.h"
#include "platform/device_registry/device_registry.h"
#include "platform/run_loop/run_loop.h"
#include "platform/values/values.h"

// An empty slot is null. The lowest empty one is taken, and kept until the device is removed. Each
// handle here carries one reference of the table.
extern std::array<USBDevice*, kVqapiDeviceLimit> vqapiDeviceMap;
// Set to 0 by vqapiInit; nobody counts with it.
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
// Set once both notifications are asked for; the first scan arms them and clears it.
extern bool mIteratorsNeedEmptying;

// Calls the client, if there is one.
void vqapiDeliver(USBDevice* device, VQAPI_CBEvent event);

// One service came or went. The caller keeps its reference.
void ServicePublished(io_service_t service);
void ServiceTerminated(io_service_t service);

// Drain an iterator into the above; the first pauses before.
void ServicePublishCallback(void* refcon, io_iterator_t iterator);
void ServiceTerminateCallback(void* refcon, io_iterator_t iterator);

// SPDX-License-Identifier: MIT
#include "device/discovery.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "device/discovery_state.h"
#include "device/io_object.h"
#include "device/usb_device.h"
#include "platform/clock/clock.h"

std::array<USBDevice*, kVqapiDeviceLimit> vqapiDeviceMap;
std::int32_t vqapiNumDevices;
VQAPI_Callback _vqapiCallbackFunction;
void* vqapiCallbackContext;
GUID _TheGuid;
CFRunLoopRef _vqapiRunLoop;
mach_port_t _vqapiMasterDevicePort;
IONotificationPortRef _vqapiNotifyPort;
CFRunLoopSourceRef _vqapiRunLoopSource;
io_iterator_t _vqapiServicePublishIterator;
io_iterator_t mServiceTerminateIterator;
CFDictionary mMatchingDict;
bool mIteratorsNeedEmptying;

namespace {

// Time for a driver to finish starting after it publishes its service.
constexpr unsigned kDriverStartPauseMicroseconds = 100'000;

std::string_view classNameOf(const GUID& identity) {
  return {identity.begin(), std::find(identity.begin(), identity.end(), '\0')};
}

// Requests both notifications on the run loop. After false, vqapiTerm gives back the port, source
// and iterators obtained so far.
bool askForNotifications() {
  _vqapiNotifyPort = IONotificationPortCreate(_vqapiMasterDevicePort);
  if (!_vqapiNotifyPort) return false;
  _vqapiRunLoopSource = IONotificationPortGetRunLoopSource(_vqapiNotifyPort);
  if (!_vqapiRunLoopSource) return false;
  CFRunLoopAddSource(_vqapiRunLoop, _vqapiRunLoopSource, kCFRunLoopDefaultMode);
  if (IOServiceAddMatchingNotification(_vqapiNotifyPort, kIOPublishNotification, mMatchingDict,
                                       ServicePublishCallback, nullptr,
                                       &_vqapiServicePublishIterator) != kIOReturnSuccess) {
    return false;
  }
  return IOServiceAddMatchingNotification(_vqapiNotifyPort, kIOTerminatedNotification,
                                          mMatchingDict, ServiceTerminateCallback, nullptr,
                                          &mServiceTerminateIterator) == kIOReturnSuccess;
}

void releaseIterator(io_iterator_t& iterator) { IoObject released(std::exchange(iterator, 0)); }

// Ends the table's ownership of a device; the caller has emptied its slot.
void closeAndRelease(USBDevice* device) {
  device->close();
  device->release();
}

}  // namespace

void vqapiInit(VQAPI_Callback callback, void* context, const GUID& identity) {
  if (_vqapiMasterDevicePort != 0) return;
  vqapiDeviceMap.fill(nullptr);
  vqapiNumDevices = 0;
  _vqapiCallbackFunction = callback;
  vqapiCallbackContext = context;
  _TheGuid = identity;
  _vqapiRunLoop = CFRunLoopGetCurrent();
  mIteratorsNeedEmptying = false;
  mMatchingDict = IOServiceMatching(classNameOf(_TheGuid));
  if (IOMasterPort(&_vqapiMasterDevicePort) != kIOReturnSuccess) return;
  if (_vqapiRunLoop) {
    if (!askForNotifications()) return;
    mIteratorsNeedEmptying = true;
  }
  _vqapiScanServices();
}

// The master port is given back before the devices are closed: closing works without it, and no
// request can be sent any more.
void vqapiTerm() {
  if (_vqapiRunLoopSource) {
    CFRunLoopRemoveSource(_vqapiRunLoop, _vqapiRunLoopSource, kCFRunLoopDefaultMode);
  }
  _vqapiRunLoopSource.reset();
  releaseIterator(_vqapiServicePublishIterator);
  releaseIterator(mServiceTerminateIterator);
  mIteratorsNeedEmptying = false;
  mach_port_deallocate(std::exchange(_vqapiMasterDevicePort, 0));
  mMatchingDict.clear();
  for (USBDevice*& slot : vqapiDeviceMap) {
    if (slot) closeAndRelease(std::exchange(slot, nullptr));
  }
  if (_vqapiNotifyPort) IONotificationPortDestroy(std::exchange(_vqapiNotifyPort, nullptr));
}

// The first scan drains the two notification iterators, which arms them. Without a run loop there
// are no notifications, and later scans come after the arming: both read the services present from
// the registry.
void _vqapiScanServices() {
  if (_vqapiMasterDevicePort == 0) return;
  if (mIteratorsNeedEmptying) {
    mIteratorsNeedEmptying = false;
    ServicePublishCallback(nullptr, _vqapiServicePublishIterator);
    ServiceTerminateCallback(nullptr, mServiceTerminateIterator);
    return;
  }
  io_iterator_t present = 0;
  if (IOServiceGetMatchingServices(_vqapiMasterDevicePort, mMatchingDict, &present) !=
      kIOReturnSuccess) {
    return;
  }
  const IoObject iterator(present);
  ServicePublishCallback(nullptr, iterator.get());
}

void ServicePublishCallback(void*, io_iterator_t iterator) {
  platform::usleep(kDriverStartPauseMicroseconds);
  const mach_port_t run = _vqapiMasterDevicePort;
  while (const IoObject service{IOIteratorNext(iterator)}) {
    ServicePublished(service.get());
    // The client may have stopped discovery during the report, or restarted it, and a restart scans
    // every service itself.
    if (_vqapiMasterDevicePort != run) return;
  }
}

void ServiceTerminateCallback(void*, io_iterator_t iterator) {
  while (const IoObject service{IOIteratorNext(iterator)}) ServiceTerminated(service.get());
}

void ServicePublished(io_service_t service) {
  auto* device = new (std::nothrow) USBDevice(service);
  if (!device) return;
  device->retain();
  const auto slot =
      std::find(vqapiDeviceMap.begin(), vqapiDeviceMap.end(), static_cast<USBDevice*>(nullptr));
  if (slot == vqapiDeviceMap.end()) {
    // The table is full: the client still sees the arrival, and the device lives on only if the
    // client retained it.
    vqapiDeliver(device, VQAPI_CB_Arrived);
    device->release();
    return;
  }
  *slot = device;
  device->addInterestNotification(_vqapiNotifyPort);
  vqapiDeliver(device, VQAPI_CB_Arrived);
}

void ServiceTerminated(io_service_t service) {
  const auto slot = std::find_if(
      vqapiDeviceMap.begin(), vqapiDeviceMap.end(),
      [service](USBDevice* device) { return device && device->getDeviceInstance() == service; });
  if (slot == vqapiDeviceMap.end()) return;
  USBDevice* const device = *slot;
  // During the callback the client may drop the device or restart discovery, and the slot may get
  // another device. The reference taken here keeps the address in use, so the comparison below
  // tells the other device from this one.
  device->retain();
  vqapiDeliver(device, VQAPI_CB_Removed);
  if (*slot == device) closeAndRelease(std::exchange(*slot, nullptr));
  device->release();
}

void _vqapiMarkAsRemoved(USBDevice* device) {
  if (!device) return;
  const auto slot = std::find(vqapiDeviceMap.begin(), vqapiDeviceMap.end(), device);
  if (slot == vqapiDeviceMap.end()) return;
  *slot = nullptr;
  vqapiDeliver(device, VQAPI_CB_Removed);
  closeAndRelease(device);
}

void vqapiDeliver(USBDevice* device, VQAPI_CBEvent event) {
  if (_vqapiCallbackFunction) _vqapiCallbackFunction(vqapiCallbackContext, device, event);
}

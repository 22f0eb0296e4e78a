// SPDX-License-Identifier: MIT
#include "io/driver_events.h"

#include <string_view>

#include "io/audio_device.h"
#include "io/korvel_dlg.h"
#include "protocol/services.h"

USBDevice* _ioDevice = nullptr;
VQ_DeviceDescriptor _ioDescriptor{};
bool _ioShowClockSource = false;
bool _ioShowDigitalStatus = false;
bool _ioShowRoutingMenus = false;
bool _ioShowDigOutMode = false;
bool _ioShowUSB1Mode = false;

namespace {

void releaseCurrentDevice() {
  _ioDevice->release();
  _ioDevice = nullptr;
}

bool currentDeviceIsVX310() {
  _ioDevice->getDeviceDescriptor(_ioDescriptor);
  return _ioDescriptor.isDevice(kVX310VendorId, kVX310ProductId, kAnyRelease);
}

// The flags are the same at both speeds; io/status.cpp hides the fields that USB 1.1 does not have.
void showClockAndDigitalInput() {
  _ioShowClockSource = true;
  _ioShowDigitalStatus = true;
  _ioShowDigOutMode = false;
}

void deviceArrived(USBDevice* device) {
  _ioDevice = device;
  _ioDevice->retain();
  if (!_ioDevice->open(false)) {
    releaseCurrentDevice();
    return;
  }
  if (!currentDeviceIsVX310()) {
    _ioShowClockSource = false;
    _ioShowUSB1Mode = false;
    _ioShowRoutingMenus = false;
    _ioShowDigitalStatus = false;
    releaseCurrentDevice();  // not closed here: discovery closes it when the device leaves
    return;
  }
  showClockAndDigitalInput();
  _ioShowRoutingMenus = true;
  setHalDeviceName(kVX310AudioDeviceName);
  findHalDevice();
  controlDlg->FoundHardware(kHardwareIndexVX310);
  if (!_ioDevice->isUSB2Device()) showClockAndDigitalInput();
  IOSetData();
}

void currentDeviceRemoved() {
  _ioDescriptor.clear();
  _ioDevice->close();
  releaseCurrentDevice();
  controlDlg->Detach();
  IOSetData();
}

}  // namespace

void IOInit() {
  _ioDevice = nullptr;
  _ioDescriptor.clear();
  GUID driverClass{};
  std::string_view(kVX310DriverClass).copy(driverClass.data(), driverClass.size() - 1);
  vqapiInit(IODriverCallback, nullptr, driverClass);
  IOSetData();
}

void IOTerm() {
  if (_ioDevice) {
    _ioDevice->close();
    releaseCurrentDevice();
  }
  vqapiTerm();
}

void IODriverCallback(void*, USBDevice* device, VQAPI_CBEvent event) {
  if (event == VQAPI_CB_Arrived) {
    if (!_ioDevice && device) deviceArrived(device);
    return;
  }
  if (!_ioDevice || device != _ioDevice) return;
  if (event == VQAPI_CB_Removed) currentDeviceRemoved();
  if (event == VQAPI_CB_Changed) IOSetData();
}

// SPDX-License-Identifier: MIT
#include "device/usb_device.h"

#include <utility>

#include "protocol/services.h"

namespace {

std::int16_t idOf(const CFDictionary& properties, const char* key) {
  return CFNumberGetValue<std::int16_t>(properties, key).value_or(-1);
}

}  // namespace

void CloseHandle(io_connect_t connection) { IOServiceClose(connection); }

USBDevice::USBDevice(io_service_t service) : service_(service) {
  if (service_ == 0) return;
  IOObjectRetain(service_);
  getIORegistryProperties();
  productId_ = idOf(properties_, kProductIdKey);
  vendorId_ = idOf(properties_, kVendorIdKey);
}

USBDevice::~USBDevice() {
  close();
  IOObjectRelease(interestNotification_);
  IOObjectRelease(service_);
}

void USBDevice::retain() { ++referenceCount_; }

void USBDevice::release() {
  if (--referenceCount_ == 0) delete this;
}

bool USBDevice::open(bool) {
  if (isOpen()) return true;
  if (service_ == 0) return false;
  if (IOServiceOpen(service_, kDispatchConnectionType, &connection_) != kIOReturnSuccess) {
    return false;
  }
  if (!getDriverVersion(driverVersion_)) {
    close();
    return false;
  }
  readItemsKeptWhileOpen();
  return isOpen();
}

// The device is usable without any of these items, so failures are ignored: the speed becomes USB
// 1.1, the value 0; the texts and the map keep their previous content.
void USBDevice::readItemsKeptWhileOpen() {
  DeviceIoControl(connection_, kControlCodeString0, nullptr, 0, string0_, sizeof string0_, nullptr,
                  nullptr);
  DeviceIoControl(connection_, kControlCodeString1, nullptr, 0, string1_, sizeof string1_, nullptr,
                  nullptr);
  std::uint8_t speed[4] = {};
  DeviceIoControl(connection_, kControlCodeUsbSpeed, nullptr, 0, speed, sizeof speed, nullptr,
                  nullptr);
  isUsb2_ = wire::load<std::uint32_t>(speed, 0) != kSpeedUsb11;

  VQ_Dispatch record(VQ_Command::kGetValueAtOpen);
  valueAtOpen_ = dispatch(record, true) ? record.valueAtOpen() : 0;
  updateOrbekConfigAndMap();
}

void USBDevice::close() { CloseHandle(std::exchange(connection_, 0)); }

IOReturn USBDevice::getIORegistryProperties() {
  return IORegistryEntryCreateCFProperties(service_, &properties_);
}

std::string USBDevice::getProductString() const {
  const auto* name = CFDictionaryGet<std::string>(properties_, kProductNameKey);
  return name ? *name : std::string();
}

bool USBDevice::dispatch(VQ_Dispatch& record, bool checkSize) {
  if (!isOpen()) return false;
  std::size_t answered = record.bytes.size();
  const IOReturn result = IOConnectMethodStructureIStructureO(
      connection_, kDispatchSelector, record.bytes, record.bytes, &answered);
  if (result != kIOReturnSuccess) return false;
  return !checkSize || answered == record.bytes.size();
}

std::uint32_t USBDevice::wordOf(VQ_Dispatch record, std::uint32_t failureValue) {
  return dispatch(record, true) ? record.word(0) : failureValue;
}

std::int32_t USBDevice::signedWordOf(VQ_Dispatch record) {
  return static_cast<std::int32_t>(wordOf(record, static_cast<std::uint32_t>(-1)));
}

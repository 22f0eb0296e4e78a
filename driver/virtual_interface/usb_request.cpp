// SPDX-License-Identifier: MIT
#include "protocol/usb_request.h"

#include <algorithm>

#include "driver/virtual_interface/commands.h"
#include "protocol/versions.h"

namespace driver {

namespace {

bool isVendorRequest(const UsbRequest& request) {
  return (request.direction == EDIR_DeviceToHost || request.direction == EDIR_HostToDevice) &&
         request.level == EDRQ_Vendor && request.recipient == EDRQ_Device;
}

// The record does not say which layout it has, and a driver of version 1 gets both. Try the new
// layout first: the fields that tell a vendor request are zero there in an old record with at most
// 112 data bytes.
UsbRequestLayout layoutOf(const Model& model, const VQ_Dispatch& record) {
  const bool mayBeOld = DriverVersion::decode(model.versions.driver).major == kOldLayoutMajor;
  return mayBeOld && !isVendorRequest(UsbRequest::decode(record, UsbRequestLayout::kNew))
             ? UsbRequestLayout::kOld
             : UsbRequestLayout::kNew;
}

Outcome answerFirmwareVersion(const Model& model, VQ_Dispatch& record, UsbRequestLayout layout,
                              std::uint32_t length) {
  const FirmwareVersion::Answer answer =
      FirmwareVersion::decode(model.versions.firmware).toAnswer();
  encodeUsbAnswer(record, layout,
                  std::span(answer).first(std::min<std::size_t>(length, answer.size())));
  return Outcome::answered;
}

}  // namespace

Outcome answerUsbRequest(Model& model, VQ_Dispatch& record) {
  const UsbRequestLayout layout = layoutOf(model, record);
  const UsbRequest request = UsbRequest::decode(record, layout);
  if (!isVendorRequest(request)) return Outcome::refused;
  const bool reads = request.direction == EDIR_DeviceToHost;
  if (request.request == kFirmwareVersionRequest && reads) {
    return answerFirmwareVersion(model, record, layout, request.length);
  }
  if (request.request == kReplugRequest && !reads) return Outcome::answeredAndLeft;
  return Outcome::refused;
}

}  // namespace driver

// SPDX-License-Identifier: MIT
// The handle of one connected interface: its registry service, the connection to its driver, and
// the operations that the driver carries out.
//
// Thread: the one whose run loop carries the device notifications. Nothing throws. Each operation
// sends one request record (protocol/dispatch.h) unless its comment says otherwise, and needs an
// open device: on a closed device it fails without contacting the driver. If the driver is slow or
// its answer is short or nonsense, the operation returns its failure value; no operation writes
// outside the caller's buffers.
//
// Errors: an operation that returns bool returns false; the others name their failure value. On
// failure an out argument keeps its content unless the comment says otherwise.
//
// Ownership: reference-counted; the count starts at 0. A client that keeps a handle calls retain()
// and later release(); the release() that brings the count to 0 destroys the handle.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "device/version.h"
#include "platform/device_registry/device_registry.h"
#include "platform/values/values.h"
#include "protocol/dispatch.h"
#include "protocol/records.h"
#include "protocol/usb_request.h"

// Control codes of USBDevice::DeviceIoControl.
inline constexpr int kControlCodeString0 = 0;
inline constexpr int kControlCodeString1 = 1;
inline constexpr int kControlCodeDeviceDescriptor = 38;
inline constexpr int kControlCodeUsbSpeed = 39;
inline constexpr int kControlCodeDriverVersion = 41;
inline constexpr int kControlCode56 = 56;

// A port of another product's controller; declared only for writeAJData(), which refuses it.
class AJCPortBase;

// Closes a connection to a driver; does nothing for 0.
void CloseHandle(io_connect_t connection);

class USBDevice {
 public:
  // Makes a closed handle; retains `service` and reads its properties. With service 0, open()
  // always fails.
  explicit USBDevice(io_service_t service);
  // Closes the connection and ends the driver's messages.
  virtual ~USBDevice();
  USBDevice(const USBDevice&) = delete;
  USBDevice& operator=(const USBDevice&) = delete;

  void retain();
  void release();

  // --- Handle ---

  // Opens the connection to the driver and reads the driver version, then the two texts, the speed,
  // the value, and the configuration and map. Returns true when the device is open afterwards, also
  // if it was open before. Fails when there is no service, the connection is refused or the driver
  // version cannot be read; failures of the other reads are ignored. The argument is not used.
  bool open(bool unused);
  void close();
  bool isOpen() const { return connection_ != 0; }
  // Speed as of the last open(): true for USB 2.0, false for USB 1.1.
  bool isUSB2Device() const { return isUsb2_; }
  io_service_t getDeviceInstance() const { return service_; }
  // Reads the service's properties again and returns the registry's result. On failure the
  // previous properties are kept.
  IOReturn getIORegistryProperties();
  // The property "USB Product Name"; empty when it is missing.
  std::string getProductString() const;
  // The properties "idVendor" and "idProduct" as read by the constructor; -1 for a missing one.
  std::int16_t vendorId() const { return vendorId_; }
  std::int16_t productId() const { return productId_; }
  // The driver's version, its two texts and its value as of the last open(). If a text could not be
  // read at that open(), its previous value is kept.
  const VqVersion& driverVersion() const { return driverVersion_; }  // no program calls this
  const char* string0() const { return string0_; }                   // no program calls this
  const char* string1() const { return string1_; }
  double valueAtOpen() const { return valueAtOpen_; }  // no program calls this
  // The copy of the last configuration and map read from or written to the device.
  // No program calls this.
  const VQ_Orbek_ConfigAndMap& configurationAndMap() const { return configurationAndMap_; }

  // --- Transport ---

  // Sends `record` and stores the answer in it; a short answer leaves the remaining bytes as sent.
  // With `checkSize` a short answer is a failure.
  bool dispatch(VQ_Dispatch& record, bool checkSize);

  // Sends a USB control request with the first `length` bytes of `buffer`, or without data when
  // `buffer` is null or `length` 0. With EDIR_DeviceToHost, at most `length` bytes of the answer's
  // data are stored in `buffer`. Fails for more than UsbRequest::kDataLimit bytes.
  //
  // A driver of major version 1 gets the old record layout unless `newLayout` is true; later
  // drivers always get the new one, in which long data and a request without data overwrite the
  // other fields (UsbRequest, protocol/usb_request.h).
  bool request(EDirection direction, EDRQ_Level level, EDRQ_Recipient recipient,
               unsigned char request, unsigned short value, unsigned short index, char* buffer,
               unsigned short length, bool newLayout);

  // Reads one of the driver's items; `code` is a kControlCode…. `handle` is the connection; 0
  // fails. Stores at most `outSize` and at most 256 bytes in `out`; a text gets a NUL in the last
  // byte stored. *returned, unless null, receives the number of bytes stored, 0 on failure. `in`,
  // `inSize` and `overlapped` are not used.
  bool DeviceIoControl(unsigned int handle, int code, void* in, std::uint32_t inSize, void* out,
                       std::uint32_t outSize, std::uint32_t* returned, void* overlapped);

  // Receives the driver's messages through `port` until the handle is destroyed. VQAPI_CBEvent
  // (device/discovery.h) says which messages reach the client.
  void addInterestNotification(IONotificationPortRef port);
  static void ServiceInterestCallback(void* refcon, io_service_t service, natural_t messageType,
                                      std::span<const std::uint8_t> argument);
  void onServiceInterestCallback(io_service_t service, natural_t messageType,
                                 std::span<const std::uint8_t> argument);

  // --- Versions ---

  // Both clear `version` first, so it is empty on failure.
  bool getDriverVersion(VqVersion& version);
  // Reads the version number from the driver; from the device itself, with a USB request, when
  // `askDevice` is true or the driver answers 0. Prints the numbers read on standard output. If the
  // date cannot be read, it stays empty and the call succeeds.
  bool getFirmwareVersion(VqVersion& version, bool askDevice);

  // --- Options ---

  bool canClockSource(VQE_ClockSource source);  // no program calls this
  // The getters return the driver's value, the setters the value that the device then has; -1 on
  // failure.
  std::int32_t getCurrentClockSource();
  std::int32_t setClockSource(VQE_ClockSource source);
  std::int32_t getUSB1Mode();
  std::int32_t setUSB1Mode(VQE_USB1Mode mode);  // no program calls this
  std::int32_t getDigitalOutMode();
  std::int32_t setDigitalOutMode(VQE_DigitalOutMode mode);
  std::int32_t getDigitalOutSelector();
  bool setDigitalOutSelector(std::int32_t selector);
  bool getDigitalStatus(VQ_DigitalStatus& status);

  // --- Configurations and buffer sizes ---

  // Operations that return a number return 0 on failure. Buffer sizes are in the driver's unit.
  std::uint32_t getCountConfigurations();  // no program calls this
  // No program calls this.
  bool getConfiguration(std::uint32_t index, VQ_DeviceConfiguration& configuration);
  bool getCurrentConfiguration(VQ_DeviceConfiguration& configuration);
  // `actual` receives the configuration that the device then has.
  // No program calls this.
  bool setConfiguration(VQ_DeviceConfiguration configuration, VQ_DeviceConfiguration& actual);
  std::uint32_t getConfigStatus();                   // no program calls this
  std::uint32_t getCountBufferSizes();               // no program calls this
  std::uint32_t getBufferSize(std::uint32_t index);  // no program calls this
  std::uint32_t getCurrentBufferSize();
  // Returns the size that the device then has.
  std::uint32_t setBufferSize(std::uint32_t size);  // no program calls this
  bool suspendStreaming();                          // no program calls this
  bool resumeStreaming();                           // no program calls this

  // --- Channel maps, names and descriptor ---

  bool getChannelMap(VQ_Orbek_ChannelMap& map);  // no program calls this
  bool setChannelMap(VQ_Orbek_ChannelMap map);   // no program calls this
  bool getConfigurationAndChannelMap(VQ_Orbek_ConfigAndMap& record);
  // `actual` and configurationAndMap() receive the record that the device then has.
  // No program calls this.
  bool setConfigurationAndChannelMap(VQ_Orbek_ConfigAndMap record, VQ_Orbek_ConfigAndMap& actual);
  // Reads configurationAndMap() again.
  bool updateOrbekConfigAndMap();
  // The pointer receives kDeviceNameSize bytes; a name of that length has no terminating NUL. The
  // span receives the name, cut to fit and NUL-terminated. On failure both receive an empty text.
  bool getOrbekDeviceName(char* name);            // no program calls this
  bool getOrbekDeviceName(std::span<char> name);  // no program calls this
  // Sends at most kDeviceNameSize bytes of the name.
  bool setOrbekDeviceName(const char* name);       // no program calls this
  bool setOrbekDeviceName(std::string_view name);  // no program calls this
  // Clears `descriptor` first, so it is empty on failure.
  bool getDeviceDescriptor(VQ_DeviceDescriptor& descriptor);

  // --- Levels ---

  // Clears `levels` on failure. No program calls this.
  bool readLevelInfo(VQ_LevelInfo& levels);
  // Read one level per channel, in the driver's scale. A device of the sibling family (vendor
  // kOrbekVendorId): 8 input or 32 output levels are cleared, then the levels are stored at the
  // slots that configurationAndMap() uses. Any other device: 32 levels. A pointer must lead to 32
  // levels; levels that do not fit in the span are dropped.
  bool getInLevels(std::uint32_t* levels);  // no program calls this
  bool getInLevels(std::span<std::uint32_t> levels);
  bool getOutLevels(std::uint32_t* levels);  // no program calls this
  bool getOutLevels(std::span<std::uint32_t> levels);
  // Reads the levels of both sides. Always returns true; a side that cannot be read keeps its
  // levels. No program calls this, nor those below.
  bool readLevelInfoEx(VQ_LevelInfo32& levels);
  // Always return true without contacting the driver; `levels` is left unchanged.
  bool levelInfoExAttach();
  bool levelInfoExDetach();
  bool readLevelInfoExtended1(VQ_LevelInfoExtended1& levels);

  // --- Routing ---

  // Returns the value that the device then has; on failure `index`, which is not a value.
  // No program calls this.
  std::int32_t setRouting(bool input, std::int32_t index, std::int32_t value);
  // Reads the value from the service's properties (entry "RoutingIn0" … of the dictionary
  // "AjExtData"), where the driver publishes it; -1 when it is missing. Needs no open device.
  // Prints the value, or why there is none, on standard output.
  std::int32_t getRouting(bool input, std::int32_t index);

  // --- Codec, logic chip and control port ---
  // No program calls these.

  // Read and write a register of the codec; 0 on failure.
  std::uint16_t getWMRegister(std::uint16_t a, std::uint16_t b);
  std::uint16_t setWMRegister(std::uint16_t a, std::uint16_t b, std::uint16_t c);
  // Two bits of the logic chip's byte: digital monitor and mix output selection. The getters return
  // false on failure; the setters read the byte first, so they send two records.
  bool getDaxCpldDigitalMon();
  bool getDaxCpldMixOutSel();
  bool setDaxCpldDigitalMon(bool on);
  bool setDaxCpldMixOutSel(bool on);
  // Sends bytes to the control port, at most 255 per record. With no bytes to send it succeeds
  // without contacting the driver. After a failure the earlier records stay sent. The static form
  // fails for a null device.
  bool sendCPortBytes(std::uint32_t count, const unsigned char* bytes);
  bool sendCPortBytes(std::span<const std::uint8_t> bytes);
  static bool sendCPortBytesStatic(void* device, const unsigned char* bytes, std::uint32_t count);
  // Always returns false: this interface has no such port.
  bool writeAJData(AJCPortBase* port, std::uint32_t value);

  // --- Firmware ---
  // No program calls these.

  bool prepareFirmwareUpdate();
  // The device leaves the bus instead of answering: returns true when no answer came, false when
  // the driver answered.
  bool reenumerateDevice();
  // Makes the device leave the bus and come back.
  bool replugDevice(bool newLayout);

 private:
  enum class Side { kInput, kOutput };

  void readItemsKeptWhileOpen();
  // Sends `record` with a size check and returns payload word 0 of the answer.
  std::uint32_t wordOf(VQ_Dispatch record, std::uint32_t failureValue);
  std::int32_t signedWordOf(VQ_Dispatch record);
  std::optional<std::uint32_t> readLogicChip();
  bool getLogicChipBit(std::uint32_t bit);
  bool setLogicChipBit(std::uint32_t bit, bool on);
  bool isOrbek() const;
  bool getLevels(Side side, std::span<std::uint32_t> levels);
  void placeLevels(Side side, const VQ_Dispatch& answer, std::span<std::uint32_t> levels) const;

  VqVersion driverVersion_;
  io_object_t interestNotification_ = 0;
  char string0_[kStringSize] = {};
  char string1_[kStringSize] = {};
  double valueAtOpen_ = 0;
  bool isUsb2_ = false;
  io_service_t service_;
  io_connect_t connection_ = 0;
  CFDictionary properties_;
  std::int16_t productId_ = -1;
  std::int16_t vendorId_ = -1;
  VQ_Orbek_ConfigAndMap configurationAndMap_;
  std::int32_t referenceCount_ = 0;
};

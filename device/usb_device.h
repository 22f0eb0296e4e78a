// SPDX-License-Identifier: MIT
// The handle of one connected interface: its service, the connection to its driver, and the
// operations that the driver carries out.
//
// All on the thread whose run loop carries the device notifications. Nothing throws. Every
// operation is one request record (protocol/dispatch.h) unless it says otherwise, and needs an open
// device: on a closed one it fails without contacting the driver. A driver that is slow, answers
// short or answers nonsense costs a failure value, never memory outside the buffers given here.
//
// Failure values: `false` where an operation returns bool, otherwise as said beside it. Out
// arguments keep their content on failure unless said otherwise.
//
// Ownership: reference-counted, from 0. Whoever keeps a handle retains it and later releases it;
// the release that brings the count to 0 destroys it.
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

// The codes that USBDevice::DeviceIoControl knows.
inline constexpr int kControlCodeString0 = 0;
inline constexpr int kControlCodeString1 = 1;
inline constexpr int kControlCodeDeviceDescriptor = 38;
inline constexpr int kControlCodeUsbSpeed = 39;
inline constexpr int kControlCodeDriverVersion = 41;
inline constexpr int kControlCode56 = 56;

// A port of another product's controller; known here only for the operation that refuses it.
class AJCPortBase;

// Closes a connection, or does nothing for 0.
void CloseHandle(io_connect_t connection);

class USBDevice {
 public:
  // Most bytes that one USB control request carries.
  static constexpr std::uint16_t kRequestDataLimit = 256;

  // A closed handle of `service`, which it retains; 0 gives a handle that never opens. Reads the
  // service's properties.
  explicit USBDevice(io_service_t service);
  // Closes, and ends the driver's messages.
  virtual ~USBDevice();
  USBDevice(const USBDevice&) = delete;
  USBDevice& operator=(const USBDevice&) = delete;

  void retain();
  void release();

  // --- Handle ---

  // Opens the connection and reads what is kept for as long as it lasts: driver version, speed,
  // configuration and map. True when it is open afterwards, also when it was already. Fails when
  // there is no service, no connection or no driver version. The argument is not used.
  bool open(bool unused);
  void close();
  bool isOpen() const { return connection_ != 0; }
  // Speed as of the last open(): true for USB 2.0, false for USB 1.1.
  bool isUSB2Device() const { return isUsb2_; }
  io_service_t getDeviceInstance() const { return service_; }
  // Reads the service's properties again; the registry's result. Failure keeps the former ones.
  IOReturn getIORegistryProperties();
  // The property "USB Product Name"; empty when the driver published none.
  std::string getProductString() const;
  // "idVendor" and "idProduct" of the properties; -1 for one that is missing.
  std::int16_t vendorId() const { return vendorId_; }
  std::int16_t productId() const { return productId_; }
  // As read at the last open(): the driver's version, its two texts and its number. A text that
  // could not be read then is the one of before.
  const VqVersion& driverVersion() const { return driverVersion_; }
  const char* string0() const { return string0_; }
  const char* string1() const { return string1_; }
  double valueAtOpen() const { return valueAtOpen_; }
  // As last read from or written to the device.
  const VQ_Orbek_ConfigAndMap& configurationAndMap() const { return configurationAndMap_; }

  // --- Transport ---

  // Sends `record` and receives the answer in it; bytes that a short answer lacks stay as sent.
  // With `checkSize` such an answer is a failure.
  bool dispatch(VQ_Dispatch& record, bool checkSize);

  // Sends a USB control request with the first `length` bytes of `buffer`, or without data when
  // `buffer` is null or `length` 0. Device to host, the answer's data comes back into `buffer`, at
  // most `length` bytes of it. Fails for more than kRequestDataLimit bytes.
  //
  // Drivers of major version 1 take the old record layout unless `newLayout` asks for the other,
  // which all later ones take. In the new layout the data area lies before the setup fields and is
  // written after them: keep data within 128 bytes there, longer data overwrites them, and so does
  // the clearing of the area of a request without data.
  bool request(EDirection direction, EDRQ_Level level, EDRQ_Recipient recipient,
               unsigned char request, unsigned short value, unsigned short index, char* buffer,
               unsigned short length, bool newLayout);

  // Asks for one of the driver's items (kControlCode…). `handle` is the connection, 0 fails. At
  // most 256 bytes and `outSize` come into `out`; *returned, when given, receives how many, 0 on
  // failure. Texts are terminated at the last byte. `in`, `inSize` and `overlapped` are not used.
  bool DeviceIoControl(unsigned int handle, int code, void* in, std::uint32_t inSize, void* out,
                       std::uint32_t outSize, std::uint32_t* returned, void* overlapped);

  // Asks the driver for messages through `port`, until the handle is destroyed. Which of them
  // reach the client is said in device/discovery.h.
  void addInterestNotification(IONotificationPortRef port);
  static void ServiceInterestCallback(void* refcon, io_service_t service, natural_t messageType,
                                      std::span<const std::uint8_t> argument);
  void onServiceInterestCallback(io_service_t service, natural_t messageType,
                                 std::span<const std::uint8_t> argument);

  // --- Versions ---

  // The record is cleared first, also on failure.
  bool getDriverVersion(VqVersion& version);
  // `askDevice` asks the device itself instead of the driver, as does a driver that answers 0.
  // Prints the number, and the number that the device gave, on standard output. Without an answer
  // about the date the date stays empty and the call succeeds.
  bool getFirmwareVersion(VqVersion& version, bool askDevice);

  // --- Options ---

  bool canClockSource(VQE_ClockSource source);
  // These return the driver's value, -1 on failure; the setters that which the device then has.
  std::int32_t getCurrentClockSource();
  std::int32_t setClockSource(VQE_ClockSource source);
  std::int32_t getUSB1Mode();
  std::int32_t setUSB1Mode(VQE_USB1Mode mode);
  std::int32_t getDigitalOutMode();
  std::int32_t setDigitalOutMode(VQE_DigitalOutMode mode);
  std::int32_t getDigitalOutSelector();
  bool setDigitalOutSelector(std::int32_t selector);
  bool getDigitalStatus(VQ_DigitalStatus& status);

  // --- Configurations and buffer sizes ---

  // The numbers return 0 on failure; sizes are in the driver's unit.
  std::uint32_t getCountConfigurations();
  bool getConfiguration(std::uint32_t index, VQ_DeviceConfiguration& configuration);
  bool getCurrentConfiguration(VQ_DeviceConfiguration& configuration);
  // `actual` receives what the device has afterwards.
  bool setConfiguration(VQ_DeviceConfiguration configuration, VQ_DeviceConfiguration& actual);
  std::uint32_t getConfigStatus();
  std::uint32_t getCountBufferSizes();
  std::uint32_t getBufferSize(std::uint32_t index);
  std::uint32_t getCurrentBufferSize();
  // The size that the device has afterwards.
  std::uint32_t setBufferSize(std::uint32_t size);
  bool suspendStreaming();
  bool resumeStreaming();

  // --- Channel maps, names and descriptor ---

  bool getChannelMap(VQ_Orbek_ChannelMap& map);
  bool setChannelMap(VQ_Orbek_ChannelMap map);
  bool getConfigurationAndChannelMap(VQ_Orbek_ConfigAndMap& record);
  // `actual` and the kept copy receive what the device has afterwards.
  bool setConfigurationAndChannelMap(VQ_Orbek_ConfigAndMap record, VQ_Orbek_ConfigAndMap& actual);
  // Reads the kept copy again.
  bool updateOrbekConfigAndMap();
  // The raw pointer receives kDeviceNameSize bytes, which a name of that length fills without a
  // terminator; a span receives the name cut to what fits and terminated. Failure: empty text.
  bool getOrbekDeviceName(char* name);
  bool getOrbekDeviceName(std::span<char> name);
  // At most kDeviceNameSize bytes of the name count.
  bool setOrbekDeviceName(const char* name);
  bool setOrbekDeviceName(std::string_view name);
  // The descriptor is cleared first, also on failure.
  bool getDeviceDescriptor(VQ_DeviceDescriptor& descriptor);

  // --- Levels ---

  // Failure clears the record.
  bool readLevelInfo(VQ_LevelInfo& levels);
  // One level per channel. On a device of the sibling family (vendor kOrbekVendorId) the levels
  // stand at the slots that the kept map uses, among 8 cleared input and 32 cleared output levels;
  // on others there are 32. A raw pointer must lead to 32 levels; in a shorter span what does not
  // fit is dropped.
  bool getInLevels(std::uint32_t* levels);
  bool getInLevels(std::span<std::uint32_t> levels);
  bool getOutLevels(std::uint32_t* levels);
  bool getOutLevels(std::span<std::uint32_t> levels);
  // Both of the above into one record. Always true; a side that cannot be read keeps its levels.
  bool readLevelInfoEx(VQ_LevelInfo32& levels);
  // Always true, without contacting the driver; the record is left alone.
  bool levelInfoExAttach();
  bool levelInfoExDetach();
  bool readLevelInfoExtended1(VQ_LevelInfoExtended1& levels);

  // --- Routing ---

  // The value that the device has afterwards; on failure `index`, which is not a value.
  std::int32_t setRouting(bool input, std::int32_t index, std::int32_t value);
  // The value that the driver publishes among the service's properties (entry "RoutingIn0" … of
  // the dictionary "AjExtData"); -1 when there is none. Needs no open device. Prints what it found
  // on standard output.
  std::int32_t getRouting(bool input, std::int32_t index);

  // --- Codec, logic chip and control port ---

  // A register of the codec; 0 on failure.
  std::uint16_t getWMRegister(std::uint16_t a, std::uint16_t b);
  std::uint16_t setWMRegister(std::uint16_t a, std::uint16_t b, std::uint16_t c);
  // Two bits of the logic chip's byte: digital monitor and selection of the mix output.
  bool getDaxCpldDigitalMon();
  bool getDaxCpldMixOutSel();
  bool setDaxCpldDigitalMon(bool on);
  bool setDaxCpldMixOutSel(bool on);
  // Sends bytes to the control port, in records of at most 255. No bytes are sent with success.
  // After a failure the earlier records stay sent. The static form fails for a null device.
  bool sendCPortBytes(std::uint32_t count, const unsigned char* bytes);
  bool sendCPortBytes(std::span<const std::uint8_t> bytes);
  static bool sendCPortBytesStatic(void* device, const unsigned char* bytes, std::uint32_t count);
  // Always false: there is no such port.
  bool writeAJData(AJCPortBase* port, std::uint32_t value);

  // --- Firmware ---

  bool prepareFirmwareUpdate();
  // The device leaves the bus instead of answering: true when no answer came, false when one did.
  bool reenumerateDevice();
  // Lets the device leave the bus and come back.
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

// SPDX-License-Identifier: MIT
// The persistent store of the interface's settings, which the panel shares with the driver side.
//
// The settings are preferences under an application identifier. A number is stored as decimal text,
// a block as data. A value of another type counts as missing: data or a list for a number, anything
// but data for a block.
//
// A former generation kept the settings in an XML file. The first store that is opened by name
// imports that file, once.
//
// Every setter synchronises at once, so that the other side sees the change. Setters do not fail: a
// value that could not be stored is tried again by the next setter or store(), which returns
// whether that worked.
//
// The caller owns the buffers and keys that it passes; the store copies from and to them during the
// call only. Main thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "foundation/lum_string.h"
#include "foundation/xml/doc.h"
#include "platform/values/values.h"
#include "protocol/records.h"

// The application identifiers of the interface's settings, and of the settings that all interfaces
// of the vendor share.
inline constexpr std::string_view DEVICE_HAL_DOMAIN = "com.vantrel.vx310.hal";
inline constexpr std::string_view VENDOR_HAL_DOMAIN = "com.vantrel.hal";

// Names the settings of the VX-310; with ".xml" behind it, their legacy file.
inline constexpr const char* kVX310Settings = "VantrelVX310.usbsettings";

// The version that the settings are stored with, under "Version".
inline constexpr const char* kSettingsVersion = "1.0";

class OSXAsioRegistry : public XML::Doc {
 public:
  // Block sizes in bytes.
  static constexpr std::size_t kRoutingMatrixSize = 32;
  static constexpr std::size_t kMixerFractionsSize = 512;
  static constexpr std::size_t kMixerBufferSize = 64;
  static constexpr std::size_t kReverbBuffersSize = 1024;

  // --- Life cycle and import ---

  // Opens the store of DEVICE_HAL_DOMAIN. Unless "Version" is stored there, imports the file
  // `name`.xml of the Preferences folder, which is created empty when it is missing. A file that
  // cannot be read counts as empty.
  explicit OSXAsioRegistry(const char* name);
  // Opens the store of `id`.hal, or of VENDOR_HAL_DOMAIN for nullopt. Imports nothing. No program
  // calls this.
  explicit OSXAsioRegistry(std::optional<std::string_view> id);
  // Stores "Version", which marks the identifier as imported.
  ~OSXAsioRegistry() override;

  // Whether a store by identifier found this version's "Version"; false in a store by name. No
  // program calls this.
  bool getVersionCurrent() const { return versionCurrent_; }
  // The legacy file's name; empty unless this store imported. No program calls this.
  const LumString& getStorageName() const { return storageName_; }
  // No program calls this.
  const std::string& getApplicationId() const { return applicationId_; }

  // Synchronises. False when a value that was set could not be stored.
  bool store();

  // Null: settings are no longer in the document. No program calls this.
  XML::Node* getSettingNode(const char* name, bool create);
  // Imports the document: stores each attribute of the elements in "Settings" under its name, and
  // "Version".
  void convertToCFPrefs();

  // --- Numbers ---

  // A getter returns false and sets the value to 0 when the key is missing. No program calls one of
  // these but setClockSource(), setDigitalOutMode() and setDigitalOutSelector().

  // In Hz.
  bool getSampleRate(std::uint32_t& value) const { return getUInt32Value(value, "SampleRate"); }
  void setSampleRate(std::uint32_t value) { setUInt32Value(value, "SampleRate"); }
  bool getMixerMode(std::int32_t& value) const;
  void setMixerMode(std::int32_t value);
  bool getFootSwitchProtocol(std::uint32_t& value) const {
    return getUInt32Value(value, "FootSwitchProtocol");
  }
  void setFootSwitchProtocol(std::uint32_t value) { setUInt32Value(value, "FootSwitchProtocol"); }
  bool getFootSwitchMode(std::uint32_t& value) const {
    return getUInt32Value(value, "FootSwitchMode");
  }
  void setFootSwitchMode(std::uint32_t value) { setUInt32Value(value, "FootSwitchMode"); }
  // setForceInternal() writes "DigitalOutMode", which the driver reads for it. "ForceInternal" is
  // only ever written by the import.
  bool getForceInternal(std::uint32_t& value) const {
    return getUInt32Value(value, "ForceInternal");
  }
  void setForceInternal(std::uint32_t value) { setDigitalOutMode(value); }
  // The clock source, the modes and the selector have the numbers of protocol/options.h.
  void getClockSource(std::uint32_t& value) const { getUInt32Value(value, kClockSource); }
  void setClockSource(std::uint32_t value) { setUInt32Value(value, kClockSource); }
  void getDigitalOutMode(std::uint32_t& value) const { getUInt32Value(value, kDigitalOutMode); }
  void setDigitalOutMode(std::uint32_t value) { setUInt32Value(value, kDigitalOutMode); }
  void setUSB1Mode(std::uint32_t value) { setUInt32Value(value, kUSB1Mode); }
  void setDigitalOutSelector(std::uint32_t value) { setUInt32Value(value, kDigitalOutSel); }
  // `a` and `b` are the indices in the key: 0 and 1 give "Routing_0_1".
  bool getRouting(std::uint32_t a, std::uint32_t b, std::uint32_t& value) const {
    return getUInt32Value(value, keyOf("Routing", a, b));
  }
  void setRouting(std::uint32_t a, std::uint32_t b, std::uint32_t value) {
    setUInt32Value(value, keyOf("Routing", a, b));
  }
  // A register of the Wolfson codec.
  bool getWolfsonRegister(std::uint32_t a, std::uint32_t b, std::uint32_t& value) const {
    return getUInt32Value(value, keyOf("WolfsonRegister", a, b));
  }
  void setWolfsonRegister(std::uint32_t a, std::uint32_t b, std::uint32_t value) {
    setUInt32Value(value, keyOf("WolfsonRegister", a, b));
  }

  // --- Blocks ---

  // A getter returns false and copies nothing when the key is missing. To a pointer it copies all
  // stored bytes, even if they are more than the block's size; to a span as many as fit. A setter
  // reads the block's size from the pointer; null stores nothing. No program calls these.

  bool getRoutingMatrix(std::uint8_t* bytes) const { return getBlock(bytes, "RoutingMatrix"); }
  bool getRoutingMatrix(std::span<std::uint8_t> bytes) const {
    return getBlock(bytes, "RoutingMatrix");
  }
  void setRoutingMatrix(const std::uint8_t* bytes) {
    setBlock(bytes, kRoutingMatrixSize, "RoutingMatrix");
  }
  bool getMixerFractions(std::uint8_t* bytes) const { return getBlock(bytes, "MixerFractions"); }
  bool getMixerFractions(std::span<std::uint8_t> bytes) const {
    return getBlock(bytes, "MixerFractions");
  }
  void setMixerFractions(const std::uint8_t* bytes) {
    setBlock(bytes, kMixerFractionsSize, "MixerFractions");
  }
  bool getMixerBuffer(std::uint8_t* bytes) const { return getBlock(bytes, "MixerBuffer"); }
  bool getMixerBuffer(std::span<std::uint8_t> bytes) const {
    return getBlock(bytes, "MixerBuffer");
  }
  void setMixerBuffer(const std::uint8_t* bytes) {
    setBlock(bytes, kMixerBufferSize, "MixerBuffer");
  }
  bool getReverbBuffers(std::uint8_t* bytes) const { return getBlock(bytes, "ReverbBuffers"); }
  bool getReverbBuffers(std::span<std::uint8_t> bytes) const {
    return getBlock(bytes, "ReverbBuffers");
  }
  void setReverbBuffers(const std::uint8_t* bytes) {
    setBlock(bytes, kReverbBuffersSize, "ReverbBuffers");
  }

  // --- Any key ---

  // Parse the stored text as a signed 32-bit decimal number: blanks before it are skipped, parsing
  // stops at the first non-digit, no digits give 0, larger numbers are clamped. The number is then
  // truncated to the variable's width. False and 0 when the key is missing. No program calls the
  // 16-bit, 8-bit and bool ones.
  bool getUInt32Value(std::uint32_t& value, std::string_view key) const;
  bool getUInt16Value(std::uint16_t& value, std::string_view key) const;
  bool getUInt8Value(std::uint8_t& value, std::string_view key) const;
  // True when the number is not 0.
  bool getBoolValue(bool& value, std::string_view key) const;
  // Stored as a signed 32-bit number: 4294967295 as "-1". No program calls the 16-bit, 8-bit and
  // bool ones.
  void setUInt32Value(std::uint32_t value, std::string_view key);
  void setUInt16Value(std::uint16_t value, std::string_view key) { setUInt32Value(value, key); }
  void setUInt8Value(std::uint8_t value, std::string_view key) { setUInt32Value(value, key); }
  void setBoolValue(bool value, std::string_view key) { setUInt32Value(value, key); }

  // The stored value, of any type; nullopt when the key is missing. Always true. No program calls
  // this.
  bool getStringValue(std::optional<CFValue>& value, std::string_view key) const;
  // nullopt removes the key. False when the change could not be stored.
  bool setStringValue(std::optional<std::string_view> value, std::string_view key);

  // Stored as a block of 8 bytes in host byte order. A shorter stored block replaces only its bytes
  // of `value`. No program calls these.
  bool getUInt64Value(std::uint64_t& value, std::string_view key) const;
  void setUInt64Value(std::uint64_t value, std::string_view key) {
    setBlock(&value, sizeof value, key);
  }

  // --- Records ---

  // The record of one device, as a block of its bytes in host byte order. `uid` points at the
  // device's 64-bit id, 8 bytes in host byte order. The getter logs each call and copies as many
  // stored bytes as the record has room for; when the key is missing it logs an error, returns
  // false and leaves `record` untouched. The setter logs an error and returns false when there is
  // no memory for the block. No program calls these.
  bool getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap& record, const char* uid) const;
  bool setOrbekConfigAndMapping(const VQ_Orbek_ConfigAndMap& record, const char* uid);

  // The record of all devices, as one number for each field. A missing field gets its default: 2
  // channels of 16 bits at 48 kHz in each direction, unused slots. The getter reads the width of
  // the inputs for the outputs too, and always returns true. No program calls these.
  bool getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap& record) const;
  void setOrbekConfigAndMapping(const VQ_Orbek_ConfigAndMap& record);

  // Reads the clock source, USB 1.1 mode, digital output mode and selector, 0 for a missing key,
  // and logs each value found. The other fields get their defaults; the first word is left
  // untouched.
  void loadAjExt(VqAjExtData& data) const;

 private:
  static constexpr std::string_view kVersion = "Version";
  static constexpr std::string_view kClockSource = "ClockSource";
  static constexpr std::string_view kUSB1Mode = "USB1Mode";
  static constexpr std::string_view kDigitalOutMode = "DigitalOutMode";
  static constexpr std::string_view kDigitalOutSel = "DigitalOutSel";

  static std::string keyOf(std::string_view name, std::uint32_t index);
  static std::string keyOf(std::string_view name, std::uint32_t a, std::uint32_t b) {
    return keyOf(keyOf(name, a), b);
  }

  // Sets "Version" and synchronises.
  void storeVersion();
  // Sets a number without synchronising.
  void putNumber(std::uint32_t value, std::string_view key);
  bool getBlock(std::uint8_t* bytes, std::string_view key) const;
  bool getBlock(std::span<std::uint8_t> bytes, std::string_view key) const;
  // False when `bytes` is null or there is no memory for the block.
  bool setBlock(const void* bytes, std::size_t size, std::string_view key);

  bool versionCurrent_ = false;
  LumString storageName_;
  const std::string applicationId_;
};

// Opens a file of the Preferences folder for reading, with `write` also for writing; with `create`
// a missing file is created. Returns the fork, which the caller closes, or -1 after printing the
// reason on standard output.
short getStorageFile(const LumString& name, bool create, bool write);

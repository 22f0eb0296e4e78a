// SPDX-License-Identifier: MIT
// The persistent store of the interface's settings, which the panel shares with the driver side.
//
// The settings are preferences under an application identifier: numbers as decimal text, blocks as
// data. A former generation kept them in an XML file; the first store that is opened by name takes
// them over from there, once.
//
// Every setter stores at once, so that the other side sees the change; store() says whether that
// worked. A getter of a number that is missing yields 0. A value of the other kind, text for a
// block or anything but text for a number, counts as missing.
//
// Main thread only. Buffers and keys are the caller's.
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

// The application identifiers of the interface's settings, and of those that all interfaces of the
// vendor share.
inline constexpr std::string_view DEVICE_HAL_DOMAIN = "com.vantrel.vx310.hal";
inline constexpr std::string_view VENDOR_HAL_DOMAIN = "com.vantrel.hal";

// Names the settings of the VX-310, and the file of their older form.
inline constexpr const char* kVX310Settings = "VantrelVX310.usbsettings";

class OSXAsioRegistry : public XML::Doc {
 public:
  static constexpr std::size_t kRoutingMatrixSize = 32;
  static constexpr std::size_t kMixerFractionsSize = 512;
  static constexpr std::size_t kMixerBufferSize = 64;
  static constexpr std::size_t kReverbBuffersSize = 1024;

  // The store of DEVICE_HAL_DOMAIN. When it has never been opened, takes over what the file `name`
  // with ".xml" behind it in the Preferences folder holds; makes an empty one when there is none.
  explicit OSXAsioRegistry(const char* name);
  // The store of `id` with ".hal" behind it, or of VENDOR_HAL_DOMAIN. Takes nothing over.
  explicit OSXAsioRegistry(std::optional<std::string_view> id);
  // Marks the identifier as taken over.
  ~OSXAsioRegistry() override;

  // Whether a store by identifier found the mark of this version; false in a store by name.
  bool getVersionCurrent() const { return versionCurrent_; }
  // The file's name; empty unless this store looked for it.
  const LumString& getStorageName() const { return storageName_; }
  const std::string& getApplicationId() const { return applicationId_; }

  // False when not all that was set could be stored; that is tried again with the next setter or
  // store().
  bool store();

  // Always null: the document is there for taking a file over alone.
  XML::Node* getSettingNode(const char* name, bool create);
  // Stores each attribute of the elements in "Settings" under its name, and marks the identifier as
  // taken over.
  void convertToCFPrefs();

  // --- Numbers ---

  // Rate in Hz. False when the key is missing.
  bool getSampleRate(std::uint32_t& value) const;
  void setSampleRate(std::uint32_t value);
  bool getMixerMode(std::int32_t& value) const;
  void setMixerMode(std::int32_t value);
  bool getFootSwitchProtocol(std::uint32_t& value) const;
  void setFootSwitchProtocol(std::uint32_t value);
  bool getFootSwitchMode(std::uint32_t& value) const;
  void setFootSwitchMode(std::uint32_t value);
  // A forced internal clock is a digital output mode to the driver side: it is stored as that one,
  // and only a file that is taken over gives "ForceInternal" itself a value.
  bool getForceInternal(std::uint32_t& value) const;
  void setForceInternal(std::uint32_t value);
  void getClockSource(std::uint32_t& value) const;
  void setClockSource(std::uint32_t value);
  void getDigitalOutMode(std::uint32_t& value) const;
  void setDigitalOutMode(std::uint32_t value);
  void setUSB1Mode(std::uint32_t value);
  void setDigitalOutSelector(std::uint32_t value);
  bool getRouting(std::uint32_t a, std::uint32_t b, std::uint32_t& value) const;
  void setRouting(std::uint32_t a, std::uint32_t b, std::uint32_t value);
  // A register of the Wolfson codec.
  bool getWolfsonRegister(std::uint32_t a, std::uint32_t b, std::uint32_t& value) const;
  void setWolfsonRegister(std::uint32_t a, std::uint32_t b, std::uint32_t value);

  // --- Blocks ---

  // A getter copies all bytes that are stored, whose number the raw pointer must have room for
  // whatever it is; into a span it copies what fits. False, and nothing copied, when the key is
  // missing. A setter stores the block's size from a pointer; null stores nothing.
  bool getRoutingMatrix(std::uint8_t* bytes) const;
  bool getRoutingMatrix(std::span<std::uint8_t> bytes) const;
  void setRoutingMatrix(const std::uint8_t* bytes);
  bool getMixerFractions(std::uint8_t* bytes) const;
  bool getMixerFractions(std::span<std::uint8_t> bytes) const;
  void setMixerFractions(const std::uint8_t* bytes);
  bool getMixerBuffer(std::uint8_t* bytes) const;
  bool getMixerBuffer(std::span<std::uint8_t> bytes) const;
  void setMixerBuffer(const std::uint8_t* bytes);
  bool getReverbBuffers(std::uint8_t* bytes) const;
  bool getReverbBuffers(std::span<std::uint8_t> bytes) const;
  void setReverbBuffers(const std::uint8_t* bytes);

  // --- Any key ---

  // The number that the text starts with, blanks before it aside: what does not fit a signed 32-bit
  // number gives the nearest that does, which is then cut to the variable's width. 0 when there is
  // none. False when the key is missing.
  bool getUInt32Value(std::uint32_t& value, std::string_view key) const;
  bool getUInt16Value(std::uint16_t& value, std::string_view key) const;
  bool getUInt8Value(std::uint8_t& value, std::string_view key) const;
  // Whether the number is not 0.
  bool getBoolValue(bool& value, std::string_view key) const;
  // Stored as a signed 32-bit number: 4294967295 as -1.
  void setUInt32Value(std::uint32_t value, std::string_view key);
  void setUInt16Value(std::uint16_t value, std::string_view key);
  void setUInt8Value(std::uint8_t value, std::string_view key);
  void setBoolValue(bool value, std::string_view key);

  // The value as it is, of whatever kind; nothing when the key is missing. Always true.
  bool getStringValue(std::optional<CFValue>& value, std::string_view key) const;
  // Nothing removes the key. False when that could not be stored.
  bool setStringValue(std::optional<std::string_view> value, std::string_view key);

  // Stored as a block of 8 bytes in host byte order. Of a shorter block only the bytes that are
  // there are copied.
  bool getUInt64Value(std::uint64_t& value, std::string_view key) const;
  void setUInt64Value(std::uint64_t value, std::string_view key);

  // --- Records ---

  // The record of one device, as a block of its bytes in host byte order. `uid` leads to the
  // device's 64-bit id, 8 bytes in host byte order. The getter copies the stored bytes that the
  // record has room for; false, a line in the system log and an untouched record when the key is
  // missing. The setter is false when there was no memory for the block.
  bool getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap& record, const char* uid) const;
  bool setOrbekConfigAndMapping(const VQ_Orbek_ConfigAndMap& record, const char* uid);

  // The record of all devices, as a number for each field. What is missing has a default: two
  // channels of 16 bits at 48 kHz a side, on unused slots. The width of the inputs is read for the
  // outputs too. Always true.
  bool getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap& record) const;
  void setOrbekConfigAndMapping(const VQ_Orbek_ConfigAndMap& record);

  // Sets the clock source, USB 1.1 mode, digital output mode and selector from their keys, and to 0
  // where the key is missing; all else to its default, but for the first word, which stays. Says in
  // the system log what was found.
  void loadAjExt(VqAjExtData& data) const;

 private:
  bool versionCurrent_ = false;
  LumString storageName_;
  const std::string applicationId_;
};

// Opens a file of the Preferences folder, made when it is missing and `create` says so, for reading
// or also for `write`. The fork, which the caller closes, or -1; says what went wrong on standard
// output.
short getStorageFile(const LumString& name, bool create, bool write);

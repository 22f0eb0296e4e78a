// SPDX-License-Identifier: MIT
// Value records that identify an interface and describe its state and its channels.
//
// Plain values without ownership; any thread. A record that crosses to the driver is `kSize` bytes
// of little-endian fields there, in the order of its members: decode() reads them from the start of
// an area (bytes that are missing read as 0), encode() writes them to the start of an area (bytes
// that do not fit are dropped).
//
// Vendor and product ids are those of the USB device descriptor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "protocol/options.h"

// As a `releaseNumber` it matches any release.
inline constexpr std::uint16_t kAnyRelease = 0xffff;

// The driver's excerpt of the USB device descriptor. Its 32-bit field at offset 2 is not aligned,
// so it is held in two halves. No client reads it, nor the first and the last field.
struct VQ_DeviceDescriptor {
  static constexpr std::size_t kSize = 16;

  std::uint16_t first = 0;
  std::array<std::uint16_t, 2> second = {};
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;
  std::uint16_t release = 0;
  std::uint32_t last = 0;

  // True when vendor, product and release are equal; kAnyRelease matches any release.
  bool isDevice(unsigned short vendorId, unsigned short productId,
                unsigned short releaseNumber) const;
  void clear();

  static VQ_DeviceDescriptor decode(std::span<const std::uint8_t> from);
  void encode(std::span<std::uint8_t> to) const;
  bool operator==(const VQ_DeviceDescriptor&) const = default;
};
static_assert(sizeof(VQ_DeviceDescriptor) == VQ_DeviceDescriptor::kSize);

struct VIDPID {
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;
  std::uint16_t release = 0;

  // As VQ_DeviceDescriptor::isDevice.
  bool isDevice(unsigned short vendorId, unsigned short productId,
                unsigned short releaseNumber) const;
  bool operator==(const VIDPID&) const = default;
};
static_assert(sizeof(VIDPID) == 6);

// Five words that are passed on unchanged. Rate in Hz, widths in bits.
struct VQ_DeviceConfiguration {
  static constexpr std::size_t kSize = 20;

  std::uint32_t sampleRate = 0;
  std::uint32_t numInputs = 0;
  std::uint32_t inputBits = 0;
  std::uint32_t numOutputs = 0;
  std::uint32_t outputBits = 0;

  static VQ_DeviceConfiguration decode(std::span<const std::uint8_t> from);
  void encode(std::span<std::uint8_t> to) const;
  bool operator==(const VQ_DeviceConfiguration&) const = default;
};
static_assert(sizeof(VQ_DeviceConfiguration) == VQ_DeviceConfiguration::kSize);

// Which channel code each of eight input and eight output slots carries.
struct VQ_Orbek_ChannelMap {
  static constexpr std::size_t kSize = 64;
  static constexpr std::size_t kEntries = 8;
  static constexpr std::uint32_t kUnused = 255;
  // The flags in each list of getUsageList.
  static constexpr std::size_t kUsageFlags = 16;

  std::array<std::uint32_t, kEntries> inputs = {};
  std::array<std::uint32_t, kEntries> outputs = {};

  // The first two slots of each side carry the first stereo pair, all others nothing; the same on
  // every device.
  void setDefaults(const VIDPID& device);  // no program calls this

  // True when every slot is unused or holds a code that `device` has.
  bool isValid(const VIDPID& device) const;

  // Says which channels of `device` the map uses, in the order in which they are listed. Flags are
  // cleared first; codes that the device does not have mark nothing. The raw pointers must lead to
  // kUsageFlags flags each; in a shorter span what does not fit is dropped.
  // No program calls this.
  void getUsageList(bool* inputsUsed, bool* outputsUsed, const VIDPID& device) const;
  // No program calls this.
  void getUsageList(std::span<bool> inputsUsed, std::span<bool> outputsUsed,
                    const VIDPID& device) const;

  static VQ_Orbek_ChannelMap decode(std::span<const std::uint8_t> from);
  void encode(std::span<std::uint8_t> to) const;
  bool operator==(const VQ_Orbek_ChannelMap&) const = default;
};
static_assert(sizeof(VQ_Orbek_ChannelMap) == VQ_Orbek_ChannelMap::kSize);

struct VQ_Orbek_ConfigAndMap {
  static constexpr std::size_t kSize = 84;

  VQ_DeviceConfiguration configuration;
  VQ_Orbek_ChannelMap map;

  static VQ_Orbek_ConfigAndMap decode(std::span<const std::uint8_t> from);
  void encode(std::span<std::uint8_t> to) const;
  bool operator==(const VQ_Orbek_ConfigAndMap&) const = default;
};
static_assert(sizeof(VQ_Orbek_ConfigAndMap) == VQ_Orbek_ConfigAndMap::kSize);

// The option values that are kept across starts. Only the driver knows the words without a name.
struct VqAjExtData {
  static constexpr std::size_t kSize = 40;

  std::uint32_t mFirstWord = 0;
  std::uint32_t mClockSource = 0;
  std::uint32_t mUSB1Mode = 0;
  std::uint32_t mDigitalOutMode = 0;
  std::uint32_t mDigitalOutSelector = 0;
  std::uint32_t mFifthWord = 0;
  std::uint32_t mSixthWord = 0;
  std::uint32_t mSeventhWord = 0;
  std::uint32_t mEighthWord = 0;
  std::uint32_t mNinthWord = 0;

  // Both leave the first word unchanged. validate() sets a clock source, USB 1.1 mode or digital
  // output mode other than 0 and 1 to 0 and keeps all other words.
  void setDefaults();
  void validate();
  bool operator==(const VqAjExtData&) const = default;
};
static_assert(sizeof(VqAjExtData) == VqAjExtData::kSize);

// State of the digital input. The lock state is a VQE_LockState; the rate is the measured one in
// Hz.
struct VQ_DigitalStatus {
  static constexpr std::size_t kSize = 8;

  std::uint32_t lockState = kLockNone;
  std::uint32_t rate = 0;

  static VQ_DigitalStatus decode(std::span<const std::uint8_t> from);
  void encode(std::span<std::uint8_t> to) const;
  bool operator==(const VQ_DigitalStatus&) const = default;
};
static_assert(sizeof(VQ_DigitalStatus) == VQ_DigitalStatus::kSize);

// One register of a codec.
struct CodecRegister {
  static constexpr std::size_t kSize = 6;

  std::uint16_t codec = 0;
  std::uint16_t number = 0;
  std::uint16_t contents = 0;

  static CodecRegister decode(std::span<const std::uint8_t> from);
  void encode(std::span<std::uint8_t> to) const;
  bool operator==(const CodecRegister&) const = default;
};
static_assert(sizeof(CodecRegister) == CodecRegister::kSize);

// The driver's level record; only the driver knows its layout.
struct VQ_LevelInfo {
  static constexpr std::size_t kSize = 64;

  std::array<std::uint8_t, kSize> bytes = {};

  bool operator==(const VQ_LevelInfo&) const = default;
};
static_assert(sizeof(VQ_LevelInfo) == VQ_LevelInfo::kSize);

// One level per channel, in the driver's own scale.
struct VQ_LevelInfo32 {
  static constexpr std::size_t kLevelsPerSide = 32;

  std::array<std::uint32_t, kLevelsPerSide> inputs = {};
  std::array<std::uint32_t, kLevelsPerSide> outputs = {};

  bool operator==(const VQ_LevelInfo32&) const = default;
};
static_assert(sizeof(VQ_LevelInfo32) == 256);

// A level record that this system never reads; only references to it are passed.
struct VQ_LevelInfoExtended1;

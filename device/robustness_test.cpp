// SPDX-License-Identifier: MIT
// Calls every operation many times against random answers of random length; checks, with guards
// here and with the sanitizers, that none writes outside the caller's buffers. What the operations
// return does not matter.
#include <gmock/gmock.h>

#include <array>
#include <random>

#include "device/discovery.h"
#include "device/testing/device_fixture.h"

namespace {

constexpr std::uint32_t kSeed = 0x310;
constexpr int kRounds = 300;

// A buffer of N elements with guards around it.
template <typename T, std::size_t N>
struct Guarded {
  static constexpr std::size_t kGuards = 16;
  static constexpr T kGuard = static_cast<T>(0x5a);

  Guarded() { all.fill(kGuard); }
  std::span<T, N> span() { return std::span(all).template subspan<kGuards, N>(); }
  T* data() { return span().data(); }
  bool isIntact() const {
    const auto isGuard = [](T value) { return value == kGuard; };
    return std::all_of(all.begin(), all.begin() + kGuards, isGuard) &&
           std::all_of(all.end() - kGuards, all.end(), isGuard);
  }

  std::array<T, N + 2 * kGuards> all;
};

class Robustness : public DeviceTest {
 protected:
  Robustness() {
    memory_registry::device(id).respond =
        [this](std::uint32_t, std::span<const std::uint8_t> request) { return anyAnswer(request); };
  }

  std::uint32_t any() { return static_cast<std::uint32_t>(random()); }
  std::uint32_t below(std::uint32_t limit) { return any() % limit; }
  // Random, with the values at which behaviour changes more often.
  std::uint32_t anyWord() {
    constexpr std::uint32_t kEdges[] = {0,   1,   2,   8,          127,        128,
                                        255, 256, 257, 0x7fffffff, 0x80000000, 0xffffffff};
    return below(2) == 0 ? kEdges[below(std::size(kEdges))] : any();
  }
  std::int32_t anySigned() { return static_cast<std::int32_t>(anyWord()); }

  memory_registry::Answer anyAnswer(std::span<const std::uint8_t> request) {
    if (below(8) == 0) return std::nullopt;
    std::vector<std::uint8_t> answer(request.begin(), request.end());
    if (below(4) != 0) {
      for (std::size_t i = 0; i + 4 <= answer.size(); i += 4) {
        wire::store(answer, i, anyWord());
      }
    }
    if (below(4) == 0) answer.resize(below(300), 0xa5);
    return answer;
  }

  void plugAnyDevice() {
    setProperty("idVendor", CFValue(below(2) == 0 ? 32563 : 0x7f21));
    setProperty("idProduct", CFValue(below(2) == 0 ? 8 : static_cast<int>(any())));
    setProperty("AjExtData",
                below(2) == 0
                    ? CFValue(1)
                    : CFValue(CFDictionary{{"RoutingIn0", CFValue(std::int64_t{any()})}}));
  }

  void callConfigurationsAndOptions(USBDevice& device);
  void callLevelsAndMaps(USBDevice& device);
  void callTransport(USBDevice& device);
  void callTheRest(USBDevice& device);

  std::mt19937 random{kSeed};
};

void Robustness::callConfigurationsAndOptions(USBDevice& device) {
  VQ_DeviceConfiguration configuration;
  device.getCountConfigurations();
  device.getConfiguration(anyWord(), configuration);
  device.getCurrentConfiguration(configuration);
  device.setConfiguration(configuration, configuration);
  device.getConfigStatus();
  device.getCountBufferSizes();
  device.getBufferSize(anyWord());
  device.getCurrentBufferSize();
  device.setBufferSize(anyWord());
  device.suspendStreaming();
  device.resumeStreaming();

  VQ_DigitalStatus status;
  device.canClockSource(VQE_ClockSource{anySigned()});
  device.getCurrentClockSource();
  device.setClockSource(VQE_ClockSource{anySigned()});
  device.getUSB1Mode();
  device.setUSB1Mode(VQE_USB1Mode{anySigned()});
  device.getDigitalOutMode();
  device.setDigitalOutMode(VQE_DigitalOutMode{anySigned()});
  device.getDigitalOutSelector();
  device.setDigitalOutSelector(anySigned());
  device.getDigitalStatus(status);
}

void Robustness::callLevelsAndMaps(USBDevice& device) {
  VQ_Orbek_ConfigAndMap record;
  device.getChannelMap(record.map);
  device.setChannelMap(record.map);
  device.getConfigurationAndChannelMap(record);
  device.setConfigurationAndChannelMap(record, record);
  device.updateOrbekConfigAndMap();
  Guarded<bool, 16> inputsUsed;
  Guarded<bool, 16> outputsUsed;
  record.map.getUsageList(inputsUsed.data(), outputsUsed.data(),
                          {kOrbekVendorId, static_cast<std::uint16_t>(below(10)), 0});
  EXPECT_TRUE(inputsUsed.isIntact() && outputsUsed.isIntact());

  Guarded<std::uint32_t, 32> levels;
  device.getInLevels(levels.data());
  device.getOutLevels(levels.data());
  EXPECT_TRUE(levels.isIntact());
  Guarded<std::uint32_t, 5> fewLevels;
  device.getInLevels(fewLevels.span());
  device.getOutLevels(fewLevels.span());
  EXPECT_TRUE(fewLevels.isIntact());
  VQ_LevelInfo info;
  device.readLevelInfo(info);
  VQ_LevelInfo32 info32;
  EXPECT_TRUE(device.readLevelInfoEx(info32));

  Guarded<char, 32> name;
  device.getOrbekDeviceName(name.data());
  EXPECT_TRUE(name.isIntact());
  Guarded<char, 7> shortName;
  device.getOrbekDeviceName(shortName.span());
  EXPECT_TRUE(shortName.isIntact());
  EXPECT_NE(std::find(shortName.span().begin(), shortName.span().end(), '\0'),
            shortName.span().end());
  device.setOrbekDeviceName(std::string(below(80), 'n').c_str());
}

void Robustness::callTransport(USBDevice& device) {
  Guarded<char, 256> buffer;
  const auto length = static_cast<unsigned short>(below(300));
  device.request(EDirection{below(2) == 0 ? 128 : anyWord()}, EDRQ_Vendor, EDRQ_Device,
                 static_cast<unsigned char>(any()), 0, 0, buffer.data(), length, below(2) == 0);
  EXPECT_TRUE(buffer.isIntact());
  Guarded<char, 3> few;
  device.request(EDIR_DeviceToHost, EDRQ_Vendor, EDRQ_Device, kFirmwareVersionRequest, 0, 0,
                 few.data(), 3, below(2) == 0);
  EXPECT_TRUE(few.isIntact());

  constexpr int kUnknownControlCode = 2;
  constexpr int kCodes[] = {kControlCodeString0,          kControlCodeString1,
                            kControlCodeDeviceDescriptor, kControlCodeUsbSpeed,
                            kControlCodeDriverVersion,    kControlCode56,
                            kUnknownControlCode};
  Guarded<char, 40> out;
  std::uint32_t returned = 0;
  device.DeviceIoControl(1, kCodes[below(std::size(kCodes))], nullptr, 0, out.data(), below(41),
                         &returned, nullptr);
  EXPECT_TRUE(out.isIntact());
  EXPECT_LE(returned, 40u);
}

void Robustness::callTheRest(USBDevice& device) {
  VqVersion version;
  device.getDriverVersion(version);
  device.getFirmwareVersion(version, below(2) == 0);
  EXPECT_LT(std::string(version.text).size(), sizeof version.text);
  EXPECT_EQ(version.date[15], 0);
  VQ_DeviceDescriptor descriptor;
  device.getDeviceDescriptor(descriptor);

  device.setRouting(below(2) == 0, anySigned(), anySigned());
  device.getRouting(below(2) == 0, anySigned());
  device.getWMRegister(static_cast<std::uint16_t>(any()), static_cast<std::uint16_t>(any()));
  device.setWMRegister(1, 2, static_cast<std::uint16_t>(any()));
  device.getDaxCpldDigitalMon();
  device.getDaxCpldMixOutSel();
  device.setDaxCpldDigitalMon(below(2) == 0);
  device.setDaxCpldMixOutSel(below(2) == 0);
  device.sendCPortBytes(std::vector<std::uint8_t>(below(700)));
  device.prepareFirmwareUpdate();
  device.reenumerateDevice();
  device.replugDevice(below(2) == 0);

  std::vector<std::uint8_t> message(below(50));
  for (std::size_t i = 0; i < message.size(); i += 4) wire::store(message, i, anyWord());
  if (below(2) == 0) wire::store<std::uint32_t>(message, 0, 36);
  USBDevice::ServiceInterestCallback(&device, 0, 0xe0000130, message);
}

TEST_F(Robustness, NoAnswerReachesMemoryOutsideTheBuffers) {
  int opened = 0;
  for (int round = 0; round < kRounds; ++round) {
    plugAnyDevice();
    const Retained device(makeDevice());
    if (device->open(false)) ++opened;
    callConfigurationsAndOptions(*device);
    callLevelsAndMaps(*device);
    callTransport(*device);
    callTheRest(*device);
  }
  EXPECT_GT(opened, kRounds / 4);
}

}  // namespace

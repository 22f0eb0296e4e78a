// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/virtual_interface.h"

#include <gmock/gmock.h>

#include "driver/virtual_interface/command_test.h"
#include "driver/virtual_interface/commands.h"

namespace driver {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Recorder final : public InterfaceListener {
 public:
  void interfaceChanged(std::uint32_t notification) override { messages.push_back(notification); }
  void audioChanged() override { ++audioChanges; }
  std::vector<std::uint32_t> messages;
  int audioChanges = 0;
};

class VirtualInterfaceTest : public CommandTest {
 protected:
  void SetUp() override { interface_.setListener(&recorder_); }

  Recorder recorder_;
};

TEST_F(VirtualInterfaceTest, TheRegistryEntryIsThatOfAVx310) {
  const RegistryEntry entry = interface_.registryEntry();
  EXPECT_EQ(entry.className, "LumKernelDeviceVantrelVX310");
  EXPECT_EQ(entry.vendorId, 0x7F21);
  EXPECT_EQ(entry.productId, 0x5D12);
  EXPECT_EQ(entry.productName, "VX-310");
  EXPECT_EQ(entry.routings, (Routings{{0, 1}, {0, 1, 2}}));
  EXPECT_EQ(entry.orbekUid, std::nullopt);
  EXPECT_EQ(interface_.audioDeviceName(), "VX-310");
}

TEST_F(VirtualInterfaceTest, ADeviceOfTheSiblingFamilyPublishesItsUid) {
  interface_.change([](Model& model) {
    model.identity.className = "LumKernelDeviceOrbekTalvo4";
    model.identity.uniqueId = 42;
  });
  EXPECT_EQ(interface_.registryEntry().orbekUid, 42u);
  EXPECT_EQ(interface_.audioDeviceName(), "");
}

TEST_F(VirtualInterfaceTest, TheAudioStateFollowsRoutingsClockAndStreaming) {
  EXPECT_EQ(interface_.audioState(), (AudioState{{{0, 1}, {0, 1, 2}}, 48000, false, true}));
  interface_.setRouting(true, 2, kFromLoopback);
  digitalInput(kLockValid, 96000);
  EXPECT_EQ(interface_.audioState(), (AudioState{{{0, 1}, {0, 1, 3}}, 96000, true, true}));
  digitalInput(kLockMuted, 96000);
  answer(kSuspendStreaming);
  EXPECT_EQ(interface_.audioState(), (AudioState{{{0, 1}, {0, 1, 3}}, 96000, false, false}));
  EXPECT_EQ(recorder_.audioChanges, 4);
  answer(kSuspendStreaming);
  answer(kSetDeviceName);
  EXPECT_EQ(recorder_.audioChanges, 4);
}

TEST_F(VirtualInterfaceTest, AudioNodesAreNamedByTheInterfacesNumber) {
  EXPECT_EQ(VirtualInterface({}, 1).audioNodeName(), "vx310");
  EXPECT_EQ(VirtualInterface({}, 2).audioNodeName(), "vx310-2");
}

TEST_F(VirtualInterfaceTest, UnknownCommandsAreRefused) {
  for (const std::uint32_t command : {0u, 1u, 13u, 29u, 39u, 43u, 64u, 73u, 77u, 0xFFFFFFFFu}) {
    EXPECT_EQ(answer(VQ_Command{command}), std::nullopt) << command;
  }
}

TEST_F(VirtualInterfaceTest, ReadingChangesNothingAndNotifiesNobody) {
  for (const std::uint32_t command : {2u,  4u,  6u,  8u,  10u, 12u, 15u, 17u, 18u, 19u, 20u, 21u,
                                      22u, 23u, 24u, 25u, 27u, 35u, 49u, 65u, 67u, 69u, 70u, 72u}) {
    EXPECT_TRUE(answer(VQ_Command{command})) << command;
    EXPECT_FALSE(isSettingCommand(VQ_Command{command})) << command;
  }
  EXPECT_THAT(recorder_.messages, IsEmpty());
}

TEST_F(VirtualInterfaceTest, SettingsNotifyOfTheChange) {
  answer(kSetConfiguration, {44100, 6, 24, 4, 24});
  answer(kSetBufferSize, {512});
  answer(kSetClockSource, {1});
  answer(kSetDigitalOutMode, {1});
  answer(kSetRouting, {1, 0, 3});
  EXPECT_THAT(recorder_.messages, ElementsAre(50, 50, 55, 56, 56));
}

TEST_F(VirtualInterfaceTest, SettingTheSameValueNotifiesNobody) {
  answer(kSetDigitalOutMode, {0});
  answer(kSetRouting, {1, 0, 0});
  EXPECT_THAT(recorder_.messages, IsEmpty());
}

TEST_F(VirtualInterfaceTest, ARefusedSettingNotifiesNobody) {
  answer(kSetClockSource, {2});
  answer(kSetRouting, {1, 0, 9});
  EXPECT_THAT(recorder_.messages, IsEmpty());
}

TEST_F(VirtualInterfaceTest, AChangedDigitalInputNotifies) {
  digitalInput(kLockInvalid);
  EXPECT_THAT(recorder_.messages, ElementsAre(49));
}

TEST_F(VirtualInterfaceTest, ADigitalInputThatMovesTheRateIsOneGeneralChange) {
  digitalInput(kLockValid, 96000);
  EXPECT_THAT(recorder_.messages, ElementsAre(3));
}

TEST_F(VirtualInterfaceTest, ANewProductNameIsAGeneralChange) {
  interface_.change([](Model& model) { model.identity.productName = "VX-310 Studio"; });
  EXPECT_THAT(recorder_.messages, ElementsAre(3));
  EXPECT_EQ(interface_.registryEntry().productName, "VX-310 Studio");
}

TEST_F(VirtualInterfaceTest, ControlPortBytesNotifyNobody) {
  answer(kSendCPortBytes, {0x00000101});
  EXPECT_THAT(recorder_.messages, IsEmpty());
}

TEST_F(VirtualInterfaceTest, ARoutingSetFromTheAudioSideIsTheSameRouting) {
  EXPECT_TRUE(interface_.setRouting(false, 1, 4));
  EXPECT_EQ(interface_.registryEntry().routings.outputs[1], 4);
  EXPECT_EQ(answer(kSetRouting, {0, 1, 9})->word(2), 4u);
  EXPECT_THAT(recorder_.messages, ElementsAre(56));
}

TEST_F(VirtualInterfaceTest, ARoutingOutOfRangeFromTheAudioSideIsRefused) {
  EXPECT_FALSE(interface_.setRouting(false, 1, 5));
  EXPECT_FALSE(interface_.setRouting(true, 0, 4));
  EXPECT_FALSE(interface_.setRouting(true, 0, -1));
  EXPECT_FALSE(interface_.setRouting(true, 3, 0));
  EXPECT_FALSE(interface_.setRouting(false, -1, 0));
  EXPECT_THAT(recorder_.messages, IsEmpty());
}

TEST_F(VirtualInterfaceTest, ChangesWithoutAListenerAreKept) {
  interface_.setListener(nullptr);
  EXPECT_EQ(word(kSetDigitalOutMode, {1}), 1u);
}

}  // namespace
}  // namespace driver

// SPDX-License-Identifier: MIT
#include "io/driver_events.h"

#include "device/discovery_state.h"
#include "io/testing/io_test.h"

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

// The argument of a driver's message about `number`.
std::vector<std::uint8_t> notification(std::uint32_t number) {
  const auto argument = driverMessageArgument(number);
  return {argument.begin(), argument.end()};
}

const std::vector<std::string> kNoDeviceCalls = {
    "FoundHardware 0",
    "ShowInfo 5 true 0 \"none found\"",
    "ShowInfo 6 true 0 \"Control Panel\"",
    "ShowInfo 4 true 0 \"\"",
    "ShowInfo 7 false 0 \"\"",
    "ShowInfo 3 false 0 \"\"",
    "ShowInfo 0 false 0 \"\"",
    "ShowInfo 1 false 0 \"\"",
    "ShowInfo 8 true 0 \"\"",
    "ShowInfo 2 true 0 \"\"",
    "ShowInfo 8 false 0 \"\"",
    "ShowInfo 2 false 0 \"\"",
    "ShowInfo 12 false 0 \"\"",
    "ShowInfo 9 false 0 \"\"",
    "ShowInfo 10 false 0 \"\"",
    "ShowInfo 11 false 0 \"\"",
    "ShowInfo 13 false 0 \"\"",
    "Invalidate true",
};

class DriverEvents : public IoTest {};

TEST_F(DriverEvents, AStartWithNothingConnectedShowsTheStateWithoutADevice) {
  IOInit();
  EXPECT_EQ(panel.calls, kNoDeviceCalls);
  EXPECT_EQ(_ioDevice, nullptr);
}

TEST_F(DriverEvents, AStartForgetsTheDeviceAndTheDescriptorOfAnEarlierRun) {
  USBDevice earlier(0);
  _ioDevice = &earlier;
  _ioDescriptor = interface.descriptor;
  IOInit();
  EXPECT_EQ(panel.calls, kNoDeviceCalls);
  EXPECT_EQ(_ioDevice, nullptr);
  EXPECT_EQ(_ioDescriptor, VQ_DeviceDescriptor{});
}

TEST_F(DriverEvents, TheStartDiscoversTheServicesOfTheVX310sDriver) {
  IOInit();
  EXPECT_STREQ(_TheGuid.data(), "LumKernelDeviceVantrelVX310");
  interface.className = "LumKernelDeviceOrbekTalvo4";
  panel.calls.clear();
  interface.publish();
  EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(DriverEvents, AnInterfaceThatIsConnectedAtTheStartBecomesCurrent) {
  interface.publish();
  IOInit();
  ASSERT_NE(_ioDevice, nullptr);
  EXPECT_TRUE(_ioDevice->isOpen());
  EXPECT_EQ(panel.calls.front(), "FoundHardware 9");
}

TEST_F(DriverEvents, AnInterfaceThatIsPluggedInBecomesCurrentAndIsShown) {
  start();
  interface.publish();
  const auto calls = happened();
  ASSERT_NE(_ioDevice, nullptr);
  EXPECT_TRUE(_ioDevice->isOpen());
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.front(), "FoundHardware 9");
  EXPECT_EQ(calls.back(), "Invalidate true");
  EXPECT_THAT(calls, Contains("ShowInfo 5 true 0 \"VX-310\""));
}

TEST_F(DriverEvents, ArrivalSetsTheShowFlags) {
  _ioShowDigOutMode = true;
  interface.publish();
  IOInit();
  EXPECT_TRUE(_ioShowClockSource);
  EXPECT_TRUE(_ioShowDigitalStatus);
  EXPECT_TRUE(_ioShowRoutingMenus);
  EXPECT_FALSE(_ioShowDigOutMode);
  EXPECT_FALSE(_ioShowUSB1Mode);
}

TEST_F(DriverEvents, ArrivalLeavesTheFlagOfTheUsb1ModeAsItIs) {
  start();
  _ioShowUSB1Mode = true;
  interface.publish();
  happened();
  EXPECT_TRUE(_ioShowUSB1Mode);
}

TEST_F(DriverEvents, AUsb1ConnectionGetsTheSameFlags) {
  interface.usb2 = 0;
  interface.publish();
  IOInit();
  ASSERT_NE(_ioDevice, nullptr);
  EXPECT_TRUE(_ioShowClockSource);
  EXPECT_TRUE(_ioShowDigitalStatus);
  EXPECT_TRUE(_ioShowRoutingMenus);
  EXPECT_FALSE(_ioShowDigOutMode);
}

// What a panel sets in FoundHardware is kept for USB 2.0 and set again for USB 1.1.
TEST_F(DriverEvents, AUsb1ConnectionSetsTheClockAndDigitalInputFlagsAgainAfterFoundHardware) {
  panel.onCall = [](const std::string& call) {
    if (call != "FoundHardware 9") return;
    _ioShowClockSource = _ioShowDigitalStatus = false;
    _ioShowDigOutMode = true;
  };
  const auto id = interface.publish();
  start();
  EXPECT_FALSE(_ioShowClockSource || _ioShowDigitalStatus);
  EXPECT_TRUE(_ioShowDigOutMode);
  memory_registry::terminate(id);
  happened();

  interface.usb2 = 0;
  interface.publish();
  happened();
  ASSERT_NE(_ioDevice, nullptr);
  EXPECT_TRUE(_ioShowClockSource && _ioShowDigitalStatus);
  EXPECT_FALSE(_ioShowDigOutMode);
}

TEST_F(DriverEvents, ArrivalFindsTheAudioDeviceOfTheInterface) {
  const AudioObjectID audioDevice = memory_audio_server::addDevice("VX-310");
  interface.publish();
  IOInit();
  EXPECT_EQ(_halDevice, audioDevice);
  EXPECT_STREQ(_halDeviceName, "VX-310");
}

TEST_F(DriverEvents, AnArrivalWithoutAnAudioDeviceIsStillShown) {
  interface.publish();
  IOInit();
  EXPECT_EQ(_halDevice, 0u);
  EXPECT_THAT(panel.calls, Contains("ShowInfo 5 true 0 \"VX-310\""));
}

TEST_F(DriverEvents, ADeviceThatCannotBeOpenedIsForgottenSilently) {
  start();
  _ioShowClockSource = _ioShowDigitalStatus = _ioShowRoutingMenus = true;
  _ioShowDigOutMode = _ioShowUSB1Mode = true;
  interface.opens = false;
  interface.publish();
  EXPECT_THAT(happened(), IsEmpty());
  EXPECT_EQ(_ioDevice, nullptr);
  EXPECT_TRUE(_ioShowClockSource && _ioShowDigitalStatus && _ioShowRoutingMenus &&
              _ioShowDigOutMode && _ioShowUSB1Mode);
}

TEST_F(DriverEvents, AnInterfaceOfAnyReleaseBecomesCurrent) {
  interface.descriptor.release = 0xFFFE;
  interface.publish();
  IOInit();
  EXPECT_NE(_ioDevice, nullptr);
}

// A device that has the driver's class but is no VX-310.
class ForeignDevice : public DriverEvents {
 protected:
  // Publishes the interface and expects that it is not shown.
  void expectForgottenAndLeftOpen() {
    start();
    _ioShowClockSource = _ioShowDigitalStatus = _ioShowRoutingMenus = true;
    _ioShowDigOutMode = _ioShowUSB1Mode = true;
    interface.publish();
    EXPECT_THAT(happened(), IsEmpty());
    EXPECT_EQ(_ioDevice, nullptr);
    EXPECT_EQ(memory_registry::outstanding().connections, 1u);
    EXPECT_FALSE(_ioShowClockSource);
    EXPECT_FALSE(_ioShowUSB1Mode);
    EXPECT_FALSE(_ioShowRoutingMenus);
    EXPECT_FALSE(_ioShowDigitalStatus);
    EXPECT_TRUE(_ioShowDigOutMode);
  }
};

TEST_F(ForeignDevice, OfAnotherVendorClearsTheShowFlagsAndIsForgottenOpen) {
  interface.descriptor.vendor = 0x7F22;
  expectForgottenAndLeftOpen();
}

TEST_F(ForeignDevice, OfAnotherProductClearsTheShowFlagsAndIsForgottenOpen) {
  interface.descriptor.product = 0x5D13;
  expectForgottenAndLeftOpen();
}

TEST_F(ForeignDevice, WithoutADescriptorClearsTheShowFlagsAndIsForgottenOpen) {
  interface.deaf = {VQ_Command::kGetDeviceDescriptor};
  expectForgottenAndLeftOpen();
}

TEST_F(DriverEvents, ASecondInterfaceIsIgnoredWhileOneIsCurrent) {
  interface.publish();
  start();
  USBDevice* const first = _ioDevice;
  ScriptedInterface second;
  second.publish();
  EXPECT_THAT(happened(), IsEmpty());
  EXPECT_EQ(_ioDevice, first);
  IOTerm();
}

TEST_F(DriverEvents, AfterTheCurrentDeviceIsRemovedASecondInterfaceDoesNotBecomeCurrent) {
  const auto first = interface.publish();
  start();
  ScriptedInterface second;
  second.publish();
  happened();
  memory_registry::terminate(first);
  happened();
  EXPECT_EQ(_ioDevice, nullptr);
  _vqapiScanServices();  // discovery reports it again
  EXPECT_NE(_ioDevice, nullptr);
  IOTerm();
}

TEST_F(DriverEvents, RemovalShowsTheStateWithoutADevice) {
  const auto id = interface.publish();
  start();
  memory_registry::terminate(id);
  auto expected = kNoDeviceCalls;
  expected.insert(expected.begin(), "Detach");
  EXPECT_EQ(happened(), expected);
  EXPECT_EQ(_ioDevice, nullptr);
  EXPECT_EQ(_ioDescriptor, VQ_DeviceDescriptor{});
  EXPECT_EQ(memory_registry::outstanding().connections, 0u);
}

TEST_F(DriverEvents, TheDeviceIsClosedAndReleasedWhenThePanelIsToldOfItsRemoval) {
  const auto id = interface.publish();
  start();
  USBDevice* const device = _ioDevice;
  bool told = false;
  panel.onCall = [&](const std::string& call) {
    if (call != "Detach") return;
    told = true;
    EXPECT_EQ(_ioDevice, nullptr);
    EXPECT_FALSE(device->isOpen());
    EXPECT_EQ(_ioDescriptor, VQ_DeviceDescriptor{});
  };
  memory_registry::terminate(id);
  happened();
  EXPECT_TRUE(told);
}

TEST_F(DriverEvents, RemovalKeepsTheAudioDevice) {
  const AudioObjectID audioDevice = memory_audio_server::addDevice("VX-310");
  const auto id = interface.publish();
  start();
  memory_registry::terminate(id);
  happened();
  EXPECT_EQ(_halDevice, audioDevice);
}

TEST_F(DriverEvents, RemovalOfADeviceThatIsNotCurrentChangesNothing) {
  interface.publish();
  start();
  USBDevice* const current = _ioDevice;
  ScriptedInterface second;
  const auto secondId = second.publish();
  happened();
  memory_registry::terminate(secondId);
  EXPECT_THAT(happened(), IsEmpty());
  EXPECT_EQ(_ioDevice, current);
  IOTerm();
}

TEST_F(DriverEvents, AnInterfaceThatIsPluggedInAgainBecomesCurrentAgain) {
  const auto id = interface.publish();
  start();
  memory_registry::terminate(id);
  happened();
  interface.publish();
  EXPECT_THAT(happened(), Contains("FoundHardware 9"));
  EXPECT_NE(_ioDevice, nullptr);
}

TEST_F(DriverEvents, AChangeOfTheCurrentDeviceShowsItsStateAgainWithoutFoundHardware) {
  const auto id = interface.publish();
  start();
  interface.configuration.sampleRate = 96000;
  memory_registry::sendMessage(id, kDriverMessage, notification(kStateChanged));
  const auto calls = happened();
  EXPECT_THAT(calls, Contains("ShowInfo 1 true 0 \"96 kHz\""));
  EXPECT_THAT(calls, Not(Contains("FoundHardware 9")));
}

TEST_F(DriverEvents, AChangeOfADeviceThatIsNotCurrentShowsNothing) {
  interface.publish();
  start();
  ScriptedInterface second;
  const auto secondId = second.publish();
  happened();
  memory_registry::sendMessage(secondId, kDriverMessage, notification(kStateChanged));
  EXPECT_THAT(happened(), IsEmpty());
  IOTerm();
}

TEST_F(DriverEvents, TheEventsAboveThreeShowNothing) {
  const auto id = interface.publish();
  start();
  for (const std::uint32_t number : {34u, 14u, 35u, 48u}) {
    memory_registry::sendMessage(id, kDriverMessage, notification(number));
    EXPECT_THAT(happened(), IsEmpty()) << number;
  }
}

TEST_F(DriverEvents, AnArrivalWithoutADeviceIsIgnored) {
  start();
  IODriverCallback(nullptr, nullptr, VQAPI_CB_Arrived);
  EXPECT_THAT(panel.calls, IsEmpty());
  EXPECT_EQ(_ioDevice, nullptr);
}

TEST_F(DriverEvents, ARemovalWithoutADeviceIsIgnored) {
  start();
  IODriverCallback(nullptr, nullptr, VQAPI_CB_Removed);
  IODriverCallback(nullptr, nullptr, VQAPI_CB_Changed);
  EXPECT_THAT(panel.calls, IsEmpty());
}

TEST_F(DriverEvents, TheEndReleasesTheCurrentDeviceAndShowsNothing) {
  interface.publish();
  start();
  IOTerm();
  EXPECT_EQ(_ioDevice, nullptr);
  EXPECT_THAT(panel.calls, IsEmpty());
  EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
}

TEST_F(DriverEvents, TheEndClosesADeviceThatDiscoveryDoesNotKeep) {
  interface.publish();
  start();
  USBDevice* const device = _ioDevice;
  ASSERT_EQ(vqapiDeviceMap[0], device);
  vqapiDeviceMap[0] =
      nullptr;  // like a device that finds the table full; the test has its reference
  IOTerm();
  EXPECT_FALSE(device->isOpen());
  device->release();
}

TEST_F(DriverEvents, TheEndWithoutADeviceStopsTheDeviceLayer) {
  start();
  IOTerm();
  interface.publish();
  EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(DriverEvents, AnInterfaceThatLeavesDuringThePauseIsForgotten) {
  start();
  memory_registry::DeviceId id = interface.publish();
  memory_clock::onPause([&](unsigned) { memory_registry::terminate(id); });
  happened();
  memory_clock::reset();
  happened();
  EXPECT_EQ(_ioDevice, nullptr);
}

}  // namespace

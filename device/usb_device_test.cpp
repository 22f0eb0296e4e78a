// SPDX-License-Identifier: MIT
// USBDevice itself: creation, references, opening and closing, sending one record.
#include "device/usb_device.h"

#include <gmock/gmock.h>

#include <bit>

#include "device/testing/device_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NotingItsEnd : public USBDevice {
 public:
  NotingItsEnd(io_service_t service, bool& ended) : USBDevice(service), ended_(ended) {}
  ~NotingItsEnd() override { ended_ = true; }

 private:
  bool& ended_;
};

std::vector<VQ_Command> commandsOf(const std::vector<VQ_Dispatch>& records) {
  std::vector<VQ_Command> commands;
  for (const VQ_Dispatch& record : records) commands.push_back(record.command());
  return commands;
}

// --- Creation and references ---

using DeviceHandle = DeviceTest;

TEST_F(DeviceHandle, ReadsTheIdsAndTheNameFromTheProperties) {
  const Retained device(makeDevice());
  EXPECT_EQ(device->vendorId(), 0x7f21);
  EXPECT_EQ(device->productId(), 0x5d12);
  EXPECT_EQ(device->getProductString(), "VX-310");
  EXPECT_FALSE(device->isOpen());
  EXPECT_FALSE(device->isUSB2Device());
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(DeviceHandle, MissingPropertiesGiveMinusOneAndNoName) {
  properties().clear();
  const Retained device(makeDevice());
  EXPECT_EQ(device->vendorId(), -1);
  EXPECT_EQ(device->productId(), -1);
  EXPECT_EQ(device->getProductString(), "");
}

TEST_F(DeviceHandle, PropertiesOfAnotherTypeCountAsMissing) {
  properties() = {{"idVendor", CFValue("32545")}, {"USB Product Name", CFValue(310)}};
  const Retained device(makeDevice());
  EXPECT_EQ(device->vendorId(), -1);
  EXPECT_EQ(device->getProductString(), "");
}

TEST_F(DeviceHandle, IdsAreSigned16BitNumbers) {
  setProperty("idVendor", CFValue(0xff00));
  const Retained device(makeDevice());
  EXPECT_EQ(device->vendorId(), -256);
}

TEST_F(DeviceHandle, UnreadablePropertiesLeaveAUsableHandle) {
  memory_registry::failNext(memory_registry::Operation::kCreateProperties);
  const Retained device(makeDevice());
  EXPECT_EQ(device->vendorId(), -1);
  EXPECT_TRUE(device->open(false));
}

TEST_F(DeviceHandle, ReadingThePropertiesAgainShowsWhatTheDriverChanged) {
  const Retained device(makeDevice());
  setProperty("USB Product Name", CFValue("VX-310 mk2"));
  EXPECT_EQ(device->getProductString(), "VX-310");
  EXPECT_EQ(device->getIORegistryProperties(), kIOReturnSuccess);
  EXPECT_EQ(device->getProductString(), "VX-310 mk2");

  memory_registry::failNext(memory_registry::Operation::kCreateProperties, kIOReturnNoDevice);
  EXPECT_EQ(device->getIORegistryProperties(), kIOReturnNoDevice);
  EXPECT_EQ(device->getProductString(), "VX-310 mk2");
}

TEST_F(DeviceHandle, KeepsItsServiceUntilItIsDestroyed) {
  const auto before = memory_registry::outstanding();
  const io_service_t service = findService();
  {
    const USBDevice device(service);
    IOObjectRelease(service);
    EXPECT_EQ(device.getDeviceInstance(), service);
    EXPECT_EQ(memory_registry::outstanding().objects, before.objects + 1);
  }
  EXPECT_EQ(memory_registry::outstanding(), before);
}

TEST_F(DeviceHandle, ReleasingTheLastReferenceDestroysIt) {
  bool ended = false;
  auto* device = new NotingItsEnd(0, ended);
  device->retain();
  device->retain();
  device->release();
  EXPECT_FALSE(ended);
  device->release();
  EXPECT_TRUE(ended);
}

TEST_F(DeviceHandle, DestroyingItClosesTheConnectionAndEndsTheMessages) {
  mach_port_t port = 0;
  ASSERT_EQ(IOMasterPort(&port), kIOReturnSuccess);
  const IONotificationPortRef notifications = IONotificationPortCreate(port);
  const auto before = memory_registry::outstanding();
  auto* device = makeDevice();
  device->retain();
  ASSERT_TRUE(device->open(false));
  device->addInterestNotification(notifications);
  EXPECT_EQ(memory_registry::outstanding().connections, before.connections + 1);
  EXPECT_EQ(memory_registry::outstanding().objects, before.objects + 2);
  device->release();
  EXPECT_EQ(memory_registry::outstanding(), before);
  IONotificationPortDestroy(notifications);
  mach_port_deallocate(port);
}

TEST_F(DeviceHandle, WithoutAServiceItNeverOpens) {
  USBDevice device(0);
  EXPECT_FALSE(device.open(false));
  EXPECT_FALSE(device.isOpen());
  EXPECT_EQ(device.getDeviceInstance(), 0u);
}

// --- Opening and closing ---

TEST_F(DeviceHandle, OpeningReadsVersionTextsSpeedValueAndMapInThisOrder) {
  const Retained device(makeDevice());
  EXPECT_TRUE(device->open(true));
  EXPECT_TRUE(device->isOpen());
  EXPECT_THAT(commandsOf(takeRequests()),
              ElementsAre(VQ_Command::kGetDriverVersion, VQ_Command::kGetString0,
                          VQ_Command::kGetString1, VQ_Command::kGetUsbSpeed,
                          VQ_Command::kGetValueAtOpen, VQ_Command::kGetConfigurationAndChannelMap));
  EXPECT_EQ(memory_registry::requests().front().connectionType, kDispatchConnectionType);
  EXPECT_EQ(memory_registry::requests().front().selector, kDispatchSelector);
}

TEST_F(DeviceHandle, OpeningKeepsTheValuesThatItRead) {
  driver.answerBytes(VQ_Command::kGetString0, {'o', 'n', 'e'});
  driver.answerBytes(VQ_Command::kGetString1, std::vector<std::uint8_t>(80, 'x'));
  driver.answerWords(VQ_Command::kGetUsbSpeed, {0x100});
  const auto value = std::bit_cast<std::uint64_t>(2.5);
  driver.answerWords(VQ_Command::kGetValueAtOpen,
                     {static_cast<std::uint32_t>(value), static_cast<std::uint32_t>(value >> 32)});
  driver.answerWords(VQ_Command::kGetConfigurationAndChannelMap, {48000, 2, 24, 4, 16, 160, 161});
  const Retained device(makeDevice());
  ASSERT_TRUE(device->open(false));
  EXPECT_STREQ(device->driverVersion().text, "2.05.b3");
  EXPECT_STREQ(device->string0(), "one");
  EXPECT_EQ(device->string1(), std::string(63, 'x'));
  EXPECT_TRUE(device->isUSB2Device());
  EXPECT_EQ(device->valueAtOpen(), 2.5);
  EXPECT_EQ(device->configurationAndMap().configuration,
            (VQ_DeviceConfiguration{48000, 2, 24, 4, 16}));
  EXPECT_EQ(device->configurationAndMap().map.inputs[1], 161u);
}

TEST_F(DeviceHandle, ASpeedValueOfZeroIsUsb11) {
  driver.answerWords(VQ_Command::kGetUsbSpeed, {0, 1});
  const Retained device(makeDevice());
  ASSERT_TRUE(device->open(false));
  EXPECT_FALSE(device->isUSB2Device());
}

TEST_F(DeviceHandle, OpeningSucceedsWhenOnlyTheVersionCanBeRead) {
  for (const auto command :
       {VQ_Command::kGetString0, VQ_Command::kGetString1, VQ_Command::kGetUsbSpeed,
        VQ_Command::kGetValueAtOpen, VQ_Command::kGetConfigurationAndChannelMap}) {
    driver.failAt(command);
  }
  const Retained device(makeDevice());
  EXPECT_TRUE(device->open(false));
  EXPECT_FALSE(device->isUSB2Device());
  EXPECT_EQ(device->valueAtOpen(), 0.0);
  EXPECT_STREQ(device->string0(), "");
  EXPECT_EQ(device->configurationAndMap(), VQ_Orbek_ConfigAndMap{});
}

TEST_F(DeviceHandle, OpeningAgainResetsTheSpeedAndTheValue) {
  driver.answerWords(VQ_Command::kGetUsbSpeed, {1});
  driver.answerWords(VQ_Command::kGetValueAtOpen, {1, 1});
  const Retained device(makeDevice());
  ASSERT_TRUE(device->open(false));
  device->close();
  driver.shorten(VQ_Command::kGetUsbSpeed, 259);
  driver.shorten(VQ_Command::kGetValueAtOpen, 259);
  ASSERT_TRUE(device->open(false));
  EXPECT_FALSE(device->isUSB2Device());
  EXPECT_EQ(device->valueAtOpen(), 0.0);
}

TEST_F(DeviceHandle, OpeningFailsWithoutADriverVersion) {
  driver.failAt(VQ_Command::kGetDriverVersion);
  const Retained device(makeDevice());
  EXPECT_FALSE(device->open(false));
  EXPECT_FALSE(device->isOpen());
  EXPECT_EQ(memory_registry::outstanding().connections, 0u);
  EXPECT_THAT(commandsOf(takeRequests()), ElementsAre(VQ_Command::kGetDriverVersion));
}

TEST_F(DeviceHandle, ARefusedConnectionLeavesItClosed) {
  memory_registry::device(id).openResult = kIOReturnError;
  const Retained device(makeDevice());
  EXPECT_FALSE(device->open(false));
  EXPECT_FALSE(device->isOpen());
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(DeviceHandle, OpeningAnOpenDeviceChangesNothing) {
  const Retained device(makeDevice());
  ASSERT_TRUE(device->open(false));
  takeRequests();
  EXPECT_TRUE(device->open(false));
  EXPECT_THAT(takeRequests(), IsEmpty());
  EXPECT_EQ(memory_registry::outstanding().connections, 1u);
}

TEST_F(DeviceHandle, ClosingReleasesTheConnectionAndTheDeviceMayBeOpenedAgain) {
  const Retained device(makeDevice());
  ASSERT_TRUE(device->open(false));
  device->close();
  EXPECT_FALSE(device->isOpen());
  EXPECT_EQ(memory_registry::outstanding().connections, 0u);
  device->close();
  EXPECT_TRUE(device->open(false));
}

TEST_F(DeviceHandle, AServiceThatWentAwayDoesNotOpen) {
  const Retained device(makeDevice());
  memory_registry::terminate(id);
  EXPECT_FALSE(device->open(false));
}

TEST(CloseHandle, DoesNothingForNoConnection) { CloseHandle(0); }

// --- One record ---

using Dispatching = OpenDeviceTest;

TEST_F(Dispatching, SendsTheRecordAndReceivesTheAnswerInIt) {
  driver.answerWords(VQ_Command::kGetWMRegister, {7, 8});
  VQ_Dispatch record(VQ_Command::kGetWMRegister, 5);
  record.setWord(2, 6);
  EXPECT_TRUE(device->dispatch(record, true));
  EXPECT_EQ(onlyRequest().word(0), 5u);
  EXPECT_EQ(record.command(), VQ_Command::kGetWMRegister);
  EXPECT_EQ(record.word(0), 7u);
  EXPECT_EQ(record.word(1), 8u);
  EXPECT_EQ(record.word(2), 6u);
}

TEST_F(Dispatching, TheSizeCheckFailsAnAnswerOfLessThan260Bytes) {
  driver.shorten(VQ_Command::kGetWMRegister, 259);
  VQ_Dispatch record(VQ_Command::kGetWMRegister);
  EXPECT_FALSE(device->dispatch(record, true));
  EXPECT_TRUE(device->dispatch(record, false));
}

TEST_F(Dispatching, WithoutASizeCheckAnEmptyAnswerLeavesTheRecordAsSent) {
  driver.shorten(VQ_Command::kGetWMRegister, 0);
  VQ_Dispatch record(VQ_Command::kGetWMRegister, 5);
  EXPECT_TRUE(device->dispatch(record, false));
  EXPECT_EQ(record.word(0), 5u);
}

TEST_F(Dispatching, AnAnswerOfMoreThan260BytesFails) {
  driver.answer(VQ_Command::kGetWMRegister,
                [](const VQ_Dispatch&) { return std::vector<std::uint8_t>(261, 0xff); });
  VQ_Dispatch record(VQ_Command::kGetWMRegister);
  EXPECT_FALSE(device->dispatch(record, false));
}

TEST_F(Dispatching, AFailingCallFails) {
  memory_registry::failNext(memory_registry::Operation::kConnectMethod);
  VQ_Dispatch record(VQ_Command::kGetWMRegister);
  EXPECT_FALSE(device->dispatch(record, false));
}

TEST_F(Dispatching, AClosedDeviceFailsWithoutContactingTheDriver) {
  device->close();
  VQ_Dispatch record(VQ_Command::kGetWMRegister);
  EXPECT_FALSE(device->dispatch(record, false));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(Dispatching, AServiceThatWentAwayFails) {
  memory_registry::terminate(id);
  VQ_Dispatch record(VQ_Command::kGetWMRegister);
  EXPECT_FALSE(device->dispatch(record, false));
}

}  // namespace

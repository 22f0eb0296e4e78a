// SPDX-License-Identifier: MIT
#include "device/discovery.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "device/testing/discovery_fixture.h"

namespace {

using memory_registry::Operation;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::SizeIs;

// --- Start and stop ---

TEST_F(Discovery, AStartReportsTheInterfacesThatArePresent) {
  publish();
  publish();
  onEvent = [](USBDevice* device, VQAPI_CBEvent) { EXPECT_FALSE(device->isOpen()); };
  start();
  EXPECT_THAT(events, ElementsAre(Event{vqapiDeviceMap[0], VQAPI_CB_Arrived},
                                  Event{vqapiDeviceMap[1], VQAPI_CB_Arrived}));
  EXPECT_EQ(kept(), 2u);
}

TEST_F(Discovery, AStartWithNothingPresentReportsNothing) {
  start();
  EXPECT_THAT(events, IsEmpty());
  EXPECT_NE(_vqapiMasterDevicePort, 0u);
  EXPECT_EQ(vqapiNumDevices, 0);
  EXPECT_FALSE(mIteratorsNeedEmptying);
}

TEST_F(Discovery, TheDriverGets100MillisecondsBeforeItsServiceIsRead) {
  memory_clock::onPause([this](unsigned) { EXPECT_THAT(events, IsEmpty()); });
  publish();
  start();
  EXPECT_THAT(memory_clock::pauses(), ElementsAre(100000u));
  EXPECT_THAT(events, SizeIs(1));
  memory_clock::onPause(nullptr);
  publish();
  manual_run_loop::performAll();
  EXPECT_THAT(memory_clock::pauses(), ElementsAre(100000u, 100000u));
}

TEST_F(Discovery, RemovalsAreReportedWithoutAPause) {
  const auto id = publish();
  start();
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_THAT(memory_clock::pauses(), SizeIs(1));
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Removed));
}

TEST_F(Discovery, ServicesOfAnotherClassAreNotReported) {
  publish("LumKernelDeviceOrbekTalvo4");
  start();
  publish("LumKernelDeviceOrbekTalvo4");
  manual_run_loop::performAll();
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(Discovery, ASecondStartWhileRunningChangesNothing) {
  const auto id = publish();
  start();
  const auto before = memory_registry::outstanding();
  USBDevice* const device = vqapiDeviceMap[0];
  int others = 0;
  vqapiInit([](void* context, USBDevice*, VQAPI_CBEvent) { ++*static_cast<int*>(context); },
            &others, identityOf("Other"));
  EXPECT_EQ(memory_registry::outstanding(), before);
  EXPECT_EQ(vqapiDeviceMap[0], device);
  EXPECT_STREQ(_TheGuid.data(), kVX310DriverClass);
  sendNotification(id, 3);
  manual_run_loop::performAll();
  EXPECT_EQ(others, 0);
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Changed));
}

TEST_F(Discovery, ARestartStartsWithAnEmptyTable) {
  publish();
  const auto id = publish();
  start();
  vqapiTerm();
  EXPECT_EQ(kept(), 0u);
  EXPECT_EQ(_vqapiMasterDevicePort, 0u);
  memory_registry::terminate(id);
  events.clear();
  start();
  EXPECT_THAT(events, ElementsAre(Event{vqapiDeviceMap[0], VQAPI_CB_Arrived}));
}

TEST_F(Discovery, AStartForgetsWhatIsLeftOfAnEarlierRun) {
  manual_run_loop::setAvailable(false);
  USBDevice earlier(0);
  vqapiDeviceMap[5] = &earlier;
  vqapiNumDevices = 3;
  mIteratorsNeedEmptying =
      true;  // the first scan would drain the iterators, of which there are none
  publish();
  start();
  EXPECT_THAT(vqapiDeviceMap[5], IsNull());
  EXPECT_EQ(vqapiNumDevices, 0);
  EXPECT_FALSE(mIteratorsNeedEmptying);
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived));
}

TEST_F(Discovery, AStopForgetsPortIteratorsSourceAndWhatWasMatched) {
  start();
  ASSERT_FALSE(mMatchingDict.empty());
  mIteratorsNeedEmptying = true;
  vqapiTerm();
  EXPECT_FALSE(mIteratorsNeedEmptying);
  EXPECT_EQ(_vqapiMasterDevicePort, 0u);
  EXPECT_THAT(_vqapiNotifyPort, IsNull());
  EXPECT_FALSE(_vqapiRunLoopSource);
  EXPECT_EQ(_vqapiServicePublishIterator, 0u);
  EXPECT_EQ(mServiceTerminateIterator, 0u);
  EXPECT_TRUE(mMatchingDict.empty());
}

TEST_F(Discovery, AStopClosesAndReleasesWithoutAReport) {
  publish();
  onEvent = [](USBDevice* device, VQAPI_CBEvent) { EXPECT_TRUE(device->open(false)); };
  start();
  const Retained device(vqapiDeviceMap[0]);
  events.clear();
  vqapiTerm();
  EXPECT_FALSE(device->isOpen());
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(memory_registry::outstanding().connections, 0u);
  EXPECT_EQ(memory_registry::outstanding().notificationPorts, 0u);
}

TEST_F(Discovery, AStopGivesTheMasterPortBackBeforeItReleasesTheDevices) {
  class Device : public USBDevice {
   public:
    explicit Device(bool& isLast) : USBDevice(0), isLast_(isLast) {}
    ~Device() override {
      isLast_ = _vqapiMasterDevicePort == 0 && memory_registry::outstanding().masterPorts == 0;
    }

   private:
    bool& isLast_;
  };
  start();
  bool isLast = false;
  vqapiDeviceMap[0] = new Device(isLast);
  vqapiDeviceMap[0]->retain();
  vqapiTerm();
  EXPECT_TRUE(isLast);
}

TEST_F(Discovery, AStopReleasesEverything) {
  publish();
  start();
  EXPECT_EQ(manual_run_loop::sourceCount(), 1u);
  vqapiTerm();
  EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
  EXPECT_EQ(manual_run_loop::sourceCount(), 0u);
}

TEST_F(Discovery, AfterAStopNothingIsReportedAboutAHandleThatTheClientKept) {
  const auto id = publish();
  start();
  const Retained device(vqapiDeviceMap[0]);
  vqapiTerm();
  events.clear();
  sendNotification(id, 3);
  manual_run_loop::performAll();
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(Discovery, StoppingWhileStoppedIsHarmless) {
  vqapiTerm();
  start();
  vqapiTerm();
  vqapiTerm();
}

TEST_F(Discovery, AnIdentityWithoutTerminatorIsTakenWhole) {
  const std::string name(256, 'n');
  publish(name.c_str());
  vqapiInit(&Discovery::record, this, identityOf(name));
  EXPECT_THAT(events, SizeIs(1));
}

TEST_F(Discovery, AnEmptyIdentityMatchesNothing) {
  publish();
  vqapiInit(&Discovery::record, this, GUID{});
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(Discovery, WithoutACallbackTheTableIsStillKept) {
  const auto id = publish();
  publish();
  vqapiInit(nullptr, nullptr, identityOf(kVX310DriverClass));
  EXPECT_EQ(kept(), 2u);
  sendNotification(id, 3);
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_EQ(kept(), 1u);
  _vqapiMarkAsRemoved(vqapiDeviceMap[1]);
  EXPECT_EQ(kept(), 0u);
}

// --- Coming and going ---

TEST_F(Discovery, AnArrivalTakesTheLowestEmptySlot) {
  publish();
  const auto second = publish();
  publish();
  start();
  USBDevice* const third = vqapiDeviceMap[2];
  memory_registry::terminate(second);
  manual_run_loop::performAll();
  EXPECT_THAT(vqapiDeviceMap[1], IsNull());
  EXPECT_EQ(vqapiDeviceMap[2], third);
  publish();
  manual_run_loop::performAll();
  EXPECT_EQ(events.back(), (Event{vqapiDeviceMap[1], VQAPI_CB_Arrived}));
  EXPECT_EQ(kept(), 3u);
}

TEST_F(Discovery, ARemovedDeviceIsUsableDuringTheReportAndClosedAfterIt) {
  const auto id = publish();
  onEvent = [](USBDevice* device, VQAPI_CBEvent event) {
    if (event == VQAPI_CB_Arrived) {
      EXPECT_TRUE(device->open(false));
    } else {
      EXPECT_TRUE(device->isOpen());
      EXPECT_EQ(vqapiDeviceMap[0], device);
    }
  };
  start();
  const Retained device(vqapiDeviceMap[0]);
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_EQ(events.back(), (Event{device.get(), VQAPI_CB_Removed}));
  EXPECT_FALSE(device->isOpen());
  EXPECT_EQ(kept(), 0u);
}

TEST_F(Discovery, TerminationOfAnUnknownServiceIsIgnored) {
  publish();
  start();
  events.clear();
  ServiceTerminated(0);
  ServiceTerminated(vqapiDeviceMap[0]->getDeviceInstance() + 1000);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(kept(), 1u);
}

TEST_F(Discovery, AnInterfaceThatArrivesDuringThePauseIsReportedWithTheOthers) {
  publish();
  memory_clock::onPause([](unsigned) { publish(); });
  start();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Arrived));
}

TEST_F(Discovery, AnInterfaceThatLeavesDuringThePauseIsNotReported) {
  const auto id = publish();
  memory_clock::onPause([id](unsigned) { memory_registry::terminate(id); });
  start();
  memory_clock::onPause(nullptr);
  manual_run_loop::performAll();
  EXPECT_THAT(kinds(), IsEmpty());
  EXPECT_EQ(kept(), 0u);
}

// --- A full table ---

class FullTable : public Discovery {
 protected:
  FullTable() {
    for (std::size_t i = 0; i < kVqapiDeviceLimit; ++i) publish();
    start();
    EXPECT_EQ(kept(), kVqapiDeviceLimit);
    events.clear();
  }
};

TEST_F(FullTable, The129thDeviceIsNotStoredAndOnlyItsArrivalIsReported) {
  const auto id = publish();
  manual_run_loop::performAll();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived));
  EXPECT_EQ(std::count(vqapiDeviceMap.begin(), vqapiDeviceMap.end(), events[0].device), 0);
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_THAT(events, SizeIs(1));
}

TEST_F(FullTable, The129thHandleIsFreedAfterTheReport) {
  const auto before = memory_registry::outstanding();
  onEvent = [](USBDevice* device, VQAPI_CBEvent) { EXPECT_TRUE(device->open(false)); };
  publish();
  manual_run_loop::performAll();
  EXPECT_EQ(memory_registry::outstanding(), before);
}

TEST_F(FullTable, The129thHandleSurvivesAClientThatRetainsAndReleasesItDuringTheReport) {
  onEvent = [](USBDevice* device, VQAPI_CBEvent) {
    device->retain();
    device->release();
    EXPECT_FALSE(device->isOpen());
  };
  publish();
  manual_run_loop::performAll();
  EXPECT_THAT(events, SizeIs(1));
}

TEST_F(FullTable, The129thHandleLivesOnIfTheClientRetainsIt) {
  onEvent = [](USBDevice* device, VQAPI_CBEvent) { device->retain(); };
  const auto id = publish();
  manual_run_loop::performAll();
  onEvent = nullptr;
  USBDevice* const device = events.at(0).device;
  EXPECT_TRUE(device->open(false));
  sendNotification(id, 3);
  manual_run_loop::performAll();
  EXPECT_THAT(events, SizeIs(1));  // it is not registered for messages
  device->release();
}

// --- Dropping a device by hand ---

TEST_F(Discovery, AMarkedDeviceLeavesTheTableThenIsReportedThenClosed) {
  const auto id = publish();
  start();
  const Retained device(vqapiDeviceMap[0]);
  ASSERT_TRUE(device->open(false));
  events.clear();
  onEvent = [](USBDevice* removed, VQAPI_CBEvent) {
    EXPECT_TRUE(removed->isOpen());
    EXPECT_THAT(vqapiDeviceMap[0], IsNull());
  };
  _vqapiMarkAsRemoved(device.get());
  EXPECT_THAT(events, ElementsAre(Event{device.get(), VQAPI_CB_Removed}));
  EXPECT_FALSE(device->isOpen());
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_THAT(events, SizeIs(1));
}

TEST_F(Discovery, MarkingADeviceThatIsNotKeptDoesNothing) {
  publish();
  start();
  events.clear();
  USBDevice other(0);
  _vqapiMarkAsRemoved(nullptr);
  _vqapiMarkAsRemoved(&other);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(kept(), 1u);
}

TEST_F(Discovery, ADeviceMayBeMarkedDuringTheReportOfItsArrival) {
  publish();
  onEvent = [](USBDevice* device, VQAPI_CBEvent event) {
    if (event == VQAPI_CB_Arrived) _vqapiMarkAsRemoved(device);
  };
  start();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Removed));
  EXPECT_EQ(kept(), 0u);
}

TEST_F(Discovery, ADeviceMarkedDuringTheReportOfItsRemovalIsReleasedOnce) {
  const auto id = publish();
  onEvent = [this](USBDevice* device, VQAPI_CBEvent event) {
    if (event == VQAPI_CB_Removed && events.size() == 2) _vqapiMarkAsRemoved(device);
  };
  start();
  const Retained device(vqapiDeviceMap[0]);
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Removed, VQAPI_CB_Removed));
}

TEST_F(Discovery, TheClientMayStopDuringAnyReport) {
  for (const auto at : {VQAPI_CB_Arrived, VQAPI_CB_Changed, VQAPI_CB_Removed}) {
    events.clear();
    onEvent = [at](USBDevice*, VQAPI_CBEvent event) {
      if (event == at) vqapiTerm();
    };
    publish();
    const auto id = publish();
    start();
    sendNotification(id, 3);
    manual_run_loop::performAll();
    memory_registry::terminate(id);
    manual_run_loop::performAll();
    EXPECT_EQ(events.back().event, at);
    EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
    memory_registry::reset();
    manual_run_loop::reset();
  }
}

TEST_F(Discovery, ARestartDuringTheReportOfARemovalKeepsTheDevicesThatItFound) {
  const auto id = publish();
  onEvent = [this](USBDevice*, VQAPI_CBEvent event) {
    if (event != VQAPI_CB_Removed) return;
    vqapiTerm();  // frees the handle, so that the next one may stand at its address
    publish();
    start();
  };
  start();
  memory_registry::terminate(id);
  manual_run_loop::performAll();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Removed, VQAPI_CB_Arrived));
  EXPECT_EQ(vqapiDeviceMap[0], events.back().device);
}

// --- Scans ---

TEST_F(Discovery, AScanWhileStoppedDoesNothing) {
  publish();
  _vqapiScanServices();
  mIteratorsNeedEmptying = true;
  _vqapiScanServices();
  EXPECT_THAT(memory_clock::pauses(), IsEmpty());
}

TEST_F(Discovery, AScanDuringTheFirstReportReadsTheServicesPresent) {
  publish();
  onEvent = [this](USBDevice*, VQAPI_CBEvent) {
    onEvent = nullptr;
    _vqapiScanServices();
  };
  start();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Arrived));
}

TEST_F(Discovery, TheFirstScanReportsTheInterfacesThatLeaveDuringIt) {
  const auto id = publish();
  onEvent = [id](USBDevice*, VQAPI_CBEvent) { memory_registry::terminate(id); };
  start();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Removed));
}

TEST_F(Discovery, WithoutARunLoopTheServicesPresentAreReported) {
  manual_run_loop::setAvailable(false);
  publish();
  start();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived));
  EXPECT_THAT(memory_clock::pauses(), ElementsAre(100000u));
  EXPECT_THAT(_vqapiNotifyPort, IsNull());
  EXPECT_EQ(memory_registry::outstanding().notificationPorts, 0u);
}

TEST_F(Discovery, EveryFurtherScanReportsTheServicesPresent) {
  publish();
  start();
  publish();
  events.clear();
  _vqapiScanServices();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Arrived));
  EXPECT_EQ(kept(), 3u);
}

TEST_F(Discovery, AStopDuringAReportEndsTheScan) {
  manual_run_loop::setAvailable(false);
  publish();
  publish();
  onEvent = [](USBDevice*, VQAPI_CBEvent) { vqapiTerm(); };
  start();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived));
  EXPECT_EQ(kept(), 0u);
}

TEST_F(Discovery, ARestartDuringAReportEndsTheEarlierScan) {
  manual_run_loop::setAvailable(false);
  publish();
  publish();
  onEvent = [this](USBDevice*, VQAPI_CBEvent) {
    onEvent = nullptr;
    vqapiTerm();
    start();
  };
  start();
  EXPECT_THAT(events, SizeIs(3));
  EXPECT_EQ(kept(), 2u);
}

// --- A registry that fails ---

TEST_F(Discovery, WithoutARegistryItStaysStoppedAndMayBeStartedLater) {
  publish();
  memory_registry::failNext(Operation::kMasterPort);
  start();
  EXPECT_EQ(_vqapiMasterDevicePort, 0u);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
  start();
  EXPECT_THAT(events, SizeIs(1));
}

TEST_F(Discovery, AFailingLookUpReportsNothing) {
  manual_run_loop::setAvailable(false);
  publish();
  memory_registry::failNext(Operation::kGetMatchingServices);
  start();
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(memory_clock::pauses(), IsEmpty());
  _vqapiScanServices();
  EXPECT_THAT(events, SizeIs(1));
}

TEST_F(Discovery, ADeviceWhoseMessagesCannotBeRequestedIsStillReported) {
  memory_registry::failNext(Operation::kAddInterestNotification);
  const auto id = publish();
  start();
  sendNotification(id, 3);
  manual_run_loop::performAll();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived));
}

class FailingStart : public Discovery, public testing::WithParamInterface<Operation> {};

TEST_P(FailingStart, LeavesItRunningWithoutReportsUntilItIsStopped) {
  publish();
  memory_registry::failNext(GetParam());
  start();
  EXPECT_NE(_vqapiMasterDevicePort, 0u);
  start();
  publish();
  manual_run_loop::performAll();
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(memory_clock::pauses(), IsEmpty());
  EXPECT_FALSE(mIteratorsNeedEmptying);
  vqapiTerm();
  EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
  EXPECT_EQ(manual_run_loop::sourceCount(), 0u);
  start();
  EXPECT_THAT(kinds(), ElementsAre(VQAPI_CB_Arrived, VQAPI_CB_Arrived));
}

INSTANTIATE_TEST_SUITE_P(AtEachStep, FailingStart,
                         testing::Values(Operation::kNotificationPortCreate,
                                         Operation::kGetRunLoopSource,
                                         Operation::kAddPublishNotification,
                                         Operation::kAddTerminateNotification),
                         [](const auto& step) { return "Step" + std::to_string(step.index + 1); });

}  // namespace

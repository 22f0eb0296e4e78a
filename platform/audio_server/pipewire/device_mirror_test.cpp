// SPDX-License-Identifier: MIT
#include "platform/audio_server/pipewire/device_mirror.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "platform/notices/notices.h"

namespace {

using pipewire::Deadline;
using pipewire::Device;
using pipewire::DeviceMirror;
using pipewire::RoutingBytes;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

Deadline in(milliseconds time) { return std::chrono::steady_clock::now() + time; }
constexpr auto kLong = std::chrono::seconds(10);
constexpr auto kShort = milliseconds(5);

RoutingBytes recordWithValue(std::uint8_t value) { return {1, 0, 0, 0, 2, 0, 0, 0, value}; }

// The routing records of a device with two routings; `value` is that of the second.
std::vector<std::uint8_t> records(std::uint8_t value) {
  std::vector<std::uint8_t> bytes(24);
  std::ranges::copy(recordWithValue(value), bytes.begin() + 12);
  return bytes;
}

class DeviceMirrorTest : public testing::Test {
 protected:
  DeviceMirrorTest() { mirror_.setRunning({{50, "a", std::nullopt}, {60, "b", records(1)}}); }

  DeviceMirror mirror_;
};

TEST(DeviceMirrorStart, TheServerIsNeitherRunningNorAbsentBeforeTheFirstList) {
  DeviceMirror mirror;
  mirror.waitUntilKnown(in(kShort));
  EXPECT_FALSE(mirror.ids());
  mirror.setAbsent();
  mirror.waitUntilKnown(in(kLong));
  EXPECT_FALSE(mirror.ids());
}

TEST(DeviceMirrorStart, TheFirstListEndsTheWait) {
  DeviceMirror mirror;
  auto waited = std::async(std::launch::async, [&] {
    mirror.waitUntilKnown(in(kLong));
    return mirror.ids();
  });
  mirror.setRunning({});
  EXPECT_THAT(waited.get().value(), IsEmpty());
}

TEST(DeviceMirrorStart, AListThatArrivesAfterItWasReadIsAChange) {
  DeviceMirror mirror;
  EXPECT_FALSE(mirror.changedSinceRead());
  EXPECT_EQ(mirror.ids(), std::nullopt);
  mirror.setRunning({});
  EXPECT_TRUE(mirror.changedSinceRead());
  mirror.ids();
  EXPECT_FALSE(mirror.changedSinceRead());
}

TEST_F(DeviceMirrorTest, AListThatWasNeverReadCountsAsUnchanged) {
  mirror_.add({70, "c", std::nullopt});
  EXPECT_FALSE(mirror_.changedSinceRead());
}

TEST_F(DeviceMirrorTest, EachArrivalAndRemovalChangesAListThatWasRead) {
  mirror_.ids();
  mirror_.remove(99);
  mirror_.setName(50, "other");
  EXPECT_FALSE(mirror_.changedSinceRead());
  mirror_.add({70, "c", std::nullopt});
  EXPECT_TRUE(mirror_.changedSinceRead());
  mirror_.ids();
  mirror_.remove(70);
  EXPECT_TRUE(mirror_.changedSinceRead());
  mirror_.ids();
  mirror_.setStopped();
  EXPECT_TRUE(mirror_.changedSinceRead());
  mirror_.ids();
  mirror_.setStopped();
  EXPECT_FALSE(mirror_.changedSinceRead());
}

TEST_F(DeviceMirrorTest, DevicesKeepTheirOrder) {
  mirror_.add({55, "c", std::nullopt});
  EXPECT_THAT(mirror_.ids().value(), ElementsAre(50, 60, 55));
  mirror_.remove(60);
  EXPECT_THAT(mirror_.ids().value(), ElementsAre(50, 55));
}

TEST_F(DeviceMirrorTest, ADeviceIsFoundWithItsPresentState) {
  mirror_.setName(60, "new");
  mirror_.setRoutings(60, records(2));
  EXPECT_EQ(mirror_.find(60)->name, "new");
  EXPECT_EQ(mirror_.find(60)->routings, records(2));
  EXPECT_EQ(mirror_.find(50)->routings, std::nullopt);
  EXPECT_FALSE(mirror_.find(61));
}

TEST_F(DeviceMirrorTest, WithTheServerAllDevicesLeave) {
  mirror_.setStopped();
  EXPECT_FALSE(mirror_.ids());
  EXPECT_FALSE(mirror_.find(60));
}

TEST_F(DeviceMirrorTest, AWriteIsTakenOnce) {
  DeviceMirror::Write write{60, recordWithValue(7)};
  mirror_.queueWrite(write);
  EXPECT_THAT(mirror_.takeQueuedWrites(), SizeIs(1));
  EXPECT_THAT(mirror_.takeQueuedWrites(), IsEmpty());
  EXPECT_FALSE(mirror_.finishWrite(write, in(kShort)));
}

TEST_F(DeviceMirrorTest, ARecordSentAfterTheWriteConfirmsIt) {
  DeviceMirror::Write write{60, recordWithValue(7)};
  mirror_.queueWrite(write);
  mirror_.takeQueuedWrites();
  mirror_.setRoutings(60, records(7));
  EXPECT_TRUE(mirror_.finishWrite(write, in(kLong)));
}

TEST_F(DeviceMirrorTest, ARecordSentBeforeTheWriteDoesNotConfirmIt) {
  DeviceMirror::Write write{60, recordWithValue(7)};
  mirror_.queueWrite(write);
  mirror_.setRoutings(60, records(7));
  mirror_.takeQueuedWrites();
  EXPECT_FALSE(mirror_.finishWrite(write, in(kShort)));
}

TEST_F(DeviceMirrorTest, AnotherValueOrAnotherDeviceConfirmsNothing) {
  DeviceMirror::Write write{60, recordWithValue(7)};
  mirror_.queueWrite(write);
  mirror_.takeQueuedWrites();
  mirror_.setRoutings(60, records(8));
  mirror_.setRoutings(50, records(7));
  EXPECT_FALSE(mirror_.finishWrite(write, in(kShort)));
}

TEST_F(DeviceMirrorTest, RecordsThatAreSentAgainUnchangedRefuseAWriteAtOnce) {
  DeviceMirror::Write write{60, recordWithValue(7)};
  mirror_.queueWrite(write);
  mirror_.setRoutings(60, records(1));  // before the write was sent
  mirror_.takeQueuedWrites();
  EXPECT_EQ(write.state, DeviceMirror::Write::State::kSent);
  mirror_.setRoutings(60, records(1));
  EXPECT_FALSE(mirror_.finishWrite(write, in(std::chrono::hours(1))));
}

TEST_F(DeviceMirrorTest, ARecordThatTheDeviceHadBeforeIsConfirmedWhenItIsWrittenAgain) {
  DeviceMirror::Write write{60, recordWithValue(1)};
  mirror_.queueWrite(write);
  mirror_.takeQueuedWrites();
  mirror_.setRoutings(60, records(1));
  EXPECT_TRUE(mirror_.finishWrite(write, in(kLong)));
}

TEST_F(DeviceMirrorTest, ADeviceThatIsWrittenForTheFirstTimeRefusesNothingWithItsFirstRecords) {
  DeviceMirror::Write write{50, recordWithValue(7)};
  mirror_.queueWrite(write);
  mirror_.takeQueuedWrites();
  mirror_.setRoutings(50, records(1));
  EXPECT_EQ(write.state, DeviceMirror::Write::State::kSent);
  EXPECT_FALSE(mirror_.finishWrite(write, in(kShort)));
}

TEST_F(DeviceMirrorTest, RecordsThatEndInTheMiddleConfirmNothing) {
  DeviceMirror::Write write{60, recordWithValue(7)};
  mirror_.queueWrite(write);
  mirror_.takeQueuedWrites();
  std::vector<std::uint8_t> cut = records(7);
  cut.pop_back();
  mirror_.setRoutings(60, cut);
  EXPECT_FALSE(mirror_.finishWrite(write, in(kShort)));
}

TEST_F(DeviceMirrorTest, AfterAWriteThatTimedOutTheNextWaitsOnlyAMoment) {
  for (const Deadline deadline : {in(kShort), in(std::chrono::hours(1))}) {
    DeviceMirror::Write write{60, recordWithValue(7)};
    mirror_.queueWrite(write);
    EXPECT_THAT(mirror_.takeQueuedWrites(), SizeIs(1));
    EXPECT_FALSE(mirror_.finishWrite(write, deadline));
  }
}

TEST_F(DeviceMirrorTest, AfterAConfirmedWriteTheNextWaitsUpToTheLimit) {
  DeviceMirror::Write write{60, recordWithValue(7)};
  mirror_.queueWrite(write);
  EXPECT_FALSE(mirror_.finishWrite(write, in(kShort)));
  mirror_.queueWrite(write);
  mirror_.takeQueuedWrites();
  mirror_.setRoutings(60, records(7));
  EXPECT_TRUE(mirror_.finishWrite(write, in(kLong)));

  DeviceMirror::Write next{60, recordWithValue(8)};
  mirror_.queueWrite(next);
  const Deadline deadline = in(milliseconds(2 * kAudioServerHurriedWriteMs));
  EXPECT_FALSE(mirror_.finishWrite(next, deadline));
  EXPECT_GE(std::chrono::steady_clock::now(), deadline);
}

TEST_F(DeviceMirrorTest, AWriteFailsAtOnceWhenItsDeviceOrTheServerLeaves) {
  DeviceMirror::Write first{50, recordWithValue(7)};
  DeviceMirror::Write second{60, recordWithValue(7)};
  mirror_.queueWrite(first);
  mirror_.queueWrite(second);
  mirror_.remove(50);
  EXPECT_FALSE(mirror_.finishWrite(first, in(std::chrono::hours(1))));
  mirror_.setStopped();
  EXPECT_FALSE(mirror_.finishWrite(second, in(std::chrono::hours(1))));
}

TEST_F(DeviceMirrorTest, TwoWritesAreConfirmedEachByItsOwnRecord) {
  DeviceMirror::Write first{60, recordWithValue(7)};
  DeviceMirror::Write second{60, recordWithValue(8)};
  mirror_.queueWrite(first);
  mirror_.queueWrite(second);
  mirror_.takeQueuedWrites();
  mirror_.setRoutings(60, records(7));
  EXPECT_TRUE(mirror_.finishWrite(first, in(kLong)));
  EXPECT_FALSE(mirror_.finishWrite(second, in(kShort)));
}

class DeviceMirrorNotices : public DeviceMirrorTest {
 protected:
  ~DeviceMirrorNotices() override {
    setNotice(Notice::kAudioDeviceAbsent, false);
    setNotice(Notice::kChoiceRefused, false);
    setNotice(Notice::kRoutingUnconfirmed, false);
  }

  // Writes a routing; `answer` runs when it has been sent.
  template <typename Answer>
  void write(std::uint8_t value, Answer answer) {
    DeviceMirror::Write write{60, recordWithValue(value)};
    mirror_.queueWrite(write);
    mirror_.takeQueuedWrites();
    answer();
    mirror_.finishWrite(write, in(kShort));
  }
};

TEST_F(DeviceMirrorNotices, TheAudioDeviceIsAbsentWhileNoDeviceHasRoutings) {
  EXPECT_FALSE(hasNotice(Notice::kAudioDeviceAbsent));
  mirror_.remove(60);
  EXPECT_TRUE(hasNotice(Notice::kAudioDeviceAbsent));
  mirror_.add({70, "c", std::nullopt});
  EXPECT_TRUE(hasNotice(Notice::kAudioDeviceAbsent));
  mirror_.setRoutings(70, records(1));
  EXPECT_FALSE(hasNotice(Notice::kAudioDeviceAbsent));
  mirror_.setStopped();
  EXPECT_TRUE(hasNotice(Notice::kAudioDeviceAbsent));
}

TEST_F(DeviceMirrorNotices, ARefusedWriteIsNotedUntilOneIsConfirmed) {
  write(2, [this] { mirror_.setRoutings(60, records(1)); });
  EXPECT_TRUE(hasNotice(Notice::kChoiceRefused));
  EXPECT_FALSE(hasNotice(Notice::kRoutingUnconfirmed));
  write(3, [this] { mirror_.setRoutings(60, records(3)); });
  EXPECT_FALSE(hasNotice(Notice::kChoiceRefused));
}

TEST_F(DeviceMirrorNotices, AWriteWhoseDeviceLeavesIsNotRefused) {
  write(2, [this] { mirror_.remove(60); });
  EXPECT_FALSE(hasNotice(Notice::kChoiceRefused));
  EXPECT_FALSE(hasNotice(Notice::kRoutingUnconfirmed));
}

TEST_F(DeviceMirrorNotices, AWriteThatTimesOutIsNotedUntilItIsConfirmed) {
  write(2, [] {});
  EXPECT_TRUE(hasNotice(Notice::kRoutingUnconfirmed));
  mirror_.setRoutings(60, records(2));
  EXPECT_FALSE(hasNotice(Notice::kRoutingUnconfirmed));
}

TEST_F(DeviceMirrorNotices, AWriteThatTimesOutAndIsRefusedLaterIsNotedAsRefused) {
  write(2, [] {});
  mirror_.setRoutings(60, records(1));
  EXPECT_FALSE(hasNotice(Notice::kRoutingUnconfirmed));
  EXPECT_TRUE(hasNotice(Notice::kChoiceRefused));
}

}  // namespace

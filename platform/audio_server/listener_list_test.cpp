// SPDX-License-Identifier: MIT
#include "platform/audio_server/listener_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr AudioObjectPropertyAddress kAddress{1, 2, 3};

// Appends its number to a list when it is called.
struct Noting {
  int number;
  std::vector<int>* calls;
  std::function<void()> action = {};

  static OSStatus proc(AudioObjectID, std::span<const AudioObjectPropertyAddress>, void* data) {
    Noting& self = *static_cast<Noting*>(data);
    self.calls->push_back(self.number);
    if (self.action) self.action();
    return 0;
  }
};

class ListenerListTest : public testing::Test {
 protected:
  void add(Noting& noting) { list_.add(1, kAddress, Noting::proc, &noting); }
  void remove(Noting& noting) { list_.remove(1, kAddress, Noting::proc, &noting); }

  ListenerList list_;
  std::vector<int> calls_;
  Noting first_{1, &calls_};
  Noting second_{2, &calls_};
};

TEST_F(ListenerListTest, ListenersAreCalledInTheOrderOfTheirAddition) {
  add(first_);
  add(second_);
  list_.call(1, kAddress);
  EXPECT_THAT(calls_, ElementsAre(1, 2));
}

TEST_F(ListenerListTest, AddingTwiceCallsOnce) {
  add(first_);
  add(first_);
  list_.call(1, kAddress);
  EXPECT_THAT(calls_, ElementsAre(1));
}

TEST_F(ListenerListTest, AChangeOfAnotherObjectOrPropertyCallsNoListener) {
  add(first_);
  list_.call(2, kAddress);
  list_.call(1, {1, 2, 4});
  EXPECT_THAT(calls_, IsEmpty());
}

TEST_F(ListenerListTest, RemovingAnAbsentListenerChangesNothing) {
  add(first_);
  remove(second_);
  list_.call(1, kAddress);
  EXPECT_THAT(calls_, ElementsAre(1));
}

TEST_F(ListenerListTest, AListenerMayAddAnother) {
  first_.action = [&] { add(second_); };
  add(first_);
  list_.call(1, kAddress);
  EXPECT_THAT(calls_, ElementsAre(1));
  list_.call(1, kAddress);
  EXPECT_THAT(calls_, ElementsAre(1, 1, 2));
}

TEST_F(ListenerListTest, RemovingWaitsUntilTheListenerHasReturned) {
  std::promise<void> entered;
  std::promise<void> mayReturn;
  bool returned = false;
  first_.action = [&] {
    entered.set_value();
    mayReturn.get_future().wait();
    returned = true;
  };
  add(first_);
  std::thread calling([&] { list_.call(1, kAddress); });
  entered.get_future().wait();
  auto removed = std::async(std::launch::async, [&] {
    remove(first_);
    return returned;
  });
  mayReturn.set_value();
  EXPECT_TRUE(removed.get());
  calling.join();
}

}  // namespace

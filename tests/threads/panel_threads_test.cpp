// SPDX-License-Identifier: MIT
// The panel's two threads at once: audio devices appear and leave on a real server, so that the
// device-list listener runs on the notification thread, while the main thread picks menu items.
// The thread sanitizer then reports data that they share without protection.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <span>
#include <thread>

#include "app/kv_controller.h"
#include "app/kv_panel_nib.h"
#include "app/panel_tables.h"
#include "io/audio_device.h"
#include "io/testing/scripted_interface.h"
#include "platform/audio_server/audio_server.h"
#include "platform/toolkit/recording/recording_toolkit.h"
#include "tests/audio_server/driver_node.h"
#include "tests/audio_server/graph_client.h"
#include "tests/support/pipewire_server.h"

namespace {

constexpr int kComingsAndGoings = 1000;
constexpr std::chrono::seconds kLimit{20};  // how long to wait for one change
constexpr RoutingRecords kRoutings{{{0, 0, 0}, {0, 1, 1}, {1, 0, 0}, {1, 1, 1}, {1, 2, 2}}};

// Counts that the threads share.
class Progress {
 public:
  void add(int Progress::*count) {
    const std::lock_guard lock(mutex_);
    ++(this->*count);
    changed_.notify_all();
  }
  // Waits until the condition holds; it is evaluated after each change.
  bool waitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kLimit, condition);
  }

  int changesHeard = 0;  // calls of the listener below, which runs after the panel's listener
  int rounds = 0;        // rounds of picks in all menus

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
};

OSStatus deviceListChanged(AudioObjectID, std::span<const AudioObjectPropertyAddress>,
                           void* progress) {
  static_cast<Progress*>(progress)->add(&Progress::changesHeard);
  return kAudioHardwareNoError;
}

std::size_t countDevices() {
  std::uint32_t size = 0;
  AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size);
  return size / sizeof(AudioObjectID);
}

// Adds the interface's audio device, waits until it was written to, and removes it. Returns the
// number of writes that reached it.
std::size_t comeAndGo(Progress& progress) {
  std::size_t writes = 0;
  {
    const pipewire_test::DriverNode node("VX-310", kRoutings);
    EXPECT_TRUE(progress.waitFor([] { return _halDevice != 0; }));
    // The present round of picks may have started before the device appeared.
    int whole = 0;
    EXPECT_TRUE(progress.waitFor([&] {
      if (whole == 0) whole = progress.rounds + 2;
      return progress.rounds >= whole;
    }));
    writes = node.written().size();
  }
  EXPECT_TRUE(progress.waitFor([] { return _halDevice == 0; }));
  return writes;
}

void comeAndGo(Progress& progress, pipewire_test::GraphClient& graph) {
  graph.addDevice(
      {{"node.name", "Other"}, {"node.description", "Other"}, {"media.class", "Audio/Sink"}});
  EXPECT_TRUE(progress.waitFor([] { return countDevices() == 1; }));
  graph.removeDevice("Other");
  EXPECT_TRUE(progress.waitFor([] { return countDevices() == 0; }));
}

void pickInEveryMenu(int number) {
  for (const PanelMenu& row : kPanelMenus) {
    recording_toolkit::control(row.menu.name).hidden = false;
    recording_toolkit::control(row.menu.name).enabled = true;
    const int index = number % 2;  // every menu has at least two items
    ASSERT_TRUE(recording_toolkit::pickItem(row.menu.name, index));
  }
  recording_toolkit::clearLog();
}

TEST(PanelThreads, MenuItemsArePickedWhileAudioDevicesAppearAndLeave) {
  test_support::PipeWireServer server;
  ASSERT_TRUE(server.start());
  ScriptedInterface interface;
  interface.publish();
  const std::unique_ptr<NSObject> owner = loadPanelNib(recording_toolkit::nib());
  owner->awakeFromNib();
  recording_toolkit::delegate()->applicationDidFinishLaunching();
  Progress progress;
  AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDeviceListAddress, deviceListChanged,
                                 &progress);

  std::atomic<bool> finished = false;
  std::size_t writes = 0;
  std::thread devices([&] {
    pipewire_test::GraphClient graph;
    for (int i = 0; i < kComingsAndGoings && !testing::Test::HasFailure(); ++i) {
      if (i % 10 == 0) {
        writes += comeAndGo(progress);
      } else {
        comeAndGo(progress, graph);
      }
    }
    finished = true;
  });
  for (int i = 0; !finished; ++i) {
    pickInEveryMenu(i);
    progress.add(&Progress::rounds);
  }
  devices.join();

  AudioObjectRemovePropertyListener(kAudioObjectSystemObject, kDeviceListAddress, deviceListChanged,
                                    &progress);
  EXPECT_GE(progress.changesHeard, kComingsAndGoings);
  EXPECT_GT(writes, 0u);
  recording_toolkit::delegate()->applicationWillTerminate();
}

}  // namespace

// SPDX-License-Identifier: MIT
// The panel's two threads at work at once: audio devices come and go on a real server, so that the
// device-list listener runs on the notification thread, while menus are picked on the main thread.
// Under the thread sanitizer this shows what they share without protection.
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
constexpr std::chrono::seconds kLimit{20};  // for one change to be seen; far above what it takes
constexpr RoutingRecords kRoutings{{{0, 0, 0}, {0, 1, 1}, {1, 0, 0}, {1, 1, 1}, {1, 2, 2}}};
constexpr AudioObjectPropertyAddress kDeviceList{kAudioHardwarePropertyDevices,
                                                 kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMaster};

// What the threads tell each other.
class Progress {
 public:
  void add(int Progress::*count) {
    const std::lock_guard lock(mutex_);
    ++(this->*count);
    changed_.notify_all();
  }
  // Waits until the condition holds; it is asked again after each change.
  bool waitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kLimit, condition);
  }

  int changesHeard = 0;  // calls of the listener below, which is called after the panel's
  int rounds = 0;        // of picks in all menus

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
  AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceList, &size);
  return size / sizeof(AudioObjectID);
}

// The interface's own device comes, is written to, and goes; how many writes reached it.
std::size_t comeAndGo(Progress& progress) {
  std::size_t writes = 0;
  {
    const pipewire_test::DriverNode node("VX-310", kRoutings);
    EXPECT_TRUE(progress.waitFor([] { return _halDevice != 0; }));
    // The round that is under way may have begun before the device came.
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
    const int index = number % static_cast<int>(row.items.size());
    ASSERT_TRUE(recording_toolkit::pickItem(row.menu.name, index));
  }
  recording_toolkit::clearLog();
}

TEST(PanelThreads, MenusArePickedWhileAudioDevicesComeAndGo) {
  test_support::PipeWireServer server;
  ASSERT_TRUE(server.start());
  ScriptedInterface interface;
  interface.publish();
  const std::unique_ptr<NSObject> owner = loadPanelNib(recording_toolkit::nib());
  owner->awakeFromNib();
  recording_toolkit::delegate()->applicationDidFinishLaunching();
  Progress progress;
  AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDeviceList, deviceListChanged,
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

  AudioObjectRemovePropertyListener(kAudioObjectSystemObject, kDeviceList, deviceListChanged,
                                    &progress);
  EXPECT_GE(progress.changesHeard, kComingsAndGoings);
  EXPECT_GT(writes, 0u);
  recording_toolkit::delegate()->applicationWillTerminate();
}

}  // namespace

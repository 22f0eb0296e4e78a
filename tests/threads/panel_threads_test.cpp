// The panel's two threads at work at once: audio devices come and go on a real server, so that the
// device-list listener runs on the notification thread, while menus are picked on the main thread.
// Under the thread sanitizer this shows what they share without protection.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "app/kv_controller.h"
#include "app/kv_panel_nib.h"
#include "io/testing/scripted_interface.h"
#include "platform/audio_server/contract_fixture.h"
#include "platform/toolkit/recording/recording_toolkit.h"

namespace {

constexpr int kComingsAndGoings = 1000;
constexpr audio_server_contract::Routings kRoutings{
    {{0, 0, 0}, {0, 1, 1}, {1, 0, 0}, {1, 1, 1}, {1, 2, 2}}};

void pick(const char* menu, std::int32_t item) {
  recording_toolkit::control(menu).hidden = false;
  recording_toolkit::control(menu).enabled = true;
  ASSERT_TRUE(recording_toolkit::pickItem(menu, item));
}

TEST(PanelThreads, MenusArePickedWhileAudioDevicesComeAndGo) {
  const auto server = audio_server_contract::makeServer();
  ScriptedInterface interface;
  interface.publish();
  const std::unique_ptr<NSObject> owner = loadPanelNib(recording_toolkit::nib());
  owner->awakeFromNib();
  recording_toolkit::delegate()->applicationDidFinishLaunching();

  std::atomic<bool> finished = false;
  std::thread devices([&] {
    for (int i = 0; i < kComingsAndGoings; ++i) {
      // The interface's own device among them, so that what is written to comes and goes too.
      if (i % 10 == 0) {
        server->addRoutingDevice("VX-310", kRoutings);
        server->removeDevice("VX-310");
      } else {
        server->addDevice("Other");
        server->removeDevice("Other");
      }
    }
    finished = true;
  });
  int picks = 0;
  for (; !finished; ++picks) {
    pick("KvIoROutLineMenu", picks % 5);
    pick("KvIoRInCh5And6Menu", picks % 4);
    pick("KvSampleClockSourceMenu", picks % 2);
    recording_toolkit::clearLog();
  }
  devices.join();
  EXPECT_GT(picks, 0);

  recording_toolkit::delegate()->applicationWillTerminate();
}

}  // namespace

// SPDX-License-Identifier: MIT
// The fixture of the tests in this folder: no interface connected and a panel that records its
// calls. The destructor checks that every handle was released.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io/audio_device.h"
#include "io/driver_events.h"
#include "io/korvel_dlg.h"
#include "io/testing/recording_panel.h"
#include "io/testing/scripted_interface.h"
#include "platform/audio_server/memory/memory_audio_server.h"
#include "platform/clock/memory/memory_clock.h"
#include "platform/device_registry/memory/memory_registry.h"
#include "platform/files/memory/memory_files.h"
#include "platform/preferences/memory/memory_preferences.h"
#include "platform/run_loop/manual/manual_run_loop.h"

class IoTest : public testing::Test {
 protected:
  IoTest() {
    memory_registry::reset();
    manual_run_loop::reset();
    memory_clock::reset();
    memory_audio_server::reset();
    memory_files::reset();
    memory_preferences::reset();
    _halDevice = 0;
    _ioShowClockSource = _ioShowDigitalStatus = _ioShowRoutingMenus = false;
    _ioShowDigOutMode = _ioShowUSB1Mode = false;
  }

  ~IoTest() override {
    IOTerm();
    EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
    EXPECT_EQ(manual_run_loop::sourceCount(), 0u);
  }

  // Calls IOInit with the interfaces that are published and discards the recorded calls.
  void start() {
    IOInit();
    panel.calls.clear();
  }

  // Delivers the pending notifications; returns the calls that they caused.
  std::vector<std::string> happened() {
    manual_run_loop::performAll();
    return std::exchange(panel.calls, {});
  }

  RecordingPanel panel;
  CKorvelDlg bridge{&panel};
  ScriptedInterface interface;
};

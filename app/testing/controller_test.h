// SPDX-License-Identifier: MIT
// The fixture of the tests in this folder: a controller with all outlets, no interface connected,
// and version 1.2.3 of the driver package.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/kv_controller.h"
#include "app/kv_panel_nib.h"
#include "io/audio_device.h"
#include "io/driver_events.h"
#include "io/testing/scripted_interface.h"
#include "platform/audio_server/memory/memory_audio_server.h"
#include "platform/clock/memory/memory_clock.h"
#include "platform/device_registry/memory/memory_registry.h"
#include "platform/files/memory/memory_files.h"
#include "platform/log/memory/memory_log.h"
#include "platform/preferences/memory/memory_preferences.h"
#include "platform/run_loop/manual/manual_run_loop.h"
#include "platform/toolkit/recording/recording_toolkit.h"

class ControllerTest : public testing::Test {
 protected:
  using Log = std::vector<std::string>;

  static constexpr const char* kDriverPackageInfo =
      "/System/Library/Extensions/VANTREL_VX310.kext/Contents/Info.plist";

  ControllerTest() {
    memory_registry::reset();
    manual_run_loop::reset();
    memory_clock::reset();
    memory_audio_server::reset();
    memory_files::reset();
    memory_preferences::reset();
    recording_toolkit::reset();
    memory_files::put(kDriverPackageInfo, CFDictionary{{"VQModuleVersionString", "1.2.3"}});
    _halDevice = 0;
  }

  // Makes the controller through loadPanelNib.
  void load() {
    owner = loadPanelNib(recording_toolkit::nib());
    controller = static_cast<KvController*>(owner.get());
  }

  // load(), then clears the log.
  void loadQuietly() {
    load();
    recording_toolkit::clearLog();
  }

  // Returns the operations since the last call, and clears the log.
  static Log operations() {
    Log log = recording_toolkit::log();
    recording_toolkit::clearLog();
    return log;
  }

  static recording_toolkit::Control& control(const char* name) {
    return recording_toolkit::control(name);
  }

  // The panel's choices on disk.
  static CFDictionary storedChoices() {
    return memory_preferences::storedValues(CFBundleGetIdentifier());
  }

  std::unique_ptr<NSObject> owner;
  KvController* controller = nullptr;  // the same object as `owner`
};

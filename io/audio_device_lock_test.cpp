// SPDX-License-Identifier: MIT
// A look-up of the audio device logs nothing while it holds its lock: a slow log would hold up the
// other thread. The log of this program finds out each time whether another thread gets the lock.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "io/audio_device.h"
#include "platform/audio_server/memory/memory_audio_server.h"
#include "platform/log/log.h"

namespace {

constexpr std::chrono::seconds kLimit{5};

int messages = 0;
bool everLocked = false;
std::vector<std::future<std::string>> askedInVain;  // these threads end once the lock is free

void note() {
  ++messages;
  auto name = std::async(std::launch::async, halDeviceName);
  if (name.wait_for(kLimit) == std::future_status::ready) return;
  everLocked = true;
  askedInVain.push_back(std::move(name));
}

}  // namespace

namespace platform {

void syslog(LogPriority, const char*, ...) { note(); }
void printOutput(const char*, ...) { note(); }
void printError(const char*, ...) { note(); }

}  // namespace platform

namespace {

TEST(AudioDeviceLock, IsFreeWhileALookUpIsLogged) {
  memory_audio_server::addDevice("VX-310");
  setHalDeviceName("VX-310");
  EXPECT_NE(findHalDevice(), 0u);
  EXPECT_GE(messages, 2);
  EXPECT_FALSE(everLocked);
}

TEST(AudioDeviceLock, IsFreeWhileAFailedLookUpIsLogged) {
  messages = 0;
  memory_audio_server::failNext(memory_audio_server::Operation::kGetSize, kAudioObjectSystemObject,
                                kAudioHardwarePropertyDevices, -66);
  EXPECT_EQ(findHalDevice(), 0u);
  EXPECT_GE(messages, 1);
  EXPECT_FALSE(everLocked);
}

}  // namespace

// SPDX-License-Identifier: MIT
#include "platform/session_bus/session_bus.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using session_bus::sessionBusSocketPath;

std::string pathIn(const char* address) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
  return sessionBusSocketPath();
}

TEST(SessionBusSocket, ThePathIsThatOfTheAddress) {
  EXPECT_EQ(pathIn("unix:path=/run/user/1/bus"), "/run/user/1/bus");
  EXPECT_EQ(pathIn("unix:path=/run/user/1/bus,guid=0123"), "/run/user/1/bus");
}

TEST(SessionBusSocket, TheFirstAddressWithAPathCounts) {
  EXPECT_EQ(pathIn("tcp:host=localhost,port=1;unix:path=/a;unix:path=/b"), "/a");
}

TEST(SessionBusSocket, EscapedBytesAreRead) {
  EXPECT_EQ(pathIn("unix:path=/a%20folder%2Cb/bus%"), "/a folder,b/bus%");
}

TEST(SessionBusSocket, AnAbstractSocketHasNoPath) {
  EXPECT_EQ(pathIn("unix:abstract=/tmp/bus"), "");
}

TEST(SessionBusSocket, WithoutAnAddressItIsInTheRuntimeFolder) {
  ::setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  EXPECT_EQ(pathIn(""), "/run/user/1/bus");
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  EXPECT_EQ(sessionBusSocketPath(), "/run/user/1/bus");
  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(sessionBusSocketPath(), "");
}

}  // namespace

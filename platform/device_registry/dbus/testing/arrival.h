// SPDX-License-Identifier: MIT
// For tests: waits until the registry has received what a driver sent.
#pragma once

#include <functional>

#include "platform/device_registry/dbus/testing/scripted_driver.h"
#include "platform/run_loop/run_loop.h"

// How long a test waits for an event before it fails.
inline constexpr int kArrivalLimitMs = 5000;

// Performs `source` whenever it is ready, until `done`; false after kArrivalLimitMs.
bool performUntil(CFRunLoopSource& source, const std::function<bool()>& done);

// Returns when the registry has received everything that `driver`, the owner of the name, has sent;
// false after kArrivalLimitMs. Performs no callback of the test.
bool arriveFrom(scripted_driver::DriverThread& driver);

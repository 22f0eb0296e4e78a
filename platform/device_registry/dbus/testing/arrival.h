// SPDX-License-Identifier: MIT
// Waiting, in tests, until what a driver sent has come as far as the registry.
#pragma once

#include <functional>

#include "platform/device_registry/dbus/testing/scripted_driver.h"
#include "platform/run_loop/run_loop.h"

// How long a test waits for what has to come.
inline constexpr int kArrivalLimitMs = 5000;

// Performs `source` whenever it is ready until `done`; false when that takes too long.
bool performUntil(CFRunLoopSource& source, const std::function<bool()>& done);

// Returns when the registry has taken in all that `driver`, the owner of the name, has sent so far;
// false when that takes too long. Performs no callbacks but its own.
bool arriveFrom(scripted_driver::DriverThread& driver);

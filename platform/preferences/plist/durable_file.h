// SPDX-License-Identifier: MIT
// A durable new file and a lock between processes, for preferences_file.cpp. On failure both
// functions return an empty descriptor and leave the reason in errno.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "platform/posix/posix.h"

// Writes and fsyncs a new file, replacing an existing one. On failure no file is left.
FileDescriptor writeNewFile(const std::string& path, std::string_view bytes);

// Takes an exclusive flock() on the file, which is created when missing and never removed. Fails
// after `limit`. Closing the descriptor, or the end of the process, releases the lock.
FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds limit);

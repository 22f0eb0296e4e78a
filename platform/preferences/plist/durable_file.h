// SPDX-License-Identifier: MIT
// What the property-list files need of the file system: a durable file to put in another's place,
// and a lock between processes. Both functions leave errno as the reason of a failure.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "platform/posix/posix.h"

// A new file that holds `bytes`, all of them on the disk, in place of one that is there. None, and
// no file, when that fails.
FileDescriptor writeNewFile(const std::string& path, std::string_view bytes);

// The exclusive lock that a file of that name stands for; none when it is not had within `limit`.
// The lock goes with the descriptor, thus also with a process that dies. The file stays.
FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds limit);

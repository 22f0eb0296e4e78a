// SPDX-License-Identifier: MIT
// What a process holds open, as the system tells it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

namespace test_support {

// How many of the process's descriptors are this, for example "anon_inode:inotify".
std::size_t countOpenFiles(pid_t process, std::string_view target);

}  // namespace test_support

// SPDX-License-Identifier: MIT
// The open files of a process, from /proc.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

namespace test_support {

// How many descriptors of `process` refer to `target`, for example "anon_inode:inotify".
std::size_t countOpenFiles(pid_t process, std::string_view target);

}  // namespace test_support

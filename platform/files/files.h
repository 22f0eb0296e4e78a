// SPDX-License-Identifier: MIT
// Files seam: files outside the preferences that the program reads.
//
// Paths are absolute paths of the described system, such as "/System/Library/Extensions/…". Where
// they lie on this machine is the back end's business.
//
// Back ends: posix/ (below a system root, which lies beside the programs unless the environment
// variable VX310_SYSTEM_ROOT names another; the Preferences folder is that of the preferences),
// memory/ (files given by tests). Main thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/values/values.h"

// The property list at `path`, which must hold a dictionary. Nothing when the file is missing,
// cannot be read, is larger than 16 MiB, is no property list or holds anything but a dictionary.
std::optional<CFDictionary> dictionaryWithContentsOfFile(std::string_view path);

// --- Forks: files as streams of bytes ---

// Whether and why an operation failed. Where nothing else is said, a failed operation leaves its
// out-arguments alone.
using OSStatus = std::int32_t;
inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus ioErr = -36;     // also what no other number stands for
inline constexpr OSStatus bdNamErr = -37;  // no name a file can have
inline constexpr OSStatus eofErr = -39;    // fewer bytes than asked for were left
inline constexpr OSStatus tmfoErr = -42;   // too many open files
inline constexpr OSStatus fnfErr = -43;    // no such file or folder
inline constexpr OSStatus wPrErr = -44;    // the disk cannot be written
inline constexpr OSStatus dupFNErr = -48;  // there is one already
inline constexpr OSStatus permErr = -54;   // not allowed
inline constexpr OSStatus errFSForkNotFound = -1409;

inline constexpr std::int16_t kOnSystemDisk = -32768;
inline constexpr std::uint32_t kPreferencesFolderType = 0x70726566;  // 'pref'

inline constexpr std::int8_t fsRdPerm = 1;
inline constexpr std::int8_t fsRdWrPerm = 2;

// A file or folder. The path is the back end's own; an empty one is none, which is not found.
struct FSRef {
  std::string path;
};

// An open fork, never negative. Whoever opened it closes it.
using FSForkRef = std::int16_t;

// The Preferences folder of the system disk; fnfErr for any other, or when the user has none. It is
// found also before anything is in it, and then `create` makes it.
OSStatus FSFindFolder(std::int16_t domain, std::uint32_t type, bool create, FSRef& folder);

// The file `name`, UTF-8 of 1 to 255 bytes without '/' and NUL, in `folder`; fnfErr when there is
// none.
OSStatus FSMakeFSRefUnicode(const FSRef& folder, std::string_view name, FSRef& file);

// Makes an empty file, and the folder if need be. dupFNErr when the name is taken.
OSStatus FSCreateFileUnicode(const FSRef& folder, std::string_view name, FSRef& file);

// The name of the fork that holds a file's bytes: the empty one. Files here have no other.
OSStatus FSGetDataForkName(std::string& name);

// Opens for one of the permissions. Folders, pipes and the like cannot be opened: ioErr.
OSStatus FSOpenFork(const FSRef& file, std::string_view forkName, std::int8_t permission,
                    FSForkRef& fork);

// Reads on behind what was read last, as many bytes as are asked for and left. `count` is always
// set to how many arrived; with fewer than asked for the result is eofErr or the failure.
OSStatus FSReadFork(FSForkRef fork, std::span<char> to, std::size_t& count);

OSStatus FSCloseFork(FSForkRef fork);

// SPDX-License-Identifier: MIT
// Files seam: files outside the preferences that the program reads.
//
// Paths are absolute paths of the system that the driver package describes, such as
// "/System/Library/Extensions/…". The back end maps them to this machine. Main thread only.
//
// Back ends: posix/ (below a system root, which is beside the programs unless the environment
// variable VX310_SYSTEM_ROOT names another; the Preferences folder is the folder of the
// preferences' files), memory/ (for tests).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/values/values.h"

// The dictionary in the property list at `path`; nullopt when the file is missing, cannot be read,
// is larger than 16 MiB or is no property list of a dictionary.
std::optional<CFDictionary> dictionaryWithContentsOfFile(std::string_view path);

// --- Forks: files as streams of bytes ---

// The result of an operation. A failed operation leaves its out-arguments untouched, except `count`
// of FSReadFork.
using OSStatus = std::int32_t;
inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus ioErr = -36;     // any other failure
inline constexpr OSStatus bdNamErr = -37;  // not a valid file name
inline constexpr OSStatus eofErr = -39;    // the end of the file came before all bytes
inline constexpr OSStatus tmfoErr = -42;   // too many open files
inline constexpr OSStatus fnfErr = -43;    // no such file or folder
inline constexpr OSStatus wPrErr = -44;    // the disk is read-only
inline constexpr OSStatus dupFNErr = -48;  // the file exists
inline constexpr OSStatus permErr = -54;   // permission denied
inline constexpr OSStatus errFSForkNotFound = -1409;

inline constexpr std::int16_t kOnSystemDisk = -32768;
inline constexpr std::uint32_t kPreferencesFolderType = 0x70726566;  // 'pref'

inline constexpr std::int8_t fsRdPerm = 1;
inline constexpr std::int8_t fsRdWrPerm = 2;

// A file or folder. `path` is back-end specific. An empty path names no file: operations on it
// return fnfErr.
struct FSRef {
  std::string path;
};

// An open fork, never negative. The caller who opened it closes it.
using FSForkRef = std::int16_t;

// Finds the Preferences folder of the system disk; fnfErr for another disk or type, or when the
// user has no home. Succeeds for a folder that does not exist; `create` creates it.
OSStatus FSFindFolder(std::int16_t domain, std::uint32_t type, bool create, FSRef& folder);

// Finds the file `name`, UTF-8 of 1 to 255 bytes without '/' and NUL, in `folder`; fnfErr when it
// is missing.
OSStatus FSMakeFSRefUnicode(const FSRef& folder, std::string_view name, FSRef& file);

// Creates an empty file, and the folder when it is missing. dupFNErr when the file exists.
OSStatus FSCreateFileUnicode(const FSRef& folder, std::string_view name, FSRef& file);

// Returns the name of the fork that holds a file's bytes: the empty name. Files have no other fork.
OSStatus FSGetDataForkName(std::string& name);

// Opens a fork with permission fsRdPerm or fsRdWrPerm. ioErr for anything but a regular file.
OSStatus FSOpenFork(const FSRef& file, std::string_view forkName, std::int8_t permission,
                    FSForkRef& fork);

// Reads up to to.size() bytes from the position after the last read. `count` is always set to the
// number of bytes read; when it is less than to.size(), the result is eofErr or the failure.
OSStatus FSReadFork(FSForkRef fork, std::span<char> to, std::size_t& count);

OSStatus FSCloseFork(FSForkRef fork);

// SPDX-License-Identifier: MIT
// One identifier's values and the property-list file that keeps them between processes.
//
// The file is always a whole one: it is written under another name and put in place by a rename,
// one process at a time. Every process keeps apart what it read there and what it set, and only the
// latter goes into what the file holds when it is written. Main thread only.
#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/preferences/plist/durable_file.h"
#include "platform/values/values.h"

// The values in a preferences file's bytes; nothing when they are no property list or hold anything
// but a dictionary. And the bytes of values; nothing when that would not give them again.
std::optional<CFDictionary> parsePreferences(std::string_view bytes);
std::optional<std::string> writtenPreferences(const CFDictionary& values);

class PreferencesFile {
 public:
  // A file larger than this is not read, and none is written. In bytes.
  static constexpr std::size_t kLargest = std::size_t{256} << 20;

  // The file `name` in `folder`, an absolute path; beside it "NAME.lock", "NAME.new" while it is
  // written, and "NAME.damaged-1" and so on, which are files of that name that were no good. An
  // empty folder is none: nothing is ever read or stored.
  PreferencesFile(std::string folder, std::string_view name);

  // See CFPreferencesCopyAppValue and the functions after it.
  std::optional<CFValue> copy(std::string_view key);
  void set(std::string_view key, std::optional<CFValue> value);
  bool synchronize();

 private:
  enum class Taken { kDone, kDamaged, kFailed };

  bool isAsRead() const;
  bool isOnDisk() const;
  Taken take();
  bool takeIn(const FileDescriptor& lock);
  FileDescriptor takeLock();
  bool setAside();
  bool store();
  bool put(CFDictionary values);
  bool makeDurable();
  bool failed(const char* what);

  const std::string folder_;
  const std::string path_;

  // What was in the file when it was last read or written and was a good one.
  CFDictionary stored_;
  // That file, kept open: while it is, no other can get its number. None when there was no file.
  FileDescriptor file_;
  struct stat status_ = {};
  bool isDurable_ = false;  // known to be on the disk, its name too

  // What was set here since the last synchronise; nothing for a key to remove.
  std::map<std::string, std::optional<CFValue>, std::less<>> changes_;

  bool wasRead_ = false;
  bool hasComplained_ = false;
};

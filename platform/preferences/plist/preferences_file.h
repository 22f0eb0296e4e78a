// SPDX-License-Identifier: MIT
// One identifier's values and the property-list file that keeps them between processes.
//
// Readers never see a half-written file: a process writes a temporary file under a lock and renames
// it. Each process keeps the values it read apart from the values it set; a write re-reads the file
// and replaces only the keys that were set here. Main thread only.
#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/posix.h"
#include "platform/values/values.h"

// Parses a preferences file; nullopt when parsePropertyList() refuses it or it holds no dictionary.
std::optional<CFDictionary> parsePreferences(std::string_view bytes);

// Writes `values` as an XML property list; nullopt when the file could not be read back.
std::optional<std::string> writtenPreferences(const CFDictionary& values);

class PreferencesFile {
 public:
  // The file `name` in `folder`, an absolute path. Beside it stand "NAME.lock", "NAME.new" during a
  // write, and "NAME.damaged-1" and so on, files that could not be parsed. If `name` is a symbolic
  // link, it stays, and all but the lock stand beside the file that it leads to. With an empty
  // folder nothing is ever read or stored.
  PreferencesFile(std::string folder, std::string_view name);

  // As CFPreferencesCopyAppValue, CFPreferencesSetAppValue and CFPreferencesAppSynchronize.
  std::optional<CFValue> copy(std::string_view key);
  void set(std::string_view key, std::optional<CFValue> value);
  bool synchronize();

  // Synchronises once more if the last synchronise failed.
  void retry();

 private:
  enum class ReadResult { kDone, kDamaged, kTooLarge, kFailed };

  bool isUnchanged() const;
  bool isOnDisk() const;
  ReadResult read();
  bool update(const FileDescriptor& lock);
  FileDescriptor takeLock();
  bool setAside(const char* what);
  bool store();
  bool put(CFDictionary values);
  bool makeDurable();
  bool failed(const char* what);

  const std::string folder_;
  const std::string path_;

  // The values of the file when it was last parsed or written.
  CFDictionary stored_;
  // Descriptor of the file last read or written, empty when there was no file; kept open so that
  // its inode number is not reused.
  FileDescriptor file_;
  struct stat status_ = {};
  bool isDurable_ = false;  // both the file and its folder entry are known to be synced

  // Values set since the last synchronise; nullopt removes the key.
  std::map<std::string, std::optional<CFValue>, std::less<>> changes_;

  bool wasRead_ = false;
  bool hasFailed_ = false;  // the last synchronise
  bool hasComplained_ = false;
};

// SPDX-License-Identifier: MIT
// The stores, what the panel is installed with, and versions.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "io/menu_items.h"
#include "platform/command_line/command_line.h"
#include "platform/files/files.h"
#include "platform/posix/posix.h"
#include "platform/preferences/preferences.h"
#include "platform/property_list/property_list.h"
#include "platform/session_bus/session_bus.h"
#include "settings/osx_asio_registry.h"
#include "tools/doctor.h"
#include "tools/preset.h"
#include "tools/preset_file.h"

namespace vx310ctl {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFolderCheck = "settings_folder";
constexpr const char* kUndoCheck = "undo";
constexpr const char* kResourcesCheck = "panel_resources";
constexpr const char* kVersionsCheck = "versions";

std::string reason() { return std::strerror(errno); }

// --- The stores ---

// The folder itself, or the one above it in which it would be made.
fs::path existingFolder(fs::path folder) {
  std::error_code error;
  // A link to nothing is in the way as a file is.
  while (!fs::exists(fs::symlink_status(folder, error)) && folder.has_relative_path()) {
    folder = folder.parent_path();
  }
  return folder;
}

// The user's own group, which a umask of 002 lets write, counts as the user.
bool isWritableByOthers(const struct stat& status) {
  const mode_t bits = status.st_gid == ::getgid() ? S_IWOTH : S_IWGRP | S_IWOTH;
  return (status.st_mode & bits) != 0;
}

// The folder of the settings, or one of both above it, up to the one of all programs' settings, in
// which others can replace what stands there; empty when there is none.
fs::path folderWritableByOthers(const fs::path& folder) {
  const fs::path parent = folder.parent_path();
  for (const fs::path& path : {folder, parent, parent.parent_path()}) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && isWritableByOthers(status)) return path;
  }
  return {};
}

// Returns whether the folder is there.
bool checkFolder(Diagnosis& diagnosis, const std::string& folder) {
  if (folder.empty()) {
    diagnosis.fault(kFolderCheck, "neither XDG_CONFIG_HOME nor HOME names an absolute path",
                    "set HOME; choices are lost at the end of the panel");
    return false;
  }
  const fs::path existing = existingFolder(folder);
  const std::string name = diagnosis.path(existing);
  struct stat status {};
  if (::stat(existing.c_str(), &status) != 0) {
    diagnosis.fault(kFolderCheck, name + " is a link that leads nowhere: " + reason(),
                    "make the folder that it names, or remove the link; choices are not stored");
    return false;
  }
  if (!S_ISDIR(status.st_mode)) {
    diagnosis.fault(kFolderCheck, name + " is no folder",
                    "move that file away; choices are not stored");
    return false;
  }
  if (::access(existing.c_str(), W_OK | X_OK) != 0) {
    diagnosis.fault(kFolderCheck, name + " cannot be written: " + reason(),
                    "make it writable for you; choices are not stored");
  } else if (status.st_uid != ::getuid()) {
    diagnosis.warn(kFolderCheck, name + " belongs to user " + diagnosis.person(status.st_uid),
                   "give it to the user who opens the panel");
  } else if (const fs::path open = folderWritableByOthers(folder); !open.empty()) {
    diagnosis.warn(kFolderCheck, diagnosis.path(open) + " can be written by others",
                   "run chmod go-w on it");
  } else {
    diagnosis.ok(kFolderCheck, existing == folder ? name + " can be written"
                                                  : "is made in " + name + " when it is needed");
  }
  return existing == folder;
}

// Whether the lock is held by another process for longer than the programs wait for it.
bool isLocked(const std::string& path) {
  const FileDescriptor lock(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!lock) return false;
  const session_bus::Deadline deadline(kPreferencesLockLimitMs);
  while (::flock(lock.get(), LOCK_SH | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK || deadline.hasPassed()) return errno == EWOULDBLOCK;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // flock() has no limit of its own
  }
  return false;
}

// What is wrong with the file's content; empty when nothing is.
std::string problemOfStore(const FileDescriptor& file, const char* version) {
  const auto bytes = readWhole(file, kLargestPreferences);
  if (!bytes) return errno == EFBIG ? "is too large" : "cannot be read: " + reason();
  const auto list = parsePropertyList(*bytes);
  const auto* values = list ? list->as<CFDictionary>() : nullptr;
  if (!values) return "is damaged";
  const auto* stored = CFDictionaryGet<std::string>(*values, "Version");
  return stored && *stored == version ? "" : "has another version than " + std::string(version);
}

struct Store {
  const char* check;
  std::string identifier;
  const char* version;
};

void checkStore(Diagnosis& diagnosis, const std::string& folder, const Store& store) {
  const std::string path = folder + "/" + store.identifier + ".plist";
  if (isLocked(path + ".lock")) {
    diagnosis.fault(store.check, "another process holds the lock " + diagnosis.path(path + ".lock"),
                    "end the process that 'fuser' names for that file");
    return;
  }
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno == ENOENT) {
    diagnosis.ok(store.check, "nothing is stored yet");
    return;
  }
  if (!file) {
    diagnosis.fault(store.check, diagnosis.path(path) + " cannot be read: " + reason(),
                    "make it readable for you");
    return;
  }
  const std::string problem = problemOfStore(file, store.version);
  struct stat status {};
  if (!problem.empty()) {
    diagnosis.fault(store.check, diagnosis.path(path) + " " + problem,
                    "the panel keeps a damaged file aside and begins with the defaults, as it does "
                    "with another version; keep a copy if you want it back");
  } else if (::access((path + ".damaged-1").c_str(), F_OK) == 0) {
    diagnosis.warn(store.check, "a damaged file was kept as " + diagnosis.path(path + ".damaged-1"),
                   "look at it, then remove it");
  } else if (::fstat(file.get(), &status) == 0 && isWritableByOthers(status)) {
    diagnosis.warn(store.check, diagnosis.path(path) + " can be written by others",
                   "run chmod go-w on it");
  } else {
    diagnosis.ok(store.check, "are stored in " + diagnosis.path(path));
  }
}

// Reports only an undo that cannot be restored.
void checkUndo(Diagnosis& diagnosis) {
  const std::string path = undoFile();
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno == ENOENT) return;
  const auto text = file ? readWhole(file, kLargestPreset) : std::nullopt;
  std::string problem;
  if (!text) {
    problem = "cannot be read: " + reason();
  } else {
    parsePreset(*text, &problem);
  }
  if (problem.empty()) return;
  diagnosis.warn(kUndoCheck, diagnosis.path(path) + " " + problem,
                 "remove it; the last restore cannot be undone");
}

// --- The installation ---

std::string programFolder() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error).parent_path();
}

std::string driverPackageVersion() {
  const auto info = dictionaryWithContentsOfFile(
      "/System/Library/Extensions/VANTREL_VX310.kext/Contents/Info.plist");
  const auto* version =
      info ? CFDictionaryGet<std::string>(*info, "VQModuleVersionString") : nullptr;
  return version ? *version : "";
}

// The panel and the driver service may be packages of their own.
void checkResources(Diagnosis& diagnosis) {
  const std::string programs = programFolder();
  for (const char* program : {"vx310-panel", "vx310-driver"}) {
    if (::access((programs + "/" + program).c_str(), X_OK) == 0) continue;
    diagnosis.warn(kResourcesCheck, std::string(program) + " is not in " + diagnosis.path(programs),
                   "install it, if it is not elsewhere");
    return;
  }
  const std::string folder =
      fs::path(programs + "/../share/vx310-panel/Contents/Resources").lexically_normal();
  for (const char* name : {"None.bmp", "VX-310.png", "StripTexture.png",
                           "VANTREL VX-310 Control Panel Help.html", "pictures/panel.png"}) {
    if (::access((folder + "/" + name).c_str(), R_OK) == 0) continue;
    diagnosis.fault(kResourcesCheck,
                    std::string(name) + ": " + reason() + " in " + diagnosis.path(folder),
                    "install the panel again");
    return;
  }
  diagnosis.ok(kResourcesCheck, "programs, pictures and help page are in place");
}

void checkVersions(Diagnosis& diagnosis) {
  const std::string package = driverPackageVersion();
  const std::string tool = std::string("vx310ctl ") + programVersion();
  if (package.empty()) {
    diagnosis.warn(kVersionsCheck, tool + "; the driver package is missing",
                   "install the driver again; without an interface the panel shows no version");
  } else {
    diagnosis.ok(kVersionsCheck, tool + ", driver package " + package);
  }
}

}  // namespace

void checkStores(Diagnosis& diagnosis) {
  const std::string folder = preferencesFolder();
  if (!checkFolder(diagnosis, folder)) return;
  checkStore(diagnosis, folder, {"panel_choices", CFBundleGetIdentifier(), kChoicesVersion});
  checkStore(diagnosis, folder,
             {"driver_settings", std::string(DEVICE_HAL_DOMAIN), kSettingsVersion});
  checkUndo(diagnosis);
}

void checkInstallation(Diagnosis& diagnosis) {
  checkResources(diagnosis);
  checkVersions(diagnosis);
}

}  // namespace vx310ctl

// SPDX-License-Identifier: MIT
// `vx310ctl save`, `diff` and `restore`.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>

#include "io/audio_device.h"
#include "io/menu_items.h"
#include "platform/posix/posix.h"
#include "platform/preferences/preferences.h"
#include "protocol/words.h"
#include "settings/osx_asio_registry.h"
#include "tools/choices.h"
#include "tools/commands.h"
#include "tools/current_interface.h"
#include "tools/preset.h"
#include "tools/preset_file.h"

namespace vx310ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kVersionKey = "Version";
// Choices of menus that this interface does not show.
constexpr const char* kOtherKeys[] = {"AudioPerformance", "USB11Mode"};

// The settings of the panel's interface; nullopt with an explanation on standard error when it does
// not report all of them.
std::optional<Items> readValues() {
  Items values;
  for (const Choice& choice : choices()) {
    values[&choice] = currentValue(choice);
    if (values[&choice] != kNoAnswer) continue;
    std::fprintf(stderr, "vx310ctl: the interface does not report its %s\n",
                 std::string(choice.name).c_str());
    return std::nullopt;
  }
  return values;
}

// Removes the values that no preset can hold, since only other programs choose them. Explains each
// on standard error; returns whether there was none.
bool keepItems(Items& values) {
  const auto isNoItem = [](const auto& value) {
    const auto& [choice, number] = value;
    if (wordOf(choice->items, number)) return false;
    std::fprintf(stderr, "vx310ctl: %s is %s, which no preset can hold\n",
                 std::string(choice->name).c_str(), itemText(*choice, number).c_str());
    return true;
  };
  return std::erase_if(values, isNoItem) == 0;
}

// Those of `wanted` that are others in `now`.
Items differencesOf(const Items& now, const Items& wanted) {
  Items differences;
  for (const auto& [choice, item] : wanted) {
    if (now.at(choice) != item) differences[choice] = item;
  }
  return differences;
}

void printDifferences(const Items& now, const Items& differences) {
  for (const Choice& choice : choices()) {
    const auto wanted = differences.find(&choice);
    if (wanted == differences.end()) continue;
    const std::string text =
        itemText(choice, now.at(&choice)) + " -> " + itemText(choice, wanted->second);
    std::fputs(lineOf(choice.name, text).c_str(), stdout);
  }
}

// --- The panel's choices ---

// Choices of another version are replaced, as the panel replaces them; said on standard error.
bool hasChoices() {
  const auto version = CFPreferencesCopyAppValue(kVersionKey, CFBundleGetIdentifier());
  const auto* text = version ? version->as<std::string>() : nullptr;
  if (text && *text == kChoicesVersion) return true;
  if (text) {
    std::fprintf(stderr, "vx310ctl: the panel's choices were of version %s; they are replaced\n",
                 printable(*text).c_str());
  }
  return false;
}

// Says on standard error which of the stores' files were kept aside as damaged meanwhile.
class DamagedStores {
 public:
  DamagedStores() {
    for (const std::string& name : {CFBundleGetIdentifier(), std::string(DEVICE_HAL_DOMAIN)}) {
      const std::string path = preferencesFolder() + "/" + name + ".plist";
      former_[path] = nextDamaged(path);
    }
  }
  ~DamagedStores() {
    for (const auto& [path, former] : former_) {
      const std::string kept = nextDamaged(path);
      if (kept == former) continue;
      std::fprintf(stderr, "vx310ctl: %s was damaged; it is kept as %s\n", printable(path).c_str(),
                   printable(former).c_str());
    }
  }
  DamagedStores(const DamagedStores&) = delete;
  DamagedStores& operator=(const DamagedStores&) = delete;

 private:
  // The name under which the next damaged file is kept.
  static std::string nextDamaged(const std::string& path) {
    int number = 1;
    const auto name = [&] { return path + ".damaged-" + std::to_string(number); };
    while (::access(name().c_str(), F_OK) == 0) ++number;
    return name();
  }

  std::map<std::string, std::string> former_;
};

// Stores the items as the user's choices, as a pick in the panel does. Without stored choices, also
// what the interface has otherwise; the default for what no menu has.
bool storeChoices(const Items& items, const Items& now) {
  const std::string panel = CFBundleGetIdentifier();
  const bool isFirst = !hasChoices();
  for (const Choice& choice : choices()) {
    const auto item = items.find(&choice);
    if (item != items.end()) {
      CFPreferencesSetAppValue(choice.key, item->second, panel);
    } else if (isFirst) {
      const std::int32_t value = now.at(&choice);
      CFPreferencesSetAppValue(choice.key, wordOf(choice.items, value) ? value : choice.defaultItem,
                               panel);
    }
  }
  if (isFirst) {
    for (const char* key : kOtherKeys) CFPreferencesSetAppValue(key, 0, panel);
    CFPreferencesSetAppValue(kVersionKey, kChoicesVersion, panel);
  }
  return CFPreferencesAppSynchronize(panel);
}

// --- Restoring ---

// nullopt with an explanation on standard error.
std::optional<Items> readPreset(const std::string& file) {
  const auto text = readFile(file);
  if (!text) return std::nullopt;
  std::string problem;
  auto items = parsePreset(*text, &problem);
  if (!items) explainFile(file, problem);
  return items;
}

// Sets the items. Says of each that the interface did not take; returns whether it took all.
bool setItems(const Items& items) {
  bool isTaken = true;
  for (const Choice& choice : choices()) {
    const auto item = items.find(&choice);
    if (item == items.end()) continue;
    choice.command(item->second);
    const std::int32_t now = currentValue(choice);
    if (now == item->second) continue;
    isTaken = false;
    std::fprintf(stderr, "vx310ctl: the interface did not take %s %s; it is %s\n",
                 std::string(choice.name).c_str(), itemText(choice, item->second).c_str(),
                 itemText(choice, now).c_str());
  }
  if (!isTaken && _halDevice == 0) explainAudioDevice();
  return isTaken;
}

bool storeDriverSettings() { return CFPreferencesAppSynchronize(DEVICE_HAL_DOMAIN); }

// Keeps other restores away until it is closed, which would mix with this one. Empty with an
// explanation on standard error.
FileDescriptor lockRestores() {
  if (!makeFolder(preferencesFolder())) {
    std::fprintf(stderr, "vx310ctl: the settings folder cannot be made: %s\n",
                 std::strerror(errno));
    return {};
  }
  FileDescriptor lock = lockFile(undoFile() + ".lock", std::chrono::milliseconds(0));
  if (!lock) {
    const std::string reason =
        errno == EWOULDBLOCK ? "another restore is running" : std::strerror(errno);
    explainFile(undoFile(), "cannot be locked: " + reason);
  }
  return lock;
}

// The undo of the restore that is to begin, before it takes the former one's place.
std::string newUndoFile() { return undoFile() + ".new"; }

// What undoes a restore of `wanted`, as far as a preset can hold it.
Items undoOf(const Items& now, const Items& wanted) {
  Items former;
  for (const auto& [choice, item] : wanted) former[choice] = now.at(choice);
  keepItems(former);
  return former;
}

// False with an explanation on standard error.
bool writeNewUndo(const Items& undo) {
  const std::string file = undoFile();
  struct stat status {};
  if (::stat(file.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    explainFile(file, std::string("cannot be written: ") + std::strerror(EISDIR));
    return false;
  }
  return undo.empty() || writeFile(newUndoFile(), presetText(undo), S_IRUSR | S_IWUSR);
}

// Puts the new undo in the former one's place. A restore of which nothing can be undone ends the
// undo of the one before. False with an explanation on standard error.
bool putNewUndo(const Items& undo) {
  const std::string file = undoFile();
  const bool isPut = undo.empty() ? ::unlink(file.c_str()) == 0 || errno == ENOENT
                                  : ::rename(newUndoFile().c_str(), file.c_str()) == 0;
  if (!isPut) {
    explainFile(file, std::string("cannot be replaced: ") + std::strerror(errno));
    return false;
  }
  syncFolder(preferencesFolder());
  return true;
}

ExitStatus refuseWithoutUndo() {
  std::fputs("vx310ctl: nothing was changed, as it could not be undone\n", stderr);
  return kFailed;
}

// Restores the items, under the lock; `keepUndo` is false for an undo.
ExitStatus restore(const Items& wanted, bool keepUndo) {
  const DamagedStores damagedStores;
  CurrentInterface interface;
  if (const ExitStatus status = interface.status(); status != kDone) return status;
  const auto now = readValues();
  if (!now) return kFailed;
  const Items differences = differencesOf(*now, wanted);
  // One that changes nothing leaves what the one before has changed to be undone.
  const bool isUndoNew = keepUndo && !differences.empty();
  const Items undo = isUndoNew ? undoOf(*now, wanted) : Items();
  if (isUndoNew && !writeNewUndo(undo)) return refuseWithoutUndo();
  // What is to be changed is said before it is changed.
  printDifferences(*now, differences);
  if (std::fflush(stdout) != 0) {
    ::unlink(newUndoFile().c_str());
    return kFailed;
  }
  if (isUndoNew && !putNewUndo(undo)) return refuseWithoutUndo();
  const bool isTaken = setItems(differences);
  const bool isStored = storeChoices(wanted, *now);
  if (!isStored) {
    std::fputs("vx310ctl: the settings could not be stored as the panel's choices\n", stderr);
  }
  const bool isKept = storeDriverSettings();
  if (!isKept) {
    std::fputs("vx310ctl: the settings could not be stored for the driver's next start\n", stderr);
  }
  return isTaken && isStored && isKept ? kDone : kFailed;
}

}  // namespace

ExitStatus runSave(const std::string& file) {
  CurrentInterface interface;
  if (const ExitStatus status = interface.status(); status != kDone) return status;
  auto items = readValues();
  return items && keepItems(*items) && writeFile(file, presetText(*items)) ? kDone : kFailed;
}

ExitStatus runDiff(bool json, const std::string& file) {
  const auto wanted = readPreset(file);
  if (!wanted) return kFailed;
  CurrentInterface interface;
  if (const ExitStatus status = interface.status(); status != kDone) return status;
  const auto now = readValues();
  if (!now) return kFailed;
  const Items differences = differencesOf(*now, *wanted);
  if (json) {
    Json list = Json::object();
    for (const auto& [choice, item] : differences) {
      list[memberOf(choice->name)] = {{"interface", valueJson(choice->words, now->at(choice))},
                                      {"preset", valueJson(choice->words, item)}};
    }
    printJson({{"differences", list}});
  } else {
    printDifferences(*now, differences);
  }
  return differences.empty() ? kDone : kDifferent;
}

ExitStatus runRestore(const std::string& file) {
  const auto wanted = readPreset(file);
  if (!wanted) return kFailed;
  const FileDescriptor lock = lockRestores();
  return lock ? restore(*wanted, true) : kFailed;
}

ExitStatus runUndo() {
  const FileDescriptor lock = lockRestores();
  if (!lock) return kFailed;
  const std::string file = undoFile();
  if (::access(file.c_str(), F_OK) != 0 && errno == ENOENT) {
    std::fputs("vx310ctl: there is no restore to undo\n", stderr);
    return kFailed;
  }
  const auto wanted = readPreset(file);
  if (!wanted) return kFailed;
  const ExitStatus status = restore(*wanted, false);
  if (status == kDone) ::unlink(file.c_str());
  return status;
}

}  // namespace vx310ctl

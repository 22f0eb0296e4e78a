// SPDX-License-Identifier: MIT
// `vx310ctl watch`: prints a line for each event of the interface.
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "io/driver_events.h"
#include "platform/run_loop/run_loop.h"
#include "tools/choices.h"
#include "tools/commands.h"
#include "tools/current_interface.h"
#include "tools/report.h"
#include "tools/watched_ends.h"

namespace vx310ctl {

namespace {

using Json = nlohmann::ordered_json;

// The members of `now` that are not in `before`; of an object, its changed members.
Json changedSince(const Json& before, const Json& now) {
  Json changed = Json::object();
  for (const auto& [name, value] : now.items()) {
    const Json former = before.value(name, Json::object());
    if (!value.is_object()) {
      if (!before.contains(name) || former != value) changed[name] = value;
    } else if (const Json members = changedSince(former, value); !members.empty()) {
      changed[name] = members;
    }
  }
  return changed;
}

struct Field {
  InfoId id;
  const char* name;
};
constexpr Field kFields[] = {
    {kInfoDevice, "name"},
    {kInfoConnectionType, "connection"},
    {kInfoSampleRate, "sample-rate"},
    {kInfoSampleClockSource, "effective-clock-source"},
    {kInfoDigitalInputStatus, "digital-input"},
};

class Watch {
 public:
  explicit Watch(bool json)
      : json_(json), interface_([this](const auto& info) { note(info); }, [this] { report(); }) {
    ready_ = true;
    report();
  }

 private:
  void note(const CurrentInterface::Info& info) {
    for (const Field& field : kFields) {
      if (field.id == info.id) shown_[field.name] = info.shown ? withoutSpacesAtEnd(info.text) : "";
    }
  }

  // Prints what changed since the last line. The launch is one event, however many rounds of infos
  // it takes.
  void report() {
    if (!ready_) return;
    const bool connected = _ioDevice != nullptr;
    const Json now = !connected ? Json::object() : json_ ? reportJson(*_ioDevice) : texts();
    if (connected != connected_) {
      print(connected ? "connected" : "disconnected", now);
    } else if (const Json changed = changedSince(printed_, now); !changed.empty()) {
      print("changed", changed);
    }
    connected_ = connected;
    printed_ = now;
  }

  // What the panel shows, in its order: status fields, then menus.
  Json texts() {
    Json texts;
    for (const Field& field : kFields) texts[field.name] = shown_[field.name];
    for (const Choice& choice : choices()) {
      texts[std::string(choice.name)] = itemText(choice, currentValue(choice));
    }
    return texts;
  }

  void print(const char* event, const Json& values) {
    if (json_) {
      Json object = {{"event", event}};
      object.update(values);
      printJson(object);
    } else {
      std::string line = event;
      const char* separator = " ";
      for (const auto& [name, text] : values.items()) {
        line += std::exchange(separator, "; ") + name + ": " + printable(text.get<std::string>());
      }
      std::puts(line.c_str());
    }
    if (std::fflush(stdout) != 0) CFRunLoopStop(CFRunLoopGetCurrent());
  }

  bool json_;
  bool ready_ = false;
  std::optional<bool> connected_;
  std::map<std::string, std::string> shown_;
  Json printed_;
  CurrentInterface interface_;  // the last: it calls the functions above
};

}  // namespace

ExitStatus runWatch(bool json) {
  session_bus::Bus bus;
  if (const ExitStatus status = connectToBus(&bus); status != kDone) return status;
  WatchedEnds ends(std::move(bus));
  const Watch watch(json);
  ends.run();
  return ends.status();
}

}  // namespace vx310ctl

#include "tools/watch_command.h"

#include <cstdio>
#include <map>
#include <optional>
#include <utility>

#include "driver/simulator/json.h"
#include "io/driver_events.h"
#include "platform/run_loop/run_loop.h"
#include "tools/choices.h"
#include "tools/current_interface.h"

namespace vx310ctl {

namespace {

// The longest that the run loop is asked to run in one go; it is asked again.
constexpr double kOneHour = 3600;

// What is watched of an interface: names and texts in the order in which they are printed.
using Values = std::vector<std::pair<std::string, std::string>>;

struct Field {
  InfoId id;
  const char* name;
};
constexpr Field kFields[] = {
    {kInfoDevice, "name"},
    {kInfoConnectionType, "connection"},
    {kInfoSampleRate, "sample-rate"},
    {kInfoSampleClockSource, "clock"},
    {kInfoDigitalInputStatus, "digital-input"},
};

// The choice that a menu's info is about, and its item. A routing's value has the pair's number in
// its upper half.
struct MenuItem {
  const char* choice = nullptr;
  std::int32_t index = 0;
};
MenuItem menuItem(const CurrentInterface::Info& info) {
  constexpr const char* kOutputs[] = {"line-output", "digital-output"};
  constexpr const char* kInputs[] = {"input-1-2", "input-3-4", "input-5-6"};
  const auto pair = static_cast<std::uint32_t>(info.value) >> 16;
  const auto index = static_cast<std::int16_t>(info.value & 0xFFFF);
  if (info.id == kInfoSampleClockSourceMenu) return {"clock-source", info.value};
  if (info.id == kInfoDigitalOutputFormat) return {"digital-output-format", info.value};
  if (info.id == kInfoOutputRouting && pair < std::size(kOutputs)) return {kOutputs[pair], index};
  if (info.id == kInfoInputRouting && pair < std::size(kInputs)) return {kInputs[pair], index};
  return {};
}

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
      if (field.id == info.id) set(field.name, info.shown ? info.text : "");
    }
    const MenuItem item = menuItem(info);
    if (!item.choice) return;
    set(item.choice, info.shown ? itemText(*findChoice(item.choice), item.index) : "");
  }

  void set(const char* name, std::string text) { shown_[name] = std::move(text); }

  // Prints what changed since the last line. The launch is one event, however many rounds of infos
  // it takes.
  void report() {
    if (!ready_) return;
    const bool connected = _ioDevice != nullptr;
    if (connected != connected_) {
      printed_.clear();
      print(connected ? "connected" : "disconnected", connected ? changes() : Values());
      connected_ = connected;
    } else if (connected) {
      if (const Values changed = changes(); !changed.empty()) print("changed", changed);
    }
  }

  // In the order of the panel: status fields, then menus.
  Values changes() {
    Values changed;
    const auto look = [&](const std::string& name) {
      const std::string& text = shown_[name];
      if (text == std::exchange(printed_[name], text)) return;
      changed.emplace_back(name, text);
    };
    for (const Field& field : kFields) look(field.name);
    for (const Choice& choice : choices()) look(std::string(choice.name));
    return changed;
  }

  void print(const char* event, const Values& values) {
    std::string line = json_ ? std::string("{\"event\": \"") + event + "\"" : event;
    const char* separator = " ";
    for (const auto& [name, text] : values) {
      if (json_) {
        line += ", " + driver::jsonText(name) + ": " + driver::jsonText(text);
      } else {
        line += std::exchange(separator, "; ") + name + ": " + text;
      }
    }
    interface_.output().print(line + (json_ ? "}\n" : "\n"));
  }

  bool json_;
  bool ready_ = false;
  std::optional<bool> connected_;
  std::map<std::string, std::string> shown_;
  std::map<std::string, std::string> printed_;
  CurrentInterface interface_;  // the last: it calls the functions above
};

}  // namespace

ExitStatus runWatch(const std::vector<std::string>& words) {
  const bool json = words.size() == 1 && words[0] == "--json";
  if (!words.empty() && !json) {
    std::fputs("vx310ctl: 'watch' takes [--json]\nTry 'vx310ctl --help'.\n", stderr);
    return kUsage;
  }
  const Watch watch(json);
  for (;;) CFRunLoopRunInMode(kCFRunLoopDefaultMode, kOneHour);
}

}  // namespace vx310ctl

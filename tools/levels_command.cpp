// SPDX-License-Identifier: MIT
// `vx310ctl levels`: meters of the interface's channels. A meter is the one thing here that asks
// again and again: the interface tells nobody that a level has changed.
#include <sys/ioctl.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "device/usb_device.h"
#include "io/driver_events.h"
#include "platform/posix/posix.h"
#include "platform/run_loop/run_loop.h"
#include "platform/session_bus/session_bus.h"
#include "tools/commands.h"
#include "tools/current_interface.h"
#include "tools/watched_ends.h"

namespace vx310ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr long kIntervalMs = 100;

constexpr double kFullScale = 0x7FFFFF;
constexpr double kLowestShown = -60;  // dBFS at the left end of a meter

constexpr std::array<const char*, 6> kInputNames = {"Input 1", "Input 2", "Input 3",
                                                    "Input 4", "Input 5", "Input 6"};
constexpr std::array<const char*, 4> kOutputNames = {"Line output 1", "Line output 2",
                                                     "Digital output 1", "Digital output 2"};

// The peak of each channel since the reading before.
template <std::size_t count>
using Peaks = std::array<std::uint32_t, count>;

struct Reading {
  // nullopt when the interface does not report them.
  std::optional<Peaks<kInputNames.size()>> inputs;
  std::optional<Peaks<kOutputNames.size()>> outputs;
};

template <std::size_t count>
std::optional<Peaks<count>> readSide(bool (USBDevice::*read)(std::span<std::uint32_t>)) {
  Peaks<count> peaks{};
  return (_ioDevice->*read)(peaks) ? std::optional(peaks) : std::nullopt;
}

Reading readLevels() {
  return {readSide<kInputNames.size()>(&USBDevice::getInLevels),
          readSide<kOutputNames.size()>(&USBDevice::getOutLevels)};
}

// In dBFS, to a tenth; minus infinity for silence.
double decibels(std::uint32_t peak) {
  return std::round(200 * std::log10(peak / kFullScale)) / 10 + 0.0;  // no "-0.0"
}

// "-6.0", "-inf"; "no answer" without a peak.
std::string figure(std::optional<std::uint32_t> peak) {
  if (!peak) return "no answer";
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f", decibels(*peak));
  return text.data();
}

// Calls `use(name, peak)` for each channel.
template <typename Use>
void forEachChannel(const Reading& reading, Use use) {
  const auto side = [&use](const auto& names, const auto& peaks) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      use(names[i], peaks ? std::optional((*peaks)[i]) : std::nullopt);
    }
  };
  side(kInputNames, reading.inputs);
  side(kOutputNames, reading.outputs);
}

// --- For programs ---

template <typename Peaks>
void addSide(Json& object, const std::string& name, const Peaks& peaks) {
  object[name + "_raw"] = peaks ? Json(*peaks) : Json();
  Json& dbfs = object[name + "_dbfs"];
  if (!peaks) return;
  dbfs = Json::array();
  for (const std::uint32_t peak : *peaks) dbfs.push_back(peak == 0 ? Json() : Json(decibels(peak)));
}

Json jsonOf(const Reading& reading) {
  Json object = Json::object();
  addSide(object, "inputs", reading.inputs);
  addSide(object, "outputs", reading.outputs);
  return object;
}

// --- For people ---

std::string lineOf(const Reading& reading) {
  std::string line;
  forEachChannel(reading, [&line](const char* name, std::optional<std::uint32_t> peak) {
    line += (line.empty() ? "" : "; ") + std::string(name) + ": " + figure(peak);
    if (peak) line += " dBFS";
  });
  return line + '\n';
}

winsize terminalSize() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    size.ws_col = 80;
    size.ws_row = 24;
  }
  return size;
}

// "Input 1            -6.0 dBFS  ######....", as wide as the terminal but for its last column, at
// which some terminals go to the next line.
std::string meter(const char* name, std::optional<std::uint32_t> peak, std::size_t columns) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%-16s %9s %s  ", name, figure(peak).c_str(),
                peak ? "dBFS" : "    ");
  std::string line = text.data();
  const std::size_t width = columns > line.size() + 1 ? columns - line.size() - 1 : 0;
  const double part = peak ? 1 - decibels(*peak) / kLowestShown : 0;
  const auto bar =
      static_cast<std::size_t>(std::clamp(part, 0.0, 1.0) * static_cast<double>(width));
  line.append(bar, '#').append(width - bar, '.');
  line.resize(std::min(line.size(), columns - 1));
  return line;
}

// Draws over the meters that were drawn before.
class Meters {
 public:
  std::string textOf(const Reading& reading) {
    const winsize size = terminalSize();
    std::string text = drawn_ == 0 ? "" : "\x1b[" + std::to_string(drawn_) + "A";
    drawn_ = 0;
    forEachChannel(reading, [&](const char* name, std::optional<std::uint32_t> peak) {
      if (drawn_ + 1 >= size.ws_row) return;  // the cursor stands below the last one
      text += "\r" + meter(name, peak, size.ws_col) + "\x1b[K\n";
      ++drawn_;
    });
    return text + "\x1b[J";  // what a higher terminal showed below
  }

 private:
  std::size_t drawn_ = 0;
};

bool isOnTerminal() {
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) != 0 && terminal && std::string_view(terminal) != "dumb";
}

// --- The timer ---

class Interval final : public CFRunLoopSource {
 public:
  explicit Interval(std::function<void()> act)
      : act_(std::move(act)),
        timer_(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    const timespec interval = {0, kIntervalMs * 1'000'000};
    const itimerspec times = {interval, interval};
    isRunning_ = timer_ && ::timerfd_settime(timer_.get(), 0, &times, nullptr) == 0;
  }
  bool isRunning() const { return isRunning_; }
  int descriptor() const override { return timer_.get(); }
  void perform() override {
    std::uint64_t times = 0;
    // Those that were missed while a driver did not answer are one.
    if (::read(timer_.get(), &times, sizeof(times)) == sizeof(times)) act_();
  }

 private:
  std::function<void()> act_;
  FileDescriptor timer_;
  bool isRunning_ = false;
};

}  // namespace

ExitStatus runLevels(bool json) {
  session_bus::Bus bus;
  if (const ExitStatus status = connectToBus(&bus); status != kDone) return status;
  CurrentInterface interface;
  if (const ExitStatus status = interface.status(); status != kDone) return status;
  readLevels();  // ends the peaks of the time before
  Meters meters;
  const bool isMeter = !json && isOnTerminal();
  const auto interval = std::make_shared<Interval>([&] {
    if (!_ioDevice) {
      CFRunLoopStop(CFRunLoopGetCurrent());
      return;
    }
    const Reading reading = readLevels();
    std::fputs((json      ? jsonText(jsonOf(reading))
                : isMeter ? meters.textOf(reading)
                          : lineOf(reading))
                   .c_str(),
               stdout);
    if (std::fflush(stdout) != 0) CFRunLoopStop(CFRunLoopGetCurrent());
  });
  if (!interval->isRunning()) {
    std::fprintf(stderr, "vx310ctl: there is no timer: %s\n", std::strerror(errno));
    return kFailed;
  }
  WatchedEnds ends(std::move(bus));
  CFRunLoopAddSource(CFRunLoopGetCurrent(), interval, kCFRunLoopDefaultMode);
  ends.run();
  CFRunLoopRemoveSource(CFRunLoopGetCurrent(), interval, kCFRunLoopDefaultMode);
  if (const ExitStatus status = ends.status(); status != kDone) return status;
  std::fputs("vx310ctl: the interface has left\n", stderr);
  return kNoInterface;
}

}  // namespace vx310ctl

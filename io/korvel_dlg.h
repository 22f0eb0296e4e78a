// SPDX-License-Identifier: MIT
// The panel bridge: how device events and status reach the panel, which this layer otherwise knows
// nothing about.
//
// Two kinds of plain numbers cross it: the info ids, and the hardware index. Main thread only.
#pragma once

#include <cstdint>

// What a ShowInfo call is about. The panel ignores any other number.
enum InfoId : std::int32_t {
  kInfoSampleWidth = 0,
  kInfoSampleRate = 1,
  kInfoDigitalInputStatus = 2,
  kInfoFirmwareVersion = 3,
  kInfoDriverVersion = 4,
  kInfoDevice = 5,
  kInfoPanelSubtitle = 6,
  kInfoConnectionType = 7,
  kInfoSampleClockSource = 8,
  kInfoUsb1ModeInputSelection = 9,
  kInfoSampleClockSourceMenu = 10,
  kInfoDigitalOutputFormat = 11,
  kInfoCoreAudioPerformance = 12,
  kInfoRoutingMenus = 13,
  kInfoInputRouting = 14,
  kInfoOutputRouting = 15,
};

// The hardware index that means "a VX-310 is connected"; every other one, 0 included, means that no
// supported device is present.
inline constexpr std::int32_t kHardwareIndexVX310 = 9;

// What stands at the panel's end of the bridge.
class PanelReceiver {
 public:
  // The current device went away.
  virtual void Detach() = 0;

  // What is shown may be out of date.
  virtual void Invalidate(bool flag) = 0;

  // Makes the input selection of USB 1.1 connections usable or not.
  virtual void EnableUSB1Mode(bool enable) = 0;

  // Fills and shows, or hides, what `id` names. `value` is a menu item's zero-based index, for the
  // routings (kInfoInputRouting, kInfoOutputRouting) with the pair's number in the upper 16 bits.
  // `text` is NUL-terminated, may be null, and is not kept.
  virtual void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) = 0;

  // A device was found (kHardwareIndexVX310) or lost (any other index).
  virtual void FoundHardware(std::int32_t index) = 0;

 protected:
  ~PanelReceiver() = default;
};

// Forwards each call to the receiver; without one, drops it. The receiver is not owned and outlives
// the bridge.
class CKorvelDlg {
 public:
  // Also makes this object the one that `controlDlg` names. The destructor leaves that alone.
  explicit CKorvelDlg(PanelReceiver* receiver);
  virtual ~CKorvelDlg() = default;
  CKorvelDlg(const CKorvelDlg&) = delete;
  CKorvelDlg& operator=(const CKorvelDlg&) = delete;

  void Detach();
  void Invalidate(bool flag);
  void enableUSB1Mode(bool enable);
  void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text);
  // The same as ShowInfo.
  void ShowInfoCstring(std::int32_t id, bool flag, std::int32_t value, const char* text);
  void FoundHardware(std::int32_t index);

 private:
  PanelReceiver* receiver_;
};

// The bridge made last; null before the first. It still names a bridge that has been destroyed, and
// nothing calls through it from then on: device events have ended by the time the panel goes.
extern CKorvelDlg* controlDlg;

// SPDX-License-Identifier: MIT
// The panel bridge: passes device events and status from io/ to the panel. io/ knows nothing else
// of the panel. Main thread only.
#pragma once

#include <cstdint>

// The value that a ShowInfo call shows. The panel ignores any other number.
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

// The hardware index of a connected VX-310; every other index, 0 included, means that no supported
// device is connected.
inline constexpr std::int32_t kHardwareIndexVX310 = 9;

// The panel's side of the bridge.
class PanelReceiver {
 public:
  // The current device was removed.
  virtual void Detach() = 0;

  // All values of a new state have been sent.
  virtual void Invalidate(bool flag) = 0;

  // Enables or disables the USB 1.1 input selection.
  virtual void EnableUSB1Mode(bool enable) = 0;

  // Fills the controls of `id` (an InfoId), then shows them, or hides them when `flag` is false.
  // `value` is the zero-based index of a menu item; for kInfoInputRouting and kInfoOutputRouting
  // the upper 16 bits hold the pair's number. `text` is NUL-terminated or null and is not kept.
  virtual void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) = 0;

  // A VX-310 was found (kHardwareIndexVX310), or none is connected (any other index).
  virtual void FoundHardware(std::int32_t index) = 0;

 protected:
  ~PanelReceiver() = default;
};

// Forwards each call to the receiver, or drops it when the receiver is null. The receiver is not
// owned and must outlive the bridge.
class CKorvelDlg {
 public:
  // Sets `controlDlg` to this bridge; the destructor does not reset it.
  explicit CKorvelDlg(PanelReceiver* receiver);
  virtual ~CKorvelDlg() = default;
  CKorvelDlg(const CKorvelDlg&) = delete;
  CKorvelDlg& operator=(const CKorvelDlg&) = delete;

  void Detach();
  void Invalidate(bool flag);
  void enableUSB1Mode(bool enable);
  void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text);
  // Same as ShowInfo.
  void ShowInfoCstring(std::int32_t id, bool flag, std::int32_t value, const char* text);
  void FoundHardware(std::int32_t index);

 private:
  PanelReceiver* receiver_;
};

// The bridge constructed last; null before the first. It dangles once that bridge is destroyed, so
// IOTerm must have ended the device events before.
extern CKorvelDlg* controlDlg;

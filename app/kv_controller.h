// SPDX-License-Identifier: MIT
// The controller: owns everything on the panel.
//
// Its outlets are the controls of the window, bound by their names before awakeFromNib. Whatever
// shows on screen is one operation on one of them. Main thread only, except the listener for the
// audio server's device list.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "app/user_defaults.h"
#include "io/korvel_dlg.h"
#include "platform/audio_server/audio_server.h"
#include "platform/toolkit/toolkit.h"

class NSTimer;

class KvController : public NSObject, public NSApplicationDelegate, public PanelReceiver {
 public:
  // The `init` of the window file's owner: makes the controller the application's delegate, opens
  // the bridge, and reads the version of the driver package. One controller at a time.
  KvController();
  // Its `dealloc`: closes the bridge. Nothing may call through `controlDlg` from then on.
  ~KvController() override;

  // Loads the stored choices and shows the empty panel: the driver version alone, and the picture
  // for no device.
  void awakeFromNib() override;

  // Starts the device layer and listens for changes of the audio server's device list; the other
  // one undoes both and saves the stored choices.
  void applicationDidFinishLaunching() override;
  void applicationWillTerminate() override;
  // Closing the window ends the program.
  bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }

  // From the bridge; see there. FoundHardware takes 0.4 s, in which device and driver settle, and
  // then applies the stored choices.
  void Detach() override;
  void Invalidate(bool flag) override;
  void EnableUSB1Mode(bool enable) override;
  void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) override;
  void FoundHardware(std::int32_t index) override;

  // Hooks that this panel has no use for.
  void startPollingState(NSObject*) {}
  void updateStatusFields() {}
  void updateInputSelectControls() {}
  void setWidgetLayoutForDevicePlugged() {}
  void setWidgetLayoutForDeviceUnplugged() {}

  // Button actions, given the button.
  void doHelp(const NSControl& sender);
  void doCloseButton(const NSControl& sender);

  // Menu actions: hand the picked item's index to the command, store it as the panel's choice and
  // make it durable before they return. What the device makes of it changes neither the choice nor
  // its storing. The routing actions are given the menu; the option actions know theirs.
  void doChannel1and2(const NSPopUpButton& sender);
  void doChannel3and4(const NSPopUpButton& sender);
  void doChannel5and6(const NSPopUpButton& sender);
  void doLineOut(const NSPopUpButton& sender);
  void doDigitalOut(const NSPopUpButton& sender);
  // For panels with one menu for each pair of line outputs; the same choices as the two above.
  void doLine12Out(const NSPopUpButton& sender);
  void doLine34Out(const NSPopUpButton& sender);
  void doSampleClockSource(const NSControl& sender);
  void doUsb1ModeInputSelection(const NSControl& sender);
  void doDigitalOutputFormat(const NSControl& sender);
  void doCoreAudioPerformance(const NSControl& sender);

  // Selects the stored choices in the menus, in a fixed order; with `send`, each is given to its
  // command first. A choice that is missing counts as 0.
  void InitRoutingValuesAndSet(bool send);

  // Makes the device's state the stored choices and shows them. The performance cannot be asked
  // for: its choice becomes 0.
  void GetRoutingValues();
  // Prints the device's routings and output format; the action does the same.
  void ShowRoutingValues();
  void doGetRoutingValues(const NSControl& sender);

  // Move the performance menu and its label to the left or to the centre.
  void setLeftLatencyWidgets();
  void setCenterLatencyWidgets();

  // Sets the bit of *byte where `value` is not 0, else clears it. `bit` is taken modulo 32; a byte
  // has no bits from 8 on.
  void setBitOfByteTo(std::int32_t bit, std::uint8_t* byte, std::int32_t value);

  // Opens the stored choices; a record that is missing or of another version is replaced by the
  // defaults.
  void loadPrefs();
  // Makes the stored choices durable.
  void savePrefs();
  // Replaces all stored choices and makes them durable.
  void setPrefsDictionaryWithValues(std::int32_t in12, std::int32_t in34, std::int32_t in56,
                                    std::int32_t out12, std::int32_t out34,
                                    std::int32_t digOutFormat, std::int32_t clockSource,
                                    std::int32_t audioPerformance, std::int32_t usb11Mode);

  // Shows the sampling frequency that a channel status block (IEC 60958-3 consumer or IEC 60958-4
  // professional) of at least 5 bytes states, byte 0 first.
  void decodeChannelStatus(const std::uint8_t* status);

  // Status fields, and the label beside each.
  NSTextField KvPanelSubTitle;
  NSTextField KvDriverVersionField;
  NSTextField KvDeviceField;
  NSTextField KvConnectionTypeField;
  NSTextField KvFirmwareVersionField;
  NSTextField KvSampleWidthField;
  NSTextField KvSampleRateField;
  NSTextField KvSampleClockSourceField;
  NSTextField KvDigitalInputStatusField;
  NSTextField KvDriverVersionFieldTitle;
  NSTextField KvDeviceFieldTitle;
  NSTextField KvConnectionTypeFieldTitle;
  NSTextField KvFirmwareVersionFieldTitle;
  NSTextField KvSampleWidthFieldTitle;
  NSTextField KvSampleRateFieldTitle;
  NSTextField KvSampleClockSourceFieldTitle;
  NSTextField KvDigitalInputStatusFieldTitle;

  // Option menus, and their labels.
  NSPopUpButton KvCoreAudioPerformanceMenu;
  NSPopUpButton KvDigitalOutputFormatMenu;
  NSPopUpButton KvUsb1ModeInputSelectionMenu;
  NSPopUpButton KvSampleClockSourceMenu;
  NSTextField KvCoreAudioPerformanceTitle;
  NSTextField KvDigitalOutputFormatTitle;
  NSTextField KvUsb1ModeInputSelectionTitle;
  NSTextField KvSampleClockSourceTitle;

  // Routing menus, and their labels.
  NSTextField KvIoRInCh1And2Title;
  NSPopUpButton KvIoRInCh1And2Menu;
  NSTextField KvIoRInCh3And4Title;
  NSPopUpButton KvIoRInCh3And4Menu;
  NSTextField KvIoRInCh5And6Title;
  NSPopUpButton KvIoRInCh5And6Menu;
  NSTextField KvIoROutLineTitle;
  NSPopUpButton KvIoROutLineMenu;
  NSTextField KvIoROutDigitalTitle;
  NSPopUpButton KvIoROutDigitalMenu;

  NSImageView KvDeviceBitmap;
  NSButton Help;
  NSButton CloseButton;

  // The stored choices; they name nothing before loadPrefs.
  NSUserDefaults KvPrefDictionary;

  // Only ever cleared.
  std::uint8_t KvPluggedIn = 0;
  std::uint8_t KvFirmwareValid = 0;

  // Reserved; nothing uses them.
  std::uint32_t KvBusSpeed = 0;
  std::uint32_t KvVersionNumber = 0;
  std::uint16_t KvProductID = 0;
  NSTimer* pollingTimer = nullptr;

  std::unique_ptr<CKorvelDlg> mpDlg;
  std::int32_t m_lIxHardwareFound = 0;  // the index last given to FoundHardware
  std::uint8_t m_bDetached = 0;         // set by Detach; nothing reads it
  char szDriverFileVersion[256] = {};   // of the driver package; empty when that is missing

  // Reserved, for the registers of the receiver chip.
  NSTextField AKM00Field;
  NSTextField RxStatusField;
  NSTextField TxStatusField;
  NSTextField ReceiverStatusField;

 private:
  void readDriverFileVersion();
  void takeChoiceOf(NSPopUpButton KvController::*outlet, const NSPopUpButton& sender);
  void setLatencyWidgets(double x);
};

// The listener for the audio server's device list: looks the interface's audio device up again, as
// its object is a new one, or gone. Runs on the audio server's notification thread; its arguments
// are not used.
OSStatus audioObjectPropertyListenerProc(AudioObjectID object,
                                         std::span<const AudioObjectPropertyAddress> addresses,
                                         void* clientData);

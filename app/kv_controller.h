// SPDX-License-Identifier: MIT
// The panel's controller.
//
// Its outlets are bound to the window's controls of the same names before awakeFromNib; every
// effect on screen is an operation on an outlet. Main thread only, except
// audioObjectPropertyListenerProc.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "app/user_defaults.h"
#include "io/korvel_dlg.h"
#include "platform/audio_server/audio_server.h"
#include "platform/toolkit/toolkit.h"

class NSTimer;
struct PanelMenu;

class KvController : public NSObject, public NSApplicationDelegate, public PanelReceiver {
 public:
  // `init`: sets the controller as the application's delegate, makes the bridge, and reads the
  // driver package's version. One controller at a time.
  KvController();
  // `dealloc`: destroys the bridge. `controlDlg` must not be used from then on.
  ~KvController() override;

  // Loads the stored choices and shows the empty panel: only the driver version and the picture for
  // no device.
  void awakeFromNib() override;

  // applicationDidFinishLaunching starts the device layer and listens to the audio server's device
  // list; applicationWillTerminate stops both and saves the stored choices.
  void applicationDidFinishLaunching() override;
  void applicationWillTerminate() override;
  // Closing the window ends the program.
  bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }

  // Called through the bridge; see PanelReceiver. FoundHardware shows the picture, blocks for 0.4 s
  // while device and driver settle, then applies the stored choices.
  void Detach() override;
  void Invalidate(bool flag) override;
  void EnableUSB1Mode(bool enable) override;
  void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) override;
  void FoundHardware(std::int32_t index) override;

  // Hooks with empty bodies.
  void startPollingState(NSObject*) {}  // no program calls this
  void updateStatusFields() {}          // no program calls this
  void updateInputSelectControls() {}   // no program calls this
  void setWidgetLayoutForDevicePlugged() {}
  void setWidgetLayoutForDeviceUnplugged() {}

  // Button actions; `sender` is the button.
  void doHelp(const NSControl& sender);
  void doCloseButton(const NSControl& sender);

  // Menu actions: call the menu's command with the index of the selected item, then store the index
  // durably, whether or not the command succeeds. Routing actions read the index from `sender`;
  // option actions read it from their own outlet.
  void doChannel1and2(const NSPopUpButton& sender);
  void doChannel3and4(const NSPopUpButton& sender);
  void doChannel5and6(const NSPopUpButton& sender);
  void doLineOut(const NSPopUpButton& sender);
  void doDigitalOut(const NSPopUpButton& sender);
  // For a panel with a menu for each pair of line outputs. They store under the keys of doLineOut
  // and doDigitalOut.
  void doLine12Out(const NSPopUpButton& sender);  // no program calls this
  void doLine34Out(const NSPopUpButton& sender);  // no program calls this
  void doSampleClockSource(const NSControl& sender);
  void doUsb1ModeInputSelection(const NSControl& sender);
  void doDigitalOutputFormat(const NSControl& sender);
  void doCoreAudioPerformance(const NSControl& sender);

  // Selects each stored choice in its menu, in a fixed order; with `send`, calls the menu's command
  // before that. A missing choice counts as 0.
  void InitRoutingValuesAndSet(bool send);

  // Stores the device's state as the choices and selects them in the menus. The performance has no
  // query: 0 is stored. No program calls this.
  void GetRoutingValues();
  // Print the device's routings and output format.
  void ShowRoutingValues();                          // no program calls this
  void doGetRoutingValues(const NSControl& sender);  // no program calls this

  // Move the performance menu and its label to the left or to the centre.
  void setLeftLatencyWidgets();    // no program calls this
  void setCenterLatencyWidgets();  // no program calls this

  // Sets the bit of *byte when `value` is not 0, else clears it. `bit` is taken modulo 32; bits 8
  // to 31 change nothing. No program calls this.
  void setBitOfByteTo(std::int32_t bit, std::uint8_t* byte, std::int32_t value);

  // Opens the stored choices. Replaces them with the defaults when their version is missing or
  // another.
  void loadPrefs();
  // Writes the stored choices to disk.
  void savePrefs();
  // Replaces all stored choices and writes them to disk. No program calls this.
  void setPrefsDictionaryWithValues(std::int32_t in12, std::int32_t in34, std::int32_t in56,
                                    std::int32_t out12, std::int32_t out34,
                                    std::int32_t digOutFormat, std::int32_t clockSource,
                                    std::int32_t audioPerformance, std::int32_t usb11Mode);

  // Shows the sampling frequency of a channel status block (IEC 60958-3 consumer or IEC 60958-4
  // professional). `status` points at byte 0 of at least 5. No program calls this.
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

  // The stored choices; without a store before loadPrefs.
  NSUserDefaults KvPrefDictionary;

  // Never set.
  std::uint8_t KvPluggedIn = 0;
  std::uint8_t KvFirmwareValid = 0;

  // Reserved and unused.
  std::uint32_t KvBusSpeed = 0;
  std::uint32_t KvVersionNumber = 0;
  std::uint16_t KvProductID = 0;
  NSTimer* pollingTimer = nullptr;

  std::unique_ptr<CKorvelDlg> mpDlg;
  std::int32_t m_lIxHardwareFound = 0;  // the index last given to FoundHardware
  std::uint8_t m_bDetached = 0;         // set by Detach, never read
  char szDriverFileVersion[256] = {};   // of the driver package; empty when the package is missing

  // Reserved for the registers of the receiver chip.
  NSTextField AKM00Field;
  NSTextField RxStatusField;
  NSTextField TxStatusField;
  NSTextField ReceiverStatusField;

 private:
  void readDriverFileVersion();
  void takeChoice(const NSPopUpButton& menu, void (*command)(std::int32_t item), const char* key);
  void take(const PanelMenu& row, const NSPopUpButton& sender);
  void takeOwn(const PanelMenu& row);
  void setLatencyWidgets(double x);
};

// The listener for the audio server's device list: finds the interface's audio device again, whose
// object may be new or gone. Runs on the audio server's notification thread. Ignores its arguments.
OSStatus audioObjectPropertyListenerProc(AudioObjectID object,
                                         std::span<const AudioObjectPropertyAddress> addresses,
                                         void* clientData);

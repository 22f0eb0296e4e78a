// The controller: owns everything on the panel.
//
// Its outlets are the controls of the window, bound by their names before awakeFromNib. Whatever
// shows on screen is one operation on one of them. Main thread only, except the listener for the
// audio server's device list.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

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

  // Shows the empty panel: the driver version alone, and the picture for no device.
  void awakeFromNib() override;

  // Starts the device layer and listens for changes of the audio server's device list; the other
  // one undoes both.
  void applicationDidFinishLaunching() override;
  void applicationWillTerminate() override;
  // Closing the window ends the program.
  bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }

  // From the bridge; see there. FoundHardware takes 0.4 s, in which device and driver settle.
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
  void showDriverVersion(bool flag, const char* text);
  void showRoutingMenus(bool flag);
  void selectInputRouting(std::int32_t value);
  void selectOutputRouting(std::int32_t value);
};

// The listener for the audio server's device list: looks the interface's audio device up again, as
// its object is a new one, or gone. Runs on the audio server's notification thread; its arguments
// are not used.
OSStatus audioObjectPropertyListenerProc(AudioObjectID object,
                                         std::span<const AudioObjectPropertyAddress> addresses,
                                         void* clientData);

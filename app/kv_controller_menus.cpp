// SPDX-License-Identifier: MIT
// The menus: their table, their actions, and the stored choices on their way to the device.
#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "app/kv_controller.h"
#include "app/panel_tables.h"
#include "io/audio_device.h"
#include "io/menu_items.h"
#include "io/option_commands.h"
#include "platform/log/log.h"

namespace {

constexpr double kLeftLatencyX = 13;
constexpr double kCenterLatencyX = 130;

// Gives actions and commands of different signatures one type each.
template <auto kAction>
void act(KvController& panel, const NSPopUpButton& sender) {
  (panel.*kAction)(sender);
}
template <auto kCommand>
void send(std::int32_t item) {
  kCommand(item);
}

// `turn`: the USB 1.1 input and the output format reach the device before the routings, the clock
// source after them. `defaultItem`: each input pair and each output gets its own position.
constexpr std::array kMenus = {
    PanelMenu{OUTLET(KvIoRInCh1And2Menu), OUTLET(KvIoRInCh1And2Title),
              act<&KvController::doChannel1and2>, send<DoChannel1and2>, kInputItems, "In12", 0, 5,
              kInfoRoutingMenus, HiddenSelection::kKept},
    PanelMenu{OUTLET(KvIoRInCh3And4Menu), OUTLET(KvIoRInCh3And4Title),
              act<&KvController::doChannel3and4>, send<DoChannel3and4>, kInputItems, "In34", 1, 6,
              kInfoRoutingMenus, HiddenSelection::kKept},
    PanelMenu{OUTLET(KvIoRInCh5And6Menu), OUTLET(KvIoRInCh5And6Title),
              act<&KvController::doChannel5and6>, send<DoChannel5and6>, kInputItems, "In56", 2, 7,
              kInfoRoutingMenus, HiddenSelection::kKept},
    PanelMenu{OUTLET(KvIoROutLineMenu), OUTLET(KvIoROutLineTitle), act<&KvController::doLineOut>,
              send<DoLineOut>, kOutputItems, "Out12", 0, 3, kInfoRoutingMenus,
              HiddenSelection::kKept},
    PanelMenu{OUTLET(KvIoROutDigitalMenu), OUTLET(KvIoROutDigitalTitle),
              act<&KvController::doDigitalOut>, send<DoDigitalOut>, kOutputItems, "Out34", 1, 4,
              kInfoRoutingMenus, HiddenSelection::kKept},
    PanelMenu{OUTLET(KvSampleClockSourceMenu), OUTLET(KvSampleClockSourceTitle),
              act<&KvController::doSampleClockSource>, send<SampleClockSource>, kClockSourceItems,
              "ClockSource", 0, 8, kInfoSampleClockSourceMenu, HiddenSelection::kKept},
    PanelMenu{OUTLET(KvDigitalOutputFormatMenu), OUTLET(KvDigitalOutputFormatTitle),
              act<&KvController::doDigitalOutputFormat>, send<DigitalOutputFormat>,
              kDigitalOutputFormatItems, "DigOutFormat", 0, 2, kInfoDigitalOutputFormat,
              HiddenSelection::kKept},
    PanelMenu{OUTLET(KvCoreAudioPerformanceMenu), OUTLET(KvCoreAudioPerformanceTitle),
              act<&KvController::doCoreAudioPerformance>, send<AudioPerformance>,
              kAudioPerformanceItems, "AudioPerformance", 0, 9, kInfoCoreAudioPerformance,
              HiddenSelection::kClearedFirst},
    PanelMenu{OUTLET(KvUsb1ModeInputSelectionMenu), OUTLET(KvUsb1ModeInputSelectionTitle),
              act<&KvController::doUsb1ModeInputSelection>, send<Usb11Mode>, kUsb1InputItems,
              "USB11Mode", 0, 1, kInfoUsb1ModeInputSelection, HiddenSelection::kClearedLast},
};

constexpr auto kMenusInTurn = [] {
  auto menus = kMenus;
  std::sort(menus.begin(), menus.end(),
            [](const PanelMenu& left, const PanelMenu& right) { return left.turn < right.turn; });
  return menus;
}();

// One item for each row of kMenus.
using Choices = std::array<std::int32_t, kMenus.size()>;

void storeChoices(NSUserDefaults& preferences, const Choices& items) {
  for (std::size_t i = 0; i < kMenus.size(); ++i) preferences.setObject(items[i], kMenus[i].key);
  preferences.setObject(kChoicesVersion, "Version");
  preferences.synchronize();
}

// The row of the menu whose choice is stored under `key`. Another key does not compile.
consteval const PanelMenu& rowOf(std::string_view key) {
  return *std::find_if(kMenus.begin(), kMenus.end(),
                       [key](const PanelMenu& row) { return row.key == key; });
}

}  // namespace

constinit const std::span<const PanelMenu> kPanelMenus = kMenus;

// Actions -----------------------------------------------------------------------------------------

// The choice is on disk before the next one can be made.
void KvController::takeChoice(const NSPopUpButton& menu, void (*command)(std::int32_t item),
                              const char* key) {
  const std::int32_t item = menu.indexOfSelectedItem();
  command(item);
  KvPrefDictionary.setObject(item, key);
  KvPrefDictionary.synchronize();
}

// Takes the choice made in `sender`; takeOwn, in the row's own menu.
void KvController::take(const PanelMenu& row, const NSPopUpButton& sender) {
  takeChoice(sender, row.command, row.key);
}

void KvController::takeOwn(const PanelMenu& row) { take(row, row.menu.in(*this)); }

void KvController::doChannel1and2(const NSPopUpButton& sender) { take(rowOf("In12"), sender); }
void KvController::doChannel3and4(const NSPopUpButton& sender) { take(rowOf("In34"), sender); }
void KvController::doChannel5and6(const NSPopUpButton& sender) { take(rowOf("In56"), sender); }
void KvController::doLineOut(const NSPopUpButton& sender) { take(rowOf("Out12"), sender); }
void KvController::doDigitalOut(const NSPopUpButton& sender) { take(rowOf("Out34"), sender); }

void KvController::doLine12Out(const NSPopUpButton& sender) {
  takeChoice(sender, send<DoLine12Out>, "Out12");
}

void KvController::doLine34Out(const NSPopUpButton& sender) {
  takeChoice(sender, send<DoLine34Out>, "Out34");
}

void KvController::doSampleClockSource(const NSControl&) { takeOwn(rowOf("ClockSource")); }
void KvController::doUsb1ModeInputSelection(const NSControl&) { takeOwn(rowOf("USB11Mode")); }
void KvController::doDigitalOutputFormat(const NSControl&) { takeOwn(rowOf("DigOutFormat")); }
void KvController::doCoreAudioPerformance(const NSControl&) { takeOwn(rowOf("AudioPerformance")); }

// Stored choices ----------------------------------------------------------------------------------

void KvController::InitRoutingValuesAndSet(bool send) {
  for (const PanelMenu& row : kMenusInTurn) {
    const std::int32_t item = intValue(KvPrefDictionary.objectForKey(row.key));
    if (send) row.command(item);
    row.menu.in(*this).selectItemAtIndex(item);
  }
}

void KvController::loadPrefs() {
  KvPrefDictionary = NSUserDefaults::standardUserDefaults();
  const auto version = KvPrefDictionary.objectForKey("Version");
  const auto* text = version ? version->as<std::string>() : nullptr;
  if (text && *text == kChoicesVersion) return;
  Choices defaults;
  std::transform(kMenus.begin(), kMenus.end(), defaults.begin(),
                 [](const PanelMenu& row) { return row.defaultItem; });
  storeChoices(KvPrefDictionary, defaults);
}

void KvController::savePrefs() { KvPrefDictionary.synchronize(); }

void KvController::setPrefsDictionaryWithValues(std::int32_t in12, std::int32_t in34,
                                                std::int32_t in56, std::int32_t out12,
                                                std::int32_t out34, std::int32_t digOutFormat,
                                                std::int32_t clockSource,
                                                std::int32_t audioPerformance,
                                                std::int32_t usb11Mode) {
  // In the order of kMenus. The array's size is deduced, so a missing choice does not compile.
  storeChoices(KvPrefDictionary, std::array{in12, in34, in56, out12, out34, clockSource,
                                            digOutFormat, audioPerformance, usb11Mode});
}

void KvController::GetRoutingValues() {
  const std::int32_t in12 = GetChannel1and2();
  const std::int32_t in34 = GetChannel3and4();
  const std::int32_t in56 = GetChannel5and6();
  const std::int32_t out12 = GetLineOut();
  const std::int32_t out34 = GetDigitalOut();
  const std::int32_t digOutFormat = GetDigitalOutFormat();
  const std::int32_t clockSource = GetSampleClockSource();
  const std::int32_t usb11Mode = getUSB1Mode();
  setPrefsDictionaryWithValues(in12, in34, in56, out12, out34, digOutFormat, clockSource, 0,
                               usb11Mode);
  InitRoutingValuesAndSet(false);
}

void KvController::ShowRoutingValues() {
  const std::int32_t in12 = GetChannel1and2();
  const std::int32_t in34 = GetChannel3and4();
  const std::int32_t in56 = GetChannel5and6();
  const std::int32_t out12 = GetLineOut();
  const std::int32_t out34 = GetDigitalOut();
  platform::printOutput("Config In: %d %d %d, Out: %d %d Format: %d\n", in12, in34, in56, out12,
                        out34, GetDigitalOutFormat());
}

void KvController::doGetRoutingValues(const NSControl& /*sender*/) { ShowRoutingValues(); }

// Layout and bits ---------------------------------------------------------------------------------

void KvController::setLeftLatencyWidgets() { setLatencyWidgets(kLeftLatencyX); }

void KvController::setCenterLatencyWidgets() { setLatencyWidgets(kCenterLatencyX); }

void KvController::setLatencyWidgets(double x) {
  for (NSView widget : {NSView(KvCoreAudioPerformanceMenu), NSView(KvCoreAudioPerformanceTitle)}) {
    NSRect frame = widget.frame();
    frame.origin.x = x;
    widget.setFrame(frame);
  }
  KvCoreAudioPerformanceTitle.superview().display();
}

void KvController::setBitOfByteTo(std::int32_t bit, std::uint8_t* byte, std::int32_t value) {
  const auto mask = static_cast<std::uint8_t>(1u << (bit & 31));
  *byte = static_cast<std::uint8_t>(value ? *byte | mask : *byte & ~mask);
}

// SPDX-License-Identifier: MIT
// The menu actions, and the stored choices on their way to the device and the menus.
#include <cstdio>

#include "app/kv_controller.h"
#include "io/audio_device.h"
#include "io/option_commands.h"

namespace {

constexpr double kLeftLatencyX = 13;
constexpr double kCenterLatencyX = 130;

// What InitRoutingValuesAndSet goes through. The input selection and the output format reach the
// device before the routings, and the clock source after them.
struct Choice {
  const char* key;
  void (*send)(std::int32_t index);
  NSPopUpButton KvController::*menu;
};
constexpr Choice kChoices[] = {
    {"USB11Mode", Usb11Mode, &KvController::KvUsb1ModeInputSelectionMenu},
    {"DigOutFormat", DigitalOutputFormat, &KvController::KvDigitalOutputFormatMenu},
    {"Out12", [](std::int32_t index) { DoLineOut(index); }, &KvController::KvIoROutLineMenu},
    {"Out34", [](std::int32_t index) { DoDigitalOut(index); }, &KvController::KvIoROutDigitalMenu},
    {"In12", [](std::int32_t index) { DoChannel1and2(index); }, &KvController::KvIoRInCh1And2Menu},
    {"In34", [](std::int32_t index) { DoChannel3and4(index); }, &KvController::KvIoRInCh3And4Menu},
    {"In56", [](std::int32_t index) { DoChannel5and6(index); }, &KvController::KvIoRInCh5And6Menu},
    {"ClockSource", SampleClockSource, &KvController::KvSampleClockSourceMenu},
    {"AudioPerformance", AudioPerformance, &KvController::KvCoreAudioPerformanceMenu},
};

}  // namespace

// The choice is on disk before the next one can be made.
template <typename Command>
void KvController::takeChoice(const NSPopUpButton& menu, Command command, const char* key) {
  const std::int32_t index = menu.indexOfSelectedItem();
  command(index);
  KvPrefDictionary.setObject(index, key);
  KvPrefDictionary.synchronize();
}

void KvController::doChannel1and2(const NSPopUpButton& sender) {
  takeChoice(sender, DoChannel1and2, "In12");
}

void KvController::doChannel3and4(const NSPopUpButton& sender) {
  takeChoice(sender, DoChannel3and4, "In34");
}

void KvController::doChannel5and6(const NSPopUpButton& sender) {
  takeChoice(sender, DoChannel5and6, "In56");
}

void KvController::doLineOut(const NSPopUpButton& sender) {
  takeChoice(sender, DoLineOut, "Out12");
}

void KvController::doDigitalOut(const NSPopUpButton& sender) {
  takeChoice(sender, DoDigitalOut, "Out34");
}

void KvController::doLine12Out(const NSPopUpButton& sender) {
  takeChoice(sender, DoLine12Out, "Out12");
}

void KvController::doLine34Out(const NSPopUpButton& sender) {
  takeChoice(sender, DoLine34Out, "Out34");
}

void KvController::doSampleClockSource(const NSControl& /*sender*/) {
  takeChoice(KvSampleClockSourceMenu, SampleClockSource, "ClockSource");
}

void KvController::doUsb1ModeInputSelection(const NSControl& /*sender*/) {
  takeChoice(KvUsb1ModeInputSelectionMenu, Usb11Mode, "USB11Mode");
}

void KvController::doDigitalOutputFormat(const NSControl& /*sender*/) {
  takeChoice(KvDigitalOutputFormatMenu, DigitalOutputFormat, "DigOutFormat");
}

void KvController::doCoreAudioPerformance(const NSControl& /*sender*/) {
  takeChoice(KvCoreAudioPerformanceMenu, AudioPerformance, "AudioPerformance");
}

void KvController::InitRoutingValuesAndSet(bool send) {
  for (const Choice& choice : kChoices) {
    const std::int32_t index = intValue(KvPrefDictionary.objectForKey(choice.key));
    if (send) choice.send(index);
    (this->*choice.menu).selectItemAtIndex(index);
  }
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
  std::printf("Config In: %d %d %d, Out: %d %d Format: %d\n", in12, in34, in56, out12, out34,
              GetDigitalOutFormat());
}

void KvController::doGetRoutingValues(const NSControl& /*sender*/) { ShowRoutingValues(); }

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

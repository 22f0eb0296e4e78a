// SPDX-License-Identifier: MIT
// What keeps the panel from working as the user expects: back ends set notices, the window shows
// them. No seam: the logic neither sets nor reads them, and in a program without a window nobody
// does. A notice stays until the event that ends it.
#pragma once

// The most important one first.
enum class Notice {
  kDriverAbsent,        // no driver service owns its name on the session bus
  kAudioDeviceAbsent,   // no audio device has the routing property
  kChoiceRefused,       // the interface did not take the last choice
  kRoutingUnconfirmed,  // the last routing was not confirmed in time
  kHelpNotOpened,       // there is no program that opens the help page
  kCount
};

// Any thread.
void setNotice(Notice notice, bool present);
bool hasNotice(Notice notice);

// Calls `changed` with `context` after each change, on the thread that caused it, which may hold
// locks: it must neither wait nor use notices. One listener at a time; null for none. Once this
// returns, the former one is not called any more.
void setNoticeListener(void (*changed)(void* context), void* context);

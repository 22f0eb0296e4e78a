// SPDX-License-Identifier: MIT
// Device registry seam: the services that drivers publish, notifications about them, their
// properties, and connections that carry request records to their driver.
//
// Handles are 32-bit numbers. 0 names nothing; every operation takes it and fails or does nothing.
// An object that an operation hands out carries one reference for the caller, who gives it back
// with IOObjectRelease. Two handles of one published service are equal for as long as anyone holds
// one. A service that terminated keeps its handle until the last reference is gone; its operations
// fail.
//
// All operations run on one thread, the one whose run loop carries the notifications, and every
// callback runs there, from inside CFRunLoopSource::perform of the notification port's source.
//
// No operation waits on a driver for longer than kRegistryCallLimitMs. A connection whose answer
// was late is dropped inside (a late answer could be taken for the next one's) and opened again by
// the next call on it. When that call fails too, those that follow it without a break of
// kRegistryBreakMs fail at once, for at most kRegistryPauseMs: of the many that a panel makes one
// after the other, a hung driver delays two, and the next that the user causes finds it again.
//
// Back ends: dbus/ (driver services on the session bus), memory/ (scripted devices).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/run_loop/run_loop.h"
#include "platform/values/values.h"

using IOReturn = std::int32_t;
using natural_t = std::uint32_t;
using mach_port_t = std::uint32_t;
using io_object_t = std::uint32_t;
using io_service_t = io_object_t;
using io_iterator_t = io_object_t;
using io_connect_t = io_object_t;

inline constexpr int kRegistryCallLimitMs = 250;
inline constexpr int kRegistryPauseMs = 250;
inline constexpr int kRegistryBreakMs = 50;

inline constexpr IOReturn kIOReturnSuccess = 0;
inline constexpr IOReturn kIOReturnError = static_cast<IOReturn>(0xe00002bc);
inline constexpr IOReturn kIOReturnNoDevice = static_cast<IOReturn>(0xe00002c0);
inline constexpr IOReturn kIOReturnBadArgument = static_cast<IOReturn>(0xe00002c2);
inline constexpr IOReturn kIOReturnNotOpen = static_cast<IOReturn>(0xe00002cd);
inline constexpr IOReturn kIOReturnTimeout = static_cast<IOReturn>(0xe00002d6);
inline constexpr IOReturn kIOReturnOverrun = static_cast<IOReturn>(0xe00002e8);

inline constexpr const char* kIOPublishNotification = "IOServicePublish";
inline constexpr const char* kIOTerminatedNotification = "IOServiceTerminate";
inline constexpr const char* kIOGeneralInterest = "IOGeneralInterest";

// The key of a matching dictionary that holds the service class name.
inline constexpr const char* kIOProviderClassKey = "IOProviderClass";

struct IONotificationPort;
using IONotificationPortRef = IONotificationPort*;

// Called when services came into an iterator that had been drained. The callee drains it again,
// which arms the next call.
using IOServiceMatchingCallback = void (*)(void* refcon, io_iterator_t iterator);

// Called for each message of a driver about one service. `argument` holds the bytes that came with
// the message, none for a message without argument, and lives until the callback returns.
using IOServiceInterestCallback = void (*)(void* refcon, io_service_t service,
                                           natural_t messageType,
                                           std::span<const std::uint8_t> argument);

// Opens the registry. Success stores a non-zero port, which the caller gives back with
// mach_port_deallocate; every other operation needs one port to be held. Failure: no registry can
// be reached; the port becomes 0.
IOReturn IOMasterPort(mach_port_t* port);
void mach_port_deallocate(mach_port_t port);

// A dictionary that matches the services of class `className`; empty when the name is empty.
CFDictionary IOServiceMatching(std::string_view className);

// A notification port, owned by the caller until IONotificationPortDestroy, which also ends its
// notifications. Null on failure.
IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort);
void IONotificationPortDestroy(IONotificationPortRef port);

// The source that performs the port's callbacks; null on failure. The same source at every call.
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port);

// Asks for publish or terminate notifications (`kind`) of the services that `matching` matches. On
// success *iterator receives, for publish, the services present now, for terminate none. The
// notification is armed when the iterator has been drained once and lasts until the iterator is
// released. Services that come while an iterator is being drained are returned by that same drain,
// except that no iterator of a port returns a service before the ones that another of its armed
// iterators received earlier have been taken: what happened first is seen first. The same holds
// between iterators that are drained for the first time.
IOReturn IOServiceAddMatchingNotification(IONotificationPortRef port, const char* kind,
                                          const CFDictionary& matching,
                                          IOServiceMatchingCallback callback, void* refcon,
                                          io_iterator_t* iterator);

// Asks for the messages of `service`'s driver; `kind` is kIOGeneralInterest. On success
// *notification receives an object whose release ends it; the callback is never called after that.
IOReturn IOServiceAddInterestNotification(IONotificationPortRef port, io_service_t service,
                                          const char* kind, IOServiceInterestCallback callback,
                                          void* refcon, io_object_t* notification);

// An iterator over the matching services that are present now.
IOReturn IOServiceGetMatchingServices(mach_port_t masterPort, const CFDictionary& matching,
                                      io_iterator_t* iterator);

// The next service, with a reference for the caller; 0 when none is left.
io_object_t IOIteratorNext(io_iterator_t iterator);

void IOObjectRetain(io_object_t object);
void IOObjectRelease(io_object_t object);

// Reads the properties of `service` from its driver. Failure leaves `properties` untouched.
IOReturn IORegistryEntryCreateCFProperties(io_service_t service, CFDictionary* properties);

// Opens a connection of `type` to the service's driver. Success stores a non-zero connection, which
// the caller gives back with IOServiceClose; failure stores 0.
IOReturn IOServiceOpen(io_service_t service, std::uint32_t type, io_connect_t* connection);
IOReturn IOServiceClose(io_connect_t connection);

// Sends `input` with method `selector` and stores the answer at the start of `output`, whose other
// bytes keep what they held; *outputSize receives the number of bytes answered. Both spans may be
// the same memory. An answer larger than `output` fails with kIOReturnOverrun and stores nothing;
// no answer in time fails with kIOReturnTimeout.
IOReturn IOConnectMethodStructureIStructureO(io_connect_t connection, std::uint32_t selector,
                                             std::span<const std::uint8_t> input,
                                             std::span<std::uint8_t> output,
                                             std::size_t* outputSize);

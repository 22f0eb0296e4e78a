// SPDX-License-Identifier: MIT
// Device registry seam: the services that drivers publish, notifications about them, their
// properties, and driver connections (io_connect_t), which carry request records.
//
// Ownership: a handle is a 32-bit number; 0 names no object, and an operation on 0 fails or does
// nothing. An object that an operation returns carries one reference for the caller, who releases
// it with IOObjectRelease. All handles of one published service are equal as long as a client holds
// one. A terminated service keeps its handle until its last reference is released; operations on it
// fail.
//
// Thread: all operations run on the thread whose run loop carries the notifications. Callbacks run
// there too, inside CFRunLoopSource::perform of the notification port's source.
//
// Limits: an operation waits for a driver at most kRegistryCallLimitMs. After a call times out, its
// driver connection is closed inside, because a late answer could be mistaken for the next call's,
// and the next call opens it again. If that call fails too, further calls fail at once for
// kRegistryPauseMs, or until there was no call for kRegistryBreakMs. So a hung driver delays only
// two calls of a series, and the user's next action tries again.
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

// Called when services were added to a drained iterator. The callback drains it again, which arms
// the next call.
using IOServiceMatchingCallback = void (*)(void* refcon, io_iterator_t iterator);

// Called for each message that a driver sends about one service. `argument` holds the message's
// bytes, may be empty, and lives until the callback returns.
using IOServiceInterestCallback = void (*)(void* refcon, io_service_t service,
                                           natural_t messageType,
                                           std::span<const std::uint8_t> argument);

// Opens the registry. On success stores a master port, not 0, which the caller gives back with
// mach_port_deallocate. Every other operation fails unless a master port is held. On failure, when
// no registry can be reached, stores 0.
IOReturn IOMasterPort(mach_port_t* port);
void mach_port_deallocate(mach_port_t port);

// A dictionary that matches the services of class `className`; an empty dictionary, which matches
// nothing, for an empty name.
CFDictionary IOServiceMatching(std::string_view className);

// Creates a notification port; null on failure. The caller owns it and destroys it with
// IONotificationPortDestroy, which ends its notifications.
IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort);
void IONotificationPortDestroy(IONotificationPortRef port);

// The run loop source that performs the port's callbacks, the same at every call; null on failure.
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port);

// Requests publish or terminate notifications (`kind`) of the services that `matching` matches. On
// success stores an iterator: for publish it holds the services present, for terminate it is empty.
// Draining the iterator once arms the notification, which lasts until the iterator is released.
//
// Services that are added to an iterator while it is drained are returned by the same drain, with
// one exception that keeps events in order: an iterator returns no service before the client has
// taken the services that another armed iterator of the same port received earlier. The same holds
// between iterators that are drained for the first time.
IOReturn IOServiceAddMatchingNotification(IONotificationPortRef port, const char* kind,
                                          const CFDictionary& matching,
                                          IOServiceMatchingCallback callback, void* refcon,
                                          io_iterator_t* iterator);

// Requests the messages of the driver of `service`; `kind` is kIOGeneralInterest. On success stores
// an object: releasing it ends the notification, and `callback` is not called again.
IOReturn IOServiceAddInterestNotification(IONotificationPortRef port, io_service_t service,
                                          const char* kind, IOServiceInterestCallback callback,
                                          void* refcon, io_object_t* notification);

// Stores an iterator over the matching services that are present.
IOReturn IOServiceGetMatchingServices(mach_port_t masterPort, const CFDictionary& matching,
                                      io_iterator_t* iterator);

// Returns the next service, with one reference for the caller; 0 at the end.
io_object_t IOIteratorNext(io_iterator_t iterator);

void IOObjectRetain(io_object_t object);
void IOObjectRelease(io_object_t object);

// Reads the properties of `service` from its driver. On failure `properties` is unchanged.
IOReturn IORegistryEntryCreateCFProperties(io_service_t service, CFDictionary* properties);

// Opens a connection of `type` to the service's driver. On success stores the connection, not 0,
// which the caller closes with IOServiceClose; on failure stores 0.
IOReturn IOServiceOpen(io_service_t service, std::uint32_t type, io_connect_t* connection);
IOReturn IOServiceClose(io_connect_t connection);

// Sends `input` with method `selector` and stores the answer at the start of `output`; the other
// bytes of `output` are unchanged. *outputSize receives the size of the answer in bytes. Both spans
// may be the same memory. Returns kIOReturnOverrun and stores nothing when the answer is larger
// than `output`, kIOReturnTimeout when no answer arrives in time.
IOReturn IOConnectMethodStructureIStructureO(io_connect_t connection, std::uint32_t selector,
                                             std::span<const std::uint8_t> input,
                                             std::span<std::uint8_t> output,
                                             std::size_t* outputSize);

// SPDX-License-Identifier: MIT
// Device registry seam: the services that drivers publish, notifications about them, their
// properties, and connections that carry request records to their driver.
//
// Handles are 32-bit numbers. 0 is no handle; every operation accepts it and fails or does nothing.
// An object that an operation returns carries one reference for the caller, who releases it with
// IOObjectRelease. While a client holds a handle of a published service, further handles of the
// service are equal to it. A terminated service keeps its handle until the last reference is
// released; its operations fail. An operation that stores a handle stores 0 when it fails.
//
// All operations run on one thread, the thread of the run loop that has the notification port's
// source. Callbacks run there, from inside CFRunLoopSource::perform of that source.
//
// No operation waits on a driver for longer than kRegistryCallLimitMs. After a timeout the
// connection's channel is closed, since a late answer could be taken for the next request's, and
// the next call opens another. When that call fails too, further calls fail at once until the
// caller has made no call for kRegistryBreakMs, or for kRegistryPauseMs. So a hung driver delays
// only two of the many calls that a panel makes in a row, and the user's next action tries again.
//
// All waits on drivers between two turns of the run loop share one second (DriverWaits); after it
// calls fail at once. When a driver answers again after calls failed by its silence, a service
// whose calls failed in the turn in which it was taken from an iterator is terminated and published
// anew; for another one the driver's message that the state changed is sent to its interests. So a
// client that follows notifications shows the truth without a timer of its own.
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

// Called when services were added to an iterator that had been drained. The callee drains it again,
// which arms the next call.
using IOServiceMatchingCallback = void (*)(void* refcon, io_iterator_t iterator);

// Called for each message of a driver about one service. `argument` holds the message's bytes, is
// empty for a message without argument, and lives until the callback returns.
using IOServiceInterestCallback = void (*)(void* refcon, io_service_t service,
                                           natural_t messageType,
                                           std::span<const std::uint8_t> argument);

// Opens the registry. Success stores a non-zero port, which the caller releases with
// mach_port_deallocate; all other operations but releases fail while no port is held. A registry
// that cannot be reached yet but may appear is empty until it does. Failure: it cannot appear.
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

// Requests publish or terminate notifications (`kind`) of the services that `matching` matches. On
// success *iterator is an iterator over the services present now (publish) or an empty iterator
// (terminate). The notification is armed when the iterator has been drained once, and ends when the
// iterator is released. A service that arrives while the iterator is being drained is returned by
// the same drain, unless another armed iterator of the port holds an earlier event: iterators of
// one port return events in the order in which they happened. The same holds between iterators that
// are drained for the first time. A service that terminates before any iterator returned it is
// returned by no publish or terminate iterator.
IOReturn IOServiceAddMatchingNotification(IONotificationPortRef port, const char* kind,
                                          const CFDictionary& matching,
                                          IOServiceMatchingCallback callback, void* refcon,
                                          io_iterator_t* iterator);

// Requests the messages of `service`'s driver; `kind` is kIOGeneralInterest. On success
// *notification is an object whose release ends the notification; the callback is never called
// after that. A message is dropped while another one of its type, length and first 8 bytes (size
// and number of a driver's message) waits to be delivered. Of more than 4096 that wait, the oldest
// are dropped.
IOReturn IOServiceAddInterestNotification(IONotificationPortRef port, io_service_t service,
                                          const char* kind, IOServiceInterestCallback callback,
                                          void* refcon, io_object_t* notification);

// An iterator over the matching services that are present now.
IOReturn IOServiceGetMatchingServices(mach_port_t masterPort, const CFDictionary& matching,
                                      io_iterator_t* iterator);

// The next service, with a reference for the caller; 0 at the end.
io_object_t IOIteratorNext(io_iterator_t iterator);

void IOObjectRetain(io_object_t object);
void IOObjectRelease(io_object_t object);

// Reads the properties of `service` from its driver. Failure leaves `properties` untouched.
IOReturn IORegistryEntryCreateCFProperties(io_service_t service, CFDictionary* properties);

// Opens a connection of `type` to the service's driver. Success stores a non-zero connection, which
// the caller closes with IOServiceClose.
IOReturn IOServiceOpen(io_service_t service, std::uint32_t type, io_connect_t* connection);
IOReturn IOServiceClose(io_connect_t connection);

// Sends `input` with method `selector` and stores the answer at the start of `output`, whose other
// bytes are left alone; *outputSize is the answer's size in bytes. Both spans may be the same
// memory. An answer larger than `output` fails with kIOReturnOverrun and stores nothing; no answer
// in time fails with kIOReturnTimeout.
IOReturn IOConnectMethodStructureIStructureO(io_connect_t connection, std::uint32_t selector,
                                             std::span<const std::uint8_t> input,
                                             std::span<std::uint8_t> output,
                                             std::size_t* outputSize);

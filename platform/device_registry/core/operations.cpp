// SPDX-License-Identifier: MIT
// The operations that every back end has in common.
#include "platform/device_registry/core/registry.h"
#include "platform/device_registry/device_registry.h"

using device_registry::registry;

CFDictionary IOServiceMatching(std::string_view className) {
  if (className.empty()) return {};
  return {{kIOProviderClassKey, std::string(className)}};
}

void IONotificationPortDestroy(IONotificationPortRef port) { registry().destroyPort(port); }

io_object_t IOIteratorNext(io_iterator_t iterator) { return registry().next(iterator); }

void IOObjectRetain(io_object_t object) { registry().retain(object); }

void IOObjectRelease(io_object_t object) { registry().release(object); }

IOReturn IOServiceClose(io_connect_t connection) { return registry().close(connection); }

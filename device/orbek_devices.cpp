// SPDX-License-Identifier: MIT
#include "device/orbek_devices.h"

#include <algorithm>
#include <cstdint>

#include "device/io_object.h"
#include "platform/preferences/preferences.h"
#include "protocol/records.h"
#include "protocol/services.h"
#include "protocol/wire.h"

namespace {

constexpr const char* kListKey = "DevicesList";

// Owns a master port of the registry for one look-up; 0 when no registry can be reached.
class MasterPort {
 public:
  MasterPort() { IOMasterPort(&port_); }
  ~MasterPort() { mach_port_deallocate(port_); }
  MasterPort(const MasterPort&) = delete;
  MasterPort& operator=(const MasterPort&) = delete;

  mach_port_t get() const { return port_; }

 private:
  mach_port_t port_ = 0;
};

std::optional<std::uint64_t> uidOf(const CFDictionary& device) {
  const auto* data = CFDictionaryGet<CFData>(device, kOrbekUidKey);
  if (!data) return std::nullopt;
  return wire::load<std::uint64_t>(*data, 0);
}

std::optional<std::uint64_t> uidOf(const CFValue& entry) {
  const auto* device = entry.as<CFDictionary>();
  return device ? uidOf(*device) : std::nullopt;
}

void keep(const CFArray& list) {
  const std::string application = CFBundleGetIdentifier();
  CFPreferencesSetAppValue(kListKey, CFValue(list), application);
  CFPreferencesAppSynchronize(application);
}

}  // namespace

void getOrbekDevicesFromRegistry(CFArray& out) {
  const MasterPort port;
  io_iterator_t found = 0;
  if (IOServiceGetMatchingServices(port.get(), IOServiceMatching(kOrbekServiceClass), &found) !=
      kIOReturnSuccess) {
    return;
  }
  const IoObject iterator(found);

  out.clear();
  while (const IoObject service{IOIteratorNext(iterator.get())}) {
    CFDictionary properties;
    if (IORegistryEntryCreateCFProperties(service.get(), &properties) != kIOReturnSuccess) continue;
    if (CFNumberGetValue<std::uint16_t>(properties, kVendorIdKey) == kOrbekVendorId) {
      out.emplace_back(std::move(properties));
    }
  }
}

void getOrbekDevicesFromPrefs(CFArray& out) {
  const std::optional<CFValue> kept = CFPreferencesCopyAppValue(kListKey, CFBundleGetIdentifier());
  const auto* list = kept ? kept->as<CFArray>() : nullptr;
  out = list ? *list : CFArray();
}

bool addOrbekDeviceToDeviceList(CFArray& list, const CFDictionary& device) {
  const std::optional<std::uint64_t> uid = uidOf(device);
  if (!uid) return false;
  // On purpose: the device's UID is compared with itself, once per entry, never with the entry's.
  const bool isListed = !list.empty() && *uid != 0;
  if (isListed) return false;
  list.emplace_back(device);
  keep(list);
  return true;
}

bool removeOrbekDeviceFromDeviceList(CFArray& list, const CFDictionary& device) {
  const std::optional<std::uint64_t> uid = uidOf(device);
  if (!uid) return false;
  const auto entry = std::find_if(list.begin(), list.end(),
                                  [&](const CFValue& listed) { return uidOf(listed) == uid; });
  if (entry == list.end()) return false;
  list.erase(entry);
  keep(list);
  return true;
}

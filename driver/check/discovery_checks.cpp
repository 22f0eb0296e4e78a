// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>

#include "driver/check/session.h"
#include "protocol/options.h"
#include "protocol/records.h"
#include "protocol/services.h"

namespace check {

namespace {

Value propertiesOf(Session& session, Verdict& verdict) {
  const Value properties = session.properties();
  verdict.expect(at(properties, {"type"}) == "a{sv}", "a variant of a{sv}", textOf(properties));
  return at(properties, {"value"});
}

void expectType(Verdict& verdict, const Value& dictionary, const char* key, const char* type) {
  verdict.expect(at(dictionary, {key, "type"}) == type, std::string(key) + " of type " + type,
                 textOf(at(dictionary, {key})));
}

bool isOrbek(const Session& session) {
  return at(session.service(), {kClassNameProperty, "value"}) == kOrbekServiceClass;
}

void checkObjects(Session& session, Verdict& verdict) {
  const std::string below = std::string(kDriverPath) + "/";
  for (const std::string& path : session.services()) {
    verdict.expect(path.starts_with(below), "objects below " + std::string(kDriverPath), path);
  }
}

void checkName(Session& session, Verdict& verdict) {
  const Reply reply = session.bus->askBus("GetNameOwner", kDriverName);
  verdict.expect(reply.succeeded, "an owner", reply.error);
}

void checkActivation(Session& session, Verdict& verdict) {
  const Reply reply = session.bus->askBus("ListActivatableNames");
  const Value names = reply.values.empty() ? Value::array() : reply.values[0];
  if (std::find(names.begin(), names.end(), kDriverName) == names.end()) {
    verdict.skip("the driver is not installed for this session bus");
  }
}

void checkClassName(Session& session, Verdict& verdict) {
  const Value& name = at(session.service(), {kClassNameProperty});
  verdict.expect(at(name, {"type"}) == "s", "ClassName of type s", textOf(name));
  const Value& value = at(name, {"value"});
  verdict.expect(value == kVX310DriverClass || value == kOrbekServiceClass, "a class name in use",
                 textOf(value));
}

void checkProperties(Session& session, Verdict& verdict) {
  const Value read = propertiesOf(session, verdict);
  const Value& listed = at(session.service(), {kRegistryProperties, "value"});
  verdict.expect(listed == read, "the same from GetManagedObjects as from Get", textOf(listed));
}

void checkIds(Session& session, Verdict& verdict) {
  const Value properties = propertiesOf(session, verdict);
  expectType(verdict, properties, kVendorIdKey, "q");
  expectType(verdict, properties, kProductIdKey, "q");
  const Value& vendor = at(properties, {kVendorIdKey, "value"});
  const Value& product = at(properties, {kProductIdKey, "value"});
  const bool right = isOrbek(session) ? vendor == kOrbekVendorId
                                      : vendor == kVX310VendorId && product == kVX310ProductId;
  verdict.expect(right, "the ids of the family", textOf(vendor) + " and " + textOf(product));
}

void checkProductName(Session& session, Verdict& verdict) {
  expectType(verdict, propertiesOf(session, verdict), kProductNameKey, "s");
}

void checkRoutings(Session& session, Verdict& verdict) {
  const Value properties = propertiesOf(session, verdict);
  expectType(verdict, properties, kRoutingsKey, "a{sv}");
  const auto routing = [&](bool input, std::int32_t pair) {
    expectType(verdict, at(properties, {kRoutingsKey, "value"}), routingKey(input, pair).c_str(),
               "i");
  };
  for (std::int32_t pair = 0; pair < kOutputPairs; ++pair) routing(false, pair);
  for (std::int32_t pair = 0; pair < kInputPairs; ++pair) routing(true, pair);
}

void checkUid(Session& session, Verdict& verdict) {
  if (!isOrbek(session)) return verdict.skip("the interface is not of the sibling family");
  const Value properties = propertiesOf(session, verdict);
  expectType(verdict, properties, kOrbekUidKey, "ay");
  const Value& uid = at(properties, {kOrbekUidKey, "value"});
  verdict.expect(isArrayOf(8, uid), "8 bytes", textOf(uid));
}

void checkDescriptorIds(Session& session, Verdict& verdict) {
  const Value properties = propertiesOf(session, verdict);
  const auto answer = session.need(VQ_Dispatch(VQ_Command::kGetDeviceDescriptor), verdict);
  if (!answer) return;
  const auto descriptor = VQ_DeviceDescriptor::decode(answer->payload());
  verdict.expect(at(properties, {kVendorIdKey, "value"}) == descriptor.vendor &&
                     at(properties, {kProductIdKey, "value"}) == descriptor.product,
                 "the ids of the properties",
                 std::to_string(descriptor.vendor) + " and " + std::to_string(descriptor.product));
}

void checkPing(Session& session, Verdict& verdict) {
  verdict.expect(session.bus->ownerAnswers(), "a reply", "none");
}

constexpr std::array kChecks = {
    Check{"well-known name: com.vantrel.Driver1; one driver service owns it at a time", checkName},
    Check{"published services: objects below that path with the interface "
          "com.vantrel.Driver1.Service",
          checkObjects},
    Check{"An installed driver has a bus activation file", checkActivation},
    Check{"vx310ctl also calls Ping (org.freedesktop.DBus.Peer)", checkPing},
    Check{"property ClassName: the kind of driver, see below; constant", checkClassName},
    Check{"property Properties: the registry properties, see below; PropertiesChanged is sent with "
          "the new value",
          checkProperties},
    Check{"idVendor, idProduct: USB ids; 0x7F21 and 0x5D12 for the VX-310, vendor 0x7F33 for the "
          "sibling family",
          checkIds},
    Check{"USB Product Name: shown to the user as the device's name", checkProductName},
    Check{"AjExtData: the present routings: RoutingOut0, RoutingOut1, RoutingIn0, RoutingIn1, "
          "RoutingIn2, each an i",
          checkRoutings},
    Check{"OrbekUID: sibling family only: the unit's 64-bit id, 8 bytes", checkUid},
    Check{"A client accepts an interface as a VX-310 only if the device descriptor (command 21) "
          "has the ids",
          checkDescriptorIds},
};

}  // namespace

std::span<const Check> discoveryChecks() { return kChecks; }

}  // namespace check

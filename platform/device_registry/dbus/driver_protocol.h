// SPDX-License-Identifier: MIT
// The names by which driver services are found on the session bus.
#pragma once

namespace device_registry {

inline constexpr const char* kDriverName = "com.vantrel.Driver1";
// The object manager; every published service is an object below it.
inline constexpr const char* kDriverPath = "/com/vantrel/Driver1";
// A published service: properties ClassName (s) and Properties (a{sv}), method Open (u type) -> h,
// signal Message (u type, ay argument).
inline constexpr const char* kServiceInterface = "com.vantrel.Driver1.Service";
inline constexpr const char* kObjectManagerInterface = "org.freedesktop.DBus.ObjectManager";

}  // namespace device_registry

// SPDX-License-Identifier: MIT
// What the driver's services are called on the bus.
#pragma once

namespace driver {

inline constexpr const char* kBusName = "com.vantrel.Driver1";
inline constexpr const char* kManagerPath = "/com/vantrel/Driver1";
inline constexpr const char* kServiceInterface = "com.vantrel.Driver1.Service";
inline constexpr const char* kServicePathPrefix = "/com/vantrel/Driver1/service";

inline constexpr const char* kSimulatorPath = "/com/vantrel/Simulator1";
inline constexpr const char* kSimulatorInterface = "com.vantrel.Simulator1";
inline constexpr const char* kRefusedError = "com.vantrel.Simulator1.Error.Refused";
inline constexpr const char* kNotPluggedError = "com.vantrel.Simulator1.Error.NotPlugged";
inline constexpr const char* kNoInterfaceError = "com.vantrel.Simulator1.Error.NoInterface";

}  // namespace driver

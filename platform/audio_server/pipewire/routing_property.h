// SPDX-License-Identifier: MIT
// How the driver's routing property stands in the Props of its node: in the struct `params`, the
// key kRoutingProperty followed by opaque bytes (SPA type Bytes).
#pragma once

#include <spa/pod/pod.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

struct spa_pod;

namespace pipewire {

// The entry's bytes, which lie in `props`; none when it has no such entry or one of another type.
// `props` may be null and may hold anything.
std::optional<std::span<const std::uint8_t>> findRoutingBytes(const spa_pod* props);

// A Props object that holds nothing but the entry with these bytes.
class RoutingProps {
 public:
  explicit RoutingProps(std::span<const std::uint8_t> bytes);

  const spa_pod* pod() const;

 private:
  std::vector<std::uint64_t> storage_;  // pods are aligned to 8 bytes
};

}  // namespace pipewire

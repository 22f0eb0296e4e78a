// SPDX-License-Identifier: MIT
#include "platform/pipewire/pipewire.h"

#include <spa/param/param.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>
#include <spa/pod/parser.h>

#include <cstring>

#include "protocol/options.h"

namespace pipewire {

namespace {

// Maximum size of the pods around the bytes.
constexpr std::size_t kOverhead = 256;

}  // namespace

std::optional<std::span<const std::uint8_t>> findRoutingBytes(const spa_pod* props) {
  if (!props || !spa_pod_is_object_type(props, SPA_TYPE_OBJECT_Props)) return std::nullopt;
  const spa_pod_prop* params = spa_pod_find_prop(props, nullptr, SPA_PROP_params);
  if (!params || !spa_pod_is_struct(&params->value)) return std::nullopt;

  spa_pod_parser parser;
  spa_pod_parser_pod(&parser, &params->value);
  spa_pod_frame frame;
  if (spa_pod_parser_push_struct(&parser, &frame) < 0) return std::nullopt;
  for (;;) {
    const char* key = nullptr;
    spa_pod* value = nullptr;
    if (spa_pod_parser_get_string(&parser, &key) < 0) return std::nullopt;
    if (spa_pod_parser_get_pod(&parser, &value) < 0) return std::nullopt;
    if (std::strcmp(key, kRoutingProperty) != 0) continue;
    const void* bytes = nullptr;
    std::uint32_t length = 0;
    if (spa_pod_get_bytes(value, &bytes, &length) < 0) return std::nullopt;
    return std::span(static_cast<const std::uint8_t*>(bytes), length);
  }
}

RoutingProps::RoutingProps(std::span<const std::uint8_t> bytes)
    : storage_((bytes.size() + kOverhead) / sizeof(std::uint64_t)) {
  spa_pod_builder builder;
  spa_pod_builder_init(&builder, storage_.data(),
                       static_cast<std::uint32_t>(storage_.size() * sizeof(std::uint64_t)));
  spa_pod_frame object;
  spa_pod_frame params;
  spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  spa_pod_builder_prop(&builder, SPA_PROP_params, 0);
  spa_pod_builder_push_struct(&builder, &params);
  spa_pod_builder_string(&builder, kRoutingProperty);
  spa_pod_builder_bytes(&builder, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  spa_pod_builder_pop(&builder, &params);
  spa_pod_builder_pop(&builder, &object);
}

const spa_pod* RoutingProps::pod() const {
  return reinterpret_cast<const spa_pod*>(storage_.data());
}

}  // namespace pipewire

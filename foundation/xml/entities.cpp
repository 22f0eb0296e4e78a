// SPDX-License-Identifier: MIT
#include "foundation/xml/entities.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace XML {

namespace {

struct Entity {
  char character;
  std::string_view name;
};

constexpr std::array<Entity, 5> kEntities = {
    {{'&', "&amp;"}, {'\'', "&apos;"}, {'>', "&gt;"}, {'<', "&lt;"}, {'"', "&quot;"}}};

constexpr std::array<bool, 256> kIsNamed = [] {
  std::array<bool, 256> named = {};
  for (const Entity& entity : kEntities) named[static_cast<unsigned char>(entity.character)] = true;
  return named;
}();

// The entity at the start of `text`, or null.
const Entity* entityAt(const char* text) {
  for (const Entity& entity : kEntities) {
    if (std::strncmp(text, entity.name.data(), entity.name.size()) == 0) return &entity;
  }
  return nullptr;
}

std::string_view nameOf(char c) {
  for (const Entity& entity : kEntities) {
    if (entity.character == c) return entity.name;
  }
  return {};
}

}  // namespace

void appendEncoded(std::string& out, std::string_view text) {
  const auto isNamed = [](char c) { return kIsNamed[static_cast<unsigned char>(c)]; };
  const char* from = text.data();
  const char* end = from + text.size();
  for (;;) {
    const char* named = std::find_if(from, end, isNamed);
    out.append(from, static_cast<std::size_t>(named - from));
    if (named == end) return;
    out.append(nameOf(*named));
    from = named + 1;
  }
}

void decodeInPlace(char* text) {
  const char* from = std::strchr(text, '&');
  if (from == nullptr) return;
  char* to = text + (from - text);
  while (*from != '\0') {
    const Entity* entity = *from == '&' ? entityAt(from) : nullptr;
    *to++ = entity != nullptr ? entity->character : *from;
    from += entity != nullptr ? entity->name.size() : 1;
  }
  *to = '\0';
}

void preStreaming(LumString& text) {
  std::string encoded;
  appendEncoded(encoded, text.view());
  text = encoded.c_str();
}

void postStreaming(LumString& text) {
  std::string decoded(text.view());
  decodeInPlace(decoded.data());
  text = decoded.c_str();
}

}  // namespace XML

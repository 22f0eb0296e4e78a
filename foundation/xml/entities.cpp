// SPDX-License-Identifier: MIT
#include "foundation/xml/entities.h"

#include <array>
#include <cstring>
#include <string_view>

#include "foundation/xml/writer.h"

namespace XML {

namespace {

struct Entity {
  char character;
  std::string_view name;
};

constexpr std::array<Entity, 5> kEntities = {
    {{'&', "&amp;"}, {'\'', "&apos;"}, {'>', "&gt;"}, {'<', "&lt;"}, {'"', "&quot;"}}};

// The entity at the start of `text`, or null.
const Entity* entityAt(std::string_view text) {
  for (const Entity& entity : kEntities) {
    if (text.starts_with(entity.name)) return &entity;
  }
  return nullptr;
}

}  // namespace

std::string_view entityOf(char c) {
  for (const Entity& entity : kEntities) {
    if (entity.character == c) return entity.name;
  }
  return {};
}

char* decodeInPlace(char* first, char* end) {
  char* to = first;
  while (first != end) {
    const Entity* entity =
        *first == '&' ? entityAt({first, static_cast<std::size_t>(end - first)}) : nullptr;
    if (entity != nullptr) {
      *to++ = entity->character;
      first += entity->name.size();
    } else {
      *to++ = *first++;
    }
  }
  *to = '\0';
  return to;
}

void preStreaming(LumString& text) {
  LumString coded;
  Writer(coded).appendCoded(text);
  if (!coded.isEmpty()) text = coded;
}

void postStreaming(LumString& text) {
  if (std::strchr(text, '&') == nullptr) return;
  char* copy = text.copyString();
  decodeInPlace(copy, copy + std::strlen(copy));
  text = copy;
  delete[] copy;
}

}  // namespace XML

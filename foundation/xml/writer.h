// SPDX-License-Identifier: MIT
// Writes elements and attributes at the end of a string.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "foundation/lum_string.h"

namespace XML {

class Attribute;
class Node;

class Writer {
 public:
  explicit Writer(LumString& out);
  // Leaves what was written in the string, or the string empty when not all of it fitted.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // As Node::buildXML.
  void write(const Node& top, int level);
  // As Attribute::buildXML.
  void write(const Attribute& attribute);
  // The value with its special characters coded.
  void appendCoded(const char* value);
  // That many tabs.
  void indent(int level);

 private:
  // Whether there is room for so many bytes; takes more of the string when there is not.
  bool hasRoom(std::size_t size) {
    return static_cast<std::size_t>(end_ - to_) >= size || takeRoom(size);
  }
  bool takeRoom(std::size_t size);
  void append(std::string_view text) {
    if (hasRoom(text.size())) put(text);
  }
  // There must be room.
  void put(std::string_view text) {
    std::memcpy(to_, text.data(), text.size());
    to_ += text.size();
  }
  void startTag(const Node& node, int level);
  void endTag(const Node& node, int level);

  LumString& out_;
  // The free part of the string's buffer.
  char* to_ = nullptr;
  char* end_ = nullptr;
  // Whether everything has fitted so far.
  bool fits_ = true;
};

}  // namespace XML

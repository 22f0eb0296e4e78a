// Writes elements and attributes at the end of a string.
#pragma once

#include <string_view>

#include "foundation/lum_string.h"

namespace XML {

class Attribute;
class Node;

class Writer {
 public:
  explicit Writer(LumString& out) : out_(out) {}

  // As Node::buildXML.
  void write(const Node& node, int level);
  // As Attribute::buildXML.
  void write(const Attribute& attribute);
  // That many tabs.
  void indent(int level);

 private:
  bool hasRoom(const Node& node, int level);
  void append(std::string_view text);
  void startTag(const Node& node, int level);
  void endTag(const Node& node, int level);

  LumString& out_;
  // Whether everything has fitted so far.
  bool fits_ = true;
};

}  // namespace XML

// SPDX-License-Identifier: MIT
// Reads a text in place into nodes. See foundation/xml/doc.h for what it takes.
#pragma once

#include <vector>

#include "foundation/lum_string.h"
#include "foundation/xml/arena.h"
#include "foundation/xml/node.h"

namespace XML {

class Parser {
 public:
  // What is read goes into the arena and refers to the text, which the arena keeps; without an
  // arena (null) it is copied.
  explicit Parser(Arena* arena) : arena_(arena) {}
  ~Parser();
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // As Node::doParse and Node::parseNode.
  char* parseDocument(Node& document, char* p);
  char* parseElement(Node& top, char* p);

 private:
  char* parseDeclaration(Node& document, char* p);
  char* parseHeader(Node& document, char* p);
  Node* startChild(Node& parent, char*& p);
  char* endElement(const Node& node, char* p);
  char* parseAttribute(Node& node, char* p);
  char* parseText(Node& node, char* p);
  // Spares the collection of an element that was read here an array of its own. The document's must
  // not be spared: it outlives the arena.
  void lendSlots(LumCollection& collection);

  Arena* arena_;
  // Elements for which their parent had no room; they are read, and dropped in the end.
  std::vector<Node*> refused_;
};

}  // namespace XML

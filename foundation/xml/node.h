// SPDX-License-Identifier: MIT
// An element of a document: a name, a text, child elements and attributes, in document order.
//
// One thread at a time. A node holds a reference on each child and attribute and drops it when they
// are released or the node is destroyed; what nobody else refers to is then destroyed. Nodes and
// attributes that are returned are borrowed; texts that are returned are good until the next
// change.
//
// However deep a tree is, nothing here needs more call stack for it.
#pragma once

#include <cstdint>

#include "foundation/lum_collection.h"
#include "foundation/lum_object.h"
#include "foundation/lum_string.h"
#include "foundation/xml/arena.h"
#include "foundation/xml/attribute.h"

namespace XML {

class Doc;

class Node : public LumObject, public ArenaObject {
 public:
  explicit Node(Doc* doc);
  Node(Doc* doc, const char* name);
  Node(Doc* doc, const LumString& name);
  // Refers to the name until it is changed; the arena that keeps the name keeps the node too.
  Node(Doc* doc, LumString::Borrowed name);
  ~Node() override;
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  // What the reader asks at the top of a document, with the text between "<?" and "?>", and with
  // that of a comment. False refuses the document.
  virtual bool onTagHeader(char* content);
  virtual bool onTagComment(char* content);

  const LumString& getName() const { return name_; }
  const LumString& getText() const { return text_; }
  Doc* getDoc() const { return doc_; }

  // --- Children ---

  // Null when there is none.
  Node* getNode(std::int32_t index) const { return static_cast<Node*>(nodes_.atPos(index)); }
  std::int32_t getCountNodes() const { return nodes_.count(); }
  // The first child of that name: whatever the case, and in this case exactly.
  Node* getNode(const char* name) const;
  Node* getNode(const LumString& name) const;
  // The same, or a new child. Null when there is no room for one.
  Node* getOrCreateNode(const char* name);
  Node* getOrCreateNode(const LumString& name);
  // Puts `node` last and in this node's document. Null, and nothing changed, when it is null or a
  // child already or there is no room for one more.
  Node* addNode(Node* node);
  Node* addNode(const char* name);
  Node* addNode(const LumString& name);
  void releaseNode(Node* node) { nodes_.remove(node); }
  void removeChilds() { nodes_.removeAll(); }

  // --- Attributes ---

  // Null when there is none.
  Attribute* getAttribute(std::int32_t index) const {
    return static_cast<Attribute*>(attributes_.atPos(index));
  }
  std::int32_t getCountAttributes() const { return attributes_.count(); }
  // The first of that name, whatever the case; if there is none, a new empty one on `create`, else
  // null.
  Attribute* getAttribute(const char* name, bool create);
  // Puts it last; null when it is null or here already or there is no room.
  Attribute* addAttribute(Attribute* attribute);
  // A new attribute, also when there is one of that name; null when there is no room.
  Attribute* addAttribute(const LumString& name, const LumString& value);
  Attribute* addAttribute(const LumString& name, std::int32_t value);
  Attribute* addAttribute(const LumString& name, float value);
  void releaseAttribute(Attribute* attribute) { attributes_.remove(attribute); }
  void removeAttributes() { attributes_.removeAll(); }

  // Of the first attribute of that name, whatever the case; "" or `def` when there is none.
  const char* getAttributeValue(const char* name) const;
  void getAttributeValue(const char* name, LumString& out, const char* def) const;
  void getAttributeValue(const char* name, std::int32_t& out, std::int32_t def) const;
  void getAttributeValue(const char* name, std::uint32_t& out, std::uint32_t def) const;
  void getAttributeValue(const char* name, bool& out, bool def) const;
  void getAttributeValue(const char* name, float& out, float def) const;

  // --- The whole ---

  // Drops children and attributes.
  void clear();
  // Adds the number of nodes below this one, and of attributes here and below.
  void countNodesAndAttributes(std::int32_t& nodes, std::int32_t& attributes) const;

  // Appends the element, `level` tabs deep, with all that is below it. On level -1 only the
  // children are written, on level 0. Nodes without a name are left out with all below them; texts
  // are never written. A text longer than a string can be leaves `out` empty instead.
  void buildXML(LumString& out, int level) const;
  void addLevelString(LumString& out, int level) const;

  // Reads a whole document, or an element from behind its name to its end, into this node. Works in
  // the text, which ends with NUL, and leaves it in pieces; keeps no pointer into it. The position
  // behind what was read; null when the text is malformed, with what was read until then in the
  // tree.
  char* doParse(char* text);
  char* parseNode(char* text);

 private:
  friend class Parser;

  Attribute* findAttribute(const char* name) const;

  Doc* doc_;
  LumString name_;
  LumString text_;
  LumCollection nodes_;
  LumCollection attributes_;
};

}  // namespace XML

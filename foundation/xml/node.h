// SPDX-License-Identifier: MIT
// An element of a document: a name, a text, child elements and attributes, in document order.
//
// One thread at a time. A node holds a reference on each child and attribute, and drops it when
// they are released or the node is destroyed. Returned nodes and attributes are borrowed; returned
// texts are valid until the next change.
//
// No operation is recursive: a deep tree needs no more call stack than a flat one.
#pragma once

#include <cstdint>

#include "foundation/lum_collection.h"
#include "foundation/lum_object.h"
#include "foundation/lum_string.h"
#include "foundation/xml/attribute.h"

namespace XML {

class Doc;

class Node : public LumObject {
 public:
  explicit Node(Doc* doc) : Node(doc, "") {}
  Node(Doc* doc, const char* name);
  // No program calls this.
  Node(Doc* doc, const LumString& name) : Node(doc, name.getCharPointer()) {}
  ~Node() override;
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  // Called while parsing, at the top of a document, with the text between "<?" and "?>" or "<!--"
  // and "-->". False refuses the document.
  virtual bool onTagHeader(char* content);
  virtual bool onTagComment(char* content);

  const LumString& getName() const { return name_; }
  const LumString& getText() const { return text_; }  // no program calls this
  Doc* getDoc() const { return doc_; }

  // --- Children ---

  // Null when `index` is out of range.
  Node* getNode(std::int32_t index) const { return static_cast<Node*>(nodes_.atPos(index)); }
  std::int32_t getCountNodes() const { return nodes_.count(); }
  // The first child of this name, or null. A `const char*` ignores case, a LumString does not.
  Node* getNode(const char* name) const;
  Node* getNode(const LumString& name) const;  // no program calls this
  // Same search; a missing child is added. Null when the collection is full.
  Node* getOrCreateNode(const char* name);
  Node* getOrCreateNode(const LumString& name);  // no program calls this
  // Appends `node` and moves it to this node's document. Null, and no change, when `node` is null
  // or already a child, or the collection is full.
  Node* addNode(Node* node);
  Node* addNode(const char* name);
  Node* addNode(const LumString& name);                  // no program calls this
  void releaseNode(Node* node) { nodes_.remove(node); }  // no program calls this
  void removeChilds() { nodes_.removeAll(); }            // no program calls this

  // --- Attributes ---

  // Null when `index` is out of range.
  Attribute* getAttribute(std::int32_t index) const {
    return static_cast<Attribute*>(attributes_.atPos(index));
  }
  std::int32_t getCountAttributes() const { return attributes_.count(); }
  // The first attribute of this name, ignoring case. A missing one is added with an empty value
  // if `create` is set; otherwise the result is null.
  Attribute* getAttribute(const char* name, bool create);  // no program calls this
  // Appends the attribute; null, and no change, when it is null or already held, or the collection
  // is full.
  Attribute* addAttribute(Attribute* attribute);
  // Append a new attribute, even if the name is taken; null when the collection is full. No program
  // calls these.
  Attribute* addAttribute(const LumString& name, const LumString& value);
  Attribute* addAttribute(const LumString& name, std::int32_t value);
  Attribute* addAttribute(const LumString& name, float value);
  // No program calls this.
  void releaseAttribute(Attribute* attribute) { attributes_.remove(attribute); }
  void removeAttributes() { attributes_.removeAll(); }  // no program calls this

  // The value of the first attribute of this name, ignoring case; "" or `def` when it is missing.
  const char* getAttributeValue(const char* name) const;  // no program calls this
  // No program calls this.
  void getAttributeValue(const char* name, LumString& out, const char* def) const;
  // No program calls this.
  void getAttributeValue(const char* name, std::int32_t& out, std::int32_t def) const;
  // No program calls this.
  void getAttributeValue(const char* name, std::uint32_t& out, std::uint32_t def) const;
  void getAttributeValue(const char* name, bool& out, bool def) const;    // no program calls this
  void getAttributeValue(const char* name, float& out, float def) const;  // no program calls this

  // --- The subtree ---

  // Releases children and attributes.
  void clear();  // no program calls this
  // Adds the number of descendants to `nodes`, and of this node's and their attributes to
  // `attributes`.
  // No program calls this.
  void countNodesAndAttributes(std::int32_t& nodes, std::int32_t& attributes) const;

  // Appends the element and its descendants, indented by `level` tabs. At level -1 only the
  // children are written, at level 0. A node without a name is left out with its descendants;
  // texts are never written. `out` is cleared when it would become longer than a string can be.
  void buildXML(LumString& out, int level) const;  // no program calls this
  // Appends `level` tabs.
  void addLevelString(LumString& out, int level) const;  // no program calls this

  // doParse() reads a document into this node; parseNode() reads the rest of an element, from the
  // end of its name on. Both write into `text`, which ends with NUL, and keep no pointer into it.
  // Return the position after the last byte read, or null for malformed text; what was read before
  // the fault stays in the tree.
  char* doParse(char* text);
  char* parseNode(char* text);

 private:
  Attribute* findAttribute(const char* name) const;
  char* parseText(char* text);

  Doc* doc_;
  LumString name_;
  LumString text_;
  LumCollection nodes_;
  LumCollection attributes_;
};

}  // namespace XML

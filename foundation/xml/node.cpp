// SPDX-License-Identifier: MIT
#include "foundation/xml/node.h"

#include <memory>
#include <vector>

#include "foundation/character_class.h"

namespace XML {

namespace {

// The nodes that the outermost destructor on this thread still has to release.
thread_local std::vector<LumObject*>* pending = nullptr;

Attribute* addNewAttribute(Node& node, std::unique_ptr<Attribute> attribute) {
  return node.addAttribute(attribute.get()) != nullptr ? attribute.release() : nullptr;
}

}  // namespace

Node::Node(Doc* doc, const char* name) : doc_(doc), name_(name), text_("") {}

// The outermost destructor releases all descendants in a loop: the destructor of each of them only
// queues its children, before the siblings that are still waiting.
Node::~Node() {
  const std::vector<LumObject*> children = nodes_.takeAll();
  if (children.empty()) return;
  std::vector<LumObject*> own;
  const bool isOutermost = pending == nullptr;
  if (isOutermost) pending = &own;
  pending->insert(pending->end(), children.rbegin(), children.rend());
  if (!isOutermost) return;
  while (!own.empty()) {
    LumObject* node = own.back();
    own.pop_back();
    node->decReferences();
  }
  pending = nullptr;
}

bool Node::onTagHeader(char*) { return false; }

bool Node::onTagComment(char*) { return true; }

Node* Node::getNode(const char* name) const {
  for (std::int32_t i = 0; i < nodes_.count(); ++i) {
    Node* node = getNode(i);
    if (node->name_.stricmp(name) == 0) return node;
  }
  return nullptr;
}

Node* Node::getNode(const LumString& name) const {
  for (std::int32_t i = 0; i < nodes_.count(); ++i) {
    Node* node = getNode(i);
    if (node->name_ == name) return node;
  }
  return nullptr;
}

Node* Node::getOrCreateNode(const char* name) {
  Node* node = getNode(name);
  return node != nullptr ? node : addNode(name);
}

Node* Node::getOrCreateNode(const LumString& name) {
  Node* node = getNode(name);
  return node != nullptr ? node : addNode(name);
}

Node* Node::addNode(Node* node) {
  if (node == nullptr) return nullptr;
  // A node without references is no child yet; skipping the search keeps adding linear.
  if (node->getReferences() != 0 && nodes_.findSame(node)) return nullptr;
  if (!nodes_.add(node)) return nullptr;
  node->doc_ = doc_;
  return node;
}

Node* Node::addNode(const char* name) {
  auto node = std::make_unique<Node>(doc_, name);
  return addNode(node.get()) != nullptr ? node.release() : nullptr;
}

Node* Node::addNode(const LumString& name) { return addNode(name.getCharPointer()); }

Attribute* Node::findAttribute(const char* name) const {
  for (std::int32_t i = 0; i < attributes_.count(); ++i) {
    Attribute* attribute = getAttribute(i);
    if (cfStricmp(attribute->getName(), name) == 0) return attribute;
  }
  return nullptr;
}

Attribute* Node::getAttribute(const char* name, bool create) {
  Attribute* attribute = findAttribute(name);
  return attribute == nullptr && create ? addAttribute(name, "") : attribute;
}

Attribute* Node::addAttribute(Attribute* attribute) {
  if (attribute == nullptr) return nullptr;
  if (attribute->getReferences() != 0 && attributes_.findSame(attribute)) return nullptr;
  return attributes_.add(attribute) ? attribute : nullptr;
}

Attribute* Node::addAttribute(const LumString& name, const LumString& value) {
  return addNewAttribute(*this, std::make_unique<Attribute>(name, value.getCharPointer()));
}

Attribute* Node::addAttribute(const LumString& name, std::int32_t value) {
  return addNewAttribute(*this, std::make_unique<Attribute>(name, value));
}

Attribute* Node::addAttribute(const LumString& name, float value) {
  return addNewAttribute(*this, std::make_unique<Attribute>(name, value));
}

const char* Node::getAttributeValue(const char* name) const {
  const Attribute* attribute = findAttribute(name);
  return attribute != nullptr ? attribute->getValue() : "";
}

void Node::getAttributeValue(const char* name, LumString& out, const char* def) const {
  const Attribute* attribute = findAttribute(name);
  out.assign(attribute != nullptr ? attribute->getValue() : def);
}

void Node::getAttributeValue(const char* name, std::int32_t& out, std::int32_t def) const {
  const Attribute* attribute = findAttribute(name);
  out = attribute != nullptr ? attribute->getValueLong() : def;
}

void Node::getAttributeValue(const char* name, std::uint32_t& out, std::uint32_t def) const {
  const Attribute* attribute = findAttribute(name);
  out = attribute != nullptr ? attribute->getValueULong() : def;
}

void Node::getAttributeValue(const char* name, bool& out, bool def) const {
  const Attribute* attribute = findAttribute(name);
  out = attribute != nullptr ? attribute->getValueBool() : def;
}

void Node::getAttributeValue(const char* name, float& out, float def) const {
  const Attribute* attribute = findAttribute(name);
  out = attribute != nullptr ? attribute->getValueFloat() : def;
}

void Node::clear() {
  removeChilds();
  removeAttributes();
}

void Node::countNodesAndAttributes(std::int32_t& nodes, std::int32_t& attributes) const {
  std::vector<const Node*> open = {this};
  while (!open.empty()) {
    const Node* node = open.back();
    open.pop_back();
    nodes += node->getCountNodes();
    attributes += node->getCountAttributes();
    for (std::int32_t i = 0; i < node->getCountNodes(); ++i) {
      open.push_back(node->getNode(i));
    }
  }
}

}  // namespace XML

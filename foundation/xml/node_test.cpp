// SPDX-License-Identifier: MIT
#include "foundation/xml/node.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "foundation/xml/doc.h"

namespace {

using XML::Attribute;
using XML::Doc;
using XML::Node;

TEST(XmlNode, ANewNodeHasItsNameAndNothingElse) {
  Doc doc;
  const Node node(&doc, "name");
  EXPECT_STREQ(node.getName(), "name");
  EXPECT_STREQ(node.getText(), "");
  EXPECT_EQ(node.getDoc(), &doc);
  EXPECT_EQ(node.getCountNodes(), 0);
  EXPECT_EQ(node.getCountAttributes(), 0);
  EXPECT_STREQ(Node(&doc).getName(), "");
  EXPECT_STREQ(Node(&doc, LumString("other")).getName(), "other");
}

TEST(XmlNode, ADocumentIsItsOwnDocument) {
  const Doc doc;
  EXPECT_EQ(doc.getDoc(), &doc);
  EXPECT_STREQ(doc.getName(), "");
}

TEST(XmlNode, ChildrenAreFoundByPosition) {
  Doc doc;
  Node* a = doc.addNode("a");
  Node* b = doc.addNode(LumString("b"));
  EXPECT_EQ(doc.getCountNodes(), 2);
  EXPECT_EQ(doc.getNode(0), a);
  EXPECT_EQ(doc.getNode(1), b);
  EXPECT_EQ(doc.getNode(2), nullptr);
  EXPECT_EQ(doc.getNode(-1), nullptr);
  EXPECT_EQ(a->getReferences(), 1);
}

TEST(XmlNode, ACharPointerNameIsFoundIgnoringCase) {
  Doc doc;
  doc.addNode("a");
  Node* b = doc.addNode("b");
  doc.addNode("B");
  EXPECT_EQ(doc.getNode("B"), b);
  EXPECT_EQ(doc.getNode("c"), nullptr);
  EXPECT_EQ(doc.getNode("bb"), nullptr);
}

TEST(XmlNode, ALumStringNameIsFoundExactly) {
  Doc doc;
  Node* b = doc.addNode("b");
  EXPECT_EQ(doc.getNode(LumString("b")), b);
  EXPECT_EQ(doc.getNode(LumString("B")), nullptr);
}

TEST(XmlNode, GetOrCreateNodeAddsAMissingChild) {
  Doc doc;
  Node* b = doc.addNode("b");
  EXPECT_EQ(doc.getOrCreateNode("B"), b);
  Node* large = doc.getOrCreateNode(LumString("B"));
  EXPECT_NE(large, b);
  EXPECT_STREQ(large->getName(), "B");
  EXPECT_EQ(large->getDoc(), &doc);
  EXPECT_STREQ(doc.getOrCreateNode("c")->getName(), "c");
  EXPECT_EQ(doc.getCountNodes(), 3);
}

TEST(XmlNode, AnAddedNodeJoinsTheDocument) {
  Doc doc;
  Doc other;
  auto* node = new Node(&other, "a");
  EXPECT_EQ(doc.addNode(node), node);
  EXPECT_EQ(node->getDoc(), &doc);
}

TEST(XmlNode, NullAndAChildAreNotAdded) {
  Doc doc;
  Node* child = doc.addNode("a");
  EXPECT_EQ(doc.addNode(child), nullptr);
  EXPECT_EQ(doc.addNode(static_cast<Node*>(nullptr)), nullptr);
  EXPECT_EQ(doc.getCountNodes(), 1);
  EXPECT_EQ(child->getReferences(), 1);
  Attribute* attribute = child->addAttribute("x", "1");
  EXPECT_EQ(child->addAttribute(attribute), nullptr);
  EXPECT_EQ(child->addAttribute(static_cast<Attribute*>(nullptr)), nullptr);
  EXPECT_EQ(child->getCountAttributes(), 1);
}

TEST(XmlNode, ANodeMayHaveTwoParents) {
  Doc first;
  Node* node = first.addNode("a");
  {
    Doc second;
    EXPECT_EQ(second.addNode(node), node);
    EXPECT_EQ(node->getReferences(), 2);
  }
  EXPECT_EQ(node->getReferences(), 1);
  EXPECT_STREQ(first.getNode(0)->getName(), "a");
}

TEST(XmlNode, MoreChildrenAndAttributesThanACollectionHoldsAreRefused) {
  Doc doc;
  for (int i = 0; i < 40960; ++i) {
    ASSERT_NE(doc.addNode("a"), nullptr);
    ASSERT_NE(doc.addAttribute("a", i), nullptr);
  }
  EXPECT_EQ(doc.addNode("a"), nullptr);
  EXPECT_EQ(doc.getOrCreateNode("b"), nullptr);
  EXPECT_EQ(doc.addAttribute("a", "x"), nullptr);
  EXPECT_EQ(doc.getAttribute("b", true), nullptr);
  EXPECT_EQ(doc.getCountNodes(), 40960);
}

TEST(XmlNode, AttributesMayHaveTheSameName) {
  Doc doc;
  doc.addAttribute("x", "1");
  doc.addAttribute("X", 2);
  doc.addAttribute("x", 0.5f);
  EXPECT_EQ(doc.getCountAttributes(), 3);
  EXPECT_STREQ(doc.getAttribute(1)->getValue(), "2");
  EXPECT_STREQ(doc.getAttribute(2)->getValue(), "5.000000e-01");
  EXPECT_STREQ(doc.getAttribute("X", false)->getValue(), "1");
  EXPECT_EQ(doc.getAttribute(3), nullptr);
}

TEST(XmlNode, GetAttributeWithCreateAddsAMissingAttribute) {
  Doc doc;
  EXPECT_EQ(doc.getAttribute("x", false), nullptr);
  EXPECT_EQ(doc.getCountAttributes(), 0);
  Attribute* made = doc.getAttribute("x", true);
  EXPECT_STREQ(made->getValue(), "");
  EXPECT_EQ(doc.getAttribute("X", true), made);
}

TEST(XmlNode, AttributeValuesAreReadWithTheirTypes) {
  Doc doc;
  doc.addAttribute("number", "-3");
  doc.addAttribute("large", "4294967295");
  doc.addAttribute("half", "0.5");
  EXPECT_STREQ(doc.getAttributeValue("NUMBER"), "-3");
  LumString text;
  std::int32_t number = 0;
  std::uint32_t large = 0;
  bool truth = false;
  float half = 0;
  doc.getAttributeValue("Number", text, "def");
  doc.getAttributeValue("number", number, 7);
  doc.getAttributeValue("large", large, 7u);
  doc.getAttributeValue("number", truth, false);
  doc.getAttributeValue("half", half, 7.0f);
  EXPECT_STREQ(text, "-3");
  EXPECT_EQ(number, -3);
  EXPECT_EQ(large, 4294967295u);
  EXPECT_TRUE(truth);
  EXPECT_EQ(half, 0.5f);
}

TEST(XmlNode, AMissingAttributeHasTheDefault) {
  const Doc doc;
  EXPECT_STREQ(doc.getAttributeValue("x"), "");
  LumString text;
  std::int32_t number = 0;
  std::uint32_t large = 0;
  bool truth = false;
  float half = 0;
  doc.getAttributeValue("x", text, "def");
  doc.getAttributeValue("x", number, -7);
  doc.getAttributeValue("x", large, 7u);
  doc.getAttributeValue("x", truth, true);
  doc.getAttributeValue("x", half, 7.0f);
  EXPECT_STREQ(text, "def");
  EXPECT_EQ(number, -7);
  EXPECT_EQ(large, 7u);
  EXPECT_TRUE(truth);
  EXPECT_EQ(half, 7.0f);
}

TEST(XmlNode, ReleasedChildrenAndAttributesAreGone) {
  Doc doc("<a x=\"1\" y=\"2\"><b/><c/></a>");
  Node* a = doc.getNode(0);
  a->releaseNode(a->getNode("b"));
  a->releaseAttribute(a->getAttribute("x", false));
  EXPECT_EQ(a->getCountNodes(), 1);
  EXPECT_STREQ(a->getNode(0)->getName(), "c");
  EXPECT_STREQ(a->getAttribute(0)->getName(), "y");
  a->removeChilds();
  EXPECT_EQ(a->getCountNodes(), 0);
  EXPECT_EQ(a->getCountAttributes(), 1);
  a->removeAttributes();
  EXPECT_EQ(a->getCountAttributes(), 0);
  doc.addAttribute("x", "1");
  doc.clear();
  EXPECT_EQ(doc.getCountNodes(), 0);
  EXPECT_EQ(doc.getCountAttributes(), 0);
}

TEST(XmlNode, AHeldNodeOrAttributeOutlivesItsDocument) {
  Node* kept = nullptr;
  Attribute* value = nullptr;
  {
    Doc doc("<a><b name=\"value &amp; more\"><c/></b></a>");
    kept = doc.getNode("a")->getNode("b");
    kept->incReferences();
    value = kept->getAttribute(0);
    value->incReferences();
  }
  EXPECT_STREQ(kept->getName(), "b");
  EXPECT_STREQ(kept->getNode(0)->getName(), "c");
  kept->decReferences();
  EXPECT_STREQ(value->getName(), "name");
  EXPECT_STREQ(value->getValue(), "value & more");
  value->setValue("another value, longer than the one that was read");
  EXPECT_STREQ(value->getName(), "name");
  value->decReferences();
}

TEST(XmlNode, NodesOfOneDocumentMayBeReleasedOnSeveralThreads) {
  std::string text;
  for (int i = 0; i < 2000; ++i) text += "<a x=\"1\"/>";
  std::vector<Node*> kept;
  {
    Doc doc(text.c_str());
    for (std::int32_t i = 0; Node* node = doc.getNode(i); ++i) {
      node->incReferences();
      kept.push_back(node);
    }
  }
  const auto releaseHalf = [&kept](std::size_t first) {
    for (std::size_t i = first; i < kept.size(); i += 2) kept[i]->decReferences();
  };
  std::thread other(releaseHalf, 0);
  releaseHalf(1);
  other.join();
}

TEST(XmlNode, CountingAddsAllDescendants) {
  const Doc doc("<a x=\"1\"><b y=\"\" z=\"\"/><c><d w=\"\"/></c></a><e/>");
  std::int32_t nodes = 100;
  std::int32_t attributes = 1000;
  doc.countNodesAndAttributes(nodes, attributes);
  EXPECT_EQ(nodes, 105);
  EXPECT_EQ(attributes, 1004);
}

// Appends its name and its children's names to a list in its destructor.
class Noting : public Node {
 public:
  Noting(Doc* doc, const char* name, std::string& gone) : Node(doc, name), gone_(gone) {}
  ~Noting() override {
    gone_ += getName();
    for (std::int32_t i = 0; const Node* child = getNode(i); ++i) {
      gone_.append("<").append(child->getName());
    }
    gone_ += ' ';
  }

 private:
  std::string& gone_;
};

TEST(XmlNode, AParentIsDestroyedBeforeItsChildrenAndStillHoldsThem) {
  std::string gone;
  {
    Doc doc;
    Node* a = doc.addNode(new Noting(&doc, "a", gone));
    Node* b = a->addNode(new Noting(&doc, "b", gone));
    b->addNode(new Noting(&doc, "c", gone));
    b->addNode(new Noting(&doc, "d", gone));
    a->addNode(new Noting(&doc, "e", gone));
  }
  EXPECT_EQ(gone, "a<b<e b<c<d c d e ");
}

}  // namespace

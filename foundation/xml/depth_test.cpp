// SPDX-License-Identifier: MIT
// Operations on deep documents run on a small stack.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <string>

#include "foundation/xml/doc.h"

namespace {

using XML::Doc;
using XML::Node;

constexpr std::int32_t kDepth = 1'000'000;

void onASmallStack(std::function<void()> run) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
  pthread_t thread;
  const auto start = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &run), 0);
  pthread_attr_destroy(&attributes);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
}

LumString nested(std::int32_t depth) {
  LumString text;
  for (std::int32_t i = 0; i < depth; ++i) text += "<a>";
  for (std::int32_t i = 0; i < depth; ++i) text += "</a>";
  return text;
}

std::int32_t nodesOf(const Node& node) {
  std::int32_t nodes = 0;
  std::int32_t attributes = 0;
  node.countNodesAndAttributes(nodes, attributes);
  return nodes;
}

// `depth` is at least 1.
Node* descendant(const Node& node, std::int32_t depth) {
  Node* at = node.getNode(0);
  for (std::int32_t i = 1; i < depth; ++i) at = at->getNode(0);
  return at;
}

TEST(XmlDepth, AMillionLevelsAreReadCountedClearedAndDestroyed) {
  onASmallStack([] {
    Doc doc;
    const LumString text = nested(kDepth);
    EXPECT_NE(doc.parse(text), nullptr);
    EXPECT_EQ(nodesOf(doc), kDepth);
    doc.clear();
    EXPECT_EQ(nodesOf(doc), 0);
    doc.load(text);
    EXPECT_EQ(nodesOf(doc), kDepth);
  });
}

// A million levels with their tabs would need 10^12 bytes; negative levels are written without
// tabs.
TEST(XmlDepth, AMillionLevelsAreWrittenAndReadAgain) {
  onASmallStack([] {
    Doc doc(nested(kDepth));
    LumString out;
    doc.getNode(0)->buildXML(out, -2 * kDepth);
    EXPECT_EQ(out.getLength(), (kDepth - 1) * 9 + 5);
    EXPECT_EQ(nodesOf(Doc(out)), kDepth);
  });
}

TEST(XmlDepth, ThousandsOfLevelsAreWrittenWithTheirTabs) {
  onASmallStack([] {
    constexpr std::int32_t kTabbed = 5'000;
    const Doc doc(nested(kTabbed));
    LumString out;
    doc.buildXML(out);
    EXPECT_EQ(nodesOf(Doc(out)), kTabbed);
    EXPECT_EQ(out.getLength(),
              44 + kTabbed * (kTabbed - 1) - (kTabbed - 1) + (kTabbed - 1) * 9 + 5);
  });
}

TEST(XmlDepth, AHeldNodeSurvivesWithItsDescendants) {
  onASmallStack([] {
    Node* kept = nullptr;
    {
      Doc doc(nested(kDepth));
      kept = descendant(doc, kDepth / 2);
      kept->incReferences();
    }
    EXPECT_EQ(kept->getReferences(), 1);
    EXPECT_EQ(nodesOf(*kept), kDepth / 2);
    kept->decReferences();
  });
}

TEST(XmlDepth, NodesThatWereMadeOneByOneAreAllDestroyed) {
  class Counted : public Node {
   public:
    Counted(Doc* doc, std::int32_t& alive) : Node(doc, "a"), alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }

   private:
    std::int32_t& alive_;
  };
  onASmallStack([] {
    std::int32_t alive = 0;
    {
      Doc doc;
      Node* at = &doc;
      for (std::int32_t i = 0; i < kDepth; ++i) at = at->addNode(new Counted(&doc, alive));
      EXPECT_EQ(alive, kDepth);
      at = descendant(doc, 10);
      at->releaseNode(at->getNode(0));
      EXPECT_EQ(alive, 10);
    }
    EXPECT_EQ(alive, 0);
  });
}

TEST(XmlDepth, ADeepElementThatItsParentRefusesIsDestroyed) {
  onASmallStack([] {
    LumString text;
    for (int i = 0; i < 40960; ++i) text += "<b/>";
    text += nested(kDepth);
    const Doc doc(text);
    EXPECT_EQ(doc.getCountNodes(), 40960);
    EXPECT_EQ(nodesOf(doc), 40960);
  });
}

}  // namespace

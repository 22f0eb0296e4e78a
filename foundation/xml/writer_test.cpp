// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "foundation/xml/doc.h"
#include "foundation/xml/testing/tree.h"

namespace {

using XML::Attribute;
using XML::Doc;
using XML::Node;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

std::string written(const Doc& doc) {
  LumString out("before");
  doc.buildXML(out);
  EXPECT_EQ(std::string(out).size(), static_cast<std::size_t>(out.getLength()));
  EXPECT_LT(out.getLength(), out.getCapacity());
  return out.getCharPointer();
}

TEST(XmlWriter, AnEmptyDocumentIsItsHeader) { EXPECT_EQ(written(Doc()), kHeader); }

TEST(XmlWriter, ValuesAreCodedAndStayAsTheyAre) {
  Doc doc;
  Attribute* attribute = doc.addNode("a")->addAttribute("v", "x<y");
  EXPECT_EQ(written(doc), kHeader + "<a v=\"x&lt;y\"/>\n");
  attribute->setValue("&'><\"");
  EXPECT_EQ(written(doc), kHeader + "<a v=\"&amp;&apos;&gt;&lt;&quot;\"/>\n");
  EXPECT_STREQ(attribute->getValue(), "&'><\"");
}

TEST(XmlWriter, EachLevelIsIndentedByATab) {
  Doc doc;
  Node* c = doc.addNode("a")->addNode("b")->addNode("c");
  c->addAttribute("x", 1);
  c->addAttribute("y", "");
  doc.addNode("d");
  EXPECT_EQ(written(doc), kHeader +
                              "<a>\n"
                              "\t<b>\n"
                              "\t\t<c x=\"1\" y=\"\"/>\n"
                              "\t</b>\n"
                              "</a>\n"
                              "<d/>\n");
}

TEST(XmlWriter, TextsAreNotWritten) {
  EXPECT_EQ(written(Doc("<a>text</a><b>text<c/></b>")), kHeader + "<a/>\n<b>\n\t<c/>\n</b>\n");
}

TEST(XmlWriter, NodesAndAttributesWithoutANameAreLeftOut) {
  Doc doc;
  doc.addNode("")->addNode("inside");
  Node* a = doc.addNode("a");
  a->addAttribute("", "lost");
  a->addAttribute("kept", "1");
  a->addNode("")->addNode("lost");
  EXPECT_EQ(written(doc), kHeader + "<a kept=\"1\">\n</a>\n");
}

TEST(XmlWriter, ANodeIsAppendedAtItsLevel) {
  const Doc doc("<a><b/></a>");
  LumString out("before ");
  doc.getNode(0)->buildXML(out, 2);
  EXPECT_STREQ(out, "before \t\t<a>\n\t\t\t<b/>\n\t\t</a>\n");
  out = "";
  doc.getNode(0)->buildXML(out, -1);
  EXPECT_STREQ(out, "<b/>\n");
  out = "";
  doc.getNode(0)->buildXML(out, -3);
  EXPECT_STREQ(out, "<a>\n<b/>\n</a>\n");
}

TEST(XmlWriter, AnAttributeIsAppended) {
  LumString out("<a");
  Attribute("x", "1").buildXML(out);
  Attribute("", "2").buildXML(out);
  EXPECT_STREQ(out, "<a x=\"1\"");
}

TEST(XmlWriter, AddLevelStringAppendsTabs) {
  const Doc doc;
  LumString out("a");
  doc.addLevelString(out, 2);
  doc.addLevelString(out, 0);
  doc.addLevelString(out, -1);
  EXPECT_STREQ(out, "a\t\t");
}

TEST(XmlWriter, TextAfterANulIsOverwritten) {
  LumString out("<a");
  out += '\0';
  Attribute("x", "1").buildXML(out);
  EXPECT_STREQ(out, "<a x=\"1\"");
}

TEST(XmlWriter, RoomForAllObjectsIsTakenAtOnce) {
  Doc doc;
  for (int i = 0; i < 10; ++i) doc.addNode("a")->addAttribute("b", "c");
  LumString out;
  doc.buildXML(out);
  EXPECT_EQ(out.getCapacity(), 20 * 32 + 1);
  // Also when the header alone would have raised the capacity further.
  LumString fewer;
  Doc("<a b=\"c\"/>").buildXML(fewer);
  EXPECT_EQ(fewer.getCapacity(), 2 * 32 + 1);
}

TEST(XmlWriter, ReadingAgainGivesTheSameTree) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  Doc doc;
  Node* a = doc.addNode("a");
  a->addAttribute("bytes", all.c_str());
  a->addAttribute("long", LumString('&', 100'000));
  a->addNode("b")->addNode("c")->addAttribute("number", -1.5f);
  Doc again(written(doc).c_str());
  EXPECT_EQ(XML::testing::treeOf(again), XML::testing::treeOf(doc));
}

TEST(XmlWriter, ATextThatWouldBeTooLongClearsTheString) {
  const Doc doc("<a><b/></a>");
  LumString out("before");
  doc.getNode(0)->buildXML(out, std::numeric_limits<int>::max());
  EXPECT_STREQ(out, "");
  EXPECT_EQ(out.getLength(), 0);
  out = "before";
  doc.addLevelString(out, std::numeric_limits<int>::max());
  EXPECT_STREQ(out, "");
}

}  // namespace

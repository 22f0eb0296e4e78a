// SPDX-License-Identifier: MIT
#include "foundation/xml/doc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "foundation/xml/testing/tree.h"

namespace {

using XML::Doc;
using XML::Node;
using XML::testing::treeOf;

std::string read(const char* text) { return treeOf(Doc(text)); }

bool isTaken(const char* text) {
  Doc doc;
  const LumString string(text);
  return doc.parse(string) != nullptr;
}

// Records headers and comments, and accepts or refuses them.
class Asking : public Doc {
 public:
  bool onTagHeader(char* content) override { return note("?", content); }
  bool onTagComment(char* content) override { return note("!", content); }
  bool takes = true;
  std::string asked;

 private:
  bool note(const char* kind, const char* content) {
    asked.append(kind).append(content).append(";");
    return takes;
  }
};

const char* const kSettings =
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n"
    "<!-- written by hand -->\n"
    "<!DOCTYPE settings>\n"
    "<VX310>\n"
    "\t<Settings>\n"
    "\t\t<Device1 ClockSource=\"1\" DigitalOutMode = \"0\"/>\n"
    "\t\t<Device2 Name=\"A &amp; B\">some text</Device2>\n"
    "\t</Settings>\n"
    "</VX310>\n";

// --- What is read ---

TEST(XmlDoc, AChildHasItsAttribute) {
  const Doc doc("<a><b x=\"1\"/></a>");
  const Node* b = doc.getNode("a")->getNode("B");
  ASSERT_NE(b, nullptr);
  EXPECT_STREQ(b->getAttributeValue("x"), "1");
  EXPECT_EQ(doc.getNode("a")->getNode(LumString("B")), nullptr);
  EXPECT_EQ(b->getDoc(), &doc);
  EXPECT_EQ(read("<a><b x=\"1\"/></a>"), "a{b(x=1){}}");
}

TEST(XmlDoc, AWholeSettingsFileIsRead) {
  EXPECT_EQ(read(kSettings),
            "VX310{Settings{Device1(ClockSource=1 DigitalOutMode=0){}"
            "Device2(Name=A & B)[some text]{}}}");
  EXPECT_TRUE(isTaken(kSettings));
}

TEST(XmlDoc, EmptyTextIsAnEmptyDocument) {
  EXPECT_TRUE(isTaken(""));
  EXPECT_TRUE(isTaken(" \n\t"));
  EXPECT_TRUE(isTaken("no element at all"));
  EXPECT_EQ(read(""), "");
}

TEST(XmlDoc, LoadingAppends) {
  Doc doc;
  doc.load("<a/><b/>");
  doc.load("<a/><b/>");
  EXPECT_EQ(treeOf(doc), "a{}b{}a{}b{}");
}

TEST(XmlDoc, LoadingLeavesItsArgumentAlone) {
  const LumString text(kSettings);
  Doc doc;
  doc.load(text);
  EXPECT_STREQ(text, kSettings);
}

TEST(XmlDoc, ParsingDropsBlanksInItsArgument) {
  LumString text(" <a>\n<b x=\"1\" > c</b></a>\n");
  const std::int32_t length = text.getLength();
  Doc doc;
  const char* end = doc.parse(text);
  EXPECT_EQ(text.getLength(), length);
  EXPECT_EQ(end, text.getCharPointer() + text.countLength());
  EXPECT_STREQ(text, "<a><b x=\"1\" >c</b></a>");
  EXPECT_EQ(treeOf(doc), "a{b(x=1)[c]{}}");
}

TEST(XmlDoc, ReadingEmptiesTheBase) {
  class Based : public Doc {
   public:
    void setBase(const char* base) { docBase_ = base; }
  };
  Based doc;
  EXPECT_STREQ(doc.getDocBase(), "");
  doc.setBase("folder");
  EXPECT_STREQ(doc.getDocBase(), "folder");
  doc.load("<a/>");
  EXPECT_STREQ(doc.getDocBase(), "");
  doc.setBase("folder");
  const LumString text("<a x>");
  EXPECT_EQ(doc.parse(text), nullptr);
  EXPECT_STREQ(doc.getDocBase(), "");
}

TEST(XmlDoc, ATextOrNameOfTheDocumentCanBeParsed) {
  Doc doc("<a> <b/></a>");
  EXPECT_NE(doc.parse(doc.getNode("a")->getText()), nullptr);
  EXPECT_NE(doc.parse(doc.getNode("a")->getName()), nullptr);
  EXPECT_EQ(treeOf(doc), "a{b{}}");
}

TEST(XmlDoc, BlanksAreDroppedAtTheStartAndAfterEachBracket) {
  EXPECT_EQ(read(" \n <a \t x = \"1\"\x81 > text > more </a >"), "a(x=1)[text >more ]{}");
  EXPECT_EQ(read("<a x=\"1 > 2 >  3\"/>"), "a(x=1 >2 >3){}");
  EXPECT_TRUE(isTaken("<a></a >"));
}

TEST(XmlDoc, NamesAreLettersDigitsAndUnderscores) {
  EXPECT_EQ(read("<a_1 b_2=\"x\"/><1/>"), "a_1(b_2=x){}1{}");
}

TEST(XmlDoc, ANameEndsAtAnyOtherByte) {
  for (int byte = 1; byte < 256; ++byte) {
    const auto c = static_cast<char>(byte);
    const bool isInName = std::isalnum(byte) != 0 && byte < 128;
    const std::string text = std::string("<a") + c + "b/>";
    const Doc doc(text.c_str());
    ASSERT_EQ(doc.getCountNodes(), 1) << byte;
    EXPECT_EQ(std::string(doc.getNode(0)->getName()),
              isInName || c == '_' ? std::string("a") + c + "b" : "a")
        << byte;
  }
  EXPECT_EQ(read("<a-b/>"), "a{}");
}

TEST(XmlDoc, AttributeNamesTakeEveryByteOrRefuseIt) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text = std::string("<a n") + static_cast<char>(byte) + "=\"v\"/>";
    const Doc doc(text.c_str());
    ASSERT_EQ(doc.getCountNodes(), 1) << byte;
    EXPECT_LE(doc.getNode(0)->getCountAttributes(), 1) << byte;
  }
}

TEST(XmlDoc, AttributeValuesTakeEveryByte) {
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == '"') continue;
    const std::string value = std::string("a") + static_cast<char>(byte) + "b";
    const Doc doc(("<a x=\"" + value + "\"/>").c_str());
    ASSERT_EQ(doc.getCountNodes(), 1) << byte;
    EXPECT_EQ(doc.getNode(0)->getAttributeValue("x"), value) << byte;
  }
}

TEST(XmlDoc, ValuesAreDecodedAndTextsAreNot) {
  EXPECT_EQ(read("<a x=\"&lt;x&gt; &amp;lt; &\">&lt;</a>"), "a(x=<x> &lt; &)[&lt;]{}");
}

TEST(XmlDoc, OnlyTheLastTextRunIsKept) {
  EXPECT_EQ(read("<a>first<b/>second<c/></a>"), "a[second]{b{}c{}}");
}

TEST(XmlDoc, EqualAttributesAreAllKept) {
  EXPECT_EQ(read("<a x=\"1\" x=\"2\" y=\"\"/>"), "a(x=1 x=2 y=){}");
}

TEST(XmlDoc, ElementsOpenAtTheEndAreKept) {
  EXPECT_TRUE(isTaken("<a>"));
  EXPECT_TRUE(isTaken("<a"));
  EXPECT_TRUE(isTaken("<a><b x=\"1\""));
  EXPECT_EQ(read("<a><b x=\"1\""), "a{b(x=1){}}");
}

TEST(XmlDoc, AnElementInsideAStartTagBecomesAChild) {
  EXPECT_EQ(read("<a <b y=\"2\"/> x=\"1\"/>"), "a(x=1){b(y=2){}}");
}

TEST(XmlDoc, TheShortEndClosesAnOpenElementToo) {
  EXPECT_EQ(read("<a><b>/><c/></a>"), "a{b{}c{}}");
}

TEST(XmlDoc, ADocumentTypeLineIsSkipped) {
  EXPECT_EQ(read("<!DOCTYPE html><a/><!doctype x>"), "a{}");
  EXPECT_FALSE(isTaken("<!ELEMENT a>"));
  EXPECT_FALSE(isTaken("<!>"));
}

TEST(XmlDoc, TextBetweenTopLevelElementsIsSkipped) {
  EXPECT_EQ(read("before <a/> between <b/> behind"), "a{}b{}");
}

TEST(XmlDoc, HeadersAndCommentsReachTheirHandlers) {
  Asking doc;
  doc.load("<?xml version=\"1.0\"?><!-- a --><a/><!----><?b?>");
  EXPECT_EQ(doc.asked, "?xml version=\"1.0\";! a ;!;?b;");
}

TEST(XmlDoc, ARefusedHeaderOrCommentEndsTheReading) {
  for (const char* text : {"<a/><?x?><b/>", "<a/><!--x--><b/>"}) {
    Asking doc;
    doc.takes = false;
    const LumString string(text);
    EXPECT_EQ(doc.parse(string), nullptr);
    EXPECT_EQ(treeOf(doc), "a{}");
  }
}

TEST(XmlDoc, APlainNodeReadsInTheCallersTextAndRefusesHeaders) {
  Doc doc;
  Node node(&doc, "n");
  char text[] = "<!--c--><a x=\"1\"><b/>t</a>";
  EXPECT_NE(node.doParse(text), nullptr);
  std::fill(std::begin(text), std::end(text), '#');
  EXPECT_EQ(treeOf(node), "a(x=1)[t]{b{}}");
  char header[] = "<?xml?><a/>";
  EXPECT_EQ(node.doParse(header), nullptr);
}

TEST(XmlDoc, ParseNodeReadsFromTheEndOfTheName) {
  Doc doc;
  Node node(&doc, "n");
  char text[] = " x=\"1\"><b/></n>rest";
  EXPECT_STREQ(node.parseNode(text), "rest");
  EXPECT_EQ(treeOf(node), "b{}");
  EXPECT_STREQ(node.getAttributeValue("x"), "1");
}

// --- What is refused ---

TEST(XmlDoc, MalformedTextIsRefusedAndTheTreeReadSoFarIsKept) {
  const std::vector<std::pair<const char*, const char*>> texts = {
      {"<a></A>", "a{}"},         {"<a><b></a>", "a{b{}}"},
      {"<a></>", "a{}"},          {"<a></a", "a{}"},
      {"<a></a x>", "a{}"},       {"<a x/>", "a{}"},
      {"<a x=1/>", "a{}"},        {"<a x='1'/>", "a{}"},
      {"<a x=\"1/>", "a{}"},      {"<a x=\"&amp;/>", "a{}"},
      {"<a x='1\"/>", "a{}"},     {"<a x\"1\"/>", "a{}"},
      {"<a/><_b/>", "a{}"},       {"<a/>< b/>", "a{}"},
      {"<a/></a>", "a{}"},        {"<a/><", "a{}"},
      {"<a/><!-- no end", "a{}"}, {"<a/><!-->", "a{}"},
      {"<a/><!DOCTYPE a", "a{}"}, {"<a/><?xml", "a{}"},
      {"<a>text", "a{}"},         {"<a><!-- inside --></a>", "a{}"},
      {"<a><?x?></a>", "a{}"},    {"<a>< b/></a>", "a{}"},
      {"<a><_b/></a>", "a{}"},    {"<a><", "a{}"},
  };
  for (const auto& [text, tree] : texts) {
    EXPECT_FALSE(isTaken(text)) << text;
    EXPECT_EQ(read(text), tree) << text;
  }
}

TEST(XmlDoc, AFileCutAtAnyByteGivesAPartOfTheWhole) {
  const std::string whole = kSettings;
  std::int32_t last = 0;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const Doc doc(whole.substr(0, size).c_str());
    std::int32_t nodes = 0;
    std::int32_t attributes = 0;
    doc.countNodesAndAttributes(nodes, attributes);
    EXPECT_GE(nodes + attributes, last) << size;
    last = nodes + attributes;
  }
  EXPECT_EQ(last, 7);
}

TEST(XmlDoc, TextEndsAtItsFirstNul) {
  LumString text("<a/>");
  text += '\0';
  for (const char c : std::string("<b/>")) text += c;
  Doc doc;
  doc.load(text);
  EXPECT_NE(doc.parse(text), nullptr);
  EXPECT_EQ(treeOf(doc), "a{}a{}");
}

// --- Much of it ---

TEST(XmlDoc, ATagWithMoreAttributesThanACollectionHoldsKeepsTheFirst) {
  std::string text = "<a";
  for (int i = 0; i < 100'000; ++i) text += " x=\"" + std::to_string(i) + "\"";
  const Doc doc((text + "/><b/>").c_str());
  EXPECT_EQ(doc.getNode(0)->getCountAttributes(), 40960);
  EXPECT_STREQ(doc.getNode(0)->getAttribute(40959)->getValue(), "40959");
  EXPECT_EQ(doc.getCountNodes(), 2);
}

TEST(XmlDoc, ChildrenBeyondTheCollectionsLimitAreReadAndDropped) {
  std::string text = "<a>";
  for (int i = 0; i < 50'000; ++i) text += "<b x=\"1\"><c/></b>";
  Doc doc;
  const LumString string((text + "</a><d/>").c_str());
  EXPECT_NE(doc.parse(string), nullptr);
  EXPECT_EQ(doc.getNode(0)->getCountNodes(), 40960);
  EXPECT_EQ(doc.getCountNodes(), 2);
}

TEST(XmlDoc, FiftyMegabytesAreRead) {
  constexpr std::size_t kSize = 50'000'000;
  std::string text;
  text.reserve(kSize + 200'000);
  while (text.size() < kSize) {
    text += "<Settings>";
    for (int i = 0; i < 1000; ++i) text += "<Device Name=\"A &amp; B\" ClockSource=\"1\"/>\n";
    text += "</Settings>\n";
  }
  Doc doc;
  const LumString string(text.c_str());
  EXPECT_NE(doc.parse(string), nullptr);
  EXPECT_EQ(doc.getNode(doc.getCountNodes() - 1)->getCountNodes(), 1000);
}

TEST(XmlDoc, FiftyMegabytesOfLooseMarkupEnd) {
  constexpr std::size_t kSize = 50'000'000;
  std::mt19937 random(310);
  for (const char* bytes : {"<>", "<a ", "\"=&;", "-!<>", "/> <a"}) {
    const std::string choice = bytes;
    std::string text(kSize / 5, ' ');
    for (char& c : text) c = choice[random() % choice.size()];
    const Doc doc(text.c_str());
  }
}

TEST(XmlDoc, UnterminatedTextsEndAtOnce) {
  const std::string filling(10'000'000, 'x');
  for (const char* start : {"<!--", "<?", "<!doctype ", "<a x=\"", "<a x=\"&", "<a>", "<a ", "<"}) {
    const Doc doc((start + filling).c_str());
    EXPECT_LE(doc.getCountNodes(), 1) << start;
  }
}

}  // namespace

#include "platform/property_list/property_list.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string xml(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + content + "</plist>";
}

std::string repeated(const std::string& text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

std::string bigEndian(std::uint64_t number, int bytes) {
  std::string result;
  for (int i = bytes - 1; i >= 0; --i) result += static_cast<char>(number >> (8 * i));
  return result;
}

// A binary list of `depth` arrays, each the only item of the one before, around the value true.
std::string binaryArrays(std::uint32_t depth) {
  std::string list = "bplist00";
  std::string offsets;
  for (std::uint32_t i = 0; i < depth; ++i) {
    offsets += bigEndian(list.size(), 4);
    list += '\xA1' + bigEndian(i + 1, 4);
  }
  offsets += bigEndian(list.size(), 4);
  list += '\x09';
  const std::uint64_t offsetTable = list.size();
  return list + offsets + std::string(6, '\0') + "\x04\x04" + bigEndian(depth + 1, 8) +
         bigEndian(0, 8) + bigEndian(offsetTable, 8);
}

int depthOf(const CFValue* value) {
  int depth = 0;
  for (const CFArray* array = value->as<CFArray>(); array; ++depth) {
    array = array->empty() ? nullptr : array->front().as<CFArray>();
  }
  return depth;
}

TEST(PropertyList, HoldsEveryKindOfValue) {
  const auto list = parsePropertyList(
      xml("<dict><key>flag</key><true/><key>number</key><integer>96000</integer>"
          "<key>real</key><real>0.5</real><key>text</key><string>1.2.3 \xC3\xA9</string>"
          "<key>data</key><data>AQID/w==</data>"
          "<key>array</key><array><integer>1</integer><string/></array>"
          "<key>dictionary</key><dict><key>inner</key><false/></dict></dict>"));
  const CFDictionary expected{
      {"flag", true},
      {"number", 96000},
      {"real", 0.5},
      {"text", "1.2.3 \xC3\xA9"},
      {"data", CFData{1, 2, 3, 255}},
      {"array", CFArray{1, ""}},
      {"dictionary", CFDictionary{{"inner", false}}},
  };
  ASSERT_TRUE(list);
  EXPECT_EQ(*list, CFValue(expected));
}

TEST(PropertyList, KeepsTheSignOfNumbers) {
  EXPECT_EQ(parsePropertyList(xml("<integer>-2</integer>")), CFValue(-2));
}

TEST(PropertyList, MayBeBinary) {
  EXPECT_EQ(parsePropertyList(binaryArrays(2)), CFValue(CFArray(1, CFArray{true})));
}

TEST(PropertyList, LeavesOutDates) {
  EXPECT_EQ(parsePropertyList(xml("<array><date>2024-01-01T00:00:00Z</date><true/></array>")),
            CFValue(CFArray{true}));
}

TEST(PropertyList, TextThatIsNoneGivesNothing) {
  EXPECT_EQ(parsePropertyList("VQModuleVersionString = 1.2.3"), std::nullopt);
}

TEST(PropertyList, NoBytesGiveNothing) { EXPECT_EQ(parsePropertyList(""), std::nullopt); }

TEST(PropertyList, ATruncatedBinaryListGivesNothing) {
  const std::string list = binaryArrays(2);
  for (std::size_t size = 0; size < list.size(); ++size) {
    EXPECT_EQ(parsePropertyList(std::string_view(list).substr(0, size)), std::nullopt) << size;
  }
}

TEST(PropertyList, IsCutBelowTheDeepestLevel) {
  const std::size_t levels = kDeepestPropertyList + 10;
  const auto list =
      parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels)));
  ASSERT_TRUE(list);
  EXPECT_EQ(depthOf(&*list), kDeepestPropertyList);
}

TEST(PropertyList, AsManyArraysAsAreAllowedAreRead) {
  const std::size_t levels = kMostPropertyListObjects;
  EXPECT_TRUE(parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels))));
}

TEST(PropertyList, XmlNestedToExhaustTheStackGivesNothing) {
  const std::size_t levels = 1'000'000;
  EXPECT_EQ(parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels))),
            std::nullopt);
}

TEST(PropertyList, ABinaryListNestedToExhaustTheStackGivesNothing) {
  EXPECT_EQ(parsePropertyList(binaryArrays(1'000'000)), std::nullopt);
}

}  // namespace

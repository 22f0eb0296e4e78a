// SPDX-License-Identifier: MIT
#include "platform/property_list/property_list.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

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

TEST(PropertyList, TextsAndKeysThatAreNoUtf8AreReadAsTheyCouldBeWritten) {
  EXPECT_EQ(parsePropertyList(xml("<dict><key>\xE9</key><string>\xE9&#1;</string></dict>")),
            CFValue(CFDictionary{{"\xEF\xBF\xBD", "\xEF\xBF\xBD\xEF\xBF\xBD"}}));
}

TEST(PropertyList, KeepsTheSignOfNumbers) {
  EXPECT_EQ(parsePropertyList(xml("<integer>-2</integer>")), CFValue(-2));
}

TEST(PropertyList, MayBeBinary) {
  EXPECT_EQ(parsePropertyList(binaryArrays(2)), CFValue(CFArray(1, CFArray{true})));
}

TEST(PropertyList, KeepsDatesAsTheyAreWritten) {
  EXPECT_EQ(parsePropertyList(xml("<array><date>2024-01-31T23:59:58Z</date><true/></array>")),
            CFValue(CFArray{CFDate{"2024-01-31T23:59:58Z"}, true}));
}

TEST(PropertyList, KeepsTheZerosBeforeAYear) {
  for (const char* date :
       {"0000-01-02T03:04:05Z", "0001-01-01T00:00:00Z", "0987-12-31T00:00:00Z"}) {
    EXPECT_EQ(parsePropertyList(xml(std::string("<date>") + date + "</date>")),
              CFValue(CFDate{date}));
  }
}

TEST(PropertyList, ADateBeforeTheYear0GivesNothing) {
  EXPECT_EQ(parsePropertyList(xml("<date>0s1T23:59:58Z</date>")), std::nullopt);
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

TEST(PropertyList, ATruncatedXmlListGivesNothing) {
  const std::string list = xml("<dict><key>a</key><array><data>AQID</data></array></dict>");
  const std::size_t complete = list.find("</plist>");
  for (std::size_t size = 0; size < complete; ++size) {
    EXPECT_EQ(parsePropertyList(std::string_view(list).substr(0, size)), std::nullopt) << size;
  }
}

TEST(PropertyList, NestedAsDeepAsIsAllowedIsRead) {
  const std::size_t levels = kDeepestPropertyList;
  const auto list =
      parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels)));
  ASSERT_TRUE(list);
  EXPECT_EQ(depthOf(&*list), kDeepestPropertyList);
}

TEST(PropertyList, NestedDeeperGivesNothing) {
  const std::size_t levels = kDeepestPropertyList + 1;
  EXPECT_EQ(parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels))),
            std::nullopt);
}

TEST(PropertyList, AsManyArraysAsAreAllowedAreRead) {
  EXPECT_TRUE(parsePropertyList(
      xml("<array>" + repeated("<array/>", kMostPropertyListObjects - 1) + "</array>")));
  EXPECT_FALSE(parsePropertyList(
      xml("<array>" + repeated("<array/>", kMostPropertyListObjects) + "</array>")));
}

TEST(PropertyList, XmlNestedToExhaustTheStackGivesNothing) {
  const std::size_t levels = 1'000'000;
  EXPECT_EQ(parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels))),
            std::nullopt);
}

TEST(PropertyList, ABinaryListNestedToExhaustTheStackGivesNothing) {
  EXPECT_EQ(parsePropertyList(binaryArrays(1'000'000)), std::nullopt);
}

// A binary list of these objects, the first being the top; offsets of two bytes, references of one.
std::string binaryList(const std::vector<std::string>& objects) {
  std::string list = "bplist00";
  std::string offsets;
  for (const std::string& object : objects) {
    offsets += bigEndian(list.size(), 2);
    list += object;
  }
  const std::uint64_t offsetTable = list.size();
  return list + offsets + std::string(6, '\0') + "\x02\x01" + bigEndian(objects.size(), 8) +
         bigEndian(0, 8) + bigEndian(offsetTable, 8);
}

TEST(BinaryPropertyList, HoldsEveryKindOfValue) {
  const std::string list = binaryList({
      "\xAC\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C",
      "\x08",
      "\x10\xFF",
      "\x13" + bigEndian(~std::uint64_t{0}, 8),
      "\x22" + bigEndian(0x3F000000, 4),
      "\x23" + bigEndian(0xBFE0000000000000, 8),
      "\x33" + bigEndian(0x41C5B58B3F000000, 8),
      std::string("\x42\0\xFF", 3),
      "\x53"
      "abc",
      std::string("\x63\0\xE9\xD8\x3C\xDF\xB8", 7),
      "\x80\x05",
      "\xD1\x08\x01",
      "\x5F\x10\x10"
      "0123456789abcdef",
  });
  EXPECT_EQ(
      parsePropertyList(list),
      CFValue(CFArray{false, 255, -1, 0.5, -0.5, CFDate{"2024-01-31T23:59:58Z"}, CFData{0, 255},
                      "abc", "\xC3\xA9\xF0\x9F\x8E\xB8", CFDictionary{{"CF$UID", 5}},
                      CFDictionary{{"abc", false}}, "0123456789abcdef"}));
}

TEST(BinaryPropertyList, AKeyWithANulInItIsReadAsItCouldBeWritten) {
  const std::string list = binaryList({"\xD1\x01\x02", std::string("\x62\0\0\0a", 5), "\x09"});
  EXPECT_EQ(parsePropertyList(list), CFValue(CFDictionary{{"\xEF\xBF\xBD"
                                                           "a",
                                                           true}}));
}

TEST(BinaryPropertyList, HalfAPairOfUtf16IsReplaced) {
  EXPECT_TRUE(
      parsePropertyList(binaryList({"\x62\xD8\x3C"
                                    "AB"})));
  EXPECT_TRUE(parsePropertyList(binaryList({"\x61\xD8\x3C"})));
  EXPECT_TRUE(parsePropertyList(binaryList({"\x61\xDF\xB8"})));
}

TEST(BinaryPropertyList, AnArrayInItselfGivesNothing) {
  EXPECT_EQ(parsePropertyList(binaryList({std::string("\xA1\0", 2)})), std::nullopt);
}

TEST(BinaryPropertyList, ArraysThatDoubleAtEachLevelGiveNothing) {
  std::vector<std::string> objects;
  for (int level = 1; level <= 100; ++level) {
    objects.push_back("\xA2" + std::string(2, static_cast<char>(level)));
  }
  objects.push_back("\x09");
  EXPECT_EQ(parsePropertyList(binaryList(objects)), std::nullopt);
}

TEST(BinaryPropertyList, ObjectsThatDoNotHoldWhatTheySayGiveNothing) {
  for (const std::string& object :
       {std::string("\x00", 1), std::string("\x0F"), std::string("\x15"), std::string("\x13\x01"),
        std::string("\x21\x01\x01"), std::string("\x32\x01"), std::string("\x4E\x01"),
        std::string("\x5F"), std::string("\x5F\x50"), std::string("\x6F\x13\xFF"),
        std::string("\x7F\x14"), std::string("\x88"), std::string("\x90"), std::string("\xA1\x07"),
        std::string("\xD1\x01"), std::string("\xD1\x01\x01"), std::string("\xF0"),
        "\x33" + bigEndian(0x7FF8000000000000, 8), "\x33" + bigEndian(0x7FEFFFFFFFFFFFFF, 8)}) {
    EXPECT_EQ(parsePropertyList(binaryList({object, "\x09"})), std::nullopt)
        << testing::PrintToString(object);
  }
}

// --- Writing ---

// What is read again after `value` was written.
std::optional<CFValue> rewritten(const CFValue& value) {
  const auto list = xmlPropertyList(value);
  return list ? parsePropertyList(*list) : std::nullopt;
}

TEST(PropertyListWriter, EveryKindOfValueIsReadAsItWasWritten) {
  const CFValue values = CFDictionary{
      {"", "an empty key"},
      {"array", CFArray{1, "", CFArray{}, CFDictionary{}}},
      {"data", CFData{1, 2, 3, 255}},
      {"date", CFDate{"2024-01-31T23:59:58Z"}},
      {"empty data", CFData{}},
      {"false", false},
      {"one byte", CFData{0}},
      {"text", " 1.2.3 \xC3\xA9\t\n\r\r\n \xF0\x9F\x8E\xB8 "},
      {"true", true},
      {"two bytes", CFData{251, 240}},
      {"<&>\"'", "<&>\"' ]]>"},
  };
  EXPECT_EQ(rewritten(values), values);
}

TEST(PropertyListWriter, NumbersKeepAllTheirDigits) {
  const CFValue numbers = CFArray{0,
                                  -1,
                                  std::numeric_limits<std::int64_t>::min(),
                                  std::numeric_limits<std::int64_t>::max(),
                                  0.1,
                                  -1e300,
                                  5e-324,
                                  std::numeric_limits<double>::infinity(),
                                  48000.0};
  EXPECT_EQ(rewritten(numbers), numbers);
}

TEST(PropertyListWriter, WhatXmlCannotHoldIsReplaced) {
  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(rewritten(std::string("a\0b", 3)), CFValue("a" + mark + "b"));
  EXPECT_EQ(rewritten("\x01\x1F"), CFValue(mark + mark));
  EXPECT_EQ(rewritten("latin \xE9 one"), CFValue("latin " + mark + " one"));
  EXPECT_EQ(rewritten("cut \xC3"), CFValue("cut " + mark));
  EXPECT_EQ(rewritten("\xC0\x80"), CFValue(mark + mark)) << "longer than needed";
  EXPECT_EQ(rewritten("\xED\xA0\x80"), CFValue(mark)) << "a surrogate";
  EXPECT_EQ(rewritten("\xEF\xBF\xBF"), CFValue(mark)) << "no character";
  EXPECT_EQ(rewritten("\xF4\x90\x80\x80"), CFValue(mark)) << "above the last character";
}

TEST(PropertyListWriter, TextOfEveryByteValueIsReadAgain) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(rewritten(CFDictionary{{text, text}}),
              CFValue(CFDictionary{{textForXml(text), textForXml(text)}}))
        << byte;
  }
}

TEST(PropertyListWriter, WhatTheReaderWouldRefuseIsNotWritten) {
  CFValue deep = CFArray{};
  for (int level = 0; level < kDeepestPropertyList; ++level) deep = CFArray(1, deep);
  EXPECT_EQ(xmlPropertyList(deep), std::nullopt);
  EXPECT_EQ(xmlPropertyList(CFArray(kMostPropertyListObjects, CFArray{})), std::nullopt);
  EXPECT_TRUE(rewritten(CFArray(kMostPropertyListObjects - 1, CFArray{})));
}

}  // namespace

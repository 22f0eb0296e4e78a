// SPDX-License-Identifier: MIT
#include "platform/property_list/property_list.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.h"

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

// A binary list of `depth` nested arrays. The innermost array holds true.
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

TEST(PropertyList, EveryTypeOfValueIsParsed) {
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

// Newer releases of libplist parse such a dictionary as a UID.
TEST(PropertyList, AReferenceInXmlIsADictionary) {
  const CFValue reference = CFDictionary{{"CF$UID", 5}};
  EXPECT_EQ(parsePropertyList(xml("<dict><key>CF$UID</key><integer>5</integer></dict>")),
            reference);
  const auto list = xmlPropertyList(CFArray{reference});
  ASSERT_TRUE(list);
  EXPECT_EQ(parsePropertyList(*list), CFValue(CFArray{reference}));
}

TEST(PropertyList, ADictionaryWithAReferencesKeyAmongOthersKeepsItsEntries) {
  EXPECT_EQ(parsePropertyList(xml("<dict><key>CF$UID</key><integer>5</integer>"
                                  "<key>other</key><string>text</string></dict>")),
            CFValue(CFDictionary{{"CF$UID", 5}, {"other", "text"}}));
  EXPECT_EQ(parsePropertyList(xml("<dict><key>CF$UID</key><string>text</string></dict>")),
            CFValue(CFDictionary{{"CF$UID", "text"}}));
  EXPECT_EQ(parsePropertyList(xml("<dict><key>CF$UID</key><integer>-5</integer></dict>")),
            CFValue(CFDictionary{{"CF$UID", -5}}));
}

TEST(PropertyList, TextsAndKeysThatXmlForbidsAreParsedAsTextForXmlReturnsThem) {
  EXPECT_EQ(parsePropertyList(xml("<dict><key>\xE9</key><string>\xE9&#1;</string></dict>")),
            CFValue(CFDictionary{{"\xEF\xBF\xBD", "\xEF\xBF\xBD\xEF\xBF\xBD"}}));
}

TEST(PropertyList, NegativeIntegersKeepTheirSign) {
  EXPECT_EQ(parsePropertyList(xml("<integer>-2</integer>")), CFValue(-2));
}

// Debian has no locale with a decimal comma unless one is made.
TEST(PropertyList, RealsHaveADecimalPointWhateverTheLocale) {
  const test_support::TemporaryDirectory locales;
  const std::string command =
      "localedef -i de_DE -f UTF-8 '" + (locales.path() / "de_DE.UTF-8").string() + "' 2>/dev/null";
  if (std::system(command.c_str()) != 0) GTEST_SKIP() << "localedef cannot make a locale here";
  setenv("LOCPATH", locales.path().c_str(), 1);
  ASSERT_TRUE(std::setlocale(LC_ALL, "de_DE.UTF-8"));
  EXPECT_EQ(parsePropertyList(xml("<real>0.5</real>")), CFValue(0.5));
  const auto list = xmlPropertyList(0.5);
  EXPECT_STREQ(std::localeconv()->decimal_point, ",");
  std::setlocale(LC_ALL, "C");
  unsetenv("LOCPATH");
  ASSERT_TRUE(list);
  EXPECT_EQ(parsePropertyList(*list), CFValue(0.5));
}

TEST(PropertyList, ABinaryListIsParsed) {
  EXPECT_EQ(parsePropertyList(binaryArrays(2)), CFValue(CFArray(1, CFArray{true})));
}

TEST(PropertyList, DatesKeepTheirText) {
  EXPECT_EQ(parsePropertyList(xml("<array><date>2024-01-31T23:59:58Z</date><true/></array>")),
            CFValue(CFArray{CFDate{"2024-01-31T23:59:58Z"}, true}));
}

TEST(PropertyList, DatesMustFitIn32BitSecondsAround2001) {
  for (const char* date : {"1932-12-13T20:45:53Z", "2069-01-19T03:14:07Z"}) {
    EXPECT_EQ(parsePropertyList(xml(std::string("<date>") + date + "</date>")),
              CFValue(CFDate{date}));
  }
  for (const char* date : {"0001-01-01T00:00:00Z", "1932-12-13T20:45:52Z", "2069-01-19T03:14:08Z",
                           "4001-01-01T00:00:00Z", "0s1T23:59:58Z"}) {
    EXPECT_EQ(parsePropertyList(xml(std::string("<date>") + date + "</date>")), std::nullopt)
        << date;
  }
}

TEST(PropertyList, TextThatIsNoPropertyListIsRefused) {
  EXPECT_EQ(parsePropertyList("VQModuleVersionString = 1.2.3"), std::nullopt);
}

TEST(PropertyList, NoBytesAreRefused) { EXPECT_EQ(parsePropertyList(""), std::nullopt); }

TEST(PropertyList, ATruncatedBinaryListIsRefused) {
  const std::string list = binaryArrays(2);
  for (std::size_t size = 0; size < list.size(); ++size) {
    EXPECT_EQ(parsePropertyList(std::string_view(list).substr(0, size)), std::nullopt) << size;
  }
}

TEST(PropertyList, ATruncatedXmlListIsRefused) {
  const std::string list = xml("<dict><key>a</key><array><data>AQID</data></array></dict>");
  const std::size_t complete = list.find("</plist>");
  for (std::size_t size = 0; size < complete; ++size) {
    EXPECT_EQ(parsePropertyList(std::string_view(list).substr(0, size)), std::nullopt) << size;
  }
}

TEST(PropertyList, AListAsDeepAsTheLimitIsParsed) {
  const std::size_t levels = kDeepestPropertyList;
  const auto list =
      parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels)));
  ASSERT_TRUE(list);
  EXPECT_EQ(depthOf(&*list), kDeepestPropertyList);
}

TEST(PropertyList, AListDeeperThanTheLimitIsRefused) {
  const std::size_t levels = kDeepestPropertyList + 1;
  EXPECT_EQ(parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels))),
            std::nullopt);
}

TEST(PropertyList, AnXmlListMayHaveAsManyArraysAsTheLimitAndNoMore) {
  EXPECT_TRUE(parsePropertyList(
      xml("<array>" + repeated("<array/>", kMostPropertyListObjects - 1) + "</array>")));
  EXPECT_FALSE(parsePropertyList(
      xml("<array>" + repeated("<array/>", kMostPropertyListObjects) + "</array>")));
}

TEST(PropertyList, AnXmlListThatWouldExhaustTheStackIsRefused) {
  const std::size_t levels = 1'000'000;
  EXPECT_EQ(parsePropertyList(xml(repeated("<array>", levels) + repeated("</array>", levels))),
            std::nullopt);
}

TEST(PropertyList, ABinaryListThatWouldExhaustTheStackIsRefused) {
  EXPECT_EQ(parsePropertyList(binaryArrays(1'000'000)), std::nullopt);
}

TEST(PropertyList, ABinaryListOfAsManyObjectsAsTheLimitIsHandedToTheLibraryAndFreed) {
  // Too deep for a CFValue, but libplist's recursion ends before the stack does.
  EXPECT_EQ(parsePropertyList(binaryArrays(kMostPropertyListObjects - 1)), std::nullopt);
}

// A binary list of `objects`, the first of which is the top object. Offsets have two bytes,
// references one.
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

TEST(BinaryPropertyList, EveryTypeOfValueIsParsed) {
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

TEST(BinaryPropertyList, AnArrayThatHoldsItselfIsRefused) {
  EXPECT_EQ(parsePropertyList(binaryList({std::string("\xA1\0", 2)})), std::nullopt);
}

TEST(BinaryPropertyList, MalformedObjectsAreRefused) {
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

// Writes `value` and parses the result.
std::optional<CFValue> rewritten(const CFValue& value) {
  const auto list = xmlPropertyList(value);
  return list ? parsePropertyList(*list) : std::nullopt;
}

TEST(PropertyListWriter, EveryTypeOfValueIsParsedAsItWasWritten) {
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

TEST(PropertyListWriter, BytesThatAreNoUtf8AndCharactersThatXmlForbidsAreReplaced) {
  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(rewritten(std::string("a\0b", 3)), CFValue("a" + mark + "b"));
  EXPECT_EQ(rewritten("\x01\x1F"), CFValue(mark + mark));
  EXPECT_EQ(rewritten("latin \xE9 one"), CFValue("latin " + mark + " one"));
  EXPECT_EQ(rewritten("cut \xC3"), CFValue("cut " + mark));
  EXPECT_EQ(rewritten("\xC0\x80"), CFValue(mark + mark)) << "overlong";
  EXPECT_EQ(rewritten("\xED\xA0\x80"), CFValue(mark + mark + mark)) << "a surrogate";
  EXPECT_EQ(rewritten("\xEF\xBF\xBF"), CFValue(mark)) << "no character";
  EXPECT_EQ(rewritten("\xF4\x90\x80\x80"), CFValue(mark + mark + mark + mark))
      << "above the last character";
}

TEST(PropertyListWriter, TextsOfEveryByteValueAreParsedAsTextForXmlReturnsThem) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(rewritten(CFDictionary{{text, text}}),
              CFValue(CFDictionary{{textForXml(text), textForXml(text)}}))
        << byte;
  }
}

TEST(PropertyListWriter, ListsThatTheParserWouldRefuseAreNotWritten) {
  CFValue deep = CFArray{};
  for (int level = 0; level < kDeepestPropertyList; ++level) deep = CFArray(1, deep);
  EXPECT_EQ(xmlPropertyList(deep), std::nullopt);
  EXPECT_EQ(xmlPropertyList(CFArray(kMostPropertyListObjects, CFArray{})), std::nullopt);
  EXPECT_TRUE(rewritten(CFArray(kMostPropertyListObjects - 1, CFArray{})));
  for (const char* date : {"", "tomorrow", "2024-01-31T23:59:58Z ", "2024-01-31T23:59:58",
                           "1932-12-13T20:45:51Z", "2069-01-19T03:14:08Z"}) {
    EXPECT_EQ(xmlPropertyList(CFDate{date}), std::nullopt) << date;
  }
  deep = CFArray{};
  for (int level = 1; level < kDeepestPropertyList; ++level) deep = CFArray(1, deep);
  EXPECT_EQ(rewritten(deep), deep);
}

}  // namespace

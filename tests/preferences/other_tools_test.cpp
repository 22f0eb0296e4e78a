// SPDX-License-Identifier: MIT
// Preferences files that other tools read and write: Python's plistlib, and plistutil.
#include "tests/preferences/other_tools.h"

namespace preferences_test {
namespace {

const CFDictionary kValues{
    {"array", CFArray{1, "two", CFArray{}, CFDictionary{{"inner", false}}}},
    {"data", CFData{0, 1, 254, 255}},
    {"dictionary", CFDictionary{{"OrbekUID", CFData{1}}}},
    {"integer", -5},
    {"real", 0.1},
    {"text", " <1> & \"2\" \xC3\xA9\r\n\t"},
    {"true", true},
};

constexpr const char* kPythonValues =
    "values = {'array': [1, 'two', [], {'inner': False}], 'data': bytes([0, 1, 254, 255]),\n"
    "  'dictionary': {'OrbekUID': b'\\x01'}, 'integer': -5, 'real': 0.1,\n"
    "  'text': ' <1> & \"2\" \\u00e9\\r\\n\\t', 'true': True}\n";

TEST_F(OtherTools, PlistlibReadsStoredValues) {
  for (const auto& [key, value] : kValues) set(key, value);
  ASSERT_TRUE(synchronize());
  EXPECT_EQ(python(std::string(kPythonValues) +
                   "stored = plistlib.load(open(file, 'rb'), fmt=plistlib.FMT_XML)\n"
                   "print('same' if stored == values else stored, end='')\n"),
            "same");
}

TEST_F(OtherTools, PlistlibReadsTextsOfAllBytes) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text = std::to_string(byte) + static_cast<char>(byte);
    set(text, text);
  }
  ASSERT_TRUE(synchronize());
  EXPECT_EQ(python("print(len(plistlib.load(open(file, 'rb'))), end='')\n"), "256");
}

class WrittenByPlistlib : public OtherTools, public testing::WithParamInterface<const char*> {};

TEST_P(WrittenByPlistlib, ValuesAreReadAndKeptByTheNextWrite) {
  // No carriage return: plistlib does not escape it, and XML parsers read it as a line feed.
  python(std::string(kPythonValues) + "values['text'] = values['text'].replace('\\r', '')\n" +
         "values['when'] = datetime.datetime(2024, 1, 31, 23, 59, 58)\n" +
         "plistlib.dump(values, open(file, 'wb'), fmt=plistlib." + GetParam() + ")\n");
  CFDictionary values = kValues;
  values.insert_or_assign("text", " <1> & \"2\" \xC3\xA9\n\t");
  values.insert_or_assign("when", CFDate{"2024-01-31T23:59:58Z"});
  for (const auto& [key, value] : values) EXPECT_EQ(copy(key), value) << key;

  set("integer", 6);
  EXPECT_TRUE(synchronize());
  values.insert_or_assign("integer", 6);
  EXPECT_EQ(stored(), values);
  EXPECT_EQ(python("stored = plistlib.load(open(file, 'rb'))\n"
                   "print(stored['integer'], stored['when'], end='')\n"),
            "6 2024-01-31 23:59:58");
}

INSTANTIATE_TEST_SUITE_P(Forms, WrittenByPlistlib, testing::Values("FMT_XML", "FMT_BINARY"),
                         [](const auto& form) { return std::string(form.param).substr(4); });

TEST_F(OtherTools, PlistutilConvertsTheFileToBinaryAndItIsReadAgain) {
  for (const auto& [key, value] : kValues) set(key, value);
  ASSERT_TRUE(synchronize());
  run(VX310_PLISTUTIL " -i \"$file\" -f bin -o \"$file.bin\" && mv \"$file.bin\" \"$file\"");
  ASSERT_EQ(bytes().substr(0, 6), "bplist");
  EXPECT_TRUE(synchronize());
  for (const auto& [key, value] : kValues) EXPECT_EQ(copy(key), value) << key;
}

}  // namespace
}  // namespace preferences_test

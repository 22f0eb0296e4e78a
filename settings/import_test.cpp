// SPDX-License-Identifier: MIT
// The import of the legacy settings file by the first store that is opened by name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>

#include "platform/files/memory/memory_files.h"
#include "platform/log/memory/memory_log.h"
#include "platform/preferences/memory/memory_preferences.h"
#include "settings/osx_asio_registry.h"

namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;
using Operations = std::vector<std::string>;

constexpr const char* kName = "VantrelVX310.usbsettings";
constexpr const char* kFile = "VantrelVX310.usbsettings.xml";
const std::string kMissing =
    "getStorageFile: could not create FSRef for path VantrelVX310.usbsettings.xml (-43)\n";

class LegacyFile : public testing::Test {
 protected:
  LegacyFile() {
    memory_preferences::reset();
    memory_files::reset();
    memory_log::reset();
  }

  static CFDictionary stored() { return memory_preferences::storedValues(DEVICE_HAL_DOMAIN); }

  // The values stored by a first start with a file of `bytes`.
  static CFDictionary imported(const std::string& bytes) {
    memory_preferences::reset();
    memory_files::reset();
    memory_files::putPreferencesFile(kFile, bytes);
    const OSXAsioRegistry store(kName);
    return stored();
  }

  // What was printed since the start or the last call.
  static std::string printed() { return memory_log::takeOutput(); }
};

const CFDictionary kOnlyTheVersion{{"Version", "1.0"}};

// --- Importing ---

TEST_F(LegacyFile, EveryAttributeOfEveryElementInSettingsBecomesAPreference) {
  EXPECT_EQ(imported("<?xml version=\"1.0\"?>\n<Settings text=\"no\">\n"
                     "  <Device ClockSource=\"1\" DigitalOutMode=\"0\"/>\n"
                     "  <Other SampleRate=\"48000\"><Deep Key=\"no\"/></Other>\n"
                     "</Settings>\n<Elsewhere><Device USB1Mode=\"1\"/></Elsewhere>\n"),
            (CFDictionary{{"ClockSource", "1"},
                          {"DigitalOutMode", "0"},
                          {"SampleRate", "48000"},
                          {"Version", "1.0"}}));
}

TEST_F(LegacyFile, ImportedValuesAreReadAsNumbers) {
  imported("<Settings><Device ForceInternal=\"1\"/></Settings>");
  const OSXAsioRegistry store(kName);
  std::uint32_t value = 0;
  EXPECT_TRUE(store.getForceInternal(value));
  EXPECT_EQ(value, 1u);
}

TEST_F(LegacyFile, AttributesAreSetAndSynchronisedInOrderAndTheVersionLast) {
  memory_files::putPreferencesFile(kFile, "<Settings><X B=\"1\" A=\"2\"/><Y B=\"3\"/></Settings>");
  const OSXAsioRegistry store(kName);
  EXPECT_EQ(memory_preferences::operations(),
            (Operations{"set B", "synchronize", "set A", "synchronize", "set B", "synchronize",
                        "set Version", "synchronize"}));
  EXPECT_EQ(stored(), (CFDictionary{{"A", "2"}, {"B", "3"}, {"Version", "1.0"}}));
  EXPECT_FALSE(store.getVersionCurrent());
  EXPECT_STREQ(store.getStorageName(), kFile);
}

TEST_F(LegacyFile, ASecondStoreDoesNotReadTheFileAgain) {
  imported("<Settings><X A=\"1\"/></Settings>");
  memory_files::putPreferencesFile(kFile, "<Settings><X A=\"2\"/></Settings>");
  const std::size_t before = memory_files::operations().size();
  const OSXAsioRegistry store(kName);
  EXPECT_EQ(memory_files::operations().size(), before);
  EXPECT_EQ(stored().at("A"), CFValue("1"));
  EXPECT_FALSE(store.getVersionCurrent());
  EXPECT_TRUE(store.getStorageName().isEmpty());
}

TEST_F(LegacyFile, WithAnyStoredVersionTheFileIsNotRead) {
  memory_preferences::storeFromOutside("Version", CFValue("0.9"), DEVICE_HAL_DOMAIN);
  const OSXAsioRegistry store(kName);
  EXPECT_EQ(memory_files::operations(), Operations{});
  EXPECT_EQ(memory_preferences::operations(), Operations{});
}

TEST_F(LegacyFile, TheFileIsNotChanged) {
  const std::string bytes = "<Settings><X A=\"1\"/></Settings>";
  imported(bytes);
  EXPECT_EQ(memory_files::preferencesFile(kFile), bytes);
}

TEST_F(LegacyFile, AMissingFileIsCreatedAndOnlyTheVersionIsStored) {
  const OSXAsioRegistry store(kName);
  EXPECT_EQ(memory_files::preferencesFile(kFile), "");
  EXPECT_EQ(stored(), kOnlyTheVersion);
  EXPECT_EQ(printed(), kMissing + "getStorageFile: openFork returns 0\n");
}

TEST_F(LegacyFile, WithoutADocumentOnlyTheVersionIsStored) {
  OSXAsioRegistry store{std::optional<std::string_view>("test")};
  store.convertToCFPrefs();
  EXPECT_EQ(memory_preferences::operations(), (Operations{"set Version", "synchronize"}));
}

TEST_F(LegacyFile, TheDocumentHasASettingsNodeAfterwards) {
  OSXAsioRegistry store(kName);
  EXPECT_NE(store.getNode("Settings"), nullptr);
}

TEST_F(LegacyFile, WithAFileThatCannotBeOpenedOrReadOnlyTheVersionIsStored) {
  for (const char* operation :
       {"FSFindFolder", "FSMakeFSRefUnicode", "FSGetDataForkName", "FSOpenFork", "FSReadFork"}) {
    memory_preferences::reset();
    memory_files::reset();
    memory_files::putPreferencesFile(kFile, "<Settings><X A=\"1\"/></Settings>");
    memory_files::fail(operation, ioErr);
    const OSXAsioRegistry store(kName);
    EXPECT_EQ(stored(), kOnlyTheVersion) << operation;
    const bool isOpened = operation == std::string("FSReadFork");
    EXPECT_EQ(memory_files::operations().back() == "FSCloseFork", isOpened) << operation;
  }
}

TEST_F(LegacyFile, AnInterruptedImportStoresNoVersion) {
  memory_files::putPreferencesFile(kFile, "<Settings><X A=\"1\"/></Settings>");
  memory_preferences::failNextSynchronize();
  const OSXAsioRegistry store(kName);
  EXPECT_EQ(stored(), CFDictionary{});
}

// --- Reading ---

TEST_F(LegacyFile, AFileIsReadWholeInChunksOf1024BytesAndClosed) {
  std::string bytes = "<Settings><X A=\"" + std::string(1500, 'a') + "\" B=\"2\"/></Settings>";
  EXPECT_EQ(imported(bytes),
            (CFDictionary{{"A", std::string(1500, 'a')}, {"B", "2"}, {"Version", "1.0"}}));
  EXPECT_EQ(memory_files::operations(),
            (Operations{"FSFindFolder", "FSMakeFSRefUnicode " + std::string(kFile),
                        "FSGetDataForkName", "FSOpenFork " + std::string(kFile) + " 1",
                        "FSReadFork 1024", "FSReadFork 1024", "FSReadFork 1024", "FSCloseFork"}));
}

TEST_F(LegacyFile, AFileAroundTheSizeOfAChunkIsReadWhole) {
  for (const std::size_t length : {1023u, 1024u, 1025u, 2048u}) {
    std::string bytes = "<Settings><X A=\"\"/></Settings>";
    bytes.insert(16, length - bytes.size(), 'a');
    EXPECT_EQ(imported(bytes).at("A"), CFValue(bytes.substr(16, length - 30))) << length;
  }
}

TEST_F(LegacyFile, AShortChunkIsNotFollowedByTheRestOfTheChunkBeforeIt) {
  std::string bytes = "<Settings><X A=\"1\"/>";
  bytes.insert(std::string("<Settings>").size(), 1024 - bytes.size(), ' ');
  memory_files::putPreferencesFile(kFile, bytes + "<Y B=\"2\"/>");
  const OSXAsioRegistry store(kName);
  EXPECT_EQ(
      memory_preferences::operations(),
      (Operations{"set A", "synchronize", "set B", "synchronize", "set Version", "synchronize"}));
}

TEST_F(LegacyFile, ACountAboveTheChunksSizeEndsTheReading) {
  memory_files::putPreferencesFile(kFile, "<Settings><X A=\"1\"/></Settings>");
  memory_files::reportRead(1025);
  { const OSXAsioRegistry store(kName); }
  EXPECT_EQ(stored(), kOnlyTheVersion);
  EXPECT_EQ(memory_files::operations().back(), "FSCloseFork");
}

TEST_F(LegacyFile, AFailedReadEndsTheReading) {
  memory_files::putPreferencesFile(kFile, "<Settings><X A=\"1\"/></Settings>" +
                                              std::string(994, ' ') + "<Settings><X B=\"1\"/>");
  memory_files::fail("FSReadFork", ioErr);
  { const OSXAsioRegistry store(kName); }
  EXPECT_EQ(stored(), kOnlyTheVersion);
  EXPECT_EQ(memory_files::operations().back(), "FSCloseFork");
}

// --- Faults in the file ---

TEST_F(LegacyFile, AnEmptyFileHasNoSettings) { EXPECT_EQ(imported(""), kOnlyTheVersion); }

TEST_F(LegacyFile, BinaryContentHasNoSettings) {
  std::string bytes;
  std::uint32_t number = 1;
  for (int i = 0; i < 5000; ++i) {
    number = number * 1664525 + 1013904223;
    bytes += static_cast<char>(number >> 24);
  }
  EXPECT_EQ(imported(bytes), kOnlyTheVersion);
  EXPECT_EQ(imported(std::string(5000, '\0')), kOnlyTheVersion);
  EXPECT_EQ(imported("bplist00\xd1\x01\x02"
                     "A1"),
            kOnlyTheVersion);
}

TEST_F(LegacyFile, AFileOf50MegabytesIsReadWhole) {
  std::string bytes = "<Settings><X A=\"1\"/><Filler Text=\"";
  bytes.append(50'000'000 - bytes.size() - 40, 'x').append("\"/><X B=\"2\"/></Settings>");
  const CFDictionary values = imported(bytes);
  EXPECT_EQ(values.size(), 4u);
  EXPECT_EQ(values.at("A"), CFValue("1"));
  EXPECT_EQ(values.at("B"), CFValue("2"));
  EXPECT_GT(values.at("Text").as<std::string>()->size(), 49'000'000u);
}

TEST_F(LegacyFile, TheCompleteAttributesOfATruncatedFileAreImported) {
  const std::string bytes =
      "<?xml version=\"1.0\"?><!-- A comment --><!DOCTYPE Settings><Settings>"
      "<X A=\"1\" B=\"2\"/><Y C=\"3\">text</Y></Settings>";
  for (std::size_t length = 0; length <= bytes.size(); ++length) {
    CFDictionary expected = kOnlyTheVersion;
    for (const auto& [key, value] : {std::pair("A", "1"), {"B", "2"}, {"C", "3"}}) {
      const std::string attribute = std::string(key) + "=\"" + value + "\"";
      if (length >= bytes.find(attribute) + attribute.size()) expected.emplace(key, value);
    }
    EXPECT_EQ(imported(bytes.substr(0, length)), expected) << length;
  }
}

TEST_F(LegacyFile, AnUnclosedCommentOrHeaderHidesTheRest) {
  const std::string settings = "<Settings><X A=\"1\"/></Settings>";
  EXPECT_EQ(imported("<!-- " + settings), kOnlyTheVersion);
  EXPECT_EQ(imported("<?xml " + settings), kOnlyTheVersion);
  EXPECT_EQ(imported("<!DOCTYPE Settings [" + settings), kOnlyTheVersion);
  EXPECT_EQ(imported(settings + "<!-- "), (CFDictionary{{"A", "1"}, {"Version", "1.0"}}));
}

TEST_F(LegacyFile, AnUnclosedQuoteEndsTheImport) {
  const CFDictionary first{{"A", "1"}, {"Version", "1.0"}};
  EXPECT_EQ(imported("<Settings><X A=\"1\" B=\"2/></Settings>"), first);
  EXPECT_EQ(imported("<Settings><X A=\"1\"/><X B=\"2/></Settings>"), first);
  // The next quote closes it, wherever that is.
  EXPECT_EQ(imported("<Settings><X A=\"1\" B=\"2/><X C=\"3\"/></Settings>"),
            (CFDictionary{{"A", "1"}, {"B", "2/><X C="}, {"Version", "1.0"}}));
}

TEST_F(LegacyFile, OfAHundredThousandAttributesOfOneElementTheFirst40960AreImported) {
  std::string bytes = "<Settings><X";
  for (int i = 0; i < 100000; ++i)
    bytes += " K" + std::to_string(i) + "=\"" + std::to_string(i) + "\"";
  const CFDictionary values = imported(bytes + "/></Settings>");
  EXPECT_EQ(values.size(), 40961u);  // the capacity of a collection, and the version
  EXPECT_TRUE(values.contains("K0"));
  EXPECT_TRUE(values.contains("K40959"));
  EXPECT_FALSE(values.contains("K40960"));
}

TEST_F(LegacyFile, ANameConsistsOfLettersDigitsAndUnderscoresAndAnyOtherByteEndsTheImport) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string name = std::string("K") + static_cast<char>(byte) + "k";
    CFDictionary expected{{"First", "1"}, {"Version", "1.0"}};
    const bool isInNames = (byte < 0x80 && std::isalnum(byte)) || byte == '_';
    if (isInNames) expected.insert({{name, "2"}, {"Last", "3"}});
    EXPECT_EQ(imported("<Settings><X First=\"1\"/><X " + name + "=\"2\" Last=\"3\"/></Settings>"),
              expected)
        << byte;
  }
}

TEST_F(LegacyFile, AValueMayContainAnyCharacterButNulAndTheQuote) {
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == '"') continue;
    const std::string character(1, static_cast<char>(byte));
    // A character is one byte of ISO-8859-1 in the file, and one or two of UTF-8 in the
    // preferences.
    const std::string utf8 = byte < 0x80 ? character
                             : byte < 0xC0
                                 ? "\xC2" + character
                                 : "\xC3" + std::string(1, static_cast<char>(byte - 0x40));
    EXPECT_EQ(imported("<Settings><X K=\"v" + character + "v\"/></Settings>").at("K"),
              CFValue("v" + utf8 + "v"))
        << byte;
  }
}

TEST_F(LegacyFile, NamesAndValuesLongerThanAChunkAreImported) {
  const std::string name(3000, 'n');
  const std::string value(5000, 'v');
  EXPECT_EQ(imported("<Settings><X " + name + "=\"" + value + "\"/></Settings>"),
            (CFDictionary{{name, value}, {"Version", "1.0"}}));
}

TEST_F(LegacyFile, ElementsOfAnyDepthAreReadAndDropped) {
  std::string bytes = "<Settings>";
  for (int i = 0; i < 100000; ++i) bytes += "<X>";
  EXPECT_EQ(imported(bytes), kOnlyTheVersion);
}

// --- Opening ---

TEST_F(LegacyFile, AFileNameThatIsNotAsciiIsPrintedAndRefused) {
  EXPECT_EQ(getStorageFile("\xe9t\xe9", true, false), -1);
  EXPECT_EQ(printed(), "Could not create path for file \xe9t\xe9\n");
  EXPECT_EQ(memory_files::operations(), Operations{});
}

TEST_F(LegacyFile, AFileNameOfAnyBytesAndLengthIsOpenedOrRefused) {
  for (int byte = 1; byte < 256; ++byte) {
    const char name[] = {'a', static_cast<char>(byte), 'b', '\0'};
    EXPECT_EQ(getStorageFile(name, true, false) != -1, byte < 0x80 && byte != '/') << byte;
  }
  EXPECT_EQ(getStorageFile(std::string(2000, 'a').c_str(), true, false), -1);
  EXPECT_EQ(getStorageFile("", true, false), -1);
}

TEST_F(LegacyFile, AMissingFileIsPrintedAndNotCreatedUnlessRequested) {
  EXPECT_EQ(getStorageFile(kFile, false, false), -1);
  EXPECT_EQ(printed(), kMissing);
  EXPECT_EQ(memory_files::preferencesFile(kFile), std::nullopt);
}

TEST_F(LegacyFile, AnotherFailureIsPrintedAndNoFileIsCreated) {
  memory_files::fail("FSFindFolder", permErr);
  EXPECT_EQ(getStorageFile("a", true, false), -1);
  EXPECT_EQ(printed(), "getStorageFile: could not create FSRef for path a (-54)\n");
  EXPECT_EQ(memory_files::operations(), (Operations{"FSFindFolder"}));
}

TEST_F(LegacyFile, AFileThatCannotBeCreatedIsPrinted) {
  memory_files::fail("FSCreateFileUnicode", wPrErr);
  EXPECT_EQ(getStorageFile("a", true, false), -1);
  EXPECT_EQ(printed(),
            "getStorageFile: could not create FSRef for path a (-43)\n"
            "getStorageFile: could not create file for path a (-44)\n");
}

TEST_F(LegacyFile, ANewFileThatCannotBeOpenedIsPrinted) {
  memory_files::fail("FSOpenFork", permErr);
  EXPECT_EQ(getStorageFile("a", true, false), -1);
  EXPECT_EQ(printed(),
            "getStorageFile: could not create FSRef for path a (-43)\n"
            "getStorageFile: openFork returns -54\n");
}

TEST_F(LegacyFile, WithoutAFolderTheFileIsOpenedAllTheSame) {
  memory_files::fail("FSFindFolder", fnfErr);
  EXPECT_EQ(getStorageFile("a", true, false), -1);
  EXPECT_EQ(printed(),
            "getStorageFile: could not create FSRef for path a (-43)\n"
            "getStorageFile: openFork returns -43\n");
}

TEST_F(LegacyFile, ANewFileIsOpenedWithTheRequestedPermission) {
  EXPECT_NE(getStorageFile("a", true, false), -1);
  EXPECT_EQ(memory_files::operations().back(), "FSOpenFork a 1");
  EXPECT_NE(getStorageFile("b", true, true), -1);
  EXPECT_EQ(memory_files::operations().back(), "FSOpenFork b 2");
}

TEST_F(LegacyFile, AnExistingFileIsOpenedWithTheRequestedPermissionAndNothingIsPrinted) {
  memory_files::putPreferencesFile("a", "");
  EXPECT_NE(getStorageFile("a", false, false), -1);
  EXPECT_EQ(memory_files::operations().back(), "FSOpenFork a 1");
  EXPECT_NE(getStorageFile("a", false, true), -1);
  EXPECT_EQ(memory_files::operations().back(), "FSOpenFork a 2");
  EXPECT_EQ(printed(), "");
}

TEST_F(LegacyFile, AMissingDataForkNameIsPrinted) {
  memory_files::putPreferencesFile("a", "");
  memory_files::fail("FSGetDataForkName", ioErr);
  EXPECT_EQ(getStorageFile("a", true, false), -1);
  EXPECT_EQ(printed(), "getStorageFile: could not get data fork name -36\n");
}

TEST_F(LegacyFile, AForkThatCannotBeOpenedIsRefusedAndNothingIsPrinted) {
  memory_files::putPreferencesFile("a", "");
  memory_files::fail("FSOpenFork", permErr);
  EXPECT_EQ(getStorageFile("a", true, false), -1);
  memory_files::fail("FSOpenFork", fnfErr);
  EXPECT_EQ(getStorageFile("a", false, false), -1);
  EXPECT_EQ(printed(), "");
  EXPECT_THAT(memory_files::operations(), Not(Contains(StartsWith("FSCreateFileUnicode"))));
}

TEST_F(LegacyFile, AFileRemovedBeforeItIsOpenedIsCreatedAndOpenedAgain) {
  memory_files::putPreferencesFile("a", "");
  memory_files::fail("FSOpenFork", fnfErr);
  memory_files::fail("FSCreateFileUnicode", noErr);
  EXPECT_NE(getStorageFile("a", true, true), -1);
  EXPECT_EQ(memory_files::operations(),
            (Operations{"FSFindFolder", "FSMakeFSRefUnicode a", "FSGetDataForkName",
                        "FSOpenFork a 2", "FSCreateFileUnicode a", "FSOpenFork a 2"}));
  EXPECT_EQ(printed(), "");
}

TEST_F(LegacyFile, ARemovedFileThatCannotBeCreatedIsPrinted) {
  memory_files::putPreferencesFile("a", "");
  memory_files::fail("FSOpenFork", fnfErr);
  memory_files::fail("FSCreateFileUnicode", permErr);
  EXPECT_EQ(getStorageFile("a", true, false), -1);
  EXPECT_EQ(printed(), "getStorageFile: could not create file -54\n");
}

}  // namespace

// SPDX-License-Identifier: MIT
// The settings store with real files: other tools, other processes, values of the wrong type, and
// the import of a legacy file at the first start.
#include <sys/inotify.h>

#include <chrono>
#include <cstring>
#include <random>

#include "settings/osx_asio_registry.h"
#include "tests/preferences/other_tools.h"

namespace preferences_test {
namespace {

constexpr const char* kName = "VantrelVX310.usbsettings";
constexpr std::string_view kStore =
    "com.vantrel.test";  // the store appends ".hal", which makes kId

CFData countingBytes(std::size_t size) {
  CFData bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}

std::uint32_t sampleRateOf(const OSXAsioRegistry& store) {
  std::uint32_t rate = 0;
  store.getSampleRate(rate);
  return rate;
}

// --- Other tools ---

using StoreAndOtherTools = OtherTools;

constexpr std::uint64_t kUid = 0x12345678;

VQ_Orbek_ConfigAndMap record() {
  VQ_Orbek_ConfigAndMap record;
  record.configuration = {96000, 10, 16, 12, 24};
  for (std::uint32_t i = 0; i < VQ_Orbek_ChannelMap::kEntries; ++i) record.map.outputs[i] = i;
  return record;
}

void setOneOfEachKind(OSXAsioRegistry& store) {
  store.setSampleRate(48000);
  store.setMixerMode(-3);
  store.setRouting(0, 1, 4294967295);
  store.setBoolValue(true, "Flag");
  store.setStringValue("a <b> & \"c\" \xC3\xA9", "Name");
  store.setUInt64Value(0x0102030405060708, "Number64");
  store.setRoutingMatrix(countingBytes(32).data());
  store.setReverbBuffers(countingBytes(1024).data());
  store.setOrbekConfigAndMapping(record(), reinterpret_cast<const char*>(&kUid));
}

// The values of setOneOfEachKind() in Python, with the version that the store writes when it
// closes.
constexpr const char* kSame =
    "import struct, sys\n"
    "values = {'SampleRate': '48000', 'MixerMode': '-3', 'Routing_0_1': '-1', 'Flag': '1',\n"
    "  'Name': 'a <b> & \"c\" \\u00e9', 'Number64': struct.pack('=Q', 0x0102030405060708),\n"
    "  'RoutingMatrix': bytes(range(32)), 'ReverbBuffers': bytes(i % 256 for i in range(1024)),\n"
    "  'ORBEK_        12345678': struct.pack('=21I', 96000, 10, 16, 12, 24, *[0] * 8, *range(8)),\n"
    "  'Version': '1.0'}\n";

void expectOneOfEachKind(const OSXAsioRegistry& store) {
  EXPECT_TRUE(store.getVersionCurrent());
  EXPECT_EQ(sampleRateOf(store), 48000u);
  std::int32_t mode = 0;
  EXPECT_TRUE(store.getMixerMode(mode));
  EXPECT_EQ(mode, -3);
  std::uint32_t routing = 0;
  EXPECT_TRUE(store.getRouting(0, 1, routing));
  EXPECT_EQ(routing, 4294967295);
  bool flag = false;
  EXPECT_TRUE(store.getBoolValue(flag, "Flag"));
  EXPECT_TRUE(flag);
  std::optional<CFValue> name;
  store.getStringValue(name, "Name");
  EXPECT_EQ(name, CFValue("a <b> & \"c\" \xC3\xA9"));
  std::uint64_t number = 0;
  EXPECT_TRUE(store.getUInt64Value(number, "Number64"));
  EXPECT_EQ(number, 0x0102030405060708u);
  CFData matrix(32);
  EXPECT_TRUE(store.getRoutingMatrix(matrix));
  EXPECT_EQ(matrix, countingBytes(32));
  CFData buffers(1024);
  EXPECT_TRUE(store.getReverbBuffers(buffers));
  EXPECT_EQ(buffers, countingBytes(1024));
  VQ_Orbek_ConfigAndMap read;
  EXPECT_TRUE(store.getOrbekConfigAndMapping(read, reinterpret_cast<const char*>(&kUid)));
  EXPECT_EQ(read, record());
}

TEST_F(StoreAndOtherTools, PlistlibReadsNumbersAsTextAndBlocksAsData) {
  {
    OSXAsioRegistry store(kStore);
    setOneOfEachKind(store);
  }
  EXPECT_EQ(python(std::string(kSame) + "stored = plistlib.load(open(file, 'rb'))\n"
                                        "print('same' if stored == values else stored, end='')\n"),
            "same");
}

TEST_F(StoreAndOtherTools, PlistutilReadsNumbersAsTextAndBlocksAsData) {
  {
    OSXAsioRegistry store(kStore);
    setOneOfEachKind(store);
  }
  run(VX310_PLISTUTIL " -i \"$file\" -f bin -o \"$file.bin\"");
  EXPECT_EQ(python(std::string(kSame) + "stored = plistlib.load(open(file + '.bin', 'rb'))\n"
                                        "print('same' if stored == values else stored, end='')\n"),
            "same");
}

// A tool that writes the file: Python writes it in `pythonForm`, then `command` converts it.
struct Writer {
  const char* name;
  const char* pythonForm;
  const char* command;
};

void PrintTo(const Writer& writer, std::ostream* out) { *out << writer.name; }

class StoreBehindOtherTools : public OtherTools, public testing::WithParamInterface<Writer> {};

TEST_P(StoreBehindOtherTools, ReadsNumbersFromTextAndBlocksFromDataAndKeepsWhatItDoesNotSet) {
  python(std::string(kSame) + "values['Other'] = [1, {'when': datetime.datetime(2024, 1, 31)}]\n" +
         "plistlib.dump(values, open(file, 'wb'), fmt=plistlib." + GetParam().pythonForm + ")\n");
  run(GetParam().command);
  {
    OSXAsioRegistry store(kStore);
    expectOneOfEachKind(store);
    store.setClockSource(1);
  }
  EXPECT_EQ(python(std::string(kSame) +
                   "values['Other'] = [1, {'when': datetime.datetime(2024, 1, 31)}]\n"
                   "values['ClockSource'] = '1'\n"
                   "stored = plistlib.load(open(file, 'rb'))\n"
                   "print('same' if stored == values else stored, end='')\n"),
            "same");
}

INSTANTIATE_TEST_SUITE_P(
    Written, StoreBehindOtherTools,
    testing::Values(Writer{"ByPlistlibAsXml", "FMT_XML", "true"},
                    Writer{"ByPlistlibAsBinary", "FMT_BINARY", "true"},
                    Writer{"ByPlistutilAsXml", "FMT_BINARY",
                           VX310_PLISTUTIL " -i \"$file\" -f xml -o \"$file\""},
                    Writer{"ByPlistutilAsBinary", "FMT_XML",
                           VX310_PLISTUTIL " -i \"$file\" -f bin -o \"$file\""}),
    [](const auto& writer) { return writer.param.name; });

// --- Values of the wrong type, and no place to store ---

using StoreOnDisk = PreferencesTest;

TEST_F(StoreOnDisk, ValuesOfTheWrongTypeReadAsMissingAndAreReplacedBySetters) {
  set("SampleRate", 48000);
  set("MixerMode", CFData{'7'});
  set("ClockSource", CFDictionary{{"1", 1}});
  set("RoutingMatrix", "text");
  set("MixerBuffer", CFArray{});
  ASSERT_TRUE(synchronize());
  OSXAsioRegistry store(kStore);
  std::uint32_t number = 9;
  EXPECT_FALSE(store.getSampleRate(number));
  EXPECT_EQ(number, 0u);
  std::int32_t mode = 9;
  EXPECT_FALSE(store.getMixerMode(mode));
  EXPECT_EQ(mode, 0);
  number = 9;
  store.getClockSource(number);
  EXPECT_EQ(number, 0u);
  CFData block = countingBytes(64);
  EXPECT_FALSE(store.getRoutingMatrix(block));
  EXPECT_FALSE(store.getMixerBuffer(block));
  EXPECT_EQ(block, countingBytes(64));
  store.setSampleRate(96000);
  EXPECT_EQ(sampleRateOf(store), 96000u);
  EXPECT_EQ(stored()->at("SampleRate"), CFValue("96000"));
}

TEST_F(StoreOnDisk, AShortBlockFillsItsBytesAndALongBlockIsTruncated) {
  set("RoutingMatrix", countingBytes(5));
  set("MixerFractions", countingBytes(5000));
  ASSERT_TRUE(synchronize());
  const OSXAsioRegistry store(kStore);
  CFData matrix(32, 0xEE);
  EXPECT_TRUE(store.getRoutingMatrix(matrix));
  CFData expected(32, 0xEE);
  for (std::uint8_t i = 0; i < 5; ++i) expected[i] = i;
  EXPECT_EQ(matrix, expected);
  CFData fractions(512);
  EXPECT_TRUE(store.getMixerFractions(fractions));
  EXPECT_EQ(fractions, countingBytes(512));
}

TEST_F(StoreOnDisk, WhenNothingCanBeStoredSettingsLiveInMemory) {
  std::ofstream(home_.path() / "file") << "in the way";
  setenv("XDG_CONFIG_HOME", (home_.path() / "file").c_str(), 1);
  OSXAsioRegistry store(kStore);
  store.setSampleRate(48000);
  EXPECT_FALSE(store.store());
  EXPECT_EQ(sampleRateOf(store), 48000u);
}

// --- Other processes ---

TEST_F(StoreOnDisk, ASettingOfAnotherProcessIsSeenAfterAStore) {
  OSXAsioRegistry store(kStore);
  store.setClockSource(1);
  EXPECT_EQ(sampleRateOf(store), 0u);
  runForked([] { OSXAsioRegistry(kStore).setSampleRate(48000); });
  EXPECT_EQ(sampleRateOf(store), 0u);
  EXPECT_TRUE(store.store());
  EXPECT_EQ(sampleRateOf(store), 48000u);
  EXPECT_TRUE(isStored("ClockSource"));
}

// --- How often a file is written ---

// Counts the files that are renamed to `path`.
class Writes {
 public:
  explicit Writes(const fs::path& path)
      : name_(path.filename()), events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_GE(inotify_add_watch(events_.get(), path.parent_path().c_str(), IN_MOVED_TO), 0);
  }

  int count() {
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (ssize_t size; (size = read(events_.get(), buffer.data(), buffer.size())) > 0;) {
      for (const char* at = buffer.data(); at < buffer.data() + size;) {
        inotify_event event;
        std::memcpy(&event, at, sizeof event);
        if (at + sizeof event == name_) ++count_;
        at += sizeof event + event.len;
      }
    }
    return count_;
  }

 private:
  std::string name_;
  FileDescriptor events_;
  int count_ = 0;
};

TEST_F(StoreOnDisk, SettingAValueWritesOnceAndSettingItAgainDoesNotWrite) {
  { const OSXAsioRegistry first(kStore); }  // stores the version
  Writes writes(path());
  for (const std::uint32_t source : {1u, 1u}) {
    OSXAsioRegistry store(kStore);
    store.setClockSource(source);
    EXPECT_TRUE(store.store());
  }
  EXPECT_EQ(writes.count(), 1);
}

TEST_F(StoreOnDisk, ARecordOfManyKeysIsWrittenOnce) {
  OSXAsioRegistry store(kStore);
  Writes writes(path());
  store.setOrbekConfigAndMapping(record());
  EXPECT_EQ(writes.count(), 1);
  EXPECT_EQ(stored()->size(), 21u);
}

// --- The first start ---

class FirstStart : public PreferencesTest {
 protected:
  fs::path legacyFile() const { return folder() / (std::string(kName) + ".xml"); }
  fs::path path() const { return folder() / (std::string(DEVICE_HAL_DOMAIN) + ".plist"); }

  std::optional<CFDictionary> stored() const {
    std::ifstream file(path(), std::ios::binary);
    return parsePreferences(std::string(std::istreambuf_iterator<char>(file), {}));
  }

  void writeLegacyFile(const std::string& bytes) const {
    std::ofstream(legacyFile(), std::ios::binary) << bytes;
  }

  // A legacy file with `count` settings.
  static std::string legacySettings(int count) {
    std::string bytes = "<?xml version=\"1.0\"?>\n<Settings>\n";
    for (int i = 0; i < count; ++i) {
      const std::string number = std::to_string(i);
      bytes += "\t<Device K" + number + "=\"" + number + "\"/>\n";
    }
    return bytes + "</Settings>\n";
  }
};

TEST_F(FirstStart, ALegacyFileIsImportedWithOneWriteAndNotChanged) {
  const std::string bytes = legacySettings(1000);
  writeLegacyFile(bytes);
  Writes writes(path());
  { const OSXAsioRegistry store(kName); }
  EXPECT_EQ(writes.count(), 1);
  const auto values = stored();
  ASSERT_TRUE(values);
  EXPECT_EQ(values->size(), 1001u);
  EXPECT_EQ(values->at("K999"), CFValue("999"));
  EXPECT_EQ(values->at("Version"), CFValue("1.0"));
  std::ifstream file(legacyFile());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), bytes);
}

TEST_F(FirstStart, WithoutAFileOrAFolderBothAreMadeAndOnlyTheVersionIsStored) {
  fs::remove_all(home_.path() / "vantrel");
  { const OSXAsioRegistry store(kName); }
  EXPECT_TRUE(fs::exists(legacyFile()));
  EXPECT_EQ(fs::file_size(legacyFile()), 0u);
  EXPECT_EQ(stored(), (CFDictionary{{"Version", "1.0"}}));
}

TEST_F(FirstStart, WithAFolderInPlaceOfTheFileOnlyTheVersionIsStored) {
  fs::create_directory(legacyFile());
  { const OSXAsioRegistry store(kName); }
  EXPECT_EQ(stored(), (CFDictionary{{"Version", "1.0"}}));
}

TEST_F(FirstStart, ALegacyFileOf50MegabytesIsImported) {
  writeLegacyFile("<Settings><Device A=\"1\"/>" + std::string(50'000'000, ' ') +
                  "<Device B=\"2\"/></Settings>");
  { const OSXAsioRegistry store(kName); }
  EXPECT_EQ(stored(), (CFDictionary{{"A", "1"}, {"B", "2"}, {"Version", "1.0"}}));
}

TEST_F(FirstStart, AKilledImportStoresAllOrNothingAndTheNextStoresAll) {
  writeLegacyFile(legacySettings(1000));
  std::minstd_rand random(310);
  std::uniform_int_distribution<int> microseconds(0, 20000);
  int interrupted = 0;
  for (int start = 0; start < 100; ++start) {
    fs::remove(path());
    const pid_t child = startForked([] {
      { const OSXAsioRegistry store(kName); }
      raise(SIGSTOP);
    });
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds(random));
    while (std::chrono::steady_clock::now() < end) {
    }
    kill(child, SIGKILL);
    ASSERT_EQ(waitForForked(child), -SIGKILL);
    const auto values = stored();
    interrupted += values ? 0 : 1;
    if (values) {
      EXPECT_EQ(values->size(), 1001u);
    } else {
      EXPECT_FALSE(fs::exists(path()));
    }
  }
  EXPECT_GT(interrupted, 0);
  { const OSXAsioRegistry store(kName); }
  EXPECT_EQ(stored()->size(), 1001u);
}

}  // namespace
}  // namespace preferences_test

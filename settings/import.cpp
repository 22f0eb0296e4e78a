// SPDX-License-Identifier: MIT
// The import of the legacy settings file.
#include <algorithm>

#include "platform/files/files.h"
#include "platform/log/log.h"
#include "platform/preferences/preferences.h"
#include "settings/osx_asio_registry.h"

namespace {

constexpr const char* kSettings = "Settings";

// Reads the fork in chunks of 1 KiB; each is appended as a C string, so bytes after a NUL inside a
// chunk are dropped. Ends when no bytes arrive or the count is above the chunk's size.
LumString readFork(FSForkRef fork) {
  constexpr std::size_t kChunk = 1024;
  LumString text;
  char chunk[kChunk + 1];
  for (;;) {
    std::size_t count = 0;
    FSReadFork(fork, std::span(chunk, kChunk), count);
    if (count == 0 || count > kChunk) return text;
    chunk[count] = '\0';
    text += chunk;
  }
}

// The legacy file is in ISO-8859-1, the preferences are in UTF-8.
std::string utf8OfLatin1(std::string_view text) {
  std::string utf8;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80) utf8 += static_cast<char>(0xC0 | byte >> 6);
    utf8 += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
  }
  return utf8;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

}  // namespace

OSXAsioRegistry::OSXAsioRegistry(const char* name) : applicationId_(DEVICE_HAL_DOMAIN) {
  if (CFPreferencesCopyAppValue(kVersion, applicationId_)) return;
  storageName_ = name;
  storageName_ += ".xml";
  LumString text;
  if (const short fork = getStorageFile(storageName_, true, false); fork != -1) {
    text = readFork(fork);
    FSCloseFork(fork);
  }
  load(text);
  getOrCreateNode(kSettings);
  convertToCFPrefs();
}

void OSXAsioRegistry::convertToCFPrefs() {
  // All or nothing: a process that dies during the import leaves the file to be imported again.
  const PreferencesUpdate update(applicationId_);
  if (const XML::Node* settings = getNode(kSettings)) {
    for (std::int32_t i = 0; i < settings->getCountNodes(); ++i) {
      const XML::Node* element = settings->getNode(i);
      for (std::int32_t j = 0; j < element->getCountAttributes(); ++j) {
        const XML::Attribute* attribute = element->getAttribute(j);
        setStringValue(utf8OfLatin1(attribute->getValue()), attribute->getName());
      }
    }
  }
  storeVersion();
}

XML::Node* OSXAsioRegistry::getSettingNode(const char*, bool) { return nullptr; }

short getStorageFile(const LumString& name, bool create, bool write) {
  const char* text = name.getCharPointer();
  if (!isAscii(text)) {
    platform::printOutput("Could not create path for file %s\n", text);
    return -1;
  }
  const std::int8_t permission = write ? fsRdWrPerm : fsRdPerm;
  FSForkRef fork = -1;
  FSRef folder;
  FSRef file;
  OSStatus status = FSFindFolder(kOnSystemDisk, kPreferencesFolderType, false, folder);
  if (status == noErr) status = FSMakeFSRefUnicode(folder, text, file);
  if (status != noErr) {
    platform::printOutput("getStorageFile: could not create FSRef for path %s (%d)\n", text,
                          status);
    if (status != fnfErr || !create) return -1;
    status = FSCreateFileUnicode(folder, text, file);
    if (status != noErr && status != fnfErr) {
      platform::printOutput("getStorageFile: could not create file for path %s (%d)\n", text,
                            status);
      return -1;
    }
    status = FSOpenFork(file, {}, permission, fork);
    platform::printOutput("getStorageFile: openFork returns %d\n", status);
    return fork;
  }

  std::string forkName;
  status = FSGetDataForkName(forkName);
  if (status != noErr) {
    platform::printOutput("getStorageFile: could not get data fork name %d\n", status);
    return -1;
  }
  status = FSOpenFork(file, forkName, permission, fork);
  if (status == fnfErr && create) {
    status = FSCreateFileUnicode(folder, text, file);
    if (status != noErr && status != fnfErr) {
      platform::printOutput("getStorageFile: could not create file %d\n", status);
      return -1;
    }
    FSOpenFork(file, forkName, permission, fork);
  }
  return fork;
}

// SPDX-License-Identifier: MIT
#include "platform/property_list/binary_reader.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "platform/property_list/property_list.h"

namespace {

// A few bytes of references can stand for any number of values: that many are made, and texts and
// data of that many bytes.
constexpr std::size_t kMostValues = 4'000'000;
constexpr std::size_t kMostBytes = std::size_t{256} << 20;

// At the end: 6 bytes of no use here, the size of an offset and of a reference, and in 8 bytes each
// the number of objects, the top object and the place of the offsets. All numbers are big-endian.
constexpr std::size_t kTrailerSize = 32;

void appendUtf8(std::string& text, std::uint32_t code) {
  const auto put = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

// Halves of a pair that stand alone become three bytes that are no UTF-8.
std::string fromUtf16(std::string_view bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    auto code = static_cast<std::uint32_t>(bigEndian(bytes.substr(i, 2)));
    if (code >= 0xD800 && code < 0xDC00 && i + 4 <= bytes.size()) {
      const auto low = static_cast<std::uint32_t>(bigEndian(bytes.substr(i + 2, 2)));
      if (low >= 0xDC00 && low < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    appendUtf8(text, code);
  }
  return text;
}

class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes) : bytes_(bytes) {}

  std::optional<CFValue> read() {
    if (bytes_.size() < kBinaryListMark.size() + 2 + kTrailerSize) return std::nullopt;
    const std::string_view trailer = bytes_.substr(bytes_.size() - kTrailerSize);
    offsetSize_ = static_cast<unsigned char>(trailer[6]);
    referenceSize_ = static_cast<unsigned char>(trailer[7]);
    count_ = bigEndian(trailer.substr(8, 8));
    const std::uint64_t top = bigEndian(trailer.substr(16, 8));
    const std::uint64_t offsets = bigEndian(trailer.substr(24, 8));
    const std::uint64_t end = bytes_.size() - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8 ||
        offsets > end || count_ > (end - offsets) / offsetSize_) {
      return std::nullopt;
    }
    offsets_ = bytes_.substr(offsets, count_ * offsetSize_);
    bytes_ = bytes_.substr(0, offsets);
    return valueOf(top, kDeepestPropertyList);
  }

 private:
  // An object's bytes: what it is, the number beside that, and all that follows.
  struct Object {
    unsigned kind;
    unsigned detail;
    std::string_view rest;
  };

  std::optional<Object> objectAt(std::uint64_t reference) const {
    if (reference >= count_) return std::nullopt;
    const std::uint64_t offset = bigEndian(offsets_.substr(reference * offsetSize_, offsetSize_));
    if (offset < kBinaryListMark.size() + 2 || offset >= bytes_.size()) return std::nullopt;
    const unsigned marker = static_cast<unsigned char>(bytes_[offset]);
    return Object{marker >> 4u, marker & 15u, bytes_.substr(offset + 1)};
  }

  // Takes `count` pieces of `size` bytes off the front.
  static std::optional<std::string_view> take(std::string_view& rest, std::uint64_t count,
                                              std::size_t size = 1) {
    if (count > rest.size() / size) return std::nullopt;
    const std::string_view taken = rest.substr(0, count * size);
    rest.remove_prefix(count * size);
    return taken;
  }

  // The number of things in it, which from 15 on is a number object of its own.
  static std::optional<std::uint64_t> takeCount(Object& object) {
    if (object.detail != 15) return object.detail;
    const auto marker = take(object.rest, 1);
    if (!marker || static_cast<unsigned char>((*marker)[0]) >> 4u != 1) return std::nullopt;
    const unsigned power = static_cast<unsigned char>((*marker)[0]) & 15u;
    const auto digits = power <= 3 ? take(object.rest, std::uint64_t{1} << power) : std::nullopt;
    return digits ? std::optional(bigEndian(*digits)) : std::nullopt;
  }

  std::uint64_t referenceIn(std::string_view references, std::uint64_t index) const {
    return bigEndian(references.substr(index * referenceSize_, referenceSize_));
  }

  // Counts what is made of the list; false when that is too much.
  bool spend(std::size_t bytes) {
    ++values_;
    madeBytes_ += bytes;
    return values_ <= kMostValues && madeBytes_ <= kMostBytes;
  }

  std::optional<CFValue> valueOf(std::uint64_t reference, int levelsLeft) {
    const auto object = objectAt(reference);
    if (levelsLeft == 0 || !object || !spend(0)) return std::nullopt;
    switch (object->kind) {
      case 0x0:
        if (object->detail != 8 && object->detail != 9) return std::nullopt;
        return object->detail == 9;
      case 0x1:
        return numberOf(*object);
      case 0x2:
        return realOf(*object);
      case 0x3:
        return dateOf(*object);
      case 0x4:
        return dataOf(*object);
      case 0x8:
        return referenceOf(*object);
      case 0xA:
        return arrayOf(*object, levelsLeft - 1);
      case 0xD:
        return dictionaryOf(*object, levelsLeft - 1);
      default:
        break;
    }
    auto text = textOf(*object);
    return text ? std::optional<CFValue>(*std::move(text)) : std::nullopt;
  }

  // Of up to 4 bytes without a sign, of 8 with one; of 16 the lower half is what we can hold.
  static std::optional<CFValue> numberOf(Object object) {
    const auto digits =
        object.detail <= 4 ? take(object.rest, std::uint64_t{1} << object.detail) : std::nullopt;
    if (!digits) return std::nullopt;
    return static_cast<std::int64_t>(bigEndian(*digits));
  }

  static std::optional<CFValue> realOf(Object object) {
    const auto digits = object.detail == 2 || object.detail == 3
                            ? take(object.rest, std::uint64_t{1} << object.detail)
                            : std::nullopt;
    if (!digits) return std::nullopt;
    const std::uint64_t bits = bigEndian(*digits);
    return object.detail == 3
               ? std::bit_cast<double>(bits)
               : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
  }

  // Seconds since the start of 2001.
  static std::optional<CFValue> dateOf(Object object) {
    using namespace std::chrono;
    const auto digits = object.detail == 3 ? take(object.rest, 8) : std::nullopt;
    if (!digits) return std::nullopt;
    const auto since2001 = std::bit_cast<double>(bigEndian(*digits));
    constexpr double kLimit = 250e9;  // the dates that four digits name a year of, about
    if (!(since2001 > -kLimit && since2001 < kLimit)) return std::nullopt;
    const sys_seconds time =
        sys_days(year(2001) / 1 / 1) + seconds(static_cast<std::int64_t>(std::floor(since2001)));
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss<seconds> clock(time - day);
    if (date.year() < year(0) || date.year() > year(9999)) return std::nullopt;
    char text[64];
    std::snprintf(
        text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", int{date.year()},
        unsigned{date.month()}, unsigned{date.day()}, static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return CFDate{text};
  }

  std::optional<CFValue> dataOf(Object object) {
    const auto count = takeCount(object);
    const auto data = count ? take(object.rest, *count) : std::nullopt;
    if (!data || !spend(data->size())) return std::nullopt;
    return CFData(data->begin(), data->end());
  }

  std::optional<std::string> textOf(Object object) {
    if (object.kind != 0x5 && object.kind != 0x6 && object.kind != 0x7) return std::nullopt;
    const bool isUtf16 = object.kind == 0x6;
    const auto count = takeCount(object);
    const auto bytes = count ? take(object.rest, *count, isUtf16 ? 2 : 1) : std::nullopt;
    if (!bytes || !spend(bytes->size())) return std::nullopt;
    return textForXml(isUtf16 ? fromUtf16(*bytes) : std::string(*bytes));
  }

  static std::optional<CFValue> referenceOf(Object object) {
    const auto digits = object.detail < 8 ? take(object.rest, object.detail + 1) : std::nullopt;
    if (!digits) return std::nullopt;
    return CFDictionary{{"CF$UID", static_cast<std::int64_t>(bigEndian(*digits))}};
  }

  std::optional<CFValue> arrayOf(Object object, int levelsLeft) {
    const auto count = takeCount(object);
    const auto items = count ? take(object.rest, *count, referenceSize_) : std::nullopt;
    if (!items || ++containers_ > kMostPropertyListObjects) return std::nullopt;
    CFArray array;
    for (std::uint64_t i = 0; i < *count; ++i) {
      auto value = valueOf(referenceIn(*items, i), levelsLeft);
      if (!value) return std::nullopt;
      array.push_back(*std::move(value));
    }
    return array;
  }

  std::optional<CFValue> dictionaryOf(Object object, int levelsLeft) {
    const auto count = takeCount(object);
    const auto keys = count ? take(object.rest, *count, referenceSize_) : std::nullopt;
    const auto items = keys ? take(object.rest, *count, referenceSize_) : std::nullopt;
    if (!items || ++containers_ > kMostPropertyListObjects) return std::nullopt;
    CFDictionary dictionary;
    for (std::uint64_t i = 0; i < *count; ++i) {
      const auto keyObject = objectAt(referenceIn(*keys, i));
      const auto key = keyObject ? textOf(*keyObject) : std::nullopt;
      auto value = key ? valueOf(referenceIn(*items, i), levelsLeft) : std::nullopt;
      if (!value) return std::nullopt;
      dictionary.insert_or_assign(*key, *std::move(value));
    }
    return dictionary;
  }

  std::string_view bytes_;  // in read(), all; then those of the objects
  std::string_view offsets_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t count_ = 0;

  std::size_t containers_ = 0;
  std::size_t values_ = 0;
  std::size_t madeBytes_ = 0;
};

}  // namespace

std::optional<CFValue> parseBinaryPropertyList(std::string_view bytes) {
  return BinaryReader(bytes).read();
}

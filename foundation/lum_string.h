// SPDX-License-Identifier: MIT
// A string of bytes that ends with NUL.
//
// One thread at a time. No operation reports an error. A string holds at most kMaxLength
// characters: an operation whose result would be longer changes nothing, and a constructor makes an
// empty string. Running out of memory ends the program.
//
// The length is cached: a NUL inside the text (appended, or written by asString) does not shorten
// it until an operation counts. Unless its comment says otherwise, an operation reads a text up to
// its first NUL. The capacity counts the final NUL and follows the rule given with each operation;
// only clear() lowers it. The memory itself grows in larger steps, so that appending is linear.
//
// A pointer to the text is valid until the string changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/lum_object.h"

class LumString : public LumObject {
 public:
  static constexpr std::int32_t kMaxLength = 0x7fffffff - 64;
  // Capacity of a fresh buffer beyond the text.
  static constexpr std::int32_t kSlack = 33;

  LumString() { clear(); }
  // Null is read as "". Capacity: the length plus kSlack.
  LumString(const char* text);
  LumString(const LumString& other);  // no program calls this
  // Repeats `c` `count` times; empty when `c` is NUL or `count` is not positive.
  LumString(char c, std::int32_t count);  // no program calls this

  LumString& operator=(const LumString& other) { return assign(other); }
  LumString& operator=(const char* text) { return assign(text); }

  operator const char*() const { return text_.c_str() + front_; }
  const char* getCharPointer() const { return text_.c_str() + front_; }
  std::int32_t getLength() const { return static_cast<std::int32_t>(text_.size() - front_); }
  std::int32_t getCapacity() const { return capacity_; }  // no program calls this
  bool isEmpty() const { return getLength() == 0; }       // no program calls this
  // The text up to its first NUL.
  std::string_view view() const {
    return nulInside_ ? std::string_view(buffer()) : std::string_view(text_).substr(front_);
  }
  // Cuts the length at the first NUL and returns it.
  std::int32_t countLength();

  // --- Storage ---

  // Empties the string and frees its memory; capacity kSlack.
  void clear();
  // Null is read as "". A text that does not fit sets the capacity to its length plus kSlack.
  LumString& assign(const char* text);
  LumString& assign(const LumString& other) { return assign(other.getCharPointer()); }
  // Raises a capacity below `size` to `size` + 1 and then counts the length. Never shrinks.
  LumString& setSize(std::int32_t size);  // no program calls this
  // Cuts the text or appends blanks; a negative length is read as 0.
  LumString& setLength(std::int32_t length);  // no program calls this
  // Ignores null. A text that does not fit raises the capacity to the new length plus 3. Counts the
  // length.
  LumString& operator+=(const char* text);
  // No program calls this.
  LumString& operator+=(const LumString& other) { return *this += other.getCharPointer(); }
  // A character that does not fit doubles the capacity. A NUL counts in the length.
  LumString& operator+=(char c);  // no program calls this
  // Appends `count` bytes that contain no NUL, as += does. False, and no change, when the string
  // would become too long.
  bool append(const char* bytes, std::int32_t count);

  // --- For XML documents ---
  // No program calls these.

  // The writer moves the text out, up to its first NUL, appends to it and moves it back, without a
  // copy. In between the string is empty and has its capacity. setText() takes a text without NUL
  // and raises the capacity if needed; a text beyond kMaxLength clears the string instead.
  std::string takeText();
  void setText(std::string text);
  // Overwrites the text with a shorter one and a NUL, for XML::Doc::parse(), which drops blanks
  // from a const text. The length stays until countLength() is called.
  void overwrite(std::string_view shorter) const;

  // --- Text ---

  LumString& toString(short value);         // no program calls this
  LumString& toString(std::int32_t value);  // no program calls this
  // Formats as the standard library's printf does, with a decimal point in every locale. Output
  // beyond 2047 characters is cut.
  // No program calls this.
  LumString& printf(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Pops the first token: skips leading characters of `delims`, moves the text before the next
  // delimiter to `token`, and drops that delimiter. Without a token it returns false, empties
  // `token` and leaves the string unchanged.
  bool getToken(const LumString& delims, LumString& token);  // no program calls this
  // Replaces each `find` from the left; inserted text is not searched.
  LumString& replace(const char* find, const char* with);  // no program calls this
  LumString& trimLeft();                                   // no program calls this
  LumString& trimRight();                                  // no program calls this

  // At most `count` characters from `start`; empty when `start` is outside the text or `count` is
  // not positive.
  // No program calls this.
  void substring(LumString& out, std::int32_t start, std::int32_t count) const;
  void left(LumString& out, std::int32_t count) const;   // no program calls this
  void right(LumString& out, std::int32_t count) const;  // no program calls this

  // Pass each byte of the length through the standard library's tolower or toupper.
  LumString& lowercase();  // no program calls this
  LumString& uppercase();  // no program calls this

  // Writes two digits a byte, in capitals, for 7-bit text. A byte of 0x80 or above gets one of the
  // eight characters before '0' as its first digit.
  void toHexString(LumString& out) const;  // no program calls this
  // Writes a Pascal string. The length byte says at most 255, but at most 253 characters are
  // written, byte 254 is always 0, and byte 255 is not touched.
  void toStr255(unsigned char (&out)[256]) const;  // no program calls this
  // Reads a Pascal string. The length stays 256 until countLength() is called.
  void asString(const unsigned char (&in)[256]);  // no program calls this

  // Reads as scanf's "%d" does; 0 without a number, clamped to 32 bits.
  std::int32_t scanInt() const;
  // The number in the first 256 characters. Digits, '-', '.', 'e' and 'E' are kept; 'm' and 'M'
  // are read as E6, 't' and 'T' as E3; all others are dropped.
  double asNumeric() const;  // no program calls this

  // Index of the first `needle`, or -1.
  std::int32_t match(const char* needle) const;  // no program calls this
  int strcmp(const char* text) const;
  // Compares as cfStricmp does, whose sign is the reverse of strcmp's at the first difference.
  std::int32_t stricmp(const char* text) const;
  // `other` must be a LumString. compare() returns the sign of strcmp. No program calls these.
  std::int32_t compare(const LumObject& other) const override;
  bool operator==(const LumObject& other) const { return compare(other) == 0; }
  bool operator==(const LumString& other) const { return compare(other) == 0; }

  // Copies the whole text when `count` is -1 or at least the length, else `count` bytes, and
  // appends a NUL. Returns `out`, which may be null.
  char* copyString(char* out, std::int32_t count) const;  // no program calls this
  // Returns a new array; the caller frees it with delete[].
  char* copyString() const;  // no program calls this

 private:
  // The text in place; bytes up to the length may be written.
  char* buffer() const { return text_.data() + front_; }
  void raiseCapacity(std::int32_t capacity);
  LumString& assign(std::string_view text);
  void dropFront(std::size_t count);

  std::int32_t capacity_ = kSlack;
  // The bytes of the string from `front_` on. Tokens are dropped by moving `front_`, so that taking
  // a long text apart is linear.
  mutable std::string text_;
  std::size_t front_ = 0;
  // Whether the text may contain a NUL; only then does counting read it.
  mutable bool nulInside_ = false;
};

// SPDX-License-Identifier: MIT
// The memory of one parsed text: the text itself, and what was made while it was read.
//
// An arena lives as long as any object in it. The objects may go one by one and on any thread; the
// memory goes with the last of them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace XML {

class Arena {
 public:
  // With room for a text of that many bytes. Whoever made it calls finish() in the end.
  static Arena* create(std::size_t textSize);
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  char* text() { return text_; }
  // Memory for one object, which keeps the arena until release().
  void* allocateObject(std::size_t size);
  // Memory that lives as long as the arena; a few hundred bytes at most.
  void* allocate(std::size_t size);
  // The maker needs the arena no longer and makes nothing more in it.
  void finish();

  // Memory for an object in no arena.
  static void* allocateAlone(std::size_t size);
  // Gives back the memory of an object, wherever it is.
  static void release(void* object);

 private:
  struct Chunk {
    Chunk* next;
  };
  // References of a maker that does not count each object at once.
  static constexpr std::int64_t kMaker = std::int64_t{1} << 62;

  Arena() = default;
  ~Arena();
  void drop(std::int64_t references);

  std::atomic<std::int64_t> references_ = kMaker;
  std::int64_t made_ = 0;
  char* text_ = nullptr;
  std::size_t chunkSize_ = 0;
  Chunk* chunks_ = nullptr;
  char* free_ = nullptr;
  char* end_ = nullptr;
};

// Gives a class objects that may be made in an arena; with plain new they are in none.
class ArenaObject {
 public:
  static void* operator new(std::size_t size) { return Arena::allocateAlone(size); }
  static void* operator new(std::size_t size, Arena& arena) { return arena.allocateObject(size); }
  static void operator delete(void* object) { Arena::release(object); }
  static void operator delete(void* object, Arena&) { Arena::release(object); }
};

}  // namespace XML

// SPDX-License-Identifier: MIT
#include "foundation/lum_sorted_collection.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/lum_string.h"

namespace {

std::string texts(const LumSortedCollection& collection) {
  std::string all;
  for (std::int32_t i = 0; const LumObject* each = collection.atPos(i); ++i) {
    all += static_cast<const LumString*>(each)->getCharPointer();
  }
  return all;
}

// The test holds a reference, so that no collection destroys the text.
class Kept : public LumString {
 public:
  explicit Kept(const char* text) : LumString(text) { incReferences(); }
};

TEST(LumSortedCollection, KeepsItsObjectsInOrder) {
  LumSortedCollection collection;
  for (const char* text : {"d", "a", "c", "f", "b", "e"})
    EXPECT_TRUE(collection.add(new LumString(text)));
  EXPECT_EQ(texts(collection), "abcdef");
  EXPECT_EQ(collection.getCapacity(), 10);
  EXPECT_FALSE(collection.add(nullptr));
  LumSortedCollection descending;
  for (const char* text : {"d", "c", "b", "a"}) descending.add(new LumString(text));
  EXPECT_EQ(texts(descending), "abcd");
}

TEST(LumSortedCollection, ANewObjectGoesBeforeAnEqualOne) {
  Kept first("b");
  Kept second("b");
  Kept third("b");
  Kept before("a");
  LumSortedCollection collection;
  collection.add(&before);
  collection.add(&first);
  collection.add(&second);
  EXPECT_EQ(collection.atPos(1), &second);
  EXPECT_EQ(collection.atPos(2), &first);
  // The search meets `second` first.
  collection.add(&third);
  EXPECT_EQ(collection.atPos(1), &third);
  EXPECT_EQ(third.getReferences(), 2);
}

TEST(LumSortedCollection, ANewObjectGoesBeforeTheMiddleOneOfEqualObjects) {
  Kept objects[] = {Kept("a"), Kept("a"), Kept("a"), Kept("a")};
  LumSortedCollection collection;
  for (Kept& object : objects) collection.add(&object);
  EXPECT_EQ(collection.atPos(0), &objects[2]);
  EXPECT_EQ(collection.atPos(1), &objects[3]);
}

TEST(LumSortedCollection, FindsEveryObject) {
  LumSortedCollection collection;
  for (char last = 'a'; last <= 'p'; ++last) {
    collection.add(new LumString(last, 1));
    for (char c = 'a'; c <= last; ++c) {
      LumString wanted(c, 1);
      EXPECT_EQ(collection.findIndex(&wanted), c - 'a') << last;
    }
  }
}

TEST(LumSortedCollection, FindsTheFirstOfEqualObjects) {
  LumSortedCollection collection;
  for (const char* text : {"a", "b", "b", "b", "b", "b", "c"}) collection.add(new LumString(text));
  LumString wanted("b");
  LumString missing("bb");
  EXPECT_EQ(collection.findIndex(&wanted), 1);
  EXPECT_EQ(collection.find(&wanted), collection.atPos(1));
  EXPECT_EQ(collection.findIndex(&missing), -1);
  EXPECT_EQ(collection.find(&missing), nullptr);
  EXPECT_EQ(collection.findIndex(nullptr), -1);
}

TEST(LumSortedCollection, HasNoLimitWhileSorted) {
  Kept same("a");
  LumSortedCollection collection;
  for (int i = 0; i < 40961; ++i) ASSERT_TRUE(collection.add(&same));
  EXPECT_EQ(collection.count(), 40961);
  EXPECT_EQ(collection.getCapacity(), 81920);
}

TEST(LumSortedCollection, HoldsAtMost40960ObjectsWhileUnsorted) {
  Kept same("a");
  LumSortedCollection collection;
  collection.setSorted(false);
  for (int i = 0; i < 40960; ++i) ASSERT_TRUE(collection.add(&same));
  EXPECT_FALSE(collection.add(&same));
  EXPECT_FALSE(collection.addUnsorted(&same));
  EXPECT_EQ(collection.count(), 40960);
}

TEST(LumSortedCollection, AddUnsortedAppendsAndMakesTheCollectionUnsorted) {
  LumSortedCollection collection;
  collection.add(new LumString("b"));
  EXPECT_TRUE(collection.addUnsorted(new LumString("a")));
  EXPECT_FALSE(collection.isSorted());
  collection.add(new LumString("0"));
  EXPECT_EQ(texts(collection), "ba0");
  // An unsorted collection searches by isEqual(), which is always true here.
  LumString wanted("a");
  EXPECT_EQ(collection.findIndex(&wanted), 0);
}

TEST(LumSortedCollection, ASearchDuringRemoveAllEndsAtAReleasedObject) {
  class Asking : public LumString {
   public:
    Asking(const char* text, LumSortedCollection& collection, std::int32_t& answer)
        : LumString(text), collection_(collection), answer_(answer) {}
    ~Asking() override {
      LumString wanted("b");
      answer_ = collection_.findIndex(&wanted);
    }

   private:
    LumSortedCollection& collection_;
    std::int32_t& answer_;
  };
  LumSortedCollection collection;
  std::int32_t answer = 7;
  collection.add(new LumString("a"));
  collection.add(new Asking("b", collection, answer));
  collection.removeAll();
  EXPECT_EQ(answer, -1);
  // The search compares the middle object first, which is not released yet.
  for (const char* text : {"a", "b"}) collection.add(new LumString(text));
  collection.add(new Asking("0", collection, answer));
  collection.removeAll();
  EXPECT_EQ(answer, 2);
}

TEST(LumSortedCollection, AnUnsortedAddOfNullChangesNothing) {
  LumSortedCollection collection;
  EXPECT_FALSE(collection.addUnsorted(nullptr));
  EXPECT_TRUE(collection.isSorted());
}

TEST(LumSortedCollection, SetSortedSortsOnce) {
  class Counting : public LumSortedCollection {
   public:
    void doSort() override {
      ++sorts;
      LumSortedCollection::doSort();
    }
    int sorts = 0;
  };
  Counting collection;
  for (const char* text : {"c", "a", "b"}) collection.addUnsorted(new LumString(text));
  collection.setSorted(true);
  EXPECT_EQ(texts(collection), "abc");
  EXPECT_EQ(collection.sorts, 1);
  collection.setSorted(true);
  EXPECT_EQ(collection.sorts, 1);
  collection.setSorted(false);
  EXPECT_EQ(collection.sorts, 1);
  collection.forceResort();
  EXPECT_EQ(collection.sorts, 2);
  EXPECT_TRUE(collection.isSorted());
}

TEST(LumSortedCollection, ACompareResultOtherThanTheThreeDoesNotHang) {
  class Odd : public LumObject {
    std::int32_t compare(const LumObject&) const override { return 7; }
  };
  LumSortedCollection collection;
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(collection.add(new Odd));
  Odd wanted;
  EXPECT_EQ(collection.findIndex(&wanted), -1);
}

}  // namespace

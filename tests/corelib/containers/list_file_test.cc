// Lists, tables and images as text files, from one to the other and back.
#include <gtest/gtest.h>

#include "corelib/containers/buffer_dict.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"
#include "corelib/io/split_column.h"
#include "fuzz/io/temp_file.h"
#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

template <class T>
struct ListFileTest : testing::Test {
  const TempFile file;
  BufferList<T> list, back;
  BufferHash<T> table{100};
  BufferDict<T> dict;

  void Add(std::string_view key, std::uint64_t value) {
    table.insert(list.emplace_back(Widen<T>(key), value)->key())->set_value(value);
  }
  // What the file holds is these units, in a 16-bit file behind a byte-order mark.
  void ExpectFile(std::string_view units) const {
    const std::string bytes = file.bytes();
    const StdString<T> mark(sizeof(T) - 1, static_cast<CharOf<T>>(0xFEFF));
    EXPECT_EQ(
        StdString<T>(reinterpret_cast<const CharOf<T>*>(bytes.data()), bytes.size() / sizeof(T)),
        mark + Widen<T>(units));
  }
};
TYPED_TEST_SUITE(ListFileTest, Units, UnitNames);

TYPED_TEST(ListFileTest, RecordsAreKeySeparatorDigitsAndLineEndAndEmptyKeysAreLeftOut) {
  using T = TypeParam;
  this->Add("a", 0);
  this->Add("", 5);
  this->Add("\t b", ~std::uint64_t{0});
  const char* const path = this->file.path();
  ASSERT_TRUE(this->list.write_kvfile(path, '\t', false));
  this->ExpectFile("a\t0\n\t b\t18446744073709551615\n");
  ASSERT_TRUE(this->table.read_kvfile(path, '\t') && this->dict.open(this->table) == 0);
  ASSERT_TRUE(this->back.write_kvfile(path, '\t', true));
  this->ExpectFile("");
  ASSERT_TRUE(this->dict.write_kvfile(path, '=', true) && this->back.read_kvfile(path, '='));
  EXPECT_EQ(Sorted<T>(Contents<T>(this->back)),
            (Pairs<T>{{Widen<T>("\t b"), 0x7FFFFFFF}, {Widen<T>("a"), 0}}));
  this->Add("line\n\nends", 1);
  ASSERT_TRUE(this->list.write_txtfile(path, true));
  this->ExpectFile("a\r\n\t b\r\nline\n\nends\r\n");
  for (const bool empty_lines : {false, true}) {
    ASSERT_TRUE(this->back.read_txtfile(path, empty_lines));
    EXPECT_EQ(this->back.size(), empty_lines ? 5u : 4u);
  }
}

TYPED_TEST(ListFileTest, WhatIsWrittenComesBackAlsoInKeysWithSeparators) {
  using T = TypeParam;
  const char* const path = this->file.path();
  RandomTexts random(51);
  for (unsigned i = 0; i < 3000; ++i) {
    // From a few units to more than what is read or written at once.
    const auto key = random.next<T>(i % 1000 == 999 ? 60000 : 12, "ab;\xE1\xFF 1-");
    if (key.view().is_empty()) continue;
    const std::uint64_t value = (std::uint64_t{random.below(~0u)} << 32 | i) >> random.below(64);
    this->list.emplace_back(key, value);
    this->table[key]->set_value(value);
  }
  for (const bool crlf : {false, true}) {
    ASSERT_TRUE(this->list.write_kvfile(path, ';', crlf) && this->back.read_kvfile(path, ';'));
    EXPECT_TRUE(this->back == this->list);
    BufferHash<T> read(40);
    ASSERT_TRUE(read.read_kvfile(path, ';'));
    EXPECT_EQ(Sorted<T>(Contents<T>(read)), Sorted<T>(Contents<T>(this->table)));
    ASSERT_TRUE(this->list.write_txtfile(path, crlf) && this->back.read_txtfile(path, false));
    for (unsigned i = 0; i < this->list.size(); ++i)
      this->back[i]->set_value(this->list[i]->value());
    EXPECT_TRUE(this->back == this->list);
  }
}

TYPED_TEST(ListFileTest, AFileThatIsNotThereLeavesNothingAndAFullDiskIsReported) {
  for (const unsigned keys : {1u, 5000u}) {  // the disk is full at the end, and on the way
    while (this->list.size() < keys) this->Add(std::to_string(this->list.size()), 1);
    ASSERT_EQ(this->dict.open(this->table), 0u);
    for (const char* path : {"/dev/full", "/nowhere/file", "", static_cast<const char*>(nullptr)}) {
      EXPECT_FALSE(this->list.write_kvfile(path, '=', false) ||
                   this->list.write_txtfile(path, true));
      EXPECT_FALSE(this->table.write_kvfile(path, '=', false) ||
                   this->dict.write_kvfile(path, '=', false));
    }
  }
  const char* const gone = this->file.path();
  ASSERT_TRUE(this->list.write_kvfile(gone, '=', false) && this->back.read_kvfile(gone, '='));
  ::unlink(gone);
  for (const char* path : {gone, "/", static_cast<const char*>(nullptr)}) {
    this->Add("k", 1);
    EXPECT_FALSE(this->list.read_kvfile(path, '=') || this->table.read_kvfile(path, '='));
    EXPECT_EQ(this->list.size() + this->table.itemcnt(), 0u);
    this->Add("k", 1);
    EXPECT_FALSE(this->list.read_txtfile(path, true));
    EXPECT_TRUE(this->list.is_empty());
  }
}

// Every word with its count: list, file, table, image, its file, and back.
TYPED_TEST(ListFileTest, ARealWordListGoesThroughEveryForm) {
  using T = TypeParam;
  const char* const path = this->file.path();
  BufferList<unsigned char> lines;
  if (!lines.read_txtfile(ZENTA_WORD_LIST, false)) GTEST_SKIP() << "the word list is not installed";
  lines.for_each([&](const BufferRef<unsigned char>& line, std::uint64_t) {
    const SplitColumn<unsigned char, 3> columns(line, ' ');
    this->list.emplace_back(Buffer<T>(columns[0]), columns[1].to_uint64());
  });
  ASSERT_TRUE(this->list.write_kvfile(path, ' ', false) && this->back.read_kvfile(path, ' '));
  EXPECT_TRUE(this->list == this->back);
  Pairs<T> want = Sorted<T>(Contents<T>(this->list));
  want.erase(std::unique(want.begin(), want.end()), want.end());  // one word is there twice
  this->table.set_tabsize(this->list.size());
  ASSERT_TRUE(this->table.read_kvfile(path, ' '));
  EXPECT_EQ(this->table.itemcnt(), 349045u);
  ASSERT_TRUE(this->table.write_kvfile(path, ' ', true) && this->back.read_kvfile(path, ' '));
  EXPECT_TRUE(Sorted<T>(Contents<T>(this->back)) == want);
  BufferDict<T> built;
  ASSERT_TRUE(built.open(this->table) == 0 && built.save(path) == 0 && this->dict.open(path) == 0);
  EXPECT_TRUE(this->dict.check());
  for (const auto* node : this->list) {
    ASSERT_EQ(this->dict.find(node->key())->value(), node->value());
  }
  ASSERT_TRUE(this->dict.write_kvfile(path, ' ', false) && this->back.read_kvfile(path, ' '));
  EXPECT_TRUE(Sorted<T>(Contents<T>(this->back)) == want);
}

}  // namespace
}  // namespace tstl

// Lists, tables and images are written to text files and read back, from each form to the others.
#include <gtest/gtest.h>

#include <map>

#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "corelib/io/files/split_column.h"
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
  // Every key is found again in every form: lists, tables, an image, their files.
  void ExpectComesBack(T separator) {
    const char* const path = file.path();
    std::map<StdString<T>, std::uint64_t> last;
    for (const auto& [key, value] : Contents<T>(list)) last[key] = value;
    Pairs<T> want(last.begin(), last.end());
    table.set_tabsize(list.size());
    for (const bool crlf : {false, true}) {
      ASSERT_TRUE(list.write_kvfile(path, separator, crlf) && back.read_kvfile(path, separator));
      EXPECT_TRUE(back == list);
      ASSERT_TRUE(table.read_kvfile(path, separator));
      EXPECT_TRUE(Sorted<T>(Contents<T>(table)) == want);
      ASSERT_TRUE(list.write_txtfile(path, crlf) && back.read_txtfile(path, false));
      for (unsigned i = 0; i < list.size(); ++i) back[i]->set_value(list[i]->value());
      EXPECT_TRUE(back == list);
      ASSERT_TRUE(table.write_kvfile(path, separator, crlf) && back.read_kvfile(path, separator));
      EXPECT_TRUE(Sorted<T>(Contents<T>(back)) == want);
    }
    BufferDict<T> built;
    ASSERT_TRUE(built.open(table) == 0 && built.save(path) == 0 && dict.open(path) == 0);
    EXPECT_TRUE(dict.check());
    for (auto& [key, value] : want) {
      value &= 0x7FFFFFFF;
      ASSERT_EQ(dict.find(key)->value(), value);
    }
    ASSERT_TRUE(dict.write_kvfile(path, separator, false) && back.read_kvfile(path, separator));
    EXPECT_TRUE(Sorted<T>(Contents<T>(back)) == want);
  }
  // The file has exactly these units; a 16-bit file has a byte-order mark before them.
  void ExpectFile(std::string_view units) const {
    const std::string bytes = file.bytes();
    const StdString<T> mark(sizeof(T) - 1, static_cast<CharOf<T>>(0xFEFF));
    const auto* const start = reinterpret_cast<const CharOf<T>*>(bytes.data());
    EXPECT_EQ(StdString<T>(start, bytes.size() / sizeof(T)), mark + Widen<T>(units));
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
  PairFaults faults;
  ASSERT_TRUE(this->dict.write_kvfile(path, '=', true) &&
              this->table.read_kvfile(path, ';', &faults) &&
              this->back.read_kvfile(path, ';', &faults));
  EXPECT_EQ(faults.no_separator, 2u);
  ASSERT_TRUE(this->back.read_kvfile(path, '=', &faults));
  EXPECT_EQ(faults.sum(), 0u);
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

TYPED_TEST(ListFileTest, WhatIsWrittenComesBackAlsoKeysWithSeparatorsAndFromARealWordList) {
  RandomTexts random(51);
  for (unsigned i = 0; i < 3000; ++i) {
    // From a few units to more than is read or written at once.
    const auto key = random.next<TypeParam>(i % 1000 == 999 ? 60000 : 12, "ab;\xE1\xFF 1-");
    if (key.view().is_empty()) continue;
    const std::uint64_t value = (std::uint64_t{random.below(~0u)} << 32 | i) >> random.below(64);
    this->list.emplace_back(key, value);
  }
  this->ExpectComesBack(';');
  BufferList<unsigned char> lines;
  if (!lines.read_txtfile(ZENTA_WORD_LIST, false)) GTEST_SKIP() << "the word list is not installed";
  this->list.reset();
  for (const auto* line : lines) {
    const SplitColumn<unsigned char, 3> columns(line->key(), ' ');
    this->list.emplace_back(Buffer<TypeParam>(columns[0]), columns[1].to_uint64());
  }
  this->ExpectComesBack(' ');
  EXPECT_EQ(this->table.itemcnt(), 349045u);
}

TYPED_TEST(ListFileTest, ATableWithSeveralNodesOfAKeyComesBackAsItFinds) {
  using T = TypeParam;
  for (unsigned i = 0; i < 1000; ++i) {
    if (i == 500) this->table.set_tabsize(33);
    this->table.insert(Widen<T>(std::to_string(i % 500)))->set_value(i);
  }
  ASSERT_GT(this->table.itemcnt(), 500u);
  BufferHash<T> read(500);
  ASSERT_TRUE(this->table.write_found_kvfile(this->file.path(), '=', false) &&
              read.read_kvfile(this->file.path(), '='));
  EXPECT_EQ(read.itemcnt(), 500u);
  read.for_each([&](BufferRef<T> key, std::uint64_t value) {
    EXPECT_EQ(this->table.find(key)->value(), value);
  });
}

TYPED_TEST(ListFileTest, AFileThatIsNotThereLeavesNothingAndAFullDiskIsReported) {
  for (const unsigned keys : {1u, 5000u}) {  // the disk is full at the end, and on the way
    while (this->list.size() < keys) this->Add(std::to_string(this->list.size()), 1);
    ASSERT_EQ(this->dict.open(this->table), 0u);
    for (const char* path : {"/dev/full", "/nowhere/file", "", static_cast<const char*>(nullptr)}) {
      EXPECT_FALSE(
          this->list.write_kvfile(path, '=', false) || this->list.write_txtfile(path, true) ||
          this->table.write_kvfile(path, '=', false) || this->dict.write_kvfile(path, '=', false));
    }
  }
  ASSERT_EQ(::unlink(this->file.path()), 0);
  for (const char* gone : {this->file.path(), "/", static_cast<const char*>(nullptr)}) {
    this->Add("k", 1);
    EXPECT_FALSE(this->list.read_kvfile(gone, '=') || this->table.read_kvfile(gone, '='));
    EXPECT_EQ(this->list.size() + this->table.itemcnt(), 0u);
    this->Add("k", 1);
    EXPECT_FALSE(this->list.read_txtfile(gone, true));
    EXPECT_TRUE(this->list.is_empty());
  }
}

}  // namespace
}  // namespace tstl

// Lists, tables and images as text files, from one to the other and back.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "corelib/containers/buffer_dict.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"
#include "corelib/io/split_column.h"
#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

template <class T>
struct ListFileTest : testing::Test {
  const std::string file = TempPath();
  const char* const path = file.c_str();

  ~ListFileTest() override { std::remove(path); }

  static BufferList<T> ListOf(const Pairs<T>& pairs) {
    BufferList<T> list;
    for (const auto& [key, value] : pairs) list.emplace_back(key, value);
    return list;
  }
  static Pairs<T> Narrow(std::vector<std::pair<std::string, std::uint64_t>> pairs) {
    Pairs<T> wide;
    for (const auto& [key, value] : pairs) wide.emplace_back(Widen<T>(key), value);
    return wide;
  }
  // The file's units behind a byte-order mark, which is there exactly if they have 16 bits.
  StdString<T> Written() const {
    std::ifstream in(path, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(in), {});
    bytes.resize(bytes.size() / sizeof(T) * sizeof(T));
    StdString<T> units(reinterpret_cast<const CharOf<T>*>(bytes.data()), bytes.size() / sizeof(T));
    if constexpr (sizeof(T) == 2) {
      EXPECT_EQ(units.substr(0, 1), u"\uFEFF");
      units.erase(0, 1);
    }
    return units;
  }
};
TYPED_TEST_SUITE(ListFileTest, Units, UnitNames);

TYPED_TEST(ListFileTest, EveryKindWritesItsRecordsAndLeavesEmptyKeysOut) {
  using T = TypeParam;
  struct Row {
    Pairs<T> pairs;
    bool crlf;
    const char *pairs_text, *keys_text;
  };
  const auto max = ~std::uint64_t{0};
  for (const Row& row :
       {Row{this->Narrow({{"a", 0}, {"", 5}}), false, "a\t0\n", "a\n"},
        Row{this->Narrow({{"a", 0}, {"", 5}}), true, "a\t0\r\n", "a\r\n"},
        Row{this->Narrow({{"\t b", max}}), false, "\t b\t18446744073709551615\n", "\t b\n"},
        Row{{}, true, "", ""}}) {
    const auto list = this->ListOf(row.pairs);
    ASSERT_TRUE(list.write_txtfile(this->path, row.crlf));
    EXPECT_EQ(this->Written(), Widen<T>(row.keys_text));
    BufferHash<T> table(32);
    ASSERT_TRUE(list.write_kvfile(this->path, '\t', row.crlf) &&
                table.read_kvfile(this->path, '\t'));
    EXPECT_EQ(this->Written(), Widen<T>(row.pairs_text));
    ASSERT_TRUE(table.write_kvfile(this->path, '\t', row.crlf));
    EXPECT_EQ(this->Written(), Widen<T>(row.pairs_text));
    BufferDict<T> dict;
    for (auto& pair : row.pairs) table[pair.first]->set_value(pair.second & 1);
    ASSERT_EQ(dict.open(table), 0u);
    ASSERT_TRUE(dict.write_kvfile(this->path, '\t', row.crlf));
    EXPECT_EQ(this->Written().size(), row.pairs.empty()         ? 0
                                      : row.keys_text[0] == 'a' ? std::string(row.pairs_text).size()
                                                                : 6);
  }
}

TYPED_TEST(ListFileTest, WhatIsWrittenComesBackAlsoInKeysWithSeparators) {
  using T = TypeParam;
  RandomTexts random(51);
  for (const bool crlf : {false, true}) {
    BufferList<T> list, back;
    BufferHash<T> table(100), from_table(40);
    for (unsigned i = 0; i < 3000; ++i) {
      // From a few units to more than what is read or written at once.
      const auto key = random.next<T>(i % 1000 == 999 ? 60000 : 12, "ab;\xE1\xFF 1-");
      if (key.view().is_empty()) continue;
      const std::uint64_t value = (std::uint64_t{random.below(~0u)} << 32 | i) >> random.below(64);
      list.emplace_back(key, value);
      table[key]->set_value(value);
    }
    back.emplace_back({}, 1);
    ASSERT_TRUE(list.write_kvfile(this->path, ';', crlf) && back.read_kvfile(this->path, ';'));
    EXPECT_TRUE(back == list);
    ASSERT_TRUE(from_table.read_kvfile(this->path, ';'));
    EXPECT_EQ(Sorted<T>(Contents<T>(from_table)), Sorted<T>(Contents<T>(table)));
    ASSERT_TRUE(list.write_txtfile(this->path, crlf) && back.read_txtfile(this->path, false));
    list.for_each([](const auto&, std::uint64_t& value) { value = 0; });
    EXPECT_TRUE(back == list);
  }
}

TYPED_TEST(ListFileTest, OddKeysComeBackAsTheHeaderTells) {
  using T = TypeParam;
  BufferList<T> back;
  const auto list = this->ListOf(this->Narrow({{"two\nlines", 7}, {"k;1", 2}, {"\r", 3}}));
  ASSERT_TRUE(list.write_kvfile(this->path, ';', false) && back.read_kvfile(this->path, ';'));
  EXPECT_EQ(Contents<T>(back), this->Narrow({{"two", 0}, {"lines", 7}, {"k;1", 2}, {"", 3}}));
  ASSERT_TRUE(list.write_txtfile(this->path, true) && back.read_txtfile(this->path, true));
  EXPECT_EQ(Contents<T>(back),
            this->Narrow({{"two", 0}, {"lines", 0}, {"k;1", 0}, {"", 0}, {"", 0}}));
}

TYPED_TEST(ListFileTest, AFileThatIsNotThereLeavesNothingAndAFullDiskIsReported) {
  using T = TypeParam;
  for (const std::string name : {"/nowhere/file", "/", "", "gone"}) {
    auto list = this->ListOf(this->Narrow({{"k", 1}}));
    BufferHash<T> table(32);
    table.insert(Widen<T>("k"));
    if (name == "gone") {
      ASSERT_TRUE(list.write_kvfile(this->path, '=', false) && list.read_kvfile(this->path, '='));
      std::remove(this->path);
    }
    const char* const at = name == "gone" ? this->path : name.empty() ? nullptr : name.c_str();
    EXPECT_TRUE(name == "gone" || !list.write_kvfile(at, '=', false));
    EXPECT_FALSE(list.read_kvfile(at, '=') || table.read_kvfile(at, '='));
    EXPECT_EQ(list.size() + table.itemcnt(), 0u);
    list.emplace_back({}, 1);
    EXPECT_FALSE(list.read_txtfile(at, true));
    EXPECT_TRUE(list.is_empty());
  }
  for (const unsigned keys : {1u, 5000u}) {  // the disk is full at the end, and on the way
    BufferHash<T> table(32);
    BufferList<T> list;
    BufferDict<T> dict;
    for (unsigned i = 0; i < keys; ++i) {
      table.insert(list.emplace_back(Widen<T>(std::to_string(i)), i)->key());
    }
    ASSERT_EQ(dict.open(table), 0u);
    EXPECT_FALSE(list.write_kvfile("/dev/full", '=', false) ||
                 list.write_txtfile("/dev/full", true));
    EXPECT_FALSE(table.write_kvfile("/dev/full", '=', false) ||
                 dict.write_kvfile("/dev/full", '=', false));
  }
}

// Every word with its count: list, file, table, image, its file, and back.
TYPED_TEST(ListFileTest, ARealWordListGoesThroughEveryForm) {
  using T = TypeParam;
  BufferList<T> list, back;
  BufferList<unsigned char> lines;
  if (!lines.read_txtfile(ZENTA_WORD_LIST, false)) GTEST_SKIP() << "the word list is not installed";
  lines.for_each([&](const BufferRef<unsigned char>& line, std::uint64_t) {
    const SplitColumn<unsigned char, 3> columns(line, ' ');
    list.emplace_back(Buffer<T>(columns[0]), columns[1].to_uint64());
  });
  ASSERT_TRUE(list.write_kvfile(this->path, ' ', false) && back.read_kvfile(this->path, ' '));
  EXPECT_TRUE(list == back);
  BufferHash<T> table(list.size()), again(list.size());
  ASSERT_TRUE(table.read_kvfile(this->path, ' '));
  EXPECT_EQ(table.itemcnt(), 349045u);  // one word is there twice, with one count
  Pairs<T> want = Sorted<T>(Contents<T>(list));
  want.erase(std::unique(want.begin(), want.end()), want.end());
  ASSERT_TRUE(table.write_kvfile(this->path, ' ', true) && back.read_kvfile(this->path, ' '));
  EXPECT_TRUE(Sorted<T>(Contents<T>(back)) == want);
  BufferDict<T> built, dict;
  ASSERT_TRUE(built.open(table) == 0 && built.save(this->path) == 0 && dict.open(this->path) == 0);
  EXPECT_TRUE(dict.check());
  for (const auto* node : list) ASSERT_EQ(dict.find(node->key())->value(), node->value());
  ASSERT_TRUE(dict.write_kvfile(this->path, ' ', false) && again.read_kvfile(this->path, ' '));
  EXPECT_TRUE(Sorted<T>(Contents<T>(again)) == want);
}

}  // namespace
}  // namespace tstl

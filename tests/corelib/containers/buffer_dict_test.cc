#include "corelib/containers/buffer_dict.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "corelib/containers/detail/dict_image.h"
#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

using Bytes = std::vector<unsigned char>;

// Little-endian words, then bytes.
Bytes Image(const std::vector<std::uint32_t>& words, const Bytes& rest = {}) {
  Bytes bytes(words.size() * 4);
  for (std::size_t i = 0; i < words.size(); ++i) detail::store_le(&bytes[4 * i], words[i]);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return bytes;
}

template <class T>
struct BufferDictTest : testing::Test {
  BufferDict<T> dict;

  static BufferHash<T> RandomTable(unsigned keys, unsigned seed) {
    BufferHash<T> table(64);
    RandomTexts random(seed);
    while (table.itemcnt() < keys) {
      table[random.next<T>(9, "ab\xE1")]->set_value(random.below(~0u) * std::uint64_t{3});
    }
    return table;
  }
  Bytes image() const {
    const auto& bytes = dict.ref_internal_data();
    return Bytes(bytes.cstr(), bytes.cstr() + bytes.len());
  }
  // Opens exactly these bytes, with a zero behind them.
  std::uint32_t Open(const Bytes& bytes) {
    auto* const memory = static_cast<unsigned char*>(std::malloc(bytes.size() + 1));
    std::copy(bytes.begin(), bytes.end(), memory);
    Buffer<unsigned char> buffer;
    buffer.set_data_owner(unsigned(bytes.size()), memory, unsigned(bytes.size()));
    return dict.open(std::move(buffer));
  }
  // What holds for any image: look-ups and traversals stay inside and end, and what a whole image
  // tells is found. Returns check().
  bool ExpectSafe() const {
    const auto& bytes = dict.ref_internal_data();
    const bool whole = dict.check();
    std::size_t records = 0;
    const bool all = dict.for_each_bk([&](const BufferDictNode<T>& node) {
      const auto* const start = reinterpret_cast<const unsigned char*>(&node);
      EXPECT_TRUE(bytes.begin() <= start && start + node.node_size() <= bytes.end());
      const auto* const found = dict.find(node.key());
      EXPECT_TRUE(!whole || (found != nullptr && found->key() == node.key()));
      return ++records < 1000000;
    });
    EXPECT_LE(records, bytes.len() / 8);
    EXPECT_TRUE(all || !whole);
    EXPECT_EQ(dict.match(Widen<T>("not there")), false);
    return whole;
  }
};
TYPED_TEST_SUITE(BufferDictTest, Units, UnitNames);

// A table of 2000 keys is rehashed and filled again, so that it has several nodes with one key: the one
// that it finds is in the image.
TYPED_TEST(BufferDictTest, HoldsExactlyWhatTheTableFindsInMemoryAndInAFile) {
  using T = TypeParam;
  const std::string path = TempPath();
  for (const unsigned keys : {0u, 1u, 2u, 33u, 2000u}) {
    BufferHash<T> table = this->RandomTable(keys, keys);
    const Pairs<T> pairs = Sorted<T>(Contents<T>(table));
    if (keys == 2000) table.set_tabsize(33);
    for (const auto& pair : pairs) table.insert(pair.first)->set_value(1);
    ASSERT_EQ(table.itemcnt() > keys, keys == 2000);
    ASSERT_EQ(this->dict.open(table), 0u);
    EXPECT_TRUE(this->ExpectSafe());
    ASSERT_EQ(this->dict.save(path.c_str()), 0u);
    const Bytes bytes = this->image();
    const BufferDict<T> moved = std::move(this->dict);
    EXPECT_TRUE(this->dict.is_empty());
    ASSERT_EQ(this->dict.open(path.c_str()), 0u);
    EXPECT_EQ(this->image(), bytes);
    EXPECT_EQ(Contents<T>(moved).size(), pairs.size());

    RandomTexts random(keys);
    std::vector<HeapText<T>> texts;
    for (int i = 0; i < 1000; ++i) texts.push_back(random.next<T>(10, "ab\xE1"));
    std::vector<BufferRef<T>> asked(texts.begin(), texts.end());
    for (const auto& pair : pairs) asked.emplace_back(pair.first);
    std::vector<const BufferDictNode<T>*> records(asked.size());
    moved.find_all(asked.data(), unsigned(asked.size()), records.data());
    for (std::size_t i = 0; i < asked.size(); ++i) {
      const auto* const node = table.find(asked[i]);
      EXPECT_EQ(records[i], moved.find(asked[i]));
      ASSERT_EQ(records[i] == nullptr, node == nullptr);
      EXPECT_TRUE(node == nullptr || records[i]->value() == (node->value() & 0x7FFFFFFF));
    }
  }
  std::remove(path.c_str());
}

TYPED_TEST(BufferDictTest, AnImageDependsOnTheContentsOnlyAndStaysWithinTheLimit) {
  using T = TypeParam;
  const BufferHash<T> table = this->RandomTable(500, 1);
  BufferHash<T> other(1000);
  for (const auto& [key, value] : Sorted<T>(Contents<T>(table))) other[key]->set_value(value);
  ASSERT_EQ(this->dict.open(table), 0u);
  const Bytes image = this->image();
  ASSERT_EQ(this->dict.open(other), 0u);
  EXPECT_EQ(this->image(), image);
  Buffer<unsigned char> buffer;
  EXPECT_FALSE(detail::build_dict_image(table, buffer, image.size() - 1));
  EXPECT_EQ(buffer.len(), 0u);
  EXPECT_TRUE(detail::build_dict_image(table, buffer, image.size()));
}

TYPED_TEST(BufferDictTest, WhatTheHeaderMaySay) {
  struct Row {
    std::vector<std::uint32_t> words;
    std::size_t length;
    bool opens;
    std::uint32_t buckets;
  };
  for (const Row& row :
       {Row{{}, 0, false, 0}, Row{{1, 1, 16}, 16, false, 0}, Row{{1, 1, 17}, 17, true, 0},
        Row{{9, 1, 20}, 20, true, 1}, Row{{~0u, 1, 31}, 31, true, 3}, Row{{2, 1, 32}, 32, true, 2},
        Row{{2, 1, 31}, 32, false, 0}, Row{{0, 1, 32}, 32, false, 0},
        Row{{2, 0, 32}, 32, false, 0}}) {
    SCOPED_TRACE(testing::Message() << "length " << row.length);
    ASSERT_EQ(this->dict.open(this->RandomTable(3, 3)), 0u);
    EXPECT_EQ(this->Open(Image(row.words, Bytes(row.length - 4 * row.words.size()))),
              row.opens ? 0 : FAILURE);
    EXPECT_EQ(this->dict.is_empty(), !row.opens);
    EXPECT_EQ(this->dict.bucket_cnt(), row.buckets);
    EXPECT_EQ(this->ExpectSafe(), row.buckets == 2);
  }
}

TYPED_TEST(BufferDictTest, EveryPrefixAndEveryChangedByteIsSafe) {
  ASSERT_EQ(this->dict.open(this->RandomTable(12, 4)), 0u);
  const Bytes image = this->image();
  const auto opens_whole = [&](Bytes bytes) {
    if (bytes.size() >= 12) detail::store_le(&bytes[8], std::uint32_t(bytes.size()));
    return this->Open(bytes) == 0 && this->ExpectSafe();
  };
  Bytes shifted{0};  // to an odd address, where 16-bit units may not be
  shifted.insert(shifted.end(), image.begin(), image.end());
  shifted.push_back(0);
  Buffer<unsigned char> buffer;
  buffer.set_data_external(unsigned(image.size()), &shifted[1], unsigned(image.size()));
  ASSERT_EQ(this->dict.open(std::move(buffer)), 0u);
  EXPECT_EQ(this->ExpectSafe(), sizeof(TypeParam) == 1);
  for (std::size_t n = 0; n < image.size(); ++n) {
    EXPECT_FALSE(opens_whole(Bytes(image.begin(), image.begin() + std::ptrdiff_t(n))));
    for (const int change : {0x01, 0x04, 0x80, 0xFF}) {
      Bytes bytes = image;
      bytes[n] = static_cast<unsigned char>(bytes[n] ^ change);
      opens_whole(bytes);
    }
  }
}

// An image of the one key "k", with one or two buckets that both have its record.
TYPED_TEST(BufferDictTest, CheckSeesEveryKindOfDamage) {
  using T = TypeParam;
  struct Row {
    const char* damage;
    std::uint32_t buckets, offset;
    std::size_t byte = 0;  // of the record
    int change = 0;        // exclusive-or
  };
  for (const Row& row :
       {Row{"none", 1, 20}, Row{"a value", 1, 20, 0, 1}, Row{"no last record", 1, 20, 3, 0x80},
        Row{"a length", 1, 20, 4, 1}, Row{"a zero unit", 1, 20, 6 + sizeof(T), 1},
        Row{"an offset", 1, 21}, Row{"an offset in the table", 1, 16},
        Row{"an offset past the end", 1, 99}, Row{"a table past the end", 99, 20},
        Row{"shared records, one in the wrong bucket", 2, 24}}) {
    SCOPED_TRACE(row.damage);
    Bytes record(BufferDictNode<T>::node_size(1));
    auto* const node = reinterpret_cast<BufferDictNode<T>*>(record.data());
    node->init_key(Widen<T>("k"));
    node->set_lastnode(true);
    record[row.byte] = static_cast<unsigned char>(record[row.byte] ^ row.change);
    std::vector<std::uint32_t> words{row.buckets, 1, 0, 0, row.offset};
    if (row.buckets == 2) words.push_back(row.offset);
    words[2] = std::uint32_t(words.size() * 4 + record.size());
    ASSERT_EQ(this->Open(Image(words, record)), 0u);
    EXPECT_EQ(this->ExpectSafe(), row.offset == 20 && row.buckets == 1 && row.byte == 0);
  }
}

// Ten thousand buckets that share one chain of ten thousand records.
TYPED_TEST(BufferDictTest, TraversalOfSharedChainsEnds) {
  std::vector<std::uint32_t> words(4 + 10000, 4 * 10004);
  words[0] = words[1] = 10000;
  words[2] = 4 * 10004 + 8 * 10000;
  ASSERT_EQ(this->Open(Image(words, Bytes(8 * 10000))), 0u);
  EXPECT_FALSE(this->ExpectSafe());
}

TYPED_TEST(BufferDictTest, WhatIsNoReadableFileLeavesItEmpty) {
  const std::string folder = testing::TempDir(), pipe = TempPath();
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const char* path :
       {static_cast<const char*>(nullptr), "", "/dev/zero", folder.c_str(), pipe.c_str()}) {
    ASSERT_EQ(this->dict.open(this->RandomTable(3, 7)), 0u);
    EXPECT_EQ(this->dict.save(nullptr), FAILURE);
    EXPECT_EQ(this->dict.save("/dev/full"), FAILURE);
    EXPECT_EQ(this->dict.open(path), FAILURE);
    EXPECT_TRUE(this->dict.is_empty() && this->image().empty());
    EXPECT_EQ(this->dict.save("/dev/null"), FAILURE);  // there is nothing to write
  }
  std::remove(pipe.c_str());
}

// The bytes of the example in docs/formats/dictionary-image.md.
TEST(BufferDictImageTest, TheWorkedExampleOfTheFormat) {
  BufferHash<unsigned char> table(32);
  for (const auto& [key, value] : {std::pair{"中国", 9u}, {"中", 5u}, {"a", 1u}})
    table[key]->set_value(value);
  Buffer<unsigned char> image;
  ASSERT_TRUE(detail::build_dict_image(table, image));
  EXPECT_EQ(Bytes(image.begin(), image.end()),
            Image({5, 3, 72, 0, 0, 0x2C, 0x24, 0, 0x38, 0x80000001, 0x00610001, 0x80000005,
                   0xB8E40003, 0x000000AD, 0x80000009, 0xB8E40006, 0xBD9BE5AD, 0}));
  const auto* const node = reinterpret_cast<const BufferDictNode<unsigned char>*>(image.cstr(0x24));
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(node->next()), image.cstr(0x2C));
  EXPECT_EQ(node->next_not_last(), nullptr);
  EXPECT_EQ(BufferDictNode<unsigned short>::node_size(~0u), 0x200000008u);
}

}  // namespace
}  // namespace tstl

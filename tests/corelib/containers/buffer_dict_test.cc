#include "corelib/containers/buffer_dict.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "corelib/containers/detail/dict_image.h"
#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes ImageOf(const auto& dict) {
  const auto& image = dict.ref_internal_data();
  return Bytes(image.cstr(), image.cstr() + image.len());
}

// A buffer of exactly these bytes and its zero.
Buffer<unsigned char> BufferOf(const Bytes& bytes) {
  Buffer<unsigned char> buffer;
  auto* const memory = static_cast<unsigned char*>(std::malloc(bytes.size() + 1));
  std::copy(bytes.begin(), bytes.end(), memory);
  buffer.set_data_owner(unsigned(bytes.size()), memory, unsigned(bytes.size()));
  return buffer;
}

template <class T>
struct BufferDictTest : testing::Test {
  static BufferHash<T> RandomTable(unsigned keys, unsigned seed) {
    BufferHash<T> table(64);
    RandomTexts random(seed);
    while (table.itemcnt() < keys) {
      table[random.next<T>(9, "ab\xE1")]->set_value(random.below(~0u) * std::uint64_t{3});
    }
    return table;
  }

  // What holds for any image: look-ups and traversals stay inside and end, and what a whole image
  // tells is found.
  static void ExpectSafe(const BufferDict<T>& dict) {
    const unsigned char* const image = dict.ref_internal_data().cstr();
    const unsigned length = dict.ref_internal_data().len();
    const bool whole = dict.check();
    std::size_t records = 0;
    const bool all = dict.for_each_bk([&](const BufferDictNode<T>& node) {
      const auto* const start = reinterpret_cast<const unsigned char*>(&node);
      EXPECT_TRUE(image <= start && start + node.node_size() <= image + length);
      if (whole) {
        EXPECT_EQ(dict.find(node.key())->key(), node.key());
      }
      return ++records < 1000000;
    });
    EXPECT_LE(records, length / 8);
    EXPECT_TRUE(all || !whole);
  }
};
TYPED_TEST_SUITE(BufferDictTest, Units, UnitNames);

TYPED_TEST(BufferDictTest, HoldsExactlyTheTableInMemoryAndInAFile) {
  using T = TypeParam;
  const std::string path = testing::TempDir() + "/dict_test.image";
  for (const unsigned keys : {0u, 1u, 2u, 33u, 2000u}) {
    const BufferHash<T> table = this->RandomTable(keys, keys);
    BufferDict<T> built, loaded;
    ASSERT_EQ(built.open(table), 0u);
    ASSERT_EQ(built.save(path.c_str()), 0u);
    ASSERT_EQ(loaded.open(path.c_str()), 0u);
    EXPECT_EQ(ImageOf(loaded), ImageOf(built));
    const BufferDict<T> dict = std::move(loaded);
    EXPECT_TRUE(loaded.is_empty());
    EXPECT_TRUE(dict.check());
    this->ExpectSafe(dict);
    Pairs<T> want = Sorted<T>(Contents<T>(table));
    for (auto& pair : want) pair.second &= 0x7FFFFFFF;
    EXPECT_EQ(Sorted<T>(Contents<T>(dict)), want);
    RandomTexts random(keys);
    std::vector<HeapText<T>> texts;
    for (int i = 0; i < 1000; ++i) texts.push_back(random.next<T>(10, "ab\xE1"));
    const std::vector<BufferRef<T>> asked(texts.begin(), texts.end());
    std::vector<const BufferHashNode<T>*> nodes(asked.size());
    std::vector<const BufferDictNode<T>*> records(asked.size());
    table.find_all(asked.data(), unsigned(asked.size()), nodes.data());
    dict.find_all(asked.data(), unsigned(asked.size()), records.data());
    for (std::size_t i = 0; i < asked.size(); ++i) {
      const BufferRef<T> key = asked[i];
      const auto* const node = table.find(key);
      EXPECT_EQ(nodes[i], node);
      EXPECT_EQ(records[i], dict.find(key));
      ASSERT_EQ(dict.match(key), node != nullptr);
      if (node != nullptr) {
        EXPECT_EQ(dict.find(key)->value(), node->value() & 0x7FFFFFFF);
      }
    }
  }
  std::remove(path.c_str());
}

TYPED_TEST(BufferDictTest, AnImageDependsOnTheContentsOnly) {
  using T = TypeParam;
  const BufferHash<T> table = this->RandomTable(500, 1);
  Pairs<T> pairs = Contents<T>(table);
  std::reverse(pairs.begin(), pairs.end());
  BufferHash<T> other(1000);
  for (const auto& [key, value] : pairs) other[key]->set_value(value);
  BufferDict<T> dict, other_dict;
  ASSERT_EQ(dict.open(table) + other_dict.open(other), 0u);
  EXPECT_EQ(ImageOf(dict), ImageOf(other_dict));
}

TYPED_TEST(BufferDictTest, OfSeveralNodesWithOneKeyTheOneThatIsFoundIsStored) {
  using T = TypeParam;
  BufferHash<T> table = this->RandomTable(400, 2);
  const Pairs<T> pairs = Contents<T>(table);
  table.set_tabsize(33);
  for (const auto& pair : pairs) table.insert(pair.first)->set_value(1);
  ASSERT_GT(table.itemcnt(), pairs.size());
  BufferDict<T> dict;
  ASSERT_EQ(dict.open(table), 0u);
  EXPECT_TRUE(dict.check());
  EXPECT_EQ(Contents<T>(dict).size(), pairs.size());
  for (const auto& pair : pairs) {
    EXPECT_EQ(dict.find(pair.first)->value(), table.find(pair.first)->value() & 0x7FFFFFFF);
  }
}

TYPED_TEST(BufferDictTest, WhatTheHeaderMaySay) {
  struct Row {
    std::vector<std::uint32_t> words;  // little-endian, from the start
    std::size_t length;
    bool opens;
    std::uint32_t buckets;
  };
  for (const Row& row :
       {Row{{1, 1, 16}, 16, false, 0}, Row{{1, 1, 17}, 17, true, 0}, Row{{9, 1, 20}, 20, true, 1},
        Row{{~0u, 1, 31}, 31, true, 3}, Row{{2, 1, 32}, 32, true, 2}, Row{{2, 1, 31}, 32, false, 0},
        Row{{0, 1, 32}, 32, false, 0}, Row{{2, 0, 32}, 32, false, 0}, Row{{}, 0, false, 0}}) {
    SCOPED_TRACE(testing::Message() << "length " << row.length);
    Bytes bytes(row.length);
    for (std::size_t i = 0; i < row.words.size(); ++i)
      detail::store_le(bytes.data() + 4 * i, row.words[i]);
    BufferDict<TypeParam> dict;
    ASSERT_EQ(dict.open(this->RandomTable(3, 3)), 0u);
    EXPECT_EQ(dict.open(BufferOf(bytes)), row.opens ? 0 : FAILURE);
    EXPECT_EQ(dict.is_empty(), !row.opens);
    EXPECT_EQ(dict.bucket_cnt(), row.buckets);
    EXPECT_EQ(dict.find({}), nullptr);
    EXPECT_EQ(dict.check(), row.words == std::vector<std::uint32_t>({2, 1, 32}) && row.opens);
  }
}

TYPED_TEST(BufferDictTest, EveryPrefixAndEveryChangedByteIsSafe) {
  using T = TypeParam;
  const BufferHash<T> table = this->RandomTable(12, 4);
  BufferDict<T> dict;
  ASSERT_EQ(dict.open(table), 0u);
  const Bytes image = ImageOf(dict);
  const auto expect_safe = [&](Bytes bytes) {
    if (bytes.size() >= 12) detail::store_le(bytes.data() + 8, std::uint32_t(bytes.size()));
    if (dict.open(BufferOf(bytes)) != 0) return false;
    this->ExpectSafe(dict);
    table.for_each([&](const auto& key, std::uint64_t&) { (void)dict.find(key); });
    return dict.check();
  };
  for (std::size_t n = 0; n < image.size(); ++n) {
    EXPECT_FALSE(expect_safe(Bytes(image.begin(), image.begin() + std::ptrdiff_t(n))));
    for (const int change : {0x01, 0x04, 0x80, 0xFF}) {
      Bytes bytes = image;
      bytes[n] = static_cast<unsigned char>(bytes[n] ^ change);
      expect_safe(bytes);
    }
  }
}

TYPED_TEST(BufferDictTest, CheckSeesEveryKindOfDamage) {
  using T = TypeParam;
  BufferHash<T> table(32);
  table.insert(Widen<T>("k"));
  BufferDict<T> dict;
  ASSERT_EQ(dict.open(table), 0u);
  const Bytes whole = ImageOf(dict);
  ASSERT_EQ(detail::load_le<std::uint32_t>(&whole[16]), 20u);  // one bucket, one record
  const Bytes record(whole.begin() + 20, whole.end());
  struct Row {
    const char* damage;
    std::uint32_t buckets;
    std::vector<std::uint32_t> offsets;
    std::vector<std::pair<std::size_t, unsigned char>> changes;  // byte of the record, exclusive-or
    bool is_whole;
  };
  const std::uint32_t home = crc32(BufferRef<T>(Widen<T>("k"))) % 2;
  for (const Row& row :
       {Row{"none", 1, {20}, {}, true}, Row{"a value", 1, {20}, {{0, 1}}, true},
        Row{"no last record", 1, {20}, {{3, 0x80}}, false},
        Row{"a length", 1, {20}, {{4, 1}}, false},
        Row{"a zero unit", 1, {20}, {{6 + sizeof(T), 1}}, false},
        Row{"an offset", 1, {21}, {}, false}, Row{"an offset in the table", 1, {16}, {}, false},
        Row{"an offset past the end", 1, {99}, {}, false},
        Row{"a table past the end", 99, {20}, {}, false},
        Row{"a bucket", 2, {home ? 24u : 0, home ? 0 : 24u}, {}, false},
        Row{"shared records", 2, {24, 24}, {}, false}}) {
    SCOPED_TRACE(row.damage);
    Bytes bytes(16 + 4 * row.offsets.size());
    for (std::size_t i = 0; i < row.offsets.size(); ++i)
      detail::store_le(&bytes[16 + 4 * i], row.offsets[i]);
    const std::size_t start = bytes.size();
    bytes.insert(bytes.end(), record.begin(), record.end());
    for (const auto& [at, change] : row.changes)
      bytes[start + at] = static_cast<unsigned char>(bytes[start + at] ^ change);
    detail::store_le(&bytes[0], row.buckets);
    detail::store_le(&bytes[4], 1u);
    detail::store_le(&bytes[8], std::uint32_t(bytes.size()));
    ASSERT_EQ(dict.open(BufferOf(bytes)), 0u);
    EXPECT_EQ(dict.check(), row.is_whole);
    this->ExpectSafe(dict);
  }
}

// Ten thousand buckets that share one chain of ten thousand records.
TYPED_TEST(BufferDictTest, TraversalOfSharedChainsEnds) {
  constexpr std::uint32_t kBuckets = 10000;
  Bytes bytes(16 + 4 * kBuckets + 8 * 10000);
  detail::store_le(&bytes[0], kBuckets);
  detail::store_le(&bytes[4], 1u);
  detail::store_le(&bytes[8], std::uint32_t(bytes.size()));
  for (std::uint32_t i = 0; i < kBuckets; ++i)
    detail::store_le(&bytes[16 + 4 * i], 16 + 4 * kBuckets);
  BufferDict<TypeParam> dict;
  ASSERT_EQ(dict.open(BufferOf(bytes)), 0u);
  this->ExpectSafe(dict);
  EXPECT_FALSE(dict.for_each_bk([](const BufferDictNode<TypeParam>&) { return true; }));
  EXPECT_EQ(dict.find(Widen<TypeParam>("k")), nullptr);
}

TYPED_TEST(BufferDictTest, AnImageAtAnOddAddressIsRead) {
  using T = TypeParam;
  BufferDict<T> dict;
  ASSERT_EQ(dict.open(this->RandomTable(20, 5)), 0u);
  Bytes memory = ImageOf(dict);
  const unsigned length = unsigned(memory.size());
  memory.insert(memory.begin(), 0);
  memory.push_back(0);
  Buffer<unsigned char> buffer;
  buffer.set_data_external(length, memory.data() + 1, length);
  ASSERT_EQ(dict.open(std::move(buffer)), 0u);
  this->ExpectSafe(dict);
  EXPECT_EQ(dict.check(),
            sizeof(T) == 1);  // 16-bit units cannot be used where they are not aligned
}

TYPED_TEST(BufferDictTest, AnImageBeyondTheLimitIsRefused) {
  const BufferHash<TypeParam> table = this->RandomTable(20, 6);
  Buffer<unsigned char> image;
  ASSERT_TRUE(detail::build_dict_image(table, image));
  const std::uint64_t length = image.len();
  EXPECT_TRUE(detail::build_dict_image(table, image, length));
  image.reset();
  EXPECT_FALSE(detail::build_dict_image(table, image, length - 1));
  EXPECT_EQ(image.len(), 0u);
}

TYPED_TEST(BufferDictTest, WhatIsNoReadableFileLeavesItEmpty) {
  const std::string folder = testing::TempDir();
  const std::string pipe = folder + "/dict_test.pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  BufferDict<TypeParam> dict;
  for (const char* path :
       {static_cast<const char*>(nullptr), "", "/dev/zero", folder.c_str(), pipe.c_str()}) {
    ASSERT_EQ(dict.open(this->RandomTable(3, 7)), 0u);
    EXPECT_EQ(dict.open(path), FAILURE);
    EXPECT_TRUE(dict.is_empty());
    EXPECT_EQ(dict.ref_internal_data().len(), 0u);
  }
  std::remove(pipe.c_str());
  EXPECT_EQ(dict.save((folder + "/none").c_str()), FAILURE);
  ASSERT_EQ(dict.open(this->RandomTable(3, 7)), 0u);
  EXPECT_EQ(dict.save(nullptr), FAILURE);
  EXPECT_EQ(dict.save("/dev/full"), FAILURE);
}

// The bytes of the example in docs/formats/dictionary-image.md.
TEST(BufferDictImageTest, TheWorkedExampleOfTheFormat) {
  BufferHash<unsigned char> table(32);
  for (const auto& [key, value] : {std::pair{"中国", 9u}, {"中", 5u}, {"a", 1u}}) {
    table.insert(key)->set_value(value);
  }
  BufferDict<unsigned char> dict;
  ASSERT_EQ(dict.open(table), 0u);
  EXPECT_EQ(ImageOf(dict),
            (Bytes{5, 0, 0,    0,    3,    0,    0,    0,    0x48, 0,    0, 0, 0,   0, 0,
                   0, 0, 0,    0,    0,    0x2C, 0,    0,    0,    0x24, 0, 0, 0,   0, 0,
                   0, 0, 0x38, 0,    0,    0,    1,    0,    0,    0x80, 1, 0, 'a', 0, 5,
                   0, 0, 0x80, 3,    0,    0xE4, 0xB8, 0xAD, 0,    0,    0, 9, 0,   0, 0x80,
                   6, 0, 0xE4, 0xB8, 0xAD, 0xE5, 0x9B, 0xBD, 0,    0,    0, 0}));
}

TEST(BufferDictNodeTest, ValueAndLastFlagShareAWord) {
  Bytes record(12);
  auto* const node = reinterpret_cast<BufferDictNode<unsigned char>*>(record.data());
  node->init_key("ab");
  node->set_value(0xFFFFFFFF);
  EXPECT_EQ(node->value(), 0x7FFFFFFFu);
  EXPECT_EQ(node->next_not_last(), node->next());
  node->set_lastnode(true);
  node->set_value(0x01020304);
  EXPECT_EQ(record, (Bytes{4, 3, 2, 0x81, 2, 0, 'a', 'b', 0, 0, 0, 0}));
  EXPECT_EQ(node->next_not_last(), nullptr);
  node->set_lastnode(false);
  EXPECT_EQ(node->value(), 0x01020304u);
  EXPECT_EQ(node->next(),
            reinterpret_cast<const BufferDictNode<unsigned char>*>(record.data() + 12));
  EXPECT_EQ(BufferDictNode<unsigned short>::node_size(2), 12u);
  EXPECT_EQ(BufferDictNode<unsigned short>::node_size(~0u), 0x200000008u);
}

}  // namespace
}  // namespace tstl

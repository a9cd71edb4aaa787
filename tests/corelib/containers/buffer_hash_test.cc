#include "corelib/containers/buffer_hash.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

template <class T>
struct BufferHashTest : testing::Test {};
TYPED_TEST_SUITE(BufferHashTest, Units, UnitNames);

// The table as its rules tell it, chain by chain.
template <class T>
class Model {
 public:
  explicit Model(std::uint32_t size) : chains_(size) {}

  std::uint64_t& insert(const StdString<T>& key) {
    Pairs<T>& chain = chain_of(key);
    auto at = chain.begin();
    for (; at != chain.end() && at->first <= key; ++at) {
      if (at->first == key) return at->second;
    }
    return chain.insert(at, {key, 0})->second;
  }
  const std::uint64_t* find(const StdString<T>& key) {
    for (const auto& pair : chain_of(key)) {
      if (pair.first == key) return &pair.second;
    }
    return nullptr;
  }
  void rehash(std::uint32_t size) {
    if (size == chains_.size()) return;
    const Pairs<T> nodes = contents();
    chains_.assign(size, {});
    for (const auto& pair : nodes) {
      Pairs<T>& chain = chain_of(pair.first);
      chain.insert(chain.begin(), pair);
    }
  }
  Pairs<T> contents() const {
    Pairs<T> all;
    for (const auto& chain : chains_) all.insert(all.end(), chain.begin(), chain.end());
    return all;
  }

 private:
  Pairs<T>& chain_of(const StdString<T>& key) {
    return chains_[crc32(BufferRef<T>(key)) % chains_.size()];
  }

  std::vector<Pairs<T>> chains_;
};

TYPED_TEST(BufferHashTest, AgreesWithItsRulesChainByChainAlsoAfterRehashes) {
  using T = TypeParam;
  RandomTexts random(21);
  std::uint32_t size = 32;
  BufferHash<T> table(size);
  Model<T> model(size);
  int duplicates = 0;
  for (std::uint64_t step = 0; step < 20000; ++step) {
    const auto text = random.next<T>(6, "ab\xE1\xFF");
    const BufferRef<T> key = text;
    const StdString<T> name(key.std_view());
    if (step % 2500 == 2499) {
      size = 32 + random.below(200);
      table.set_tabsize(size);
      model.rehash(size);
      EXPECT_EQ(table.tabsize(), size);
    } else if (random.below(3) == 0) {
      const auto* const node = table.find(key);
      const std::uint64_t* const value = model.find(name);
      ASSERT_EQ(node == nullptr, value == nullptr);
      if (node != nullptr) {
        EXPECT_EQ(node->value(), *value);
      }
    } else {
      const bool known = model.find(name) != nullptr;
      const std::uint32_t before = table.itemcnt();
      const auto node = table.insert(key);
      EXPECT_EQ(node->key(), key);
      EXPECT_EQ(node->value(), model.insert(name));
      duplicates += known && table.itemcnt() != before;
      node->set_value(step);
      model.insert(name) = step;
    }
    if (step % 500 == 0) {
      ASSERT_EQ(Contents<T>(table), model.contents());
    }
  }
  EXPECT_EQ(Contents<T>(table), model.contents());
  EXPECT_EQ(table.itemcnt(), model.contents().size());
  EXPECT_GT(duplicates, 0);  // what the header warns of did happen
}

TYPED_TEST(BufferHashTest, SizesAreCutAndTakeEffectAtTheFirstInsertion) {
  for (const auto& [asked, got] :
       {std::pair{0u, 32u}, {5u, 32u}, {33u, 33u}, {2000000u, 1048576u}}) {
    BufferHash<TypeParam> table(asked);
    EXPECT_EQ(table.tabsize(), got);
    table.set_tabsize(asked + 100);
    table.itn_set_tabsize(asked);
    EXPECT_EQ(table.table(), nullptr);
    EXPECT_EQ(table.find({}), nullptr);
    table.insert({});
    table.itn_set_tabsize(got + 1);
    EXPECT_EQ(table.tabsize(), got);
    table.reset();
    EXPECT_EQ(table.itemcnt(), 0u);
    EXPECT_EQ(table.tabsize(), std::min(got + 1, 1048576u));
  }
}

TYPED_TEST(BufferHashTest, OneChainIsInOrderAndThePrefixComesFirst) {
  using T = TypeParam;
  // Five keys of one bucket of 32, found by trying, and the empty key, which is always in bucket 0.
  BufferHash<T> table(32);
  table.insert({});
  std::uint32_t found = 1;
  for (std::uint32_t i = 0; found < 6; ++i) {
    const StdString<T> key = Widen<T>(std::to_string(i * 7919 % 5003));
    if (table.hash_id(key) == 0 && table.find(key) == nullptr) table.insert(key), ++found;
  }
  const Pairs<T> chain = Contents<T>(table);
  EXPECT_TRUE(std::is_sorted(chain.begin(), chain.end()));
  EXPECT_EQ(table.find({}), table.table()[0]);
  EXPECT_EQ(table.itemcnt(), 6u);
}

TYPED_TEST(BufferHashTest, AllocatedNodesAreCountedButNotFound) {
  BufferHash<TypeParam> table(32);
  const auto key = Widen<TypeParam>("key");
  EXPECT_EQ(table.alloc_node(key)->key(), key);
  EXPECT_EQ(table.itemcnt(), 1u);
  EXPECT_EQ(table.find(key), nullptr);
  EXPECT_EQ(table.insert(key), table[key]);
  EXPECT_EQ(table.itemcnt(), 2u);
}

TYPED_TEST(BufferHashTest, KeysInsertedTogetherAreInsertedInOrder) {
  using T = TypeParam;
  BufferHash<T> table(32), other(32);
  RandomTexts random(22);
  std::vector<HeapText<T>> texts;
  for (int i = 0; i < 1000; ++i) texts.push_back(random.next<T>(4, "abc"));
  const std::vector<BufferRef<T>> keys(texts.begin(), texts.end());
  for (const unsigned n : {0u, 1u, 16u, 983u}) {
    std::vector<BufferHashNode<T>*> nodes(n);
    table.insert_all(keys.data(), n, nodes.data());
    for (unsigned i = 0; i < n; ++i) {
      EXPECT_EQ(nodes[i], table.find(keys[i]));
      nodes[i]->set_value(i);
      other.insert(keys[i])->set_value(i);
    }
    EXPECT_EQ(Contents<T>(table), Contents<T>(other));
  }
}

TYPED_TEST(BufferHashTest, TraversalStopsAtTheFirstFalseAndKeepsChangedValues) {
  BufferHash<TypeParam> table(64);
  EXPECT_TRUE(table.for_each_bk([](const auto&, std::uint64_t&) { return false; }));
  for (const char* key : {"a", "b", "c", "d"}) table.insert(Widen<TypeParam>(key));
  int calls = 0;
  EXPECT_FALSE(
      table.for_each_bk([&](const auto&, std::uint64_t& value) { return ++value, ++calls < 3; }));
  const auto sum = [](const BufferHash<TypeParam>& of) {
    std::uint64_t total = 0;
    of.for_each([&](const auto&, std::uint64_t& value) { total += value; });
    return total;
  };
  EXPECT_EQ(sum(table), 3u);
  const BufferHash<TypeParam> moved = std::move(table);
  EXPECT_EQ(sum(table) + table.itemcnt(), 0u);
  EXPECT_EQ(sum(moved), 3u);
}

TEST(BufferHashTest, TheCheckValueOfTheHashLandsInBucketSix) {
  BufferHash<unsigned char> table(32);
  EXPECT_EQ(table.hash_id("123456789"), 0xCBF43926 % 32);
  EXPECT_EQ(table.hash_id("123456789"), 6u);
  EXPECT_EQ(table.hash_id(""), 0u);
}

}  // namespace
}  // namespace tstl

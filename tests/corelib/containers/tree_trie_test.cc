#include <gtest/gtest.h>

#include <map>

#include "corelib/containers/buffer_list.h"
#include "corelib/containers/tree.h"
#include "corelib/containers/trie.h"
#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

template <class T>
struct TreeTest : testing::Test {};
TYPED_TEST_SUITE(TreeTest, Units, UnitNames);

// A tree of random keys, zeros and surrogate halves among their units, and a map of the same.
// Standard strings, too, compare their units as unsigned values.
template <class T>
struct Sample {
  Tree<T> tree;
  std::map<StdString<T>, std::uint64_t> map;
  RandomTexts random{31};

  explicit Sample(unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
      const auto key = text();
      tree[key]->set_value(i);
      map[StdString<T>(key.view().std_view())] = i;
    }
  }
  HeapText<T> text() { return random.template next<T>(7, std::string_view("a\xD8\0\xFF", 4)); }
  Pairs<T> pairs_if(auto condition) const {
    Pairs<T> pairs;
    for (const auto& pair : map) {
      if (condition(BufferRef<T>(pair.first))) pairs.push_back(pair);
    }
    return pairs;
  }
};

TYPED_TEST(TreeTest, AgreesWithAnOrderedMap) {
  using T = TypeParam;
  Sample<T> sample(3000);
  EXPECT_EQ(sample.tree.itemcnt(), sample.map.size());
  for (int i = 0; i < 3000; ++i) {
    const auto key = sample.text();
    const auto* const node = sample.tree.find(key);
    EXPECT_EQ(node != nullptr, sample.map.contains(StdString<T>(key.view().std_view())));
    EXPECT_TRUE(node == nullptr || node->key() == key.view());
  }
  EXPECT_FALSE(
      sample.tree.for_each_bk([](const auto&, std::uint64_t& value) { return value != 2999; }));
  const Tree<T> moved = std::move(sample.tree);
  EXPECT_TRUE(sample.tree.is_empty() && Contents<T>(sample.tree).empty());
  EXPECT_EQ(Contents<T>(moved), Pairs<T>(sample.map.begin(), sample.map.end()));
}

// Traversal asserts its depth; a chain of so many nodes would also take minutes to make.
TYPED_TEST(TreeTest, KeysInOrderDoNotMakeItDeepAndLongOnesAreKnownWhole) {
  for (const bool rising : {true, false}) {
    Tree<TypeParam> tree;
    for (unsigned i = 0; i < 200000; ++i) {
      tree.insert(Widen<TypeParam>(std::to_string(rising ? 1000000 + i : 1999999 - i)));
    }
    const Pairs<TypeParam> pairs = Contents<TypeParam>(tree);
    EXPECT_EQ(pairs.size(), 200000u);
    EXPECT_TRUE(std::is_sorted(pairs.begin(), pairs.end()));
    const auto text = Widen<TypeParam>(std::string(70000, 'q'));
    EXPECT_EQ(tree.insert(text)->len(), 70000u);
    EXPECT_EQ(tree.find(BufferRef<TypeParam>(text).sub_head(4464)), nullptr);
  }
}

TYPED_TEST(TreeTest, TrieFindsKeysPrefixesAndExtensionsAsAPlainSearchDoes) {
  using T = TypeParam;
  Sample<T> sample(800);
  Trie<T> trie;
  for (const auto speed :
       {TrieRoot::BldSpd::kFast, TrieRoot::BldSpd::kNormal, TrieRoot::BldSpd::kSlow}) {
    ASSERT_EQ(trie.build(sample.tree, speed), 0u);
    EXPECT_EQ(trie.itemcnt(), sample.map.size());
    for (int i = 0; i < 200; ++i) {
      const auto text = sample.text();
      const BufferRef<T> view = text;
      const std::uint64_t* const value = trie.find(view);
      const auto same = sample.map.find(StdString<T>(view.std_view()));
      ASSERT_EQ(value == nullptr, same == sample.map.end());
      EXPECT_TRUE(value == nullptr || *value == same->second);

      const auto prefixes = sample.pairs_if([&](auto key) { return view.is_startwith(key); });
      const auto extensions = sample.pairs_if([&](auto key) { return key.is_startwith(view); });
      Pairs<T> found;
      const auto collect = [&](const BufferRef<T>& key, std::uint64_t& of_key) {
        found.emplace_back(key.std_view(), of_key);
        return found.size() % 5 != 0;
      };
      trie.for_each_prefix_of(view, collect);
      EXPECT_EQ(std::exchange(found, {}), prefixes);
      trie.for_each_under(view, collect);
      EXPECT_EQ(std::exchange(found, {}), extensions);
      EXPECT_EQ(trie.for_each_under_bk(view, collect), extensions.size() < 5);
      EXPECT_EQ(found.size(), std::min<std::size_t>(extensions.size(), 5));
    }
  }
  const Trie<T> moved = std::move(trie);
  EXPECT_TRUE(trie.is_empty());
  EXPECT_EQ(moved.itemcnt(), sample.map.size());
  for (int i = 0; i < 2; ++i) {  // moved from, and built of nothing
    EXPECT_EQ(trie.find({}), nullptr);
    EXPECT_TRUE(trie.for_each_under_bk({}, [](const auto&, std::uint64_t&) { return false; }));
    EXPECT_EQ(trie.build(Tree<T>(), TrieRoot::BldSpd::kFast), 0u);
  }
}

TYPED_TEST(TreeTest, ListsGoThroughTreesAndIntoTries) {
  using T = TypeParam;
  BufferList<T> list;
  for (const auto& [key, value] : {std::pair{"two", 1u}, {"", 2u}, {"one", 3u}, {"two", 4u}}) {
    list.emplace_back(Widen<T>(key), value);
  }
  const Pairs<T> want{{Widen<T>(""), 2}, {Widen<T>("one"), 3}, {Widen<T>("two"), 4}};
  Tree<T> tree;
  BufferList<T> back;
  ASSERT_TRUE(list.write_tree(tree) && back.read_tree(tree));
  EXPECT_EQ(Contents<T>(back), want);
  EXPECT_EQ(back.capacity(), 4u);
  Trie<T> trie;
  ASSERT_TRUE(list.write_trie(trie, TrieRoot::BldSpd::kFast));
  Pairs<T> found;
  trie.for_each_under(
      {}, [&](const auto& key, std::uint64_t value) { found.emplace_back(key.std_view(), value); });
  EXPECT_EQ(found, Pairs<T>(want.begin() + 1, want.end()));
}

}  // namespace
}  // namespace tstl

#include <gtest/gtest.h>

#include <map>

#include "corelib/containers/buffer_list.h"
#include "corelib/containers/tree.h"
#include "corelib/containers/trie.h"
#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

// Zeros and surrogate halves are among the units.
constexpr std::string_view kAlphabet("a\xD8\0\xFF", 4);

// Standard strings, too, compare their units as unsigned values.
template <class T>
using Map = std::map<StdString<T>, std::uint64_t>;

template <class T>
Pairs<T> Contents(const Map<T>& map) {
  return Pairs<T>(map.begin(), map.end());
}

template <class T>
void Fill(unsigned n, Tree<T>& tree, Map<T>& map) {
  RandomTexts random(31);
  for (unsigned i = 0; i < n; ++i) {
    const auto key = random.next<T>(7, kAlphabet);
    tree[key]->set_value(i);
    map[StdString<T>(key.view().std_view())] = i;
  }
}

template <class T>
struct TreeTest : testing::Test {};
TYPED_TEST_SUITE(TreeTest, Units, UnitNames);

TYPED_TEST(TreeTest, AgreesWithAnOrderedMap) {
  using T = TypeParam;
  Tree<T> tree;
  Map<T> map;
  Fill(3000, tree, map);
  EXPECT_EQ(tree.itemcnt(), map.size());
  EXPECT_EQ(Contents<T>(tree), Contents<T>(map));
  RandomTexts random(32);
  for (int i = 0; i < 3000; ++i) {
    const auto key = random.next<T>(7, kAlphabet);
    const auto* const node = tree.find(key);
    EXPECT_EQ(node != nullptr, map.contains(StdString<T>(key.view().std_view())));
    if (node != nullptr) {
      EXPECT_EQ(node->key(), key.view());
    }
  }
  unsigned calls = 0;
  EXPECT_FALSE(tree.for_each_bk([&](const auto&, std::uint64_t&) { return ++calls < 10; }));
  EXPECT_EQ(calls, 10u);
  const Tree<T> moved = std::move(tree);
  EXPECT_TRUE(tree.is_empty() && tree.itemcnt() == 0 && Contents<T>(tree).empty());
  EXPECT_EQ(Contents<T>(moved), Contents<T>(map));
}

// Traversal asserts its depth; a chain of so many nodes would also take minutes to make.
TYPED_TEST(TreeTest, KeysInOrderDoNotMakeItDeep) {
  for (const bool rising : {true, false}) {
    Tree<TypeParam> tree;
    for (unsigned i = 0; i < 200000; ++i) {
      const unsigned n = rising ? i : 999999 - i;
      tree.insert(Widen<TypeParam>(std::to_string(1000000 + n)));
    }
    std::uint32_t cnt = 0;
    StdString<TypeParam> last;
    tree.for_each([&](const auto& key, std::uint64_t&) {
      cnt += BufferRef<TypeParam>(last) < key;
      last = key.std_view();
    });
    EXPECT_EQ(cnt, 200000u);
  }
}

TYPED_TEST(TreeTest, LongKeysAreKnownWhole) {
  Tree<TypeParam> tree;
  const auto text = Widen<TypeParam>(std::string(70000, 'q'));
  tree.insert(text);
  EXPECT_EQ(tree.find(text)->len(), 70000u);
  EXPECT_EQ(tree.find(BufferRef<TypeParam>(text).sub_head(4464)), nullptr);
}

template <class T>
struct TrieTest : testing::Test {};
TYPED_TEST_SUITE(TrieTest, Units, UnitNames);

TYPED_TEST(TrieTest, FindsKeysPrefixesAndExtensionsAsAPlainSearchDoes) {
  using T = TypeParam;
  Tree<T> tree;
  Map<T> map;
  Fill(800, tree, map);
  for (const auto speed :
       {TrieRoot::BldSpd::kFast, TrieRoot::BldSpd::kNormal, TrieRoot::BldSpd::kSlow}) {
    Trie<T> trie;
    ASSERT_EQ(trie.build(tree, speed), 0u);
    EXPECT_EQ(trie.itemcnt(), map.size());
    RandomTexts random(33);
    for (int i = 0; i < 300; ++i) {
      const auto text = random.next<T>(8, kAlphabet);
      const BufferRef<T> view = text;
      const std::uint64_t* const value = trie.find(view);
      const auto same = map.find(StdString<T>(view.std_view()));
      ASSERT_EQ(value == nullptr, same == map.end());
      if (value != nullptr) {
        EXPECT_EQ(*value, same->second);
      }

      Pairs<T> prefixes, extensions, found;
      for (const auto& pair : map) {
        if (view.is_startwith(pair.first)) prefixes.push_back(pair);
        if (BufferRef<T>(pair.first).is_startwith(view)) extensions.push_back(pair);
      }
      const auto collect = [&](const BufferRef<T>& key, std::uint64_t& of_key) {
        found.emplace_back(key.std_view(), of_key);
        return found.size() < 5;
      };
      trie.for_each_prefix_of(view, collect);
      EXPECT_EQ(std::exchange(found, {}), prefixes);
      trie.for_each_under(view, collect);
      EXPECT_EQ(std::exchange(found, {}), extensions);
      EXPECT_EQ(trie.for_each_under_bk(view, collect), extensions.size() < 5);
      EXPECT_EQ(std::exchange(found, {}).size(), std::min<std::size_t>(extensions.size(), 5));
      EXPECT_EQ(trie.for_each_prefix_of_bk(view, collect), prefixes.size() < 5);
      found.clear();
    }
  }
}

TYPED_TEST(TrieTest, AnEmptyTreeMakesATrieInWhichNothingIsFound) {
  const Tree<TypeParam> tree;
  Trie<TypeParam> trie;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(trie.find({}), nullptr);
    EXPECT_TRUE(trie.for_each_under_bk({}, [](const auto&, std::uint64_t&) { return false; }));
    EXPECT_EQ(trie.build(tree, TrieRoot::BldSpd::kFast), 0u);
    EXPECT_TRUE(trie.is_empty());
  }
}

TYPED_TEST(TrieTest, BuildingAgainAndMovingReplaceTheContents) {
  Tree<TypeParam> tree;
  Trie<TypeParam> trie;
  for (const char* key : {"one", "two", ""}) {
    tree.reset();
    tree[Widen<TypeParam>(key)]->set_value(7);
    ASSERT_EQ(trie.build(tree, TrieRoot::BldSpd::kNormal), 0u);
  }
  const Trie<TypeParam> moved = std::move(trie);
  EXPECT_TRUE(trie.is_empty());
  EXPECT_EQ(trie.find({}), nullptr);
  EXPECT_EQ(moved.find(Widen<TypeParam>("two")), nullptr);
  EXPECT_EQ(*moved.find({}), 7u);
}

TYPED_TEST(TrieTest, ListsGoThroughTreesAndIntoTries) {
  using T = TypeParam;
  BufferList<T> list;
  for (const auto& [key, value] : {std::pair{"two", 1u}, {"", 2u}, {"one", 3u}, {"two", 4u}}) {
    list.emplace_back(Widen<T>(key), value);
  }
  Tree<T> tree;
  ASSERT_TRUE(list.write_tree(tree));
  BufferList<T> back;
  back.emplace_back({}, 9);
  ASSERT_TRUE(back.read_tree(tree));
  EXPECT_EQ(Contents<T>(back),
            (Pairs<T>{{Widen<T>(""), 2}, {Widen<T>("one"), 3}, {Widen<T>("two"), 4}}));
  EXPECT_EQ(back.capacity(), 4u);
  Trie<T> trie;
  ASSERT_TRUE(list.write_trie(trie, TrieRoot::BldSpd::kFast));
  Pairs<T> found;
  trie.for_each_under(
      {}, [&](const auto& key, std::uint64_t value) { found.emplace_back(key.std_view(), value); });
  EXPECT_EQ(found, (Pairs<T>{{Widen<T>("one"), 3}, {Widen<T>("two"), 4}}));
}

}  // namespace
}  // namespace tstl

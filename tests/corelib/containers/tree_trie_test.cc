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

// The units include zeros and surrogates. Standard strings compare unsigned values too.
TYPED_TEST(TreeTest, TreeAndTrieAgreeWithAnOrderedMap) {
  using T = TypeParam;
  Tree<T> tree;
  std::map<StdString<T>, std::uint64_t> map;
  RandomTexts random(31);
  const auto text = [&] { return random.next<T>(7, std::string_view("a\xD8\0\xFF", 4)); };
  for (unsigned i = 0; i < 2000; ++i) {
    const auto key = text();
    tree[key]->set_value(i);
    map[StdString<T>(key.view().std_view())] = i;
  }
  EXPECT_EQ(tree.itemcnt(), map.size());
  EXPECT_FALSE(tree.for_each_bk([](const auto&, std::uint64_t& value) { return value != 1999; }));
  const auto pairs_if = [&](auto condition) {
    Pairs<T> pairs(map.begin(), map.end());
    std::erase_if(pairs, [&](auto& pair) { return !condition(BufferRef<T>(pair.first)); });
    return pairs;
  };
  Trie<T> trie;
  for (const auto speed :
       {TrieRoot::BldSpd::kFast, TrieRoot::BldSpd::kNormal, TrieRoot::BldSpd::kSlow}) {
    ASSERT_EQ(trie.build(tree, speed), 0u);
    EXPECT_EQ(trie.itemcnt(), map.size());
    for (int i = 0; i < 200; ++i) {
      const auto key = text();
      const BufferRef<T> view = key;
      const auto* const node = tree.find(view);
      const std::uint64_t* const value = trie.find(view);
      const auto same = map.find(StdString<T>(view.std_view()));
      ASSERT_TRUE((node == nullptr) == (same == map.end()) &&
                  (value == nullptr) == (node == nullptr));
      EXPECT_TRUE(node == nullptr || (node->key() == view && node->value() == same->second));
      EXPECT_TRUE(value == nullptr || *value == same->second);
      const auto extensions = pairs_if([&](auto other) { return other.is_startwith(view); });
      Pairs<T> found;
      const auto collect = [&](const BufferRef<T>& of, std::uint64_t& of_key) {
        found.emplace_back(of.std_view(), of_key);
        return found.size() % 5 != 0;
      };
      trie.for_each_prefix_of(view, collect);
      EXPECT_EQ(std::exchange(found, {}),
                pairs_if([&](auto other) { return view.is_startwith(other); }));
      trie.for_each_under(view, collect);
      EXPECT_EQ(std::exchange(found, {}), extensions);
      EXPECT_EQ(trie.for_each_under_bk(view, collect), extensions.size() < 5);
      EXPECT_EQ(found.size(), std::min<std::size_t>(extensions.size(), 5));
    }
  }
  const Tree<T> moved_tree = std::move(tree);
  const Trie<T> moved = std::move(trie);
  EXPECT_TRUE(tree.is_empty() && Contents<T>(tree).empty() && trie.is_empty());
  EXPECT_EQ(Contents<T>(moved_tree), Pairs<T>(map.begin(), map.end()));
  EXPECT_EQ(moved.itemcnt(), map.size());
  for (int i = 0; i < 2; ++i) {  // moved from, then built of an empty tree
    EXPECT_EQ(trie.find({}), nullptr);
    EXPECT_TRUE(trie.for_each_under_bk({}, [](const auto&, std::uint64_t&) { return false; }));
    EXPECT_EQ(trie.build(Tree<T>(), TrieRoot::BldSpd::kFast), 0u);
  }
}

// Traversal asserts the depth. An unbalanced tree of so many sorted keys would also take minutes to
// build.
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

TYPED_TEST(TreeTest, ListsGoThroughTreesAndIntoTries) {
  using T = TypeParam;
  BufferList<T> list;
  for (const auto& [key, value] : {std::pair{"two", 1u}, {"", 2u}, {"one", 3u}, {"two", 4u}}) {
    list.emplace_back(Widen<T>(key), value);
  }
  Tree<T> tree;
  Trie<T> trie;
  BufferList<T> back;
  ASSERT_TRUE(list.write_tree(tree) && back.read_tree(tree));
  EXPECT_EQ(Contents<T>(back),
            (Pairs<T>{{Widen<T>(""), 2}, {Widen<T>("one"), 3}, {Widen<T>("two"), 4}}));
  EXPECT_EQ(back.capacity(), 4u);
  ASSERT_TRUE(list.write_trie(trie, TrieRoot::BldSpd::kFast));
  EXPECT_EQ(trie.itemcnt(), 2u);
  EXPECT_EQ(*trie.find(Widen<T>("one")), 3u);
  EXPECT_EQ(*trie.find(Widen<T>("two")), 4u);
}

}  // namespace
}  // namespace tstl

#include "corelib/containers/buffer_hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "corelib/containers/detail/key_probe.h"
#include "corelib/containers/short_key.h"
#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

#if defined(ZENTA_TARGET_SHORT_KEY)
template <class T>
ZENTA_TARGET_SHORT_KEY bool ShortKeyIsAt(BufferRef<T> key, const KeyedNode<T>& node) {
  return detail::ShortKey(key.cstr(), key.len() * sizeof(T)).is_at(node.str());
}
#endif

template <class T>
struct BufferHashTest : testing::Test {};
TYPED_TEST_SUITE(BufferHashTest, Units, UnitNames);

// A model of the table by its documented rules, chain by chain.
template <class T>
struct Model {
  std::vector<Pairs<T>> chains{32};

  Pairs<T>& chain(const StdString<T>& key) {
    return chains[crc32(BufferRef<T>(key)) % chains.size()];
  }
  std::uint64_t& insert(const StdString<T>& key) {
    auto& in = chain(key);
    const auto at = std::ranges::find_if(in, [&](const auto& pair) { return pair.first >= key; });
    if (at != in.end() && at->first == key) return at->second;
    return in.insert(at, {key, 0})->second;
  }
  void rehash(std::uint32_t size) {
    if (size == chains.size()) return;
    const Pairs<T> nodes = contents();
    chains.assign(size, {});
    for (const auto& pair : nodes) chain(pair.first).insert(chain(pair.first).begin(), pair);
  }
  Pairs<T> contents() const {
    Pairs<T> all;
    for (const auto& each : chains) all.insert(all.end(), each.begin(), each.end());
    return all;
  }
};

// Inserts keys one by one and in batches.
TYPED_TEST(BufferHashTest, AgreesWithItsRulesChainByChainAlsoAfterRehashes) {
  using T = TypeParam;
  RandomTexts random(21);
  BufferHash<T> table(0);
  Model<T> model;
  for (unsigned round = 0; round < 80; ++round) {
    const unsigned n = std::array{16u, 1u, 0u, 983u}[round % 4];
    std::vector<HeapText<T>> texts;
    while (texts.size() < n) texts.push_back(random.next<T>(6, "ab\xE1\xFF"));
    const std::vector<BufferRef<T>> keys(texts.begin(), texts.end());
    std::vector<const BufferHashNode<T>*> found(n);
    std::vector<BufferHashNode<T>*> nodes(n);
    table.find_all(keys.data(), n, found.data());
    for (unsigned i = 0; i < n; ++i) {
      const auto& chain = model.chain(StdString<T>(keys[i].std_view()));
      const auto known = std::ranges::find(chain, keys[i].std_view(), &Pairs<T>::value_type::first);
      EXPECT_EQ(found[i], table.find(keys[i]));
      ASSERT_EQ(found[i] == nullptr, known == chain.end());
      EXPECT_TRUE(found[i] == nullptr || found[i]->value() == known->second);
    }
    if (round % 8 < 4) table.insert_all(keys.data(), n, nodes.data());
    for (unsigned i = 0; i < n; ++i) {
      if (round % 8 >= 4) nodes[i] = table[keys[i]];
      EXPECT_EQ(nodes[i]->key(), keys[i]);
      std::uint64_t& value = model.insert(StdString<T>(keys[i].std_view()));
      if (random.below(4) != 0) nodes[i]->set_value(value = std::uint64_t{round} << 32 | i);
    }
    EXPECT_EQ(table.itemcnt(), model.contents().size());
    ASSERT_EQ(Contents<T>(table), model.contents());
    if (round % 8 != 7) continue;
    const std::uint32_t size = 32 + random.below(200);
    table.set_tabsize(size);
    model.rehash(size);
    EXPECT_EQ(table.tabsize(), size);
    ASSERT_EQ(Contents<T>(table), model.contents());
  }
  std::set<StdString<T>> keys;
  for (const auto& pair : model.contents()) keys.insert(pair.first);
  EXPECT_LT(keys.size(), table.itemcnt());  // the double nodes that the header warns of
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
    EXPECT_EQ(table.find({}), table.table()[0]);
    table.itn_set_tabsize(got + 1);
    EXPECT_EQ(table.tabsize(), got);
    BufferHash<TypeParam> other(40);
    other.swap(table);
    EXPECT_EQ(table.tabsize(), 40u);
    other.reset();
    EXPECT_EQ(other.itemcnt(), 0u);
    EXPECT_EQ(other.tabsize(), std::min(got + 1, 1048576u));
  }
}

TYPED_TEST(BufferHashTest, AllocatedNodesAreCountedButNotFoundAndMoveAlong) {
  BufferHash<TypeParam> table(32);
  const auto key = Widen<TypeParam>("123456789");
  EXPECT_EQ(table.alloc_node(key)->key(), key);
  EXPECT_EQ(table.find(key), nullptr);
  EXPECT_TRUE(sizeof(TypeParam) == 2 || table.hash_id(key) == 6);  // the CRC is 0xCBF43926
  EXPECT_EQ(table.insert(key), table[key]);
  EXPECT_FALSE(table.for_each_bk([](const auto&, std::uint64_t& value) { return ++value, false; }));
  const BufferHash<TypeParam> moved = std::move(table);
  EXPECT_EQ(moved.itemcnt() + 10 * table.itemcnt(), 2u);
  EXPECT_EQ(Contents<TypeParam>(moved), (Pairs<TypeParam>{{key, 1}}));
}

TYPED_TEST(BufferHashTest, AKeyThatIsRecordedAsEmptyIsFoundAsTheEmptyOneOfItsBucket) {
  BufferHash<TypeParam> table(32);
  auto text = Widen<TypeParam>(std::string(65536, 'a'));
  while (table.hash_id(text) != 0) ++text[0];
  const auto* const node = table.insert(text);
  EXPECT_EQ(table.find(text), nullptr);
  EXPECT_EQ(table.find({}), node);
  EXPECT_EQ(table.insert({}), node);
}

// A node without memory of its own: its link lies in a map, so the node can have any address.
struct FarNode {
  using Link = detail::ChainLink<FarNode>;
  static inline std::map<std::uintptr_t, Link> links;
  Link& link() { return links[reinterpret_cast<std::uintptr_t>(this)]; }
};

TEST(ChainLinkTest, NodesOfAnyAddressAreFoundByTheirFingerprints) {
  RandomTexts random(5);
  for (unsigned round = 0; round < 300; ++round) {
    FarNode::links.clear();
    FarNode::Link head;
    EXPECT_FALSE(head.may_hold(detail::Fingerprint(round)) || head.node() != nullptr);
    std::vector<std::pair<FarNode*, detail::Fingerprint>> chain;
    for (unsigned n = 0; n < 6; ++n) {
      const std::uintptr_t tag = round % 3 == 0 ? 0 : random.below(round % 3 * 8);
      const std::uintptr_t address = tag << 56 | (0xFFFF12345678 - 4 * n);
      auto* const node = reinterpret_cast<FarNode*>(address);
      const detail::Fingerprint fingerprint(random.below(128));
      ASSERT_TRUE(FarNode::Link::holds(node));
      const unsigned at = random.below(n + 1);
      FarNode::Link* link = &head;
      for (unsigned i = 0; i < at; ++i) link = link->pass(fingerprint);
      link->insert(node, fingerprint);
      chain.insert(chain.begin() + at, {node, fingerprint});
    }
    const FarNode::Link* link = &head;
    for (auto node = chain.begin(); node != chain.end(); link = &node++->first->link()) {
      EXPECT_EQ(link->node(), node->first);
      EXPECT_TRUE(link->may_be(node->second));
      for (auto later = node + 1; later != chain.end(); ++later) {
        EXPECT_TRUE(link->may_lead_to(later->second));
      }
    }
    EXPECT_EQ(link->node(), nullptr);
  }
}

// Fingerprints spare tables nearly all comparisons of unequal keys, so KeyProbe is tested alone.
TYPED_TEST(BufferHashTest, KeysThatDifferInOneUnitAreToldApartAndOrdered) {
  using T = TypeParam;
  Chunk arena;
  for (unsigned len = 0; len <= 40; ++len) {
    const HeapText<T> key(std::string(len, 'm'));
    const detail::KeyProbe<T> probe(key);
    for (unsigned at = 0; at <= len; ++at) {
      for (const T unit : {T{'a'}, T{'m'}, T{0xFF}}) {
        std::vector<T> units(std::max(len, at + 1), 'm');
        units[at] = unit;
        const BufferRef<T> other(units.data(), static_cast<unsigned>(units.size()));
        auto* const node = detail::alloc_node<KeyedNode<T>>(arena, other);
        node->init_key(other, other.len());
        const bool same = at < len && unit == 'm';
        EXPECT_EQ(probe.matches(*node), same);
        EXPECT_EQ(probe.follows(*node), at < len && unit == 'a');
#if defined(ZENTA_TARGET_SHORT_KEY)
        if (at < len && detail::ShortKey::takes(len * sizeof(T))) {
          EXPECT_EQ(ShortKeyIsAt<T>(key, *node), same);
        }
#endif
      }
    }
  }
}

}  // namespace
}  // namespace tstl

#include "corelib/containers/buffer_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

template <class T>
struct BufferListTest : testing::Test {};
TYPED_TEST_SUITE(BufferListTest, Units, UnitNames);

template <class T>
BufferList<T> Letters(std::string_view keys) {
  BufferList<T> list;
  for (const char key : keys) list.emplace_back(Widen<T>({&key, 1}), std::uint64_t(key));
  return list;
}

TYPED_TEST(BufferListTest, SlotsDoubleFromEightAndNeverShrink) {
  BufferList<TypeParam> list;
  for (std::uint32_t i = 0; i < 100; ++i) {
    list.emplace_back(Widen<TypeParam>("k"), i);
    EXPECT_EQ(list.capacity(), i < 8 ? 8 : std::bit_ceil(i + 1));
  }
  for (const std::uint32_t n : {0u, 128u, 129u, 100u}) list.recapacity(n);
  list.clear();
  EXPECT_EQ(list.capacity(), 129u);
  list.reset();
  EXPECT_EQ(list.capacity(), 0u);
}

TYPED_TEST(BufferListTest, AgreesWithAVectorOfPairs) {
  using T = TypeParam;
  BufferList<T> list;
  Pairs<T> model;
  RandomTexts random(11);
  for (std::uint64_t step = 0; step < 4000; ++step) {
    const auto text = random.next<T>(9, "ab\xE1");
    const BufferRef<T> key = text;
    const std::pair<StdString<T>, std::uint64_t> pair(key.std_view(), step);
    const unsigned at = random.below(unsigned(model.size()) + 2);
    switch (random.below(step % 1000 == 999 ? 6 : 4)) {
      case 0:
        EXPECT_EQ(list.push_back(key, step)[0]->key(), key);
        model.push_back(pair);
        break;
      case 1:
        if (at >= list.size()) break;
        list.emplace_back(*list[at]);
        model.push_back(model[at]);
        break;
      case 2:
        list.modify(at, key, step);
        if (at < model.size()) model[at] = pair;
        break;
      case 3: {
        const auto same = [&](const auto& other) { return other.first == pair.first; };
        const auto index =
            std::uint32_t(std::find_if(model.begin(), model.end(), same) - model.begin());
        EXPECT_EQ(list.find_index(key), index == model.size() ? NOT_FOUND : index);
        EXPECT_EQ(list.find(key), index == model.size() ? nullptr : &list[index]);
        break;
      }
      case 4:
        list.clear();
        model.clear();
        break;
      default:
        BufferList<T> moved = std::move(list);
        EXPECT_TRUE(list.is_empty());
        list = std::move(moved);
    }
    ASSERT_EQ(list.size(), model.size());
    if (step % 50 == 0) {
      ASSERT_EQ(Contents<T>(list), model);
    }
  }
}

TYPED_TEST(BufferListTest, SortsFromTheGreatestValueToTheLeast) {
  using T = TypeParam;
  RandomTexts random(12);
  for (const unsigned n : {0u, 1u, 2u, 3u, 100u, 257u, 5000u}) {
    for (const int shift : {0, 7, 40}) {
      BufferList<T> list;
      for (unsigned i = 0; i < n; ++i) {
        list.emplace_back(random.next<T>(4, "abc"), std::uint64_t{random.below(1 << 20)} << shift);
      }
      const Pairs<T> before = Contents<T>(list);
      list.sort();
      const auto less = [](const auto* a, const auto* b) { return a->value() < b->value(); };
      EXPECT_TRUE(std::is_sorted(std::make_reverse_iterator(list.end()),
                                 std::make_reverse_iterator(list.begin()), less));
      EXPECT_EQ(Sorted<T>(Contents<T>(list)), Sorted<T>(before));
    }
  }
}

TYPED_TEST(BufferListTest, RunsBothWaysStopsWhenToldAndComparesPlaceByPlace) {
  std::string seen;
  for (const std::string_view keys : {"", "x", "abc"}) {
    auto list = Letters<TypeParam>(keys);
    for (auto* slot = list.rstart(); slot != list.rfinish(); --slot) seen += char((*slot)->value());
    for (const char* other : {"", "x", "abc", "acb", "ab"}) {
      EXPECT_EQ(list == Letters<TypeParam>(other), keys == other);
    }
    const auto until_b = [](const auto&, std::uint64_t& value) { return value++ != 'b'; };
    EXPECT_EQ(list.for_each_bk(until_b), keys != "abc");
    EXPECT_EQ(list == Letters<TypeParam>(keys), keys.empty());  // the values have changed
  }
  EXPECT_EQ(seen, "xcba");
}

TYPED_TEST(BufferListTest, AKeyOf70000UnitsIsCopiedWholeAndRecordedWith4464) {
  const StdString<TypeParam> text = Widen<TypeParam>(std::string(70000, 'q'));
  BufferList<TypeParam> list;
  const auto* const node = list.emplace_back(text, 1);
  EXPECT_EQ(node->len(), 4464u);
  EXPECT_TRUE(BufferRef<TypeParam>(node->str(), 70001).sub_head_rev(1) == text &&
              node->str()[70000] == 0);
  EXPECT_EQ(list.find(text), nullptr);
}

}  // namespace
}  // namespace tstl

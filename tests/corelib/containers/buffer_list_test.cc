#include "corelib/containers/buffer_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "tests/corelib/containers/contents.h"

namespace tstl {
namespace {

template <class T>
struct BufferListTest : testing::Test {
  using List = BufferList<T>;
  static List Make(std::string_view keys) {
    List list;
    for (const char key : keys)
      list.emplace_back(Widen<T>({&key, 1}), static_cast<unsigned char>(key));
    return list;
  }
};
TYPED_TEST_SUITE(BufferListTest, Units, UnitNames);

TYPED_TEST(BufferListTest, SlotsDoubleFromEightAndNeverShrink) {
  BufferList<TypeParam> list;
  for (std::uint32_t i = 0; i < 100; ++i) {
    list.emplace_back(Widen<TypeParam>("k"), i);
    EXPECT_EQ(list.capacity(), i < 8 ? 8 : std::bit_ceil(i + 1));
  }
  for (const std::uint32_t n : {0u, 128u, 129u, 100u}) list.recapacity(n);
  EXPECT_EQ(list.capacity(), 129u);
  list.clear();
  EXPECT_EQ(list.capacity(), 129u);
  list.reset();
  EXPECT_EQ(list.capacity(), 0u);
}

// Keys that view nodes of the same list and values that change in place are among the steps.
TYPED_TEST(BufferListTest, AgreesWithAVectorOfPairs) {
  using T = TypeParam;
  BufferList<T> list;
  Pairs<T> model;
  RandomTexts random(11);
  for (std::uint64_t step = 0; step < 4000; ++step) {
    const auto text = random.next<T>(9, "ab\xE1");
    const BufferRef<T> key = text;
    const unsigned at = random.below(unsigned(model.size()) + 2);
    switch (random.below(step % 1000 == 999 ? 10 : 7)) {
      case 0:
        EXPECT_EQ(list.push_back(key, step)[0]->key(), key);
        model.emplace_back(key.std_view(), step);
        break;
      case 1:
        if (at >= list.size()) break;
        list.emplace_back(*list[at]);
        model.push_back(model[at]);
        break;
      case 2:
        list.modify(at, key, step);
        if (at < model.size()) model[at] = {StdString<T>(key.std_view()), step};
        break;
      case 3: {
        const auto same = std::find_if(model.begin(), model.end(), [&](const auto& pair) {
          return pair.first == key.std_view();
        });
        const std::ptrdiff_t index = same - model.begin();
        EXPECT_EQ(list.find_index(key), same == model.end() ? NOT_FOUND : index);
        EXPECT_EQ(list.find(key), same == model.end() ? nullptr : list.begin() + index);
        break;
      }
      case 4:
        EXPECT_EQ(
            list.for_each_bk([&](const auto&, std::uint64_t& value) { return value++ != at; }),
            std::all_of(model.begin(), model.end(),
                        [&](auto& pair) { return pair.second++ != at; }));
        break;
      case 5: {
        BufferList<T> moved = std::move(list);
        EXPECT_TRUE(list.is_empty());
        list = std::move(moved);
        break;
      }
      case 7:
        list.clear();
        model.clear();
        break;
      default:
        EXPECT_EQ(list.emplace_back(key, step)->key(), key);
        model.emplace_back(key.std_view(), step);
    }
    ASSERT_EQ(list.size(), model.size());
    if (step % 50 == 0) {
      ASSERT_EQ(Contents<T>(list), model);
    }
  }
  EXPECT_EQ(Contents<T>(list), model);
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
      const Pairs<T> after = Contents<T>(list);
      EXPECT_TRUE(std::is_sorted(after.begin(), after.end(),
                                 [](const auto& a, const auto& b) { return a.second > b.second; }));
      EXPECT_EQ(Sorted<T>(after), Sorted<T>(before));
    }
  }
}

TYPED_TEST(BufferListTest, RunsBackwardsFromTheLastSlot) {
  std::string seen;
  for (const std::string_view keys : {"", "x", "abc"}) {
    const auto list = this->Make(keys);
    for (auto* slot = list.rstart(); slot != list.rfinish(); --slot) seen += char((*slot)->value());
    seen += '.';
  }
  EXPECT_EQ(seen, ".x.cba.");
}

TYPED_TEST(BufferListTest, EqualListsHaveTheSameKeysAndValuesAtTheSamePlaces) {
  const auto list = this->Make("abc");
  EXPECT_TRUE(list == this->Make("abc"));
  for (const std::string_view other : {"", "ab", "abcd", "acb"})
    EXPECT_TRUE(list != this->Make(other));
  auto changed = this->Make("abc");
  changed[1]->set_value(0);
  EXPECT_TRUE(list != changed);
}

TYPED_TEST(BufferListTest, AKeyOf70000UnitsIsCopiedWholeAndRecordedWith4464) {
  const StdString<TypeParam> text = Widen<TypeParam>(std::string(70000, 'q'));
  BufferList<TypeParam> list;
  const auto* const node = list.emplace_back(text, 1);
  EXPECT_EQ(node->len(), 4464u);
  EXPECT_EQ(BufferRef<TypeParam>(node->str(), 70000), text);
  EXPECT_EQ(node->str()[70000], 0);
  EXPECT_EQ(list.find(text), nullptr);
  list.emplace_back(*node);
  EXPECT_EQ(list.back()->len(), 4464u);
}

}  // namespace
}  // namespace tstl

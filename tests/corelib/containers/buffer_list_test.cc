#include "corelib/containers/buffer_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

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

TYPED_TEST(BufferListTest, AgreesWithAVectorOfPairs) {
  using T = TypeParam;
  // Each thousand of values differs in other bytes.
  constexpr std::uint64_t kFactors[] = {1, 1 << 7, std::uint64_t{1} << 40, 0x9E3779B97F4A7C15};
  BufferList<T> list;
  Pairs<T> model;
  std::uint32_t capacity = 0;
  RandomTexts random(11);
  for (std::uint64_t step = 0; step < 4000; ++step) {
    const auto text = random.next<T>(9, "ab\xE1");
    const BufferRef<T> key = text;
    const std::uint64_t value = step * kFactors[step / 1000];
    const std::pair pair(StdString<T>(key.std_view()), value);
    const auto same = std::ranges::find(model, pair.first, &Pairs<T>::value_type::first);
    const auto index = std::uint32_t(same - model.begin());
    EXPECT_EQ(list.find_index(key), same == model.end() ? NOT_FOUND : index);
    EXPECT_EQ(list.find(key), same == model.end() ? nullptr : &list[index]);
    const unsigned at = random.below(unsigned(model.size()) + 2);
    list.modify(at, key, value);
    if (at < model.size()) {
      model[at] = pair;
      EXPECT_EQ(list.push_back(*list[at])[0]->key(), key);
    } else {
      list.emplace_back(key, value);
    }
    model.push_back(pair);
    if (model.size() > capacity) capacity = std::max(8u, 2 * capacity);
    EXPECT_EQ(list.capacity(), capacity);
    ASSERT_EQ(list.size(), model.size());
    if (step % 100 > 3) continue;
    ASSERT_EQ(Contents<T>(list), model);
    list.sort();
    std::ranges::sort(model, std::greater(), &Pairs<T>::value_type::second);
    BufferList<T> moved = std::move(list);
    EXPECT_TRUE(list.is_empty());
    list = std::move(moved);
    list.recapacity(at);
    capacity = std::max(capacity, at);
    ASSERT_EQ(Contents<T>(list), model);
    if (step % 1000 != 0) continue;
    list.clear();
    model.clear();
  }
  list.recapacity(5000);
  EXPECT_EQ(list.capacity(), 5000u);
  list.reset();
  EXPECT_EQ(list.capacity(), 0u);
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
    // A value that `fn` stores in the node is kept if it leaves its `value` argument alone.
    list.for_each([&](const auto&, const std::uint64_t&) { list[0]->set_value(5); });
    EXPECT_TRUE(keys.empty() || list[0]->value() == 5);
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

// The checks of tables, and lists. What tables say is tested with the records of messages and traces.
#include <gtest/gtest.h>

#include "corelib/containers/chunk.h"
#include "engine/records/message.h"

namespace zenta::records {

struct Sample {
  std::uint32_t once = 0;
  List<std::uint32_t> often;
};
constexpr auto fields_of(std::type_identity<Sample>) {
  return Fields<Field<0, "at", &Sample::once>, Field<0, "at", &Sample::often>>();
}

namespace {

TEST(FieldsTest, TablesCheckThemselves) {
  using A = Field<1, "a", &Sample::once>;
  using B = Field<2, "b", &Sample::once>;
  static_assert(Fields<A, B>::numbers_rise() && Fields<A, B>::keys_differ());
  static_assert(!Fields<B, A>::numbers_rise() && !Fields<A, A>::numbers_rise());
  static_assert(!Fields<Field<1u << 29, "a", &Sample::once>>::numbers_rise());
  static_assert(!Fields<A, Field<2, "a", &Sample::once>>::keys_differ());
  static_assert(kFields<Sample>.numbers_rise() && kFields<Sample>.keys_differ());
  static_assert(Record<Sample> && !Record<tstl::Chunk> && !Record<int>);
}

TEST(ListTest, MovesOnlyWhenItsCountIsAPowerOfTwo) {
  tstl::Chunk arena;
  List<std::uint64_t> list;
  for (std::uint64_t i = 0; i < 300; ++i) {
    const auto* const before = list.data();
    ASSERT_NE(list.append(arena), nullptr);
    list[list.size() - 1] = i;
    EXPECT_EQ(list.data() != before, (i & (i - 1)) == 0) << i;
  }
  const auto* const before = list.data();
  EXPECT_TRUE(list.reserve(512 - 300, arena));
  EXPECT_EQ(list.data(), before);
  EXPECT_TRUE(list.reserve(512 - 299, arena));
  EXPECT_NE(list.data(), before);
  for (std::uint32_t i = 0; i < 300; ++i) EXPECT_EQ(list[i], i);
}

}  // namespace
}  // namespace zenta::records

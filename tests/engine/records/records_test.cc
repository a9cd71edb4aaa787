// What tables can say and the cloud messages do not, and lists.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "corelib/containers/chunk.h"
#include "engine/records/message.h"

namespace zenta {
namespace {

struct Sample {
  std::uint32_t kind = 0;
  std::uint32_t once = 0;
  List<std::uint32_t> often;
  std::array<std::int16_t, 3> place{};
  List<std::array<std::int8_t, 2>> path;
  bool answer = false;
  bool answered = false;
};
void Double(Sample& sample) { sample.kind *= 2; }

}  // namespace

template <>
inline constexpr auto kFields<Sample> =
    Fields<Field<0, "kind", &Sample::kind, AfterRead<Double>>,
           Field<0, "at", &Sample::once, OnlyWhen<&Sample::kind, 2u>>,
           Field<0, "at", &Sample::often, OnlyWhen<&Sample::kind, 4u>, AlwaysInJson>,
           Field<0, "place", &Sample::place>, Field<3, "path", &Sample::path>,
           Field<9, "answer", &Sample::answer, PresentWhen<&Sample::answered>>>();

namespace {

TEST(RecordsTest, TraitsDecideWhatIsWrittenAndHowItIsRead) {
  struct Row {
    const char *read, *written;
  };
  for (const Row& row : {
           Row{"{}", "{}"},
           Row{R"({"at":7,"at":[1,"x",-1,2]})", "{}"},
           Row{R"({"at":7,"at":[1],"kind":1})", R"({"kind":2,"at":7})"},
           Row{R"({"at":7,"at":[1,"x",-1,2],"at":[3],"kind":2})", R"({"kind":4,"at":[1,2,3]})"},
           Row{R"({"kind":2})", R"({"kind":4,"at":[]})"},
           Row{R"({"answer":false,"answer":0})", R"({"answer":false})"},
           Row{R"({"answer":1})", "{}"},
           Row{R"({"place":[-32768,0,32767]})", R"({"place":[-32768,0,32767]})"},
           Row{R"({"place":[1,2,3],"place":[4,5],"place":[4,5,6,7],"place":[4,5,32768]})",
               R"({"place":[1,2,3]})"},
           Row{R"({"path":[[1,2],[3],[],[128,0],[-128,127]]})", R"({"path":[[1,2],[-128,127]]})"},
       }) {
    tstl::Chunk arena;
    tstl::Buffer<unsigned char> text;
    Sample sample;
    EXPECT_TRUE(read_json(sample, row.read, arena));
    EXPECT_TRUE(write_json(sample, text));
    EXPECT_EQ(text.std_view(), row.written);
  }
}

TEST(RecordsTest, TablesCheckThemselves) {
  using A = Field<1, "a", &Sample::kind>;
  using B = Field<2, "b", &Sample::once>;
  static_assert(Fields<A, B>::numbers_rise() && Fields<A, B>::keys_differ());
  static_assert(!Fields<B, A>::numbers_rise() && !Fields<A, A>::numbers_rise());
  static_assert(!Fields<Field<1u << 29, "a", &Sample::kind>>::numbers_rise());
  static_assert(!Fields<A, Field<2, "a", &Sample::once>>::keys_differ());
  static_assert(Fields<A, Field<2, "a", &Sample::often>>::keys_differ());
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
}  // namespace zenta

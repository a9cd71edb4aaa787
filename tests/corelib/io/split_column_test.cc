#include "corelib/io/split_column.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {
namespace {

template <class T>
struct SplitColumnTest : testing::Test {};
TYPED_TEST_SUITE(SplitColumnTest, Units, UnitNames);

TYPED_TEST(SplitColumnTest, SeparatorsAndColumnsMakeUpTheLine) {
  using T = TypeParam;
  constexpr unsigned kKept = 5;
  RandomTexts random(9);
  SplitColumn<T, kKept> columns;
  for (int round = 0; round < 2000; ++round) {
    const auto line = random.next<T>(40, round % 2 ? "ab\t" : "abcdefgh\xE1\t");
    std::vector<StdString<T>> want{{}};
    for (const T unit : line.view()) {
      if (unit == '\t') {
        want.emplace_back();
      } else {
        want.back() += static_cast<CharOf<T>>(unit);
      }
    }
    std::vector<StdString<T>> walked;
    EXPECT_TRUE(for_each_column<T>(line, '\t', [&](BufferRef<T> column) {
      walked.emplace_back(column.std_view());
      return true;
    }));
    ASSERT_EQ(walked, want);

    ASSERT_EQ(columns.split(line, '\t'), std::min<std::size_t>(want.size(), kKept));
    unsigned units = columns.size() - 1;
    for (unsigned i = 0; i < kKept; ++i) {
      EXPECT_EQ(columns[i].std_view(), i < want.size() ? want[i] : StdString<T>());
      units += columns[i].len();
    }
    EXPECT_EQ(columns.end() - columns.begin(), columns.size());
    EXPECT_EQ(columns.rest().std_view(), line.view().sub_tail(units).std_view());
  }
}

TYPED_TEST(SplitColumnTest, AnEmptyLineHasOneEmptyColumnAndAWalkCanStop) {
  using T = TypeParam;
  EXPECT_EQ((SplitColumn<T, 1>(BufferRef<T>(), ',').size()), 1u);
  EXPECT_EQ((SplitColumn<T>().size()), 0u);
  int calls = 0;
  const auto line = Widen<T>(",,,");
  EXPECT_FALSE(for_each_column<T>(line, ',', [&](BufferRef<T>) { return ++calls < 2; }));
  EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace tstl

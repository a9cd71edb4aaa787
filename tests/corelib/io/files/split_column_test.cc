#include "corelib/io/files/split_column.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {
namespace {

template <class T>
struct SplitColumnTest : testing::Test {};
TYPED_TEST_SUITE(SplitColumnTest, Units, UnitNames);

TYPED_TEST(SplitColumnTest, ColumnsWithTheirSeparatorsMakeUpTheLine) {
  using T = TypeParam;
  RandomTexts random(9);
  SplitColumn<T, 5> columns;
  EXPECT_EQ(columns.size(), 0u);
  for (int round = 0; round < 2000; ++round) {
    const auto line = random.next<T>(40, round % 2 ? "ab\t" : "abcdefgh\xE1\t");
    StdString<T> joined;
    std::size_t count = 0;
    const std::size_t stop_at = random.below(12);
    const bool ended = for_each_column<T>(line, '\t', [&](BufferRef<T> column) {
      joined.append(column.std_view()).append(1, '\t');
      return ++count != stop_at;
    });
    const std::size_t all = line.view().cnt_chr('\t') + 1;
    ASSERT_EQ(count, ended ? all : stop_at);
    const StdString<T> whole = StdString<T>(line.view()) + CharOf<T>('\t');
    ASSERT_TRUE(whole.starts_with(joined));
    ASSERT_EQ(columns.split(line, '\t'), std::min<std::size_t>(all, 5));
    joined.clear();
    for (const BufferRef<T> column : columns) joined.append(column.std_view()).append(1, '\t');
    joined.pop_back();
    ASSERT_EQ(joined.append(columns.rest().std_view()), line.view().std_view());
    EXPECT_EQ(columns[4].is_empty(), all < 5 || columns.begin()[4].is_empty());
  }
}

}  // namespace
}  // namespace tstl

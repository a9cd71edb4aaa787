// SplitColumn: splits a line into columns and keeps the first kMax of them.
//
//   SplitColumn<unsigned char, 3> columns(line, '\t');
//   table.insert(columns[0])->set_value(columns[1].to_uint64());  // 0 when the column is missing
//
// Every separator ends a column, so a line with n of them has n + 1 columns, some of which may be
// empty; an empty line has one. (TextOps::split is the one that skips empty fields.) Quotes and
// escapes have no special meaning.
//
// Columns are views into the line, which must outlive them. Nothing is copied or allocated, and
// nothing fails.
#pragma once

#include <array>
#include <cassert>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// Calls fn(column) for every column in order until it returns false. Returns false then, else true.
template <Unit T, class Fn>
bool for_each_column(BufferRef<T> line, std::type_identity_t<T> separator, Fn&& fn) {
  for (;;) {
    const unsigned at = line.find_chr(separator);
    if (!fn(line.sub_head(at))) return false;  // all of it when there is no separator
    if (at == NOT_FOUND) return true;
    line = line.sub_tail(at + 1);
  }
}

template <Unit T, unsigned kMax = 16>
class SplitColumn {
 public:
  static_assert(kMax > 0);
  using View = BufferRef<T>;

  SplitColumn() noexcept = default;
  SplitColumn(View line, T separator) noexcept { split(line, separator); }

  // Splits another line. Returns size().
  unsigned split(View line, T separator) noexcept {
    size_ = 0;
    rest_ = View();
    for_each_column<T>(line, separator, [&](View column) {
      columns_[size_++] = column;
      if (size_ < kMax) return true;
      // The rest of the line starts with the separator of this column, if it has one.
      rest_ = View(column.end(), static_cast<unsigned>(line.end() - column.end()));
      return false;
    });
    return size_;
  }

  // The number of columns kept: all of the line's, or kMax.
  [[nodiscard]] unsigned size() const noexcept { return size_; }
  // The column at `i`, counted from 0; empty when the line has fewer, so that a line may omit its
  // last columns. REQUIRES: i < kMax.
  [[nodiscard]] View operator[](unsigned i) const noexcept {
    assert(i < kMax);
    return i < size_ ? columns_[i] : View();
  }
  [[nodiscard]] const View* begin() const noexcept { return columns_.data(); }
  [[nodiscard]] const View* end() const noexcept { return columns_.data() + size_; }
  // The part of the line after the columns kept, starting with a separator; empty when all were
  // kept.
  [[nodiscard]] View rest() const noexcept { return rest_; }

 private:
  std::array<View, kMax> columns_{};
  unsigned size_ = 0;
  View rest_;
};

}  // namespace tstl

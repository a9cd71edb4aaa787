// Splits the lines of a key-value file: a key, a separator, a decimal number. It avoids branches on
// the lengths of keys and numbers, because those are hard to predict.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "corelib/base/block.h"
#include "corelib/base/types.h"
#include "corelib/io/files/pair_faults.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/parse.h"

namespace tstl::detail {

template <Unit T>
bool all_digits(BufferRef<T> text) noexcept {
  if (text.len() < 8) return text && text.is_range('0', '9');
  const unsigned last = text.len() - 8;
  for (unsigned at = 0;; at = std::min(at + 8, last)) {
    if (DigitWord::load(text.cstr(at), 8).count() != 8) return false;
    if (at == last) return true;
  }
}

// Reads a number of 9 to 24 digits. False, with `value` unspecified, if another unit is among them
// or the number may not fit. REQUIRES: as for find_last.
template <Unit T>
bool long_value(BufferRef<T> digits, std::uint64_t& value) noexcept {
  const T* const end = digits.cend();
  const unsigned n = digits.len();
  const unsigned before_low = std::min(n - 8, 8u);
  const auto low = DigitWord::load_before(end, 8);
  const auto middle = DigitWord::load_before(end - 8, before_low);
  if (low.count() != 8 || middle.count() != before_low) return false;
  value = middle.value() * 100'000'000 + low.value();
  if (n <= 16) return true;
  const auto high = DigitWord::load_before(end - 16, n - 16);
  value += high.value() * 10'000'000'000'000'000;
  return high.count() == n - 16 && high.value() < 1844;  // 2^64 begins with 1844
}

// The value of the text after the separator, see TextRead::read_pair. REQUIRES: as for find_last.
template <Unit T>
[[gnu::noinline]] long long pair_value(BufferRef<T> text, PairFaults& faults) noexcept {
  if (text.len() - 9 <= 24 - 9) {
    std::uint64_t value;
    if (long_value(text, value)) return static_cast<long long>(value);
  }
  const bool negative = text && text.front() == '-';
  const BufferRef<T> digits = text.sub_tail(negative);
  const long long value = negative ? text.to_int64() : static_cast<long long>(text.to_uint64());
  const bool at_limit = value == (negative ? INT64_MIN : -1);  // -1: the bits of UINT64_MAX
  if (!all_digits(digits)) {
    ++faults.no_number;
  } else if (at_limit &&
             !digits.sub_tail(digits.cnt_consecutive_chr('0'))
                  .is_equal(negative ? "9223372036854775808" : "18446744073709551615")) {
    ++faults.not_fit;
  }
  return value;
}

// The last `c` in [begin, end); null when there is none. REQUIRES: a block of units before any
// position in the range can be read.
template <Unit T>
const T* find_last(const T* begin, const T* end, T c) noexcept {
  for (const T* p = end; p > begin;) {
    p -= base::Block<T>::kUnits;
    const auto mask = equal(base::Block<T>::load(p), base::Block<T>::fill(c)).mask();
    if (mask) return p + mask.last() >= begin ? p + mask.last() : nullptr;
  }
  return nullptr;
}

// Splits a line at its last separator and returns the value after it; `line` becomes the key.
// REQUIRES: as for find_last.
template <Unit T>
inline long long split_pair(BufferRef<T>& line, T separator, PairFaults& faults) noexcept {
  const T* const end = line.cend();
  const T* const found = find_last(line.cbegin(), end, separator);
  if (found == nullptr) {
    ++faults.no_separator;
    return 0;
  }
  line.relen(static_cast<unsigned>(found - line.cbegin()));
  const auto n = static_cast<unsigned>(end - found - 1);
  if (n - 1 < 8) {
    const auto digits = DigitWord::load_before(end, n);
    if (digits.count() == n) return static_cast<long long>(digits.value());
  }
  return pair_value(BufferRef<T>(found + 1, n), faults);
}

}  // namespace tstl::detail

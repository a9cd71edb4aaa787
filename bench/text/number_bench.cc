// Writing numbers as text: ours in both unit widths beside std::to_chars.
//
// x_to_chars is to stay at 1.0 or more for 64-bit numbers and 0.9 for short ones. also_16bit is our
// 16-bit text's time over our 8-bit text's; it is to stay near 1.

#include <charconv>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "bench/ratio.h"
#include "corelib/text/num.h"

namespace tstl {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;

// So many that the processor cannot learn the order of their lengths, which real numbers have not.
constexpr std::size_t kCount = 65536;

// Numbers whose count of digits is spread evenly over [fewest, most].
template <class V>
std::vector<V> numbers(unsigned fewest, unsigned most) {
  std::mt19937_64 random(7);
  std::vector<V> values(kCount);
  for (V& value : values) {
    const unsigned digits = fewest + static_cast<unsigned>(random() % (most - fewest + 1));
    const std::uint64_t low = base::kPowersOfTen[digits - 1];
    value = static_cast<V>(low + random() % (base::kPowersOfTen[digits] - low));
  }
  return values;
}

template <class V, class Write>
std::size_t write_all(const std::vector<V>& values, Write write) {
  std::size_t total = 0;
  for (const V value : values) total += write(value);
  return total;
}

// Digits from state.range(0) to state.range(1).
template <class V>
void write_numbers(benchmark::State& state) {
  const auto values =
      numbers<V>(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
  unsigned char units8[NUM::kDecimalRoom];
  unsigned short units16[NUM::kDecimalRoom];
  char chars[NUM::kDecimalRoom];
  const auto ours = [&] {
    return write_all(values, [&](V value) { return NUM::zz_tostr(units8, value); });
  };
  const auto ours16 = [&] {
    return write_all(values, [&](V value) { return NUM::zz_tostr(units16, value); });
  };
  const auto to_chars = [&] {
    return write_all(values, [&](V value) {
      char* const end = std::to_chars(chars, chars + sizeof chars, value).ptr;
      *end = 0;
      return static_cast<std::size_t>(end - chars);
    });
  };
  if (ours() != to_chars() || std::memcmp(chars, units8, ours() / kCount) != 0) {
    state.SkipWithError("the texts differ");
  }
  Race(state, {.items = kCount}, Contestant{"ours", ours}, Contestant{"to_chars", to_chars},
       Contestant{"also_16bit", ours16});
}

BENCHMARK(write_numbers<std::uint64_t>)
    ->Name("number/write/64bit")
    ->ArgNames({"digits", "to"})
    ->Args({1, 1})
    ->Args({1, 4})
    ->Args({8, 8})
    ->Args({1, 19})
    ->Args({19, 19});
BENCHMARK(write_numbers<std::uint32_t>)
    ->Name("number/write/32bit")
    ->ArgNames({"digits", "to"})
    ->Args({1, 1})
    ->Args({1, 4})
    ->Args({9, 9})
    ->Args({1, 9});
BENCHMARK(write_numbers<std::int64_t>)
    ->Name("number/write/signed64")
    ->ArgNames({"digits", "to"})
    ->Args({1, 18});

}  // namespace
}  // namespace tstl

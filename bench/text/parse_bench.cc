// Number parsing beside std::from_chars, which reads 8-bit text only, so 16-bit text is measured
// against it too: a reader of 16-bit text would have to narrow first. Each item is one number out
// of 1,024 of the same length.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "corelib/text/buffer_ref.h"

namespace {

using tstl::BufferRef;
using tstl::CharOf;
using zenta::bench::Contestant;
using zenta::bench::Race;

constexpr std::size_t kCount = 1024;

// Numbers of `digits` digits, one after the other with a comma between them, as views of one memory
// block.
template <class T>
struct Numbers {
  explicit Numbers(std::size_t digits, const char* point = "") {
    std::mt19937 random(1);
    for (std::size_t i = 0; i < kCount; ++i) {
      std::string number(1, static_cast<char>('1' + random() % 9));
      number += point;
      while (number.size() < digits) number += static_cast<char>('0' + random() % 10);
      number += ',';
      text.append(number.begin(), number.end());
      narrow += number;
    }
    const std::size_t step = digits + 1;
    for (std::size_t i = 0; i < kCount; ++i) {
      views.push_back(BufferRef<T>(text).sub_str(static_cast<unsigned>(i * step),
                                                 static_cast<unsigned>(digits)));
      chars.push_back(std::string_view(narrow).substr(i * step, digits));
    }
  }

  std::basic_string<CharOf<T>> text;
  std::string narrow;
  std::vector<BufferRef<T>> views;
  std::vector<std::string_view> chars;
};

template <class Number>
Number FromChars(std::string_view text) {
  Number value{};
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// Sums what `parse` makes of all texts.
template <class Number, class Texts, class Parse>
Number Sum(const Texts& texts, Parse parse) {
  Number sum{};
  for (const auto& text : texts) sum += parse(text);
  return sum;
}

template <class T, class Number, Number (*kParse)(BufferRef<T>)>
void RaceFromChars(benchmark::State& state, const Numbers<T>& numbers) {
  const auto ours = [&] { return Sum<Number>(numbers.views, kParse); };
  const auto theirs = [&] { return Sum<Number>(numbers.chars, FromChars<Number>); };
  if (ours() != theirs()) return state.SkipWithError("the contestants disagree");
  Race(state, {.items = kCount}, Contestant{"ours", ours}, Contestant{"from_chars", theirs});
}

template <class T>
unsigned long long ToUint64(BufferRef<T> text) {
  return text.to_uint64();
}
template <class T>
long long ToInt64(BufferRef<T> text) {
  return text.to_int64();
}
template <class T>
unsigned ToUint32(BufferRef<T> text) {
  return text.to_uint32();
}
template <class T>
double ToReal(BufferRef<T> text) {
  return text.to_real();
}

template <class T>
void BM_ToUint64(benchmark::State& state) {
  RaceFromChars<T, unsigned long long, ToUint64<T>>(
      state, Numbers<T>(static_cast<std::size_t>(state.range(0))));
}
template <class T>
void BM_ToInt64(benchmark::State& state) {
  RaceFromChars<T, long long, ToInt64<T>>(state,
                                          Numbers<T>(static_cast<std::size_t>(state.range(0))));
}
template <class T>
void BM_ToUint32(benchmark::State& state) {
  RaceFromChars<T, unsigned, ToUint32<T>>(state,
                                          Numbers<T>(static_cast<std::size_t>(state.range(0))));
}
template <class T>
void BM_ToReal(benchmark::State& state) {
  RaceFromChars<T, double, ToReal<T>>(state,
                                      Numbers<T>(static_cast<std::size_t>(state.range(0)), "."));
}

void Digits(benchmark::internal::Benchmark* bench) {
  bench->ArgName("digits");
  for (const int digits : {1, 2, 3, 5, 8, 10, 13, 16, 19}) bench->Arg(digits);
}
BENCHMARK(BM_ToUint64<unsigned char>)->Apply(Digits);
BENCHMARK(BM_ToUint64<unsigned short>)->Apply(Digits);
BENCHMARK(BM_ToInt64<unsigned char>)->ArgName("digits")->Arg(3)->Arg(18);
BENCHMARK(BM_ToInt64<unsigned short>)->ArgName("digits")->Arg(3)->Arg(18);
BENCHMARK(BM_ToUint32<unsigned char>)->ArgName("digits")->Arg(2)->Arg(4)->Arg(9);
BENCHMARK(BM_ToUint32<unsigned short>)->ArgName("digits")->Arg(2)->Arg(4)->Arg(9);
BENCHMARK(BM_ToReal<unsigned char>)->ArgName("digits")->Arg(4)->Arg(17);
BENCHMARK(BM_ToReal<unsigned short>)->ArgName("digits")->Arg(4)->Arg(17);

}  // namespace

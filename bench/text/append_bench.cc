// Appending single units, short views and numbers to a buffer, in both unit widths, beside the
// standard strings.
//
// Each round starts with an empty text of enough capacity ("warm") or without memory ("cold", where
// growth counts too). x_std is to stay at 1.0 or more.

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "bench/ratio.h"
#include "corelib/text/buffer.h"

namespace tstl {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;

constexpr unsigned kItems = 1000;

template <class T>
using String = std::basic_string<CharOf<T>>;

// Fills a text of either kind `kItems` times with `add`; the races are alike but for what is added.
template <class T, class AddOurs, class AddStd>
void race(benchmark::State& state, AddOurs add_ours, AddStd add_std) {
  const bool warm = state.range(0) != 0;
  Buffer<T> ours;
  String<T> theirs;
  const auto fill_ours = [&] {
    warm ? ours.clear() : ours = Buffer<T>();
    for (unsigned i = 0; i < kItems; ++i) add_ours(ours, i);
    return ours.str();
  };
  const auto fill_std = [&] {
    if (warm) {
      theirs.clear();
    } else {
      theirs = String<T>();
    }
    for (unsigned i = 0; i < kItems; ++i) add_std(theirs, i);
    return theirs.data();
  };
  fill_ours();
  fill_std();
  if (ours.std_view() != theirs) return state.SkipWithError("the texts differ");
  Race(state, {.items = kItems}, Contestant{"ours", fill_ours}, Contestant{"std", fill_std});
}

template <class T>
void append_units(benchmark::State& state) {
  race<T>(
      state, [](Buffer<T>& text, unsigned i) { text.append_chr(static_cast<T>(i % 128)); },
      [](String<T>& text, unsigned i) { text.push_back(static_cast<CharOf<T>>(i % 128)); });
}

// Views of 1 to 8 units, or of a length given in range(1).
template <class T>
void append_views(benchmark::State& state) {
  const String<T> source(64, CharOf<T>{'x'});
  const auto fixed = static_cast<unsigned>(state.range(1));
  const auto length = [fixed](unsigned i) { return fixed != 0 ? fixed : 1 + i * 7 % 8; };
  race<T>(
      state,
      [&](Buffer<T>& text, unsigned i) {
        text.append_str(BufferRef<T>(source).sub_head(length(i)));
      },
      [&](String<T>& text, unsigned i) {
        text.append(std::basic_string_view<CharOf<T>>(source).substr(0, length(i)));
      });
}

void append_numbers(benchmark::State& state) {
  race<unsigned char>(
      state, [](Buffer<unsigned char>& text, unsigned i) { text.append_num(i * i); },
      [](std::string& text, unsigned i) {
        char digits[16];
        text.append(digits, std::to_chars(digits, digits + 16, i * i).ptr);
      });
}

BENCHMARK(append_units<unsigned char>)->Name("append/unit/8bit")->ArgName("warm")->Arg(1)->Arg(0);
BENCHMARK(append_units<unsigned short>)->Name("append/unit/16bit")->ArgName("warm")->Arg(1)->Arg(0);
BENCHMARK(append_views<unsigned char>)
    ->Name("append/view/8bit")
    ->ArgNames({"warm", "units"})
    ->Args({1, 0})
    ->Args({1, 4})
    ->Args({1, 20})
    ->Args({1, 60})
    ->Args({0, 0});
BENCHMARK(append_views<unsigned short>)
    ->Name("append/view/16bit")
    ->ArgNames({"warm", "units"})
    ->Args({1, 0})
    ->Args({1, 4})
    ->Args({1, 20})
    ->Args({1, 60})
    ->Args({0, 0});
BENCHMARK(append_numbers)->Name("append/number/8bit")->ArgName("warm")->Arg(1);

}  // namespace
}  // namespace tstl

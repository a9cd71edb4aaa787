// Searching beside std::string_view and the C library, in both unit widths. The text is prose-like,
// 40 bytes (a line, a field) and 64 KiB (a file); what is looked for stands at its end or nowhere.
#include <benchmark/benchmark.h>

#include <bit>
#include <cstring>
#include <random>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "bench/ratio.h"
#include "corelib/text/buffer_ref.h"

namespace {

using tstl::BufferRef;
using tstl::CharOf;
using zenta::bench::Contestant;
using zenta::bench::Race;

template <class T>
using StdString = std::basic_string<CharOf<T>>;

template <class T>
StdString<T> Widen(const char* ascii) {
  return StdString<T>(ascii, ascii + std::strlen(ascii));
}

// `n` units of lower-case words that hold none of 'Q', CR and LF, and then `end`.
template <class T>
StdString<T> Prose(std::size_t n, const char* end) {
  static constexpr char kWords[] =
      "the installer checks what it was given before any of it is used ";
  StdString<T> text;
  for (std::size_t i = 0; i < n; ++i)
    text += static_cast<CharOf<T>>(kWords[(i * i / 97 + i) % (sizeof kWords - 1)]);
  const StdString<T> tail = Widen<T>(end);
  text.replace(n - tail.size(), tail.size(), tail);
  benchmark::DoNotOptimize(text.data());
  return text;
}

// A benchmark whose contestants disagree measures nothing.
void CheckSame(benchmark::State& state, std::size_t ours, std::size_t theirs) {
  if (ours != theirs) state.SkipWithError("the contestants disagree");
}

template <class T>
void BM_FindChr(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const StdString<T> text = Prose<T>(n, "Q");
  const BufferRef<T> view = text;
  CheckSame(state, view.find_chr('Q'), text.find('Q'));
  const Contestant ours{"ours", [&] { return view.find_chr('Q'); }};
  const Contestant std_view{"string_view", [&] { return view.std_view().find('Q'); }};
  if constexpr (sizeof(T) == 1) {
    Race(state, {.bytes = double(n)}, ours, std_view,
         Contestant{"memchr", [&] { return std::memchr(text.data(), 'Q', text.size()); }});
  } else {
    Race(state, {.bytes = 2.0 * double(n)}, ours, std_view);
  }
}

template <class T>
void BM_FindCrlf(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const StdString<T> text = Prose<T>(n, "\r\n");
  const BufferRef<T> view = text;
  const StdString<T> breaks = Widen<T>("\r\n");
  unsigned brk_len = 0;
  CheckSame(state, view.find_crlf(brk_len), text.find_first_of(breaks));
  const Contestant ours{"ours", [&] { return view.find_crlf(brk_len); }};
  const Contestant std_view{"string_view", [&] { return view.std_view().find_first_of(breaks); }};
  if constexpr (sizeof(T) == 1) {
    const auto by_memchr = [&] {
      const auto* const lf = static_cast<const char*>(std::memchr(text.data(), '\n', text.size()));
      return static_cast<std::size_t>(lf - text.data()) - (lf != text.data() && lf[-1] == '\r');
    };
    CheckSame(state, view.find_crlf(brk_len), by_memchr());
    Race(state, {.bytes = double(n)}, ours, std_view, Contestant{"memchr", by_memchr},
         Contestant{"strcspn", [&] { return std::strcspn(text.c_str(), "\r\n"); }});
  } else {
    Race(state, {.bytes = 2.0 * double(n)}, ours, std_view);
  }
}

// The lines of a text, of up to state.range(0) units, beside memchr for LF and a look at the byte
// before, which passes over a CR that stands alone.
void BM_Lines(benchmark::State& state) {
  std::string text = Prose<unsigned char>(64 << 10, "\n");
  std::mt19937 random(5);
  const auto longest = static_cast<unsigned>(state.range(0));
  for (std::size_t at = random() % longest; at < text.size(); at += 1 + random() % longest) {
    text[at] = '\n';
  }
  const auto ours = [&] {
    tstl::BufferRefMutable<unsigned char> rest(text);
    std::size_t units = 0;
    while (rest) units += rest.fetch_before_crlf().len();
    return units;
  };
  const auto by_memchr = [&] {
    const char* at = text.data();
    const char* const end = at + text.size();
    std::size_t units = 0;
    while (at != end) {
      const auto* const lf = static_cast<const char*>(std::memchr(at, '\n', std::size_t(end - at)));
      units += static_cast<std::size_t>(lf - at) - (lf != at && lf[-1] == '\r');
      at = lf + 1;
    }
    return units;
  };
  CheckSame(state, ours(), by_memchr());
  Race(state, {.bytes = double(text.size())}, Contestant{"ours", ours},
       Contestant{"memchr", by_memchr});
}

// A plain filter: compares the first and the last unit of the needle with 16 bytes of text at a time,
// and in full where both are equal. Without SSE2, std's search.
template <class T>
std::size_t FindByFilter(const StdString<T>& text, const StdString<T>& sought) {
  using Char = CharOf<T>;
#if defined(__SSE2__)
  constexpr std::size_t kStep = 16 / sizeof(T);
  const auto fill = [](Char unit) {
    return sizeof(T) == 1 ? _mm_set1_epi8(static_cast<char>(unit))
                          : _mm_set1_epi16(static_cast<short>(unit));
  };
  const auto hits = [](const Char* at, __m128i unit) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    return sizeof(T) == 1 ? _mm_cmpeq_epi8(units, unit) : _mm_cmpeq_epi16(units, unit);
  };
  const __m128i first = fill(sought.front()), last = fill(sought.back());
  std::size_t i = 0;
  for (; i + sought.size() - 1 + kStep <= text.size(); i += kStep) {
    const Char* const at = text.data() + i;
    auto mask = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_and_si128(hits(at, first), hits(at + sought.size() - 1, last))));
    while (mask != 0) {
      const unsigned unit = static_cast<unsigned>(std::countr_zero(mask)) / sizeof(T);
      if (std::memcmp(at + unit, sought.data(), sought.size() * sizeof(T)) == 0) return i + unit;
      mask &= ~0u << (unit + 1) * sizeof(T);
    }
  }
  return text.find(sought, i);
#else
  return text.find(sought);
#endif
}

template <class T>
void BM_FindStr(benchmark::State& state) {
  // The first letter decides how a scan fares that looks for it alone.
  const char* needle = state.range(1) == 0 ? "iterators" : "Questions";
  const auto n = static_cast<std::size_t>(state.range(0));
  const StdString<T> text = Prose<T>(n, needle);
  const StdString<T> sought = Widen<T>(needle);
  const BufferRef<T> view = text;
  CheckSame(state, view.find_str(sought), text.find(sought));
  CheckSame(state, view.find_str(sought), FindByFilter<T>(text, sought));
  const Contestant ours{"ours", [&] { return view.find_str(sought); }};
  const Contestant std_view{"string_view", [&] { return view.std_view().find(sought); }};
  const Contestant filter{"filter", [&] { return FindByFilter<T>(text, sought); }};
  if constexpr (sizeof(T) == 1) {
    Race(state, {.bytes = double(n)}, ours, std_view, filter,
         Contestant{"memmem", [&] {
                      return memmem(text.data(), text.size(), sought.data(), sought.size());
                    }});
  } else {
    Race(state, {.bytes = 2.0 * double(n)}, ours, std_view, filter);
  }
}

template <class T>
void BM_CountChr(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const StdString<T> text = Prose<T>(n, "");
  const BufferRef<T> view = text;
  const auto count = [&] {
    return static_cast<unsigned>(std::count(text.begin(), text.end(), 'e'));
  };
  CheckSame(state, view.cnt_chr('e'), count());
  Race(state, {.bytes = double(n * sizeof(T))},
       Contestant{"ours", [&] { return view.cnt_chr('e'); }}, Contestant{"std_count", count});
}

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("units")->Arg(12)->Arg(40)->Arg(64 << 10);
}
void SizesAndNeedles(benchmark::internal::Benchmark* bench) {
  bench->ArgsProduct({{12, 40, 64 << 10}, {0, 1}})->ArgNames({"units", "rare"});
}
BENCHMARK(BM_FindChr<unsigned char>)->Apply(Sizes);
BENCHMARK(BM_FindChr<unsigned short>)->Apply(Sizes);
BENCHMARK(BM_FindCrlf<unsigned char>)->Apply(Sizes);
BENCHMARK(BM_FindCrlf<unsigned short>)->Apply(Sizes);
BENCHMARK(BM_Lines)->ArgName("up_to")->Arg(20)->Arg(80)->Arg(300);
BENCHMARK(BM_FindStr<unsigned char>)->Apply(SizesAndNeedles);
BENCHMARK(BM_FindStr<unsigned short>)->Apply(SizesAndNeedles);
BENCHMARK(BM_CountChr<unsigned char>)->Apply(Sizes);
BENCHMARK(BM_CountChr<unsigned short>)->Apply(Sizes);

}  // namespace

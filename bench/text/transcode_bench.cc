// UTF-8 and UTF-16 both ways beside ICU, the standard library's codecvt and, where ZENTA_PEERS has its
// sources, simdutf at our own level of the processor. Texts are ASCII, Chinese, the two mixed every
// one to six characters, and ASCII mixed so with emoji, of 16 B, 256 B and 64 KiB of UTF-8. GBps is of
// UTF-8. Short texts come as 64 different ones in turn, so that the branch predictor does not learn
// them. `also_memcpy` copies the UTF-8 form: the least that touching the text costs.
#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#if defined(ZENTA_PEER_SIMDUTF)
#include <simdutf.h>
#endif

#include <cstring>
#include <cwchar>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "corelib/base/cpu.h"
#include "corelib/text/utf.h"

namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;

enum Kind { kAscii, kChinese, kMixed, kEmoji };
constexpr const char* kKindNames[] = {"ASCII", "Chinese", "mixed", "emoji"};

struct Text {
  std::u16string wide;
  std::string narrow;
};

Text MakeText(Kind kind, std::size_t bytes, unsigned seed) {
  std::mt19937 random(seed);
  std::u16string wide;
  std::size_t run = 0;
  bool other = kind == kChinese;  // than ASCII
  for (std::size_t left = bytes; left != 0;) {
    if ((kind == kMixed || kind == kEmoji) && run-- == 0) {
      run = random() % 6;
      other = !other;
    }
    if (kind == kEmoji && other && left >= 4) {  // U+1F300 to U+1F3FF
      wide += u'\xD83C';
      wide += static_cast<char16_t>(0xDF00 + random() % 0x100);
      left -= 4;
      continue;
    }
    const bool three = kind != kEmoji && other && left >= 3;
    wide += static_cast<char16_t>(three ? 0x4E00 + random() % 0x5200 : 0x20 + random() % 0x5F);
    left -= three ? 3 : 1;
  }
  std::string narrow(bytes, '\0');
  std::int32_t length = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strToUTF8(narrow.data(), static_cast<std::int32_t>(bytes), &length, wide.data(),
              static_cast<std::int32_t>(wide.size()), &error);
  return {wide, narrow};
}

const unsigned short* Units(const std::u16string& text) {
  return reinterpret_cast<const unsigned short*>(text.data());
}
const unsigned char* Units(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// Each contestant turns `from` into `to`, which has the room that it takes and not more, and
// returns how many units it wrote; with a null `to` it only counts.
struct Ours {
  std::size_t operator()(const std::u16string& from, std::string* to) const {
    if (to == nullptr) return tstl::utf8_size(Units(from), from.size());
    return tstl::utf16_to_utf8(Units(from), from.size(),
                               reinterpret_cast<unsigned char*>(to->data()), to->size());
  }
  std::size_t operator()(const std::string& from, std::u16string* to) const {
    if (to == nullptr) return tstl::utf16_size(Units(from), from.size());
    return tstl::utf8_to_utf16(Units(from), from.size(),
                               reinterpret_cast<unsigned short*>(to->data()), to->size());
  }
};

struct Icu {
  template <class From, class To>
  std::size_t operator()(const From& from, To* to) const {
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    Convert(to == nullptr ? nullptr : to->data(),
            to == nullptr ? 0 : static_cast<std::int32_t>(to->size()), &length, from.data(),
            static_cast<std::int32_t>(from.size()), &error);
    return static_cast<std::size_t>(length);
  }

 private:
  static void Convert(char* to, std::int32_t room, std::int32_t* length, const char16_t* from,
                      std::int32_t n, UErrorCode* error) {
    u_strToUTF8(to, room, length, from, n, error);
  }
  static void Convert(char16_t* to, std::int32_t room, std::int32_t* length, const char* from,
                      std::int32_t n, UErrorCode* error) {
    u_strFromUTF8(to, room, length, from, n, error);
  }
};

struct Std {
  std::size_t operator()(const std::u16string& from, std::string* to) const {
    std::mbstate_t state{};
    const char16_t* read;
    char8_t* written;
    auto* const begin = reinterpret_cast<char8_t*>(to->data());
    facet.out(state, from.data(), from.data() + from.size(), read, begin, begin + to->size(),
              written);
    return static_cast<std::size_t>(written - begin);
  }
  std::size_t operator()(const std::string& from, std::u16string* to) const {
    std::mbstate_t state{};
    const char8_t* read;
    char16_t* written;
    const auto* const begin = reinterpret_cast<const char8_t*>(from.data());
    facet.in(state, begin, begin + from.size(), read, to->data(), to->data() + to->size(), written);
    return static_cast<std::size_t>(written - to->data());
  }

  using Facet = std::codecvt<char16_t, char8_t, std::mbstate_t>;
  const Facet& facet = std::use_facet<Facet>(std::locale::classic());
};

#if defined(ZENTA_PEER_SIMDUTF)
class Simdutf {
 public:
  std::size_t operator()(const std::u16string& from, std::string* to) const {
    if (to == nullptr) return way_->utf8_length_from_utf16le(from.data(), from.size());
    return way_->convert_utf16le_to_utf8(from.data(), from.size(), to->data());
  }
  std::size_t operator()(const std::string& from, std::u16string* to) const {
    if (to == nullptr) return way_->utf16_length_from_utf8(from.data(), from.size());
    return way_->convert_utf8_to_utf16le(from.data(), from.size(), to->data());
  }

 private:
  // Its implementation for our level, or its own choice where it has none for that.
  static const simdutf::implementation* AtOurLevel() {
    static constexpr const char* kNames[] = {"fallback", "westmere", "haswell", "icelake"};
    const auto level = static_cast<std::size_t>(tstl::base::cpu_level());
    const auto* const same = simdutf::get_available_implementations()[kNames[level]];
    if (same != nullptr && same->supported_by_runtime_system()) return same;
    return simdutf::get_active_implementation();
  }

  const simdutf::implementation* way_ = AtOurLevel();
};
#endif

// The texts of one benchmark, and room for each result.
template <class From, class To>
struct Work {
  std::vector<Text> texts;
  std::vector<To> results;

  explicit Work(const benchmark::State& state) {
    const auto bytes = static_cast<std::size_t>(state.range(1));
    for (unsigned i = 0; i != (bytes < 1024 ? 64 : 1); ++i) {
      texts.push_back(MakeText(static_cast<Kind>(state.range(0)), bytes, i + 1));
      results.push_back(Target(texts.back()));
    }
  }

  static const std::u16string& Pick(const Text& text, const char16_t*) { return text.wide; }
  static const std::string& Pick(const Text& text, const char*) { return text.narrow; }
  static const From& Source(const Text& text) {
    return Pick(text, static_cast<const typename From::value_type*>(nullptr));
  }
  static const To& Target(const Text& text) {
    return Pick(text, static_cast<const typename To::value_type*>(nullptr));
  }

  [[nodiscard]] double bytes() const {
    return static_cast<double>(texts.size() * texts[0].narrow.size());
  }

  // Whether `convert` gives every text as it should be.
  template <class Convert>
  bool Right(Convert convert) {
    for (std::size_t i = 0; i != texts.size(); ++i) {
      results[i].assign(results[i].size(), 0);
      if (convert(Source(texts[i]), &results[i]) != results[i].size()) return false;
      if (results[i] != Target(texts[i])) return false;
    }
    return true;
  }

  // A call that converts, or counts, every text once.
  template <class Convert>
  auto All(Convert convert, bool count = false) {
    return [this, convert, count] {
      std::size_t sum = 0;
      for (std::size_t i = 0; i != texts.size(); ++i) {
        sum += convert(Source(texts[i]), count ? nullptr : &results[i]);
        benchmark::ClobberMemory();
      }
      return sum;
    };
  }
};

template <class From, class To>
void BM_Convert(benchmark::State& state) {
  Work<From, To> work(state);
  if (!work.Right(Ours{}) || !work.Right(Icu{}) || !work.Right(Std{})) {
    state.SkipWithError("the contestants disagree");
    return;
  }
#if defined(ZENTA_PEER_SIMDUTF)
  if (!work.Right(Simdutf{})) return state.SkipWithError("simdutf disagrees");
#endif
  state.SetLabel(kKindNames[state.range(0)]);
  std::string copy(work.texts[0].narrow.size(), '\0');
  const auto copy_all = [&] {
    for (const Text& text : work.texts) {
      std::memcpy(copy.data(), text.narrow.data(), copy.size());
      benchmark::ClobberMemory();
    }
  };
  Race(state, {.bytes = work.bytes(), .items = static_cast<double>(work.texts.size())},
       Contestant{"ours", work.All(Ours{})},
#if defined(ZENTA_PEER_SIMDUTF)
       Contestant{"simdutf", work.All(Simdutf{})},
#endif
       Contestant{"icu", work.All(Icu{})}, Contestant{"std", work.All(Std{})},
       Contestant{"also_memcpy", copy_all});
}

// What a growing buffer has to do: ask for the size, then convert. ICU's way to ask is a conversion
// into no room at all.
template <class From, class To>
void BM_SizeAndConvert(benchmark::State& state) {
  Work<From, To> work(state);
  To* const nowhere = nullptr;
  for (const Text& text : work.texts) {
    const From& from = work.Source(text);
    const std::size_t size = work.Target(text).size();
    if (Ours{}(from, nowhere) == size && Icu{}(from, nowhere) == size) continue;
    state.SkipWithError("the contestants disagree");
    return;
  }
  state.SetLabel(kKindNames[state.range(0)]);
  const auto both = [&work](auto convert) {
    return [count = work.All(convert, true), fill = work.All(convert)] { return count() + fill(); };
  };
  Race(state, {.bytes = work.bytes(), .items = static_cast<double>(work.texts.size())},
       Contestant{"ours", both(Ours{})},
#if defined(ZENTA_PEER_SIMDUTF)
       Contestant{"simdutf", both(Simdutf{})},
#endif
       Contestant{"icu", both(Icu{})});
}

void Texts(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"kind", "bytes"})
      ->ArgsProduct({{kAscii, kChinese, kMixed, kEmoji}, {16, 256, 65536}});
}

BENCHMARK_TEMPLATE(BM_Convert, std::u16string, std::string)->Apply(Texts);
BENCHMARK_TEMPLATE(BM_Convert, std::string, std::u16string)->Apply(Texts);
BENCHMARK_TEMPLATE(BM_SizeAndConvert, std::u16string, std::string)->Apply(Texts);
BENCHMARK_TEMPLATE(BM_SizeAndConvert, std::string, std::u16string)->Apply(Texts);

}  // namespace

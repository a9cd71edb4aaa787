#include "corelib/text/utf.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "corelib/text/detail/utf_kernels.h"
#include "tests/reference/utf_reference.h"

namespace tstl {
namespace {

using reference::Units16;
using reference::Units8;

constexpr auto kKeep = LoneSurrogate::kKeep;

static_assert(join_surrogates(0xDBFF, 0xDFFF) == 0x10FFFF && utf8_length(0xDFFF, kKeep) == 3);

// Texts of short runs of one kind each: mostly ASCII or Chinese, in some ASCII or surrogates.
class RandomText {
 public:
  std::size_t below(std::size_t limit) { return random_() % limit; }

  Units16 next(std::size_t units, bool well_formed) {
    static constexpr unsigned kFirst[] = {0x20, 0x4E00, 0x80, 0x800, 0xD800};
    static constexpr unsigned kCount[] = {0x5F, 0x5200, 0x780, 0xD000, 0x800};
    Units16 text;
    const std::size_t frequent = below(3) == 0 ? 4 : 1;
    while (text.size() < units) {
      const std::size_t kind = below(8) < 6 ? below(2) * frequent : below(5);
      for (std::size_t run = 1 + below(below(9) == 0 ? 40 : 6); run != 0; --run) {
        unsigned unit = kFirst[kind] + static_cast<unsigned>(below(kCount[kind]));
        if (well_formed && is_surrogate(unit)) {
          text.push_back(static_cast<unsigned short>(unit & ~0x400u));
          unit |= 0x400;
        }
        text.push_back(static_cast<unsigned short>(unit));
      }
    }
    text.resize(units);
    if (well_formed && units != 0 && is_high_surrogate(text.back())) text.back() = 'x';
    return text;
  }

 private:
  std::mt19937 random_{20};
};

// A set of kernels and its name.
class UtfTest : public testing::TestWithParam<std::pair<const char*, detail::utf::Kernels>> {
 protected:
  void SetUp() override {
    if (GetParam().first[0] == 'V' && !detail::utf::has_vector_kernels()) {
      GTEST_SKIP() << "not on this machine";
    }
  }

  // The result of `convert` in `room` units, which a guard follows. The source is a heap block that
  // ends with the text, at each alignment in turn.
  template <class To, class From, class Convert>
  std::vector<To> Converted(const std::vector<From>& text, std::size_t room, Convert convert) {
    const std::size_t offset = offset_++ % 16;
    const auto block = std::make_unique<From[]>(offset + text.size());
    From* const src = block.get() + offset;
    std::copy(text.begin(), text.end(), src);
    std::vector<To> dst(room + 40, To{0xA5});
    const std::size_t n = convert(src, dst.data());
    EXPECT_EQ(std::count(dst.end() - 40, dst.end(), To{0xA5}), 40);
    dst.resize(n);
    return dst;
  }

  void ExpectAsReference(const Units16& text, std::size_t room_short_by = 0) {
    for (const bool keep : {false, true}) {
      const auto lone = keep ? kKeep : LoneSurrogate::kDrop;
      const std::size_t size = reference::ToUtf8(text, ~0u, keep).size();
      ASSERT_EQ(utf8_size(text.data(), text.size(), lone), size);
      const std::size_t room = size - std::min(size, room_short_by);
      const auto convert = [&](auto* src, auto* dst) {
        return kernels_.utf16_to_utf8(src, text.size(), dst, room, lone);
      };
      ASSERT_EQ(Converted<unsigned char>(text, room, convert), reference::ToUtf8(text, room, keep));
    }
  }

  void ExpectAsReference(const Units8& text, std::size_t room_short_by = 0) {
    const std::size_t size = reference::ToUtf16(text, ~0u).size();
    const std::size_t room = size - std::min(size, room_short_by);
    const auto convert = [&](auto* src, auto* dst) {
      EXPECT_EQ(kernels_.utf16_size(src, text.size()), size);
      EXPECT_EQ(kernels_.valid_utf8_prefix(src, text.size()), reference::ValidPrefix(text));
      return kernels_.utf8_to_utf16(src, text.size(), dst, room);
    };
    ASSERT_EQ(Converted<unsigned short>(text, room, convert), reference::ToUtf16(text, room));
  }

  void ExpectBothWaysAsReference(const Units16& text) {
    ExpectAsReference(text);
    ExpectAsReference(reference::ToUtf8(text, ~0u, true));
  }

  const detail::utf::Kernels& kernels_ = GetParam().second;
  RandomText random_;
  std::size_t offset_ = 0;
};

INSTANTIATE_TEST_SUITE_P(, UtfTest,
                         testing::Values(std::pair("Plain", detail::utf::kPlainKernels),
                                         std::pair("Vector", detail::utf::kVectorKernels)),
                         [](const auto& instance) { return instance.param.first; });

TEST(UtfConversionTest, WellFormedTextConvertsAsIcuDoes) {
  RandomText random;
  for (std::size_t n = 0; n < 3000; n += n < 300 ? 1 : 97) {
    const Units16 text = random.next(n, true);
    Units8 utf8(3 * n + 1);
    std::int32_t size = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(reinterpret_cast<char*>(utf8.data()), static_cast<std::int32_t>(utf8.size()), &size,
                reinterpret_cast<const UChar*>(text.data()), static_cast<std::int32_t>(n), &error);
    ASSERT_TRUE(U_SUCCESS(error));
    utf8.resize(static_cast<std::size_t>(size));
    ASSERT_EQ(valid_utf8_prefix(utf8.data(), utf8.size()), utf8.size());
    Units8 bytes(utf8_size(text.data(), n));
    ASSERT_EQ(utf16_to_utf8(text.data(), n, bytes.data(), bytes.size()), bytes.size());
    ASSERT_EQ(bytes, utf8);
    Units16 units(utf16_size(utf8.data(), utf8.size()));
    ASSERT_EQ(utf8_to_utf16(utf8.data(), utf8.size(), units.data(), units.size()), n);
    ASSERT_EQ(units, text);
  }
  EXPECT_EQ(utf16_to_utf8(nullptr, 0, nullptr, 0) + utf8_to_utf16(nullptr, 0, nullptr, 0), 0u);
}

TEST_P(UtfTest, IllFormedAndCutTextConvertsAsTheReferenceIntoWhateverRoom) {
  static constexpr unsigned char kOdd[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0,
                                           0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xED,
                                           0xEF, 0xF0, 0xF4, 0xF5, 0xF7, 0xF8, 0xFF};
  for (std::size_t n = 0; n < 220; ++n) {
    for (const unsigned spoilt_in : {1u, 4u, 40u}) {  // one of so many units is changed
      Units16 units = random_.next(n, random_.below(2) == 0);
      ExpectAsReference(units, random_.below(3) == 0 ? random_.below(n + 1) : 0);
      Units8 bytes = reference::ToUtf8(units, ~0u, random_.below(2) == 0);
      bytes.resize(bytes.size() - random_.below(std::min<std::size_t>(bytes.size() + 1, 4)));
      for (auto& byte : bytes) {
        if (random_.below(spoilt_in) == 0) byte = kOdd[random_.below(sizeof kOdd)];
      }
      ExpectAsReference(bytes, random_.below(3) == 0 ? random_.below(n + 1) : 0);
    }
  }
}

TEST_P(UtfTest, EveryUnitAndEveryPairOfEdgesConvertsWhereverItStands) {
  for (unsigned first = 0; first <= 0xFFFF; first += 61) {
    Units16 text;
    for (unsigned i = 0; i != 61; ++i) text.push_back(static_cast<unsigned short>(first + i));
    ExpectBothWaysAsReference(text);
  }
  static constexpr unsigned short kEdges[] = {0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xD800,
                                              0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  for (const auto first : kEdges) {
    for (const auto second : kEdges) {
      for (std::size_t at = 0; at < 100; ++at) {
        Units16 text(at, at % 2 == 0 ? 'x' : 0x6587);
        text.insert(text.end(), {first, second, 'y'});
        ExpectBothWaysAsReference(text);
        ExpectAsReference(text, at / 4);
      }
    }
  }
}

TEST(UtfCharacterTest, EveryCharacterEncodesAndDecodesAsIcuDoes) {
  for (char32_t c = 0; c < 0x110010; ++c) {
    unsigned char ours[4] = {};
    std::uint8_t icu[4] = {};
    std::int32_t length = 0;
    UBool error = false;
    U8_APPEND(icu, length, 4, std::uint32_t{c}, error);
    ASSERT_EQ(encode_utf8(c, ours), error ? 0u : static_cast<std::size_t>(length)) << unsigned(c);
    if (error) continue;
    ASSERT_TRUE(std::equal(icu, icu + 4, ours)) << unsigned(c);
    ASSERT_EQ(decode_utf8(ours, static_cast<std::size_t>(length)), c);
  }
}

}  // namespace
}  // namespace tstl

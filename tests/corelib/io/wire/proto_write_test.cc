#include "corelib/io/wire/proto_write.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "fuzz/io/wire_oracle.h"

namespace tstl {

// Calls the safeguard for arrays with a one-byte length; no array that takes that path is long
// enough to need it.
struct ProtoWritePeer {
  static void WidenLength(ProtoWrite& out, std::uint64_t payload_at) {
    unsigned char* const at = out.out_.room(nullptr, 1);
    out.at_ = out.widen_length(at, payload_at);
  }
};

namespace {

using View8 = BufferRef<unsigned char>;
using View16 = BufferRef<unsigned short>;

std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes)
    (text += "0123456789ABCDEF"[(byte >> 4) & 15]) += "0123456789ABCDEF"[byte & 15];
  return text;
}

// The message, in hexadecimal, that `encode` writes (any callable that takes the writer or a pass).
// It is written in four ways, which must agree: by write() with the writer, by write() with the
// passes, by write_once(), and by the operations alone.
template <class Encode>
std::string Written(Encode encode) {
  ProtoWrite driven, passed, hand;
  EXPECT_TRUE(driven.write([&](ProtoWrite& out) { encode(out); }));
  EXPECT_EQ(driven.measured_size(), driven.output().len());
  auto& bytes = driven.output();
  EXPECT_TRUE(passed.write([&](auto& out) { encode(out); }));
  EXPECT_EQ(passed.output(), bytes);
  static ProtoWrite once;  // keeps the widths of earlier tests' messages, often wrong guesses
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(once.write_once([&](auto pass) { return encode(pass), pass; }));
    EXPECT_EQ(once.output(), bytes);
  }
  for (auto* out : {&bytes, &once.output()}) EXPECT_EQ(out->c_str()[out->len()], 0);
  encode(hand);
  EXPECT_EQ(hand.output(), bytes);
  return Hex(bytes.std_view());
}

template <class T>
std::string WrittenArray(const T* values, std::uint32_t count) {
  return Written([&](auto& out) { out.bsc_write_karrpack(1, VectorRef<T>(values, count)); });
}

// Messages in messages, two in each, five deep. The lengths of the inner ones take one byte, those
// of the outer ones two.
constexpr unsigned kDepth = 5;
template <class Out>
void Nest(Out& out, unsigned level, bool sized) {
  if (level == kDepth) return;
  out.template bsc_write_kvarint<unsigned>(1, level);
  for (unsigned twin = 0; twin < (sized ? 2 : 1); ++twin) {
    const auto slot = out.bsc_begin_kmsg(sized, 2 + twin);
    Nest(out, level + 1, sized);
    out.bsc_end_kmsg(slot);
  }
}
std::string Nested(unsigned level) {
  if (level == kDepth) return {};
  const std::string inner = Nested(level + 1);
  return "\x08" + oracle::PlainVarint(level) + oracle::PlainField(2, inner) +
         oracle::PlainField(3, inner);
}

TEST(ProtoWriteTest, FieldsHaveTheirBytes) {
  const auto varint = [](auto value, std::uint32_t key) {
    return Written([&](auto& out) { out.template bsc_write_kvarint<decltype(value)>(key, value); });
  };
  EXPECT_EQ(varint(-1, 1), "08FFFFFFFFFFFFFFFFFF01");
  EXPECT_EQ(varint(300u, 16), "8001AC02");
  EXPECT_EQ(varint(0u, 1), "0800");
  EXPECT_EQ(varint(true, 4), "2001");
  EXPECT_EQ(varint(7u, 0x1FFFFFFF), "F8FFFFFF0F07");
  EXPECT_EQ(varint(7u, 0x20000001), "0807");  // the key is computed in 32 bits

  for (const std::size_t size : {0u, 3u, 200u, 9000u}) {
    const std::string text(size, 'x');
    EXPECT_EQ(Written([&](auto& out) { out.bsc_write_kbytes(20, text); }),
              Hex(oracle::PlainField(20, text)));
  }
  EXPECT_EQ(Written([](auto& out) { Nest(out, 0, true); }), Hex(Nested(0)));
  EXPECT_EQ(Written([](auto& out) { Nest(out, 0, false); }), "08000801080208030804");
  EXPECT_EQ(Written([](auto& out) { out.bsc_end_kmsg(out.bsc_begin_kmsg(true, 20)); }), "A20100");
  EXPECT_EQ(Written([](auto& out) {
              out.template bsc_write_kfixed<float>(1, -2.5f);
              out.template bsc_write_kfixed<double>(2, 1);
              out.template bsc_write_kfixed<std::uint32_t>(30, 0x01020304);
            }),
            "0D000020C0"
            "11000000000000F03F"
            "F50104030201");
  EXPECT_EQ(Written([](auto&) {}), "");
}

template <class T>
class ProtoWriteScalarTest : public testing::Test {};
using Scalars = testing::Types<bool, char, signed char, short, int, long long, unsigned char,
                               unsigned short, unsigned, char16_t, char32_t, unsigned long long>;
TYPED_TEST_SUITE(ProtoWriteScalarTest, Scalars);

TYPED_TEST(ProtoWriteScalarTest, SinglesAndArraysOfAnyLengthMatchThePlainEncoding) {
  using T = TypeParam;
  using Number = std::conditional_t<std::is_same_v<T, char>, signed char, T>;
  using Extended = std::conditional_t<std::is_signed_v<Number>, std::int64_t, std::uint64_t>;
  const auto array = std::make_unique<T[]>(200);
  std::mt19937_64 random(11);
  std::string payload;
  for (std::uint32_t count = 0; count < 200; ++count) {
    if (count < 16 || count % 31 == 0) {
      EXPECT_EQ(WrittenArray(array.get(), count), Hex(oracle::PlainField(1, payload)));
    }
    const T values[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(),
                        static_cast<T>(random() >> random() % 64)};
    const T value = array[count] = values[count < 2 ? count : 2];
    const std::string bytes = oracle::PlainVarint(std::uint64_t(Extended(Number(value))));
    EXPECT_EQ(Written([&](auto& out) { out.template bsc_write_kvarint<T>(3, value); }),
              "18" + Hex(bytes));
    payload += bytes;
  }
}

TEST(ProtoWriteTest, PackedArraysHaveTheirLengthWhicheverWayItIsFound) {
  const std::u16string units(10, u'\x4000');
  const std::vector<long long> minus(13, -1);
  EXPECT_EQ(WrittenArray(units.data(), 10).substr(0, 6), "0A1E80");
  EXPECT_EQ(WrittenArray(minus.data(), 10).substr(0, 6), "0A64FF");
  EXPECT_EQ(WrittenArray(minus.data(), 13).substr(0, 6), "0A8201");

  for (const auto size : {127u, 128u, 16384u}) {  // a longer length moves the payload
    const std::string payload(size, 'p');
    ProtoWrite out;
    out.output().append_str(View8("k?" + payload));
    ProtoWritePeer::WidenLength(out, 2);
    EXPECT_EQ(out.output().std_view(), "k" + oracle::PlainVarint(size) + payload);
  }
}

TEST(ProtoWriteTest, Utf16GoesOutAsUtf8WithLoneSurrogatesKept) {
  const std::pair<std::u16string_view, std::string_view> rows[] = {
      {u"", ""},
      {u"a\u007F\u0080\u07FF\u0800\uFFFF", "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {u"\U0001F600\U0010FFFF", "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
      {u"\xDE00\xD83Dx\xD83D\xDE00\xD83D", "\xED\xB8\x80\xED\xA0\xBDx\xF0\x9F\x98\x80\xED\xA0\xBD"},
  };
  for (const auto& [tail, tail_payload] : rows) {
    std::u16string before;
    std::string payload;
    for (; before.size() < 6000; before += u'\u4F60', payload += "\xE4\xBD\xA0") {
      if (before.size() > 50 && before.size() % 997 != 0) continue;
      const std::u16string text = before + std::u16string(tail);
      EXPECT_EQ(Written([&](auto& out) { out.bsc_write_kstr16(5, View16(text)); }),
                Hex(oracle::PlainField(5, payload + std::string(tail_payload))));
    }
  }
}

TEST(ProtoWriteTest, MemoryIsKeptFromMessageToMessageAndLetGoWhenOneIsTooLong) {
  ProtoWrite out;
  const auto encode = [](auto& to, View8 text) {
    const auto slot = to.bsc_begin_kmsg(true, 1);
    to.bsc_write_kbytes(1, text);
    to.bsc_write_kbytes(1, text);
    to.bsc_end_kmsg(slot);
  };
  const auto write = [&](View8 text) {
    return out.write([&](ProtoWrite& to) { encode(to, text); });
  };
  EXPECT_TRUE(write("abc"));
  const unsigned char* const memory = out.output().c_str();
  EXPECT_TRUE(write("a"));
  EXPECT_EQ(out.output().c_str(), memory);
  const unsigned char* volatile byte = memory;
  const View8 huge(byte, 0xFFFFFFFF);  // only its length is used
  EXPECT_FALSE(write(huge));
  EXPECT_EQ(out.measured_size(), FAILURE);
  EXPECT_EQ(out.output().ref_internal_data(), nullptr);
  out.begin_measuring();
  encode(out, "");
  EXPECT_TRUE(out.begin_writing());
  encode(out, "");
  EXPECT_EQ(Hex(out.output().std_view()), "0A040A000A00");
  encode(out, "b");  // appended
  EXPECT_EQ(Hex(out.output().std_view()), "0A040A000A000A060A01620A0162");
  EXPECT_FALSE(out.write_once([&](auto pass) { return encode(pass, huge), pass; }));
  EXPECT_EQ(out.output().ref_internal_data(), nullptr);

  ProtoWrite hand;  // the second field does not fit, and nothing is written after it
  hand.bsc_write_kvarint<int>(1, 1);
  hand.bsc_write_kbytes(2, huge);
  hand.bsc_write_kvarint<int>(3, 1);
  hand.bsc_write_karrpack(4, VectorRef<char>("x", 1));
  EXPECT_EQ(hand.output().ref_internal_data(), nullptr);
}

// In a release build the message is wrong then, but nothing is written outside the output's memory.
TEST(ProtoWriteDeathTest, CallsOutOfOrderAreAssertedAndHarmless) {
  const std::pair<const char*, void (*)(ProtoWrite&)> rows[] = {
      {"another order",
       [](ProtoWrite& out) {
         const auto outer = out.bsc_begin_kmsg(true, 1), inner = out.bsc_begin_kmsg(true, 2);
         out.bsc_end_kmsg(outer), out.bsc_end_kmsg(inner);
       }},
      {"another order", [](ProtoWrite& out) { out.bsc_end_kmsg(0); }},
      {"passes differ",
       [](ProtoWrite& out) {
         int calls = 0;
         (void)out.write([&](ProtoWrite& to) {
           if (calls++ != 0) to.bsc_write_kbytes(2, View8(std::string(500, 'x')));
           if (calls > 1) to.bsc_end_kmsg(to.bsc_begin_kmsg(true, 4));
         });
       }},
      {"has no end",
       [](ProtoWrite& out) { (void)out.bsc_begin_kmsg(true, 1), (void)out.output(); }},
      {"has no end",
       [](ProtoWrite& out) {
         const auto slot = out.bsc_begin_kmsg(true, 1);
         const Buffer<unsigned char> taken = std::move(out.output());
         out.bsc_end_kmsg(slot);
         out.bsc_write_kvarint<int>(1, 1), out.bsc_end_kmsg(slot), out.bsc_end_kmsg(1);
       }},
  };
  for (const auto& [what, calls] : rows) {
    const auto write = [&c = calls] {
      ProtoWrite out;
      c(out);
    };
    EXPECT_DEBUG_DEATH(write(), what);
  }
}

}  // namespace
}  // namespace tstl

#include "corelib/io/proto_write.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tstl {

// Reaches the safeguard behind short arrays, whose payload is never long enough for it.
struct ProtoWritePeer {
  static void WidenLength(ProtoWrite& out, std::uint64_t payload_at) {
    unsigned char* const at = out.out_.room(nullptr, 1);
    out.at_ = out.widen_length(at, payload_at);
  }
};

namespace {

using std::string_view_literals::operator""sv;
using View8 = BufferRef<unsigned char>;
using View16 = BufferRef<unsigned short>;

std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += "0123456789ABCDEF"[(byte >> 4) & 15];
    text += "0123456789ABCDEF"[byte & 15];
  }
  return text;
}

// The message that `encode` (any callable that takes the writer or a pass) writes: with the writer
// driven, with passes handed through, and by hand where no lengths have to be known beforehand. All
// must agree.
template <class Encode>
std::string Written(Encode encode, bool by_hand = true) {
  ProtoWrite driven, passed, hand;
  EXPECT_TRUE(driven.write([&](ProtoWrite& out) { encode(out); }));
  EXPECT_EQ(driven.measured_size(), driven.output().len());
  EXPECT_EQ(driven.output().c_str()[driven.output().len()], 0);
  const std::string bytes(driven.output().std_view());
  EXPECT_TRUE(passed.write([&](ProtoWrite& out) {
    out.pass([&](auto pass) {
      encode(pass);
      return pass;
    });
  }));
  EXPECT_EQ(Hex(passed.output().std_view()), Hex(bytes));
  if (by_hand) {
    encode(hand);
    EXPECT_EQ(Hex(hand.output().std_view()), Hex(bytes));
  }
  return bytes;
}

template <class T>
std::string WrittenArray(std::uint32_t key, const std::vector<T>& values) {
  const VectorRef<T> view(values.data(), static_cast<std::uint32_t>(values.size()));
  return Written([&](auto& out) { out.bsc_write_karrpack(key, view); }, values.size() < 11);
}

// The format written the plain way: every content is built first, and its length is then known.
std::string Varint(std::uint64_t value) {
  std::string bytes;
  for (; value > 127; value /= 128) bytes += static_cast<char>(value % 128 + 128);
  return bytes + static_cast<char>(value);
}
std::string Field(std::uint32_t key, std::string_view payload) {
  return Varint(key * 8u + 2) + Varint(payload.size()) + std::string(payload);
}

TEST(ProtoWriteTest, FieldsHaveTheirBytes) {
  const auto varint = [](auto value, std::uint32_t key) {
    return Hex(
        Written([&](auto& out) { out.template bsc_write_kvarint<decltype(value)>(key, value); }));
  };
  EXPECT_EQ(varint(-1, 1), "08FFFFFFFFFFFFFFFFFF01");
  EXPECT_EQ(varint(300u, 16), "8001AC02");
  EXPECT_EQ(varint(0u, 1), "0800");
  EXPECT_EQ(varint(true, 4), "2001");
  EXPECT_EQ(varint(7u, 0x1FFFFFFF), "F8FFFFFF0F07");
  EXPECT_EQ(varint(7u, 0x20000001), "0807");  // the key is computed in 32 bits

  EXPECT_EQ(Hex(Written([](auto& out) { out.bsc_write_kbytes(2, View8("abc")); })), "1203616263");
  EXPECT_EQ(Hex(Written([](auto& out) { out.bsc_write_kbytes(2, View8()); })), "1200");
  const std::string long_text(200, 'x');
  EXPECT_EQ(Written([&](auto& out) { out.bsc_write_kbytes(2, View8(long_text)); }),
            "\x12\xC8\x01" + long_text);

  const auto nested = [](bool sized) {
    return Hex(Written(
        [&](auto& out) {
          const auto outer = out.bsc_begin_kmsg(sized, 5);
          const auto inner = out.bsc_begin_kmsg(sized, 20);
          out.bsc_end_kmsg(inner);
          out.template bsc_write_kvarint<int>(1, 2);
          out.bsc_end_kmsg(outer);
        },
        !sized));
  };
  EXPECT_EQ(nested(true), "2A05A201000802");
  EXPECT_EQ(nested(false), "0802");
  EXPECT_EQ(Written([](auto&) {}), "");
}

template <class T>
class ProtoWriteScalarTest : public testing::Test {};
using Scalars = testing::Types<bool, char, signed char, short, int, long long, unsigned char,
                               unsigned short, unsigned, char16_t, char32_t, unsigned long long>;
TYPED_TEST_SUITE(ProtoWriteScalarTest, Scalars);

TYPED_TEST(ProtoWriteScalarTest, SinglesAndArraysOfAnyLengthMatchThePlainEncoding) {
  using T = TypeParam;
  std::mt19937_64 random(11);
  for (std::uint32_t count = 0; count < 200; count += count < 14 ? 1 : 31) {
    std::vector<T> values;
    std::string payload;
    std::unique_ptr<T[]> array(new T[count]);
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint64_t bits = random() >> random() % 64;
      array[i] = i == 0   ? std::numeric_limits<T>::min()
                 : i == 1 ? std::numeric_limits<T>::max()
                          : static_cast<T>(bits);
      const auto value =
          std::is_same_v<T, char> || std::is_signed_v<T>
              ? static_cast<std::uint64_t>(
                    static_cast<
                        std::make_signed_t<std::conditional_t<std::is_same_v<T, bool>, char, T>>>(
                        array[i]))
              : static_cast<std::uint64_t>(array[i]);
      payload += Varint(value);
      EXPECT_EQ(Written([&](auto& out) { out.template bsc_write_kvarint<T>(3, array[i]); }),
                Varint(24) + Varint(value));
    }
    const VectorRef<T> view(array.get(), count);
    EXPECT_EQ(Hex(Written([&](auto& out) { out.bsc_write_karrpack(3, view); }, count < 11)),
              Hex(Field(3, payload)));
  }
}

TEST(ProtoWriteTest, PackedArraysHaveTheirLengthWhicheverWayItIsFound) {
  const auto head = [](const std::string& bytes) {
    return Hex(std::string_view(bytes).substr(0, 3));
  };
  EXPECT_EQ(head(WrittenArray(1, std::vector<unsigned short>(10, 0x4000))), "0A1E80");
  EXPECT_EQ(head(WrittenArray(1, std::vector<long long>(10, -1))), "0A64FF");
  EXPECT_EQ(head(WrittenArray(1, std::vector<int>(10, -1))), "0A64FF");
  EXPECT_EQ(head(WrittenArray(1, std::vector<int>(13, -1))), "0A8201");
  EXPECT_EQ(Hex(WrittenArray(1, std::vector<int>())), "0A00");
}

TEST(ProtoWriteTest, AShortLengthThatDoesNotFitMovesThePayload) {
  for (const std::size_t size : {127u, 128u, 16383u, 16384u}) {
    const std::string payload(size, 'p');
    ProtoWrite out;
    out.output().append_str(View8("k?" + payload));
    ProtoWritePeer::WidenLength(out, 2);
    EXPECT_EQ(out.output().std_view(), "k" + Varint(size) + payload);
  }
}

TEST(ProtoWriteTest, Utf16GoesOutAsUtf8WithLoneSurrogatesKept) {
  struct Row {
    std::u16string_view text;
    std::string_view payload;
  };
  const Row rows[] = {
      {u"", ""},
      {u"a\u007F\u0080\u07FF\u0800\uFFFF", "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {u"\U0001F600\U0010FFFF", "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
      {u"\xD83D", "\xED\xA0\xBD"},
      {u"\xDE00\xD83Dx\xD83D\xDE00", "\xED\xB8\x80\xED\xA0\xBDx\xF0\x9F\x98\x80"},
  };
  for (const Row& row : rows) {
    for (const std::size_t before :
         {0u, 30u, 37u, 38u, 39u, 42u, 43u, 60u, 6000u}) {  // about every change of the length
      const std::u16string text = std::u16string(before, u'\u4F60') + std::u16string(row.text);
      std::string payload;
      for (std::size_t i = 0; i < before; ++i) payload += "\xE4\xBD\xA0";
      payload += row.payload;
      EXPECT_EQ(Hex(Written([&](auto& out) { out.bsc_write_kstr16(5, View16(text)); })),
                Hex(Field(5, payload)));
    }
  }
}

// A random message: the same numbers give the same calls in every pass, and the plain bytes.
template <class Out>
std::string RandomMessage(Out& out, std::mt19937& random, int depth) {
  std::string want;
  const std::string text(random() % (random() % 8 ? 20 : 300), 'x');
  for (auto fields = random() % 6; fields-- > 0;) {
    const std::uint32_t key = 1 + static_cast<std::uint32_t>(random() % 40);
    const auto kind = random() % (depth < 6 ? 4 : 3);
    if (kind == 0) {
      const auto value = static_cast<unsigned>(random() >> random() % 32);
      out.template bsc_write_kvarint<unsigned>(key, value);
      want += Varint(key * 8) + Varint(value);
    } else if (kind == 1) {
      out.bsc_write_kbytes(key, View8(text));
      want += Field(key, text);
    } else if (kind == 2) {
      const std::vector<unsigned short> values(
          random() % 24, static_cast<unsigned short>(random() >> random() % 32));
      out.bsc_write_karrpack(key,
                             VectorRef(values.data(), static_cast<std::uint32_t>(values.size())));
      std::string payload;
      for (const auto value : values) payload += Varint(value);
      want += Field(key, payload);
    } else {
      const auto slot = out.bsc_begin_kmsg(true, key);
      want += Field(key, RandomMessage(out, random, depth + 1));
      out.bsc_end_kmsg(slot);
    }
  }
  return want;
}

TEST(ProtoWriteTest, RandomNestedMessagesMatchThePlainEncoding) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    std::string want;
    const std::string got = Written(
        [&](auto& out) {
          std::mt19937 random(seed);
          want = RandomMessage(out, random, 0);
        },
        false);
    ASSERT_EQ(Hex(got), Hex(want)) << "seed " << seed;
  }
}

TEST(ProtoWriteTest, AWriterKeepsItsMemoryFromMessageToMessage) {
  ProtoWrite out;
  const auto write = [&](unsigned value) {
    EXPECT_TRUE(out.write([&](ProtoWrite& to) {
      const auto slot = to.bsc_begin_kmsg(true, 1);
      to.bsc_write_kvarint<unsigned>(2, value);
      to.bsc_end_kmsg(slot);
    }));
    return Hex(out.output().std_view());
  };
  EXPECT_EQ(write(300), "0A0310AC02");
  const unsigned char* const memory = out.output().c_str();
  EXPECT_EQ(write(1), "0A021001");
  EXPECT_EQ(out.output().c_str(), memory);
  const Buffer<unsigned char> taken(std::move(out.output()));
  EXPECT_EQ(write(2), "0A021002");
  EXPECT_EQ(Hex(taken.std_view()), "0A021001");
}

TEST(ProtoWriteTest, AMessageThatIsTooLongIsNotWritten) {
  const unsigned char x = 'x';
  const unsigned char* volatile byte = &x;
  const View8 huge(byte, 0xF0000000);  // only its length is looked at
  const auto encode = [&](ProtoWrite& out) {
    const auto slot = out.bsc_begin_kmsg(true, 1);
    out.bsc_write_kbytes(1, huge);
    out.bsc_write_kbytes(2, huge);
    out.bsc_end_kmsg(slot);
  };
  ProtoWrite out;
  out.bsc_write_kvarint<int>(1, 1);
  EXPECT_FALSE(out.write(encode));
  EXPECT_EQ(out.measured_size(), FAILURE);
  EXPECT_EQ(out.output().ref_internal_data(), nullptr);

  ProtoWrite hand;  // the second field finds no room, and nothing goes on behind it
  hand.bsc_write_kvarint<int>(1, 1);
  hand.bsc_write_kbytes(2, View8(byte, 0xFFFFFFFF));
  hand.bsc_write_kvarint<int>(3, 1);
  hand.bsc_write_karrpack(4, VectorRef<unsigned char>(&x, 1));
  EXPECT_EQ(hand.output().ref_internal_data(), nullptr);
  EXPECT_TRUE(hand.write([](ProtoWrite& to) { to.bsc_write_kvarint<int>(1, 1); }));
  EXPECT_EQ(Hex(hand.output().std_view()), "0801");
}

TEST(ProtoWriteDeathTest, PassesThatDifferAreNoticedAndHarmless) {
  EXPECT_DEBUG_DEATH(
      {
        ProtoWrite out;
        int pass = 0;
        const std::string text(500, 'x');
        (void)out.write([&](ProtoWrite& to) {
          to.bsc_end_kmsg(to.bsc_begin_kmsg(true, 1));
          if (pass++ != 0) to.bsc_write_kbytes(2, View8(text));
          if (pass++ != 0) to.bsc_end_kmsg(to.bsc_begin_kmsg(true, 3));
        });
      },
      "passes differ");
}

}  // namespace
}  // namespace tstl

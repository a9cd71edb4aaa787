#include "corelib/text/buffer.h"

#include <utility>

#include "corelib/text/buffer_inline.h"
#include "corelib/text/utf.h"
#include "tests/corelib/text/units.h"

namespace tstl {
namespace {

using namespace std::string_view_literals;
using Bytes = Buffer<unsigned char>;
using Wide = Buffer<unsigned short>;

static_assert(!std::is_convertible_v<BufferRef<unsigned char>, Bytes>, "no copy without saying so");
static_assert(!std::is_copy_constructible_v<BufferMemOwner<unsigned char>>);
template <class C>
concept AppendsTo8Bit = requires(Bytes bytes, C c) {
  bytes.append_chr(c);
};
static_assert(AppendsTo8Bit<char32_t> && AppendsTo8Bit<int> && !AppendsTo8Bit<wchar_t>);

template <class T>
class BufferTest : public testing::Test {};
TYPED_TEST_SUITE(BufferTest, Units, UnitNames);

template <class T>
void ExpectText(const Buffer<T>& buffer, std::string_view want) {
  EXPECT_EQ(buffer, Widen<T>(want));
}

TYPED_TEST(BufferTest, ACapacityThatWasKeptIsNotTakenForMemory) {
  Buffer<TypeParam> buffer(40u);
  buffer.set_data_empty();
  EXPECT_EQ(buffer.capacity(), 40u);
  EXPECT_EQ(buffer.c_str()[0], 0);
  ExpectText(buffer.append_chr('z'), "z");
  EXPECT_EQ(buffer.capacity(), 32u);
}

TYPED_TEST(BufferTest, OwnershipIsGivenUpAndTakenOnlyOfHeapMemory) {
  Buffer<TypeParam> giver(40u), taker;
  taker.set_data_external(40, giver.str(), 0);
  giver.release_the_ownership();
  taker.capture_the_ownership();  // the address sanitizer reports a double free or a leak
  EXPECT_TRUE(taker.is_owner() && !giver.is_owner());
  giver.set_data_const(taker.str(), 0);
  giver.capture_the_ownership();
  BufferInline<TypeParam, 4> in_itself;
  in_itself.capture_the_ownership();
  EXPECT_FALSE(giver.is_owner() || in_itself.is_owner());
}

TYPED_TEST(BufferTest, MovesTakeMemoryAndCopyInlineText) {
  using T = TypeParam;
  Buffer<T> heap;
  const T* const memory = heap.append_str(Widen<T>("text")).str();
  BufferInline<T, 8> target, from_inline;
  target = std::move(heap);
  EXPECT_EQ(target.str(), memory);
  EXPECT_EQ(heap.ref_internal_data(), nullptr);
  target.assign_rv(std::move(target), true);
  target.assign_rv(std::move(from_inline.append_chr('i')), false);
  ExpectText(target, "i");
  EXPECT_EQ(target.str(), memory) << "kept for the copy";
  target = std::move(from_inline);
  EXPECT_TRUE(target.is_with_data());
  const T text[] = {'c'};
  heap.set_data_const(text, 1);
  EXPECT_TRUE((BufferInline<T, 8>(std::move(heap)).is_const_data()));
  EXPECT_EQ(target.append_str_fix(Widen<T>("XYZ"), 3), 2u);
  EXPECT_EQ(target.set_len_fix(9, 100), 8u);
  EXPECT_EQ(target.set_len_fix(7, 4), 4u);
  EXPECT_EQ(target.assign(Widen<T>("abc"), 2), 2u);  // with a limit below the old length
  ExpectText(target, "ab");
}

TEST(BufferTranscodeTest, OtherWidthIsTranscodedAndLoneSurrogatesDropped) {
  const std::u16string wide = u"A\U0001F600\xDC00\u4E2D";
  const std::string narrow = "A\U0001F600\u4E2D";
  EXPECT_EQ(Bytes(wide.data(), 5), narrow);
  EXPECT_EQ(Bytes("old", 3).assign(BufferRef<unsigned short>(wide)), narrow);
  EXPECT_EQ((BufferInline<unsigned short, 4>(BufferRef<unsigned char>(narrow))),
            u"A\U0001F600\u4E2D"sv);
  EXPECT_EQ(Wide().append_str(narrow).assign_transcoded(narrow).len(), 4u);
  EXPECT_EQ(Wide().assign("\xC3\xA4"), u"\u00C3\u00A4"sv) << "assign alone widens";
  Wide own("ab", 2);
  const BufferRef<unsigned char> inside(reinterpret_cast<unsigned char*>(own.str()), 4);
  EXPECT_EQ(own.assign(inside), u"a\0b\0"sv);
}

TEST(BufferTranscodeTest, OneCharacterIsEncodedWithHeadroom) {
  BufferInline<unsigned char, 8> bytes;
  bytes.append_chr(u'\u00E9').append_chr(u'\u4E2D').append_chr(u'\xD800');
  EXPECT_EQ(bytes, "\u00E9\u4E2D");
  EXPECT_TRUE(bytes.is_with_data());
  EXPECT_FALSE(bytes.append_chr('x').append_chr(u'y').is_with_data()) << "3 bytes do not fit";
  bytes.clear().append_chr(U'\U0001F600').append_chr(char32_t{0xDFFF}).append_chr('\xFF');
  EXPECT_EQ(bytes, "\U0001F600\xFF");
  Wide wide;
  wide.append_chr(U'\U0001F600').append_chr(u'\xD800').append_chr(char32_t{0x110000});
  wide.append_chr(char32_t{0xDFFF});
  EXPECT_EQ(wide.append_chr('\xFF'), u"\U0001F600\xD800\u00FF"sv);
}

#ifdef NDEBUG  // debug builds assert
TEST(BufferTranscodeTest, ANumberThatIsNoUnitAppendsNothing) {
  for (int i = 0; i < 2; ++i) {  // not a constant, which the compiler would refuse
    EXPECT_EQ(Bytes().append_chr(0x4E2D * i + 'a').len(), 1u - unsigned(i));
    EXPECT_EQ(Wide().append_chr(0x4E2D * i).append_chr(-i).len(), 2u - unsigned(i));
  }
}
#endif

TEST(BufferTranscodeTest, AnyBytesComeBackThroughUnits) {
  RandomTexts random(6);
  for (int i = 0; i < 20000; ++i) {
    const auto bytes =
        random.next<unsigned char>(12, "a\xC3\xA9\xE4\xB8\xAD\xED\xB2\x80\xF0\x9F\x98");
    const std::string_view text = bytes.view().std_view();
    Wide units;
    ASSERT_EQ(Bytes().append_lossless(units.append_lossless(bytes)), text);
    if (valid_utf8_prefix(bytes.view().cstr(), text.size()) == text.size()) {
      ASSERT_EQ(units, Wide(bytes));
    }
  }
  EXPECT_EQ(Wide().append_lossless("\xE4\xB8x\xFF\u4E2D\xED\xB2\x80"),
            u"\xDCE4\xDCB8x\xDCFF\u4E2D\xDCED\xDCB2\xDC80"sv);
  EXPECT_EQ(Bytes().append_lossless(u"\U0001F480\xDC7F"), "\U0001F480\xED\xB1\xBF");
}

TYPED_TEST(BufferTest, ValuesAreAppendedAsText) {
  using B = Buffer<TypeParam>;
  ExpectText(B().append_num(-5).append_num(~0ull).append_num(-7, 4), "-518446744073709551615-007");
  ExpectText(B().append_hex(0xABC).append_hex(static_cast<signed char>(-1), 4), "ABC00FF");
  ExpectText(B().append_real(0.1).append_real(-2.5, 3, 2).append_filesize(1536),
             "0.1-002.501.500K");
  ExpectText(B().append_date({54, 2, 4}).append_time({6, 7, 8}), "2024-03-0506:07:08");
  ExpectText(B().append_datetime({{54, 2, 4}, 6, 7, 8, u'T'}), "2024-03-05T06:07:08");
  ExpectText(B().append_bin8(0xA5).append_bin8(1), "1010010100000001");
  ExpectText(B().append_chr('a').ensure_len_align4().ensure_len_align4(), "a\0\0\0"sv);
  ExpectText(B().append_timecost(59999).append_timecost(60000), "59.999s1m00.000s");
  ExpectText(B().append_timecost(999).append_timecost(1000), "999ms1.000s");
  ExpectText(B().append_timecost(3723004), "1h02m03.004s");
  ExpectText(B().append_timecost(~0ull), "213503982334d14h25m51.615s");
  ExpectText(B().ensure_slash_end().ensure_slash_end(), "/");
  ExpectText(B().append_str(Widen<TypeParam>("a\\b\\")).ensure_slash_end(), "a/b/");
  ExpectText(B().append_str(Widen<TypeParam>("a\\b\\\\")).ensure_noslash_end(), "a/b/");
}

TYPED_TEST(BufferTest, EscapesAreWrittenAndResolved) {
  using T = TypeParam;
  const auto unescape = [](std::string_view text) {
    return Buffer<T>().append_unescape(Widen<T>(text));
  };
  ExpectText(Buffer<T>().append_ctrl(Widen<T>("a\0\n\\\x1F\x7F"sv)), "a\\0\\n\\\\\\x1F\\x7F");
  ExpectText(unescape("\\\"\\'\\/\\e\\x41\\u0042"), "\"'/\x1B\x41\x42");
  for (const char* text : {"\\", "\\q\\x4g\\x4", "\\u12", "\\u123g"})
    ExpectText(unescape(text), text);
  RandomTexts random(5);
  for (unsigned i = 0; i < 2000; ++i) {
    const auto text = random.next<T>(40, "\\\\\n\t\x01\x7F\x1Bnxu0041");
    Buffer<T> buffer;
    const unsigned len = buffer.append_ctrl(text).len();
    EXPECT_EQ(buffer.append_unescape(buffer).sub_tail(len), text.view());
  }
  EXPECT_EQ(Bytes().append_unescape("\\uD83D\\uDE00\\uD83D\\u0041\\uDE00"), "\U0001F600\x41");
  EXPECT_EQ(Wide().append_unescape(u"\\uD83D\\uDE00\\uDE00"sv), u"\U0001F600\xDE00"sv);
}

}  // namespace
}  // namespace tstl

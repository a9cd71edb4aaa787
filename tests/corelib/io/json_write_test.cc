#include "corelib/io/json_write.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "corelib/containers/chunk.h"
#include "corelib/io/json_read.h"
#include "corelib/text/utf.h"
#include "fuzz/io/json_oracle.h"

namespace tstl {
namespace {

using std::string_view_literals::operator""sv;

template <class... Args>
std::string Written(void (JsonWrite::*member)(Args...) noexcept,
                    std::type_identity_t<Args>... args) {
  JsonWrite out;
  (out.*member)(args...);
  EXPECT_TRUE(out.good());
  return std::string(out.output().std_view());
}
std::string WrittenBytes(std::string_view bytes) {
  return Written<BufferRef<unsigned char>>(&JsonWrite::str, bytes);
}
std::string WrittenUnits(std::u16string_view units) {
  return Written<BufferRef<unsigned short>>(&JsonWrite::str, units);
}

TEST(JsonWriteTest, CommasStandBetweenMembersAndElementsOnly) {
  JsonWrite out;
  out.begin_object();
  out.plain_key("empty"), out.begin_object(), out.end_object();
  out.plain_key("rect"), out.begin_array(), out.num(-1), out.num(0), out.num(320u), out.end_array();
  out.key("k\n\"\xFF"), out.str(BufferRef<unsigned char>("v"));
  out.plain_key("list"), out.begin_array(), out.begin_array(), out.end_array(), out.begin_object();
  out.plain_key(""), out.null(), out.end_object(), out.boolean(true), out.raw("1e3"),
      out.end_array();
  out.plain_key("last"), out.boolean(false);
  out.end_object();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(
      out.output().std_view(),
      R"({"empty":{},"rect":[-1,0,320],"k\n\"\udcff":"v","list":[[],{"":null},true,1e3],"last":false})");
  out.clear();
  out.begin_array(), out.end_array();
  EXPECT_EQ(out.output().std_view(), "[]");
}

TEST(JsonWriteTest, NumbersAreExact) {
  EXPECT_EQ(Written<long long>(&JsonWrite::num<long long>, std::numeric_limits<long long>::min()),
            "-9223372036854775808");
  EXPECT_EQ(Written<unsigned long long>(&JsonWrite::num<unsigned long long>, ~0ull),
            "18446744073709551615");
  EXPECT_EQ(Written<double>(&JsonWrite::real, -0.1), "-0.1");
  EXPECT_EQ(Written<double>(&JsonWrite::real, std::numeric_limits<double>::infinity()), "null");
}

TEST(JsonWriteTest, StringsAreEscapedAndAlwaysUtf8) {
  struct Row {
    std::string_view bytes;
    std::u16string_view units;
    std::string_view json;
  };
  const Row rows[] = {
      {"", u"", R"("")"},
      {"\"\\/\b\t\n\f\r", u"\"\\/\b\t\n\f\r", R"("\"\\/\b\t\n\f\r")"},
      {"\0\x1F\x20\x7F"sv, std::u16string_view(u"\0\x1F\x20\x7F", 4), "\"\\u0000\\u001f\x20\x7F\""},
      {"\xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80", u"\u00E9\u4F60\U0001F600",
       "\"\xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80\""},
      {"a\x80\xFF", u"a\xDC80\xDCFF", R"("a\udc80\udcff")"},
      {"\xC0\x80\xE4\xBD", u"\xDCC0\xDC80\xDCE4\xDCBD", R"("\udcc0\udc80\udce4\udcbd")"},
      {"\xED\xA0\xBD", u"\xDCED\xDCA0\xDCBD", R"("\udced\udca0\udcbd")"},
  };
  for (const Row& row : rows) {
    for (const std::size_t before :
         {0u, 1u, 5u, 14u, 15u, 16u, 40u}) {  // every way that a run is scanned
      const std::string plain(before, 'x');
      const std::string want = '"' + plain + std::string(row.json.substr(1));
      EXPECT_EQ(WrittenBytes(plain + std::string(row.bytes)), want);
      EXPECT_EQ(WrittenUnits(std::u16string(before, u'x') + std::u16string(row.units)), want);
    }
  }
  EXPECT_EQ(WrittenUnits(u"\xDE00\xD83D\xD83D\xDE00\xD83D"),
            "\"\\ude00\\ud83d\xF0\x9F\x98\x80\\ud83d\"");
}

TEST(JsonWriteTest, WhatIsWrittenReadsBackTheSame) {
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes(random() % 50, 'x');
    std::u16string units(bytes.size(), u'x');
    const auto dirt = 1 + random() % 30;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (random() % dirt == 0) bytes[i] = static_cast<char>(random());
      if (random() % dirt == 0)
        units[i] = static_cast<char16_t>(random() % 2 ? random() : 0xD700 + random() % 0xA00);
      if (random() % 5 == 0 && i > 2) bytes.replace(i - 2, 3, "\xE4\xBD\xA0");
    }
    JsonWrite out;
    out.begin_array(), out.str(BufferRef<unsigned char>(bytes)),
        out.str(BufferRef<unsigned short>(units)), out.end_array();
    const std::string json(out.output().std_view());
    const auto* const text = out.output().c_str();
    ASSERT_EQ(valid_utf8_prefix(text, json.size()), json.size());
    ASSERT_NE(oracle::AskPeer(json).kind, oracle::Verdict::kBad) << json;
    Chunk arena;
    const JsonParse parse = json_parse(out.output(), arena);
    ASSERT_TRUE(parse) << json;
    EXPECT_EQ(parse.root->first_child()->str8(arena).std_view(), bytes);
    EXPECT_EQ(parse.root->first_child()->next()->str16(arena).std_view(), units);
  }
}

TEST(JsonWriteTest, ATextThatFindsNoRoomIsGivenUpWhole) {
  JsonWrite out;
  out.begin_array(), out.num(1);
  const unsigned char* volatile byte = out.output().c_str();
  out.raw(BufferRef<unsigned char>(byte, 0xFFFFFFFF));  // refused for its length; nothing is read
  out.num(2), out.str(BufferRef<unsigned char>("x")), out.key("k"), out.end_array();
  EXPECT_FALSE(out.good());
  EXPECT_EQ(out.output().ref_internal_data(), nullptr);
  out.clear();
  out.num(3);
  EXPECT_TRUE(out.good());
  EXPECT_EQ(out.output().std_view(), "3");
}

}  // namespace
}  // namespace tstl

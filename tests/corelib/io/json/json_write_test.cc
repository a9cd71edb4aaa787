#include "corelib/io/json/json_write.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_text.h"
#include "fuzz/io/json_oracle.h"

namespace tstl {
namespace {

using std::string_view_literals::operator""sv;

// A string as JsonWrite writes it. The output must be UTF-8, valid JSON for the peer, and read back
// as the same units.
template <Unit T>
std::string Written(std::basic_string_view<CharOf<T>> text) {
  JsonWrite out;
  out.str(BufferRef<T>(text));
  const std::string json(out.output().std_view());
  EXPECT_EQ(valid_utf8_prefix(out.output().c_str(), json.size()), json.size());
  EXPECT_NE(oracle::AskPeer(json).kind, oracle::Verdict::kBad) << json;
  Chunk arena;
  JsonNode* const node = json_parse(json, arena).root;
  if constexpr (sizeof(T) == 1) {
    EXPECT_EQ(node->str8(arena).std_view(), text);
  } else {
    EXPECT_EQ(node->str16(arena).std_view(), text);
  }
  return json;
}

TEST(JsonWriteTest, CommasStandBetweenMembersAndElementsOnlyAndNumbersAreExact) {
  JsonWrite out;
  out.begin_object();
  out.plain_key("empty"), out.begin_object(), out.end_object(), out.plain_key("rect");
  out.begin_array(), out.num(-1), out.num(std::numeric_limits<long long>::min());
  out.num(~0ull), out.real(-0.1), out.real(HUGE_VAL), out.end_array();
  out.key("k\n\"\xFF"), out.str(BufferRef<unsigned char>("v"));
  out.plain_key("list"), out.begin_array(), out.begin_array(), out.end_array(), out.begin_object();
  out.plain_key(""), out.null(), out.end_object(), out.boolean(true), out.raw("1e3");
  out.end_array(), out.plain_key("last"), out.boolean(false), out.end_object();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(out.output().std_view(),
            R"({"empty":{},"rect":[-1,-9223372036854775808,18446744073709551615,-0.1,null],)"
            R"("k\n\"\udcff":"v","list":[[],{"":null},true,1e3],"last":false})");
  out.clear();
  out.begin_array(), out.end_array();
  EXPECT_EQ(out.output().std_view(), "[]");
}

TEST(JsonWriteTest, StringsAreEscapedAndReadBackTheSame) {
  struct Row {
    std::string_view bytes;
    std::u16string_view units;
    std::string_view json;
  };
  const Row rows[] = {
      {"\"\\/\b\t\n\f\r", u"\"\\/\b\t\n\f\r", R"("\"\\/\b\t\n\f\r")"},
      {"\0\x1F\x20\x7F"sv, std::u16string_view(u"\0\x1F\x20\x7F", 4), "\"\\u0000\\u001f\x20\x7F\""},
      {"\xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80", u"\u00E9\u4F60\U0001F600",
       "\"\xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80\""},
      {"a\x80\xFF\xC0\x80\xE4\xBD", u"a\xDC80\xDCFF\xDCC0\xDC80\xDCE4\xDCBD",
       R"("a\udc80\udcff\udcc0\udc80\udce4\udcbd")"},
      {"\xED\xA0\xBD", u"\xDCED\xDCA0\xDCBD", R"("\udced\udca0\udcbd")"},
  };
  for (const Row& row : rows) {
    for (const auto before : {0u, 1u, 5u, 14u, 15u, 16u, 40u}) {  // every way to scan a run
      const std::string plain(before, 'x');
      const std::string want = '"' + plain + std::string(row.json.substr(1));
      EXPECT_EQ(Written<unsigned char>(plain + std::string(row.bytes)), want);
      EXPECT_EQ(Written<unsigned short>(std::u16string(before, u'x') + std::u16string(row.units)),
                want);
    }
  }
  EXPECT_EQ(Written<unsigned short>(u"\xDE00\xD83D\xD83D\xDE00\xD83D"),
            "\"\\ude00\\ud83d\xF0\x9F\x98\x80\\ud83d\"");
  // The other half of the pair is past the end of the view.
  EXPECT_EQ(Written<unsigned short>(std::u16string_view(u"x\xD83D\xDE00", 2)), "\"x\\ud83d\"");

  std::mt19937 random(7);
  for (int round = 0; round < 5000; ++round) {
    std::string bytes(random() % 50, 'x');
    std::u16string units(bytes.size(), u'x');
    for (auto dirt = bytes.empty() ? 0 : random() % 20; dirt-- != 0;) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
      bytes.replace(random() % bytes.size(), 3, "\xE4\xBD\xA0");
      units[random() % units.size()] =
          static_cast<char16_t>(random() % 2 ? random() : 0xD700 + random() % 0xA00);
    }
    Written<unsigned char>(bytes);
    Written<unsigned short>(units);
  }
}

TEST(JsonWriteTest, ATextThatFindsNoRoomIsGivenUpWhole) {
  JsonWrite out;
  out.begin_array(), out.num(1);
  const unsigned char* volatile byte = out.output().c_str();
  out.raw(BufferRef<unsigned char>(byte, 0xFFFFFFFF));  // too long, so none of it is read
  out.num(2), out.str(BufferRef<unsigned char>("x")), out.key("k"), out.end_array();
  EXPECT_FALSE(out.good());
  EXPECT_EQ(out.output().ref_internal_data(), nullptr);
  out.clear();
  out.num(3);
  EXPECT_TRUE(out.good());
  EXPECT_EQ(out.output().std_view(), "3");
}

TEST(JsonWriteDeathTest, CallsOutOfOrderAreAsserted) {
  const std::pair<const char*, void (*)(JsonWrite&)> rows[] = {
      {"without its key", [](JsonWrite& out) { out.begin_object(), out.num(1); }},
      {"without its key", [](JsonWrite& out) { out.begin_object(), out.begin_array(); }},
      {"outside of an object", [](JsonWrite& out) { out.key("a"); }},
      {"outside of an object", [](JsonWrite& out) { out.begin_array(), out.plain_key("a"); }},
      {"a key after a key", [](JsonWrite& out) { out.begin_object(), out.key("a"), out.key("b"); }},
      {"without its value",
       [](JsonWrite& out) { out.begin_object(), out.key("a"), out.end_object(); }},
      {"without its begin", [](JsonWrite& out) { out.begin_object(), out.end_array(); }},
      {"without its begin", [](JsonWrite& out) { out.begin_array(), out.end_object(); }},
      {"without its begin", [](JsonWrite& out) { out.end_array(); }},
      {"a second value",
       [](JsonWrite& out) { out.null(), out.str(BufferRef<unsigned char>("x")); }},
  };
  for (const auto& [what, calls] : rows) {
    const auto write = [&c = calls] {
      JsonWrite out;
      c(out);
    };
    EXPECT_DEBUG_DEATH(write(), what);
  }
  JsonWrite deep;  // the kinds of 63 levels are kept; deeper ones are counted
  for (int i = 0; i < 100; ++i) deep.begin_array(), deep.begin_object(), deep.key("k");
  deep.null();
  for (int i = 0; i < 100; ++i) deep.end_object(), deep.end_array();
  EXPECT_DEBUG_DEATH(deep.end_array(), "without its begin");
}

TEST(JsonTextTest, PrettyTextIsOneMemberALineAndTheSameValue) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"", ""},
      {" 1 ", "1"},
      {"{ }", "{}"},
      {R"({"a":[ ],"b":{},"c":1})", "{\n  \"a\": [],\n  \"b\": {},\n  \"c\": 1\n}"},
      {"[[1,\n2],\t[]]", "[\n  [\n    1,\n    2\n  ],\n  []\n]"},
      {R"(["a\\","{,:\"]} x"])", "[\n  \"a\\\\\",\n  \"{,:\\\"]} x\"\n]"},
      // No JSON: the output is bounded.
      {"\"", "\""},
      {"\"\\", "\"\\"},
      {"]}", "\n]\n}"},
      {"{", "{\n  "},
  };
  for (const auto& [json, want] : rows) {
    Buffer<unsigned char> out("> ");
    EXPECT_TRUE(json_pretty(json, out));
    EXPECT_EQ(out.std_view(), "> " + std::string(want));
    Chunk arena;
    EXPECT_EQ(bool(json_parse(json, arena)), bool(json_parse(want, arena))) << json;
  }
  const std::string deep = std::string(10000, '[') + std::string(10000, ']');
  Buffer<unsigned char> out;
  EXPECT_TRUE(json_pretty(deep, out));
  EXPECT_LT(out.len(), 70 * deep.size());
}

TEST(JsonTextTest, PlaceCountsLinesAndCharacters) {
  const std::string_view text = "a\n\xE4\xBD\xA0 b\r\nc\rd\xFF";
  const struct {
    std::uint32_t position, line, column;
  } rows[] = {{0, 1, 1}, {1, 1, 2},  {2, 2, 1},  {5, 2, 2},  {6, 2, 3},  {7, 2, 4},
              {9, 3, 1}, {10, 3, 2}, {11, 4, 1}, {12, 4, 2}, {13, 4, 3}, {~0u, 4, 3}};
  for (const auto& [position, line, column] : rows) {
    const TextPlace place = text_place(text, position);
    EXPECT_EQ(place.line, line) << position;
    EXPECT_EQ(place.column, column) << position;
  }
}

}  // namespace
}  // namespace tstl

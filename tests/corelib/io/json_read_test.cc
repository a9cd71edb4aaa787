#include "corelib/io/json_read.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/containers/chunk.h"
#include "fuzz/io/json_oracle.h"

namespace tstl {
namespace {

using std::string_view_literals::operator""sv;

// Parses an exactly sized heap copy, so that a read past the end is seen.
struct Parsed {
  explicit Parsed(std::string_view source)
      : text(source.begin(), source.end()),
        parse(json_parse({text.data(), static_cast<unsigned>(text.size())}, arena)) {}

  std::string form() { return oracle::PlainFormOf(parse.root, arena); }
  std::string str8() { return std::string(parse.root->str8(arena).std_view()); }
  std::u16string str16() { return std::u16string(parse.root->str16(arena).std_view()); }

  std::vector<char> text;
  Chunk arena;
  JsonParse parse;
};

TEST(JsonReadTest, FaultsAreNamedAndPlacedAtTheFirstByteThatCannotFollow) {
  struct Row {
    std::string_view text;
    JsonFault fault;
    unsigned position;
  };
  using enum JsonFault;
  const Row rows[] = {
      {"", kEnds, 0},
      {" \t\r\n", kEnds, 4},
      {"nul", kEnds, 3},
      {"[1,", kEnds, 3},
      {"{\"a\":", kEnds, 5},
      {"\"a", kEnds, 2},
      {"\"a\\", kEnds, 3},
      {"\"\\u12", kEnds, 5},
      {"-", kEnds, 1},
      {"1.", kEnds, 2},
      {"1e+", kEnds, 3},
      {"\xEF\xBB\xBF{}", kUnexpected, 0},
      {"truE", kUnexpected, 3},
      {"[1,]", kUnexpected, 3},
      {"[,1]", kUnexpected, 1},
      {"{\"a\":1,}", kUnexpected, 7},
      {"{\"a\" 1}", kUnexpected, 5},
      {"{a:1}", kUnexpected, 1},
      {"{1:2}", kUnexpected, 1},
      {"[1}", kUnexpected, 2},
      {"{]", kUnexpected, 1},
      {"[1 2]", kUnexpected, 3},
      {"[\v1]", kUnexpected, 1},
      {"+1", kUnexpected, 0},
      {"-a", kUnexpected, 1},
      {".5", kUnexpected, 0},
      {"1.e5", kUnexpected, 2},
      {"1e5.", kTrailing, 3},
      {"01", kTrailing, 1},
      {"0x1", kTrailing, 1},
      {"'a'", kUnexpected, 0},
      {"[NaN]", kUnexpected, 1},
      {"// 1", kUnexpected, 0},
      {"\"\\v\"", kEscape, 2},
      {"\"\\u00G0\"", kEscape, 5},
      {"\"\\U0041\"", kEscape, 2},
      {"\"a\nb\"", kControl, 2},
      {"\"a\0b\""sv, kControl, 2},
      {"1\0"sv, kTrailing, 1},
      {"{} {}", kTrailing, 3},
      {"1,2", kTrailing, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const Parsed parsed(row.text);
    EXPECT_EQ(json_fault_text(parsed.parse.fault), json_fault_text(row.fault));
    EXPECT_EQ(parsed.parse.position, row.position);
    EXPECT_FALSE(parsed.parse);
    EXPECT_NE(oracle::AskPeer(row.text).kind, oracle::Verdict::kGood);
  }
}

// Texts with a bit of everything; each is a seed for the changes below.
const std::string_view kGoodTexts[] = {
    " { \"a\" : [ 1 , -0 , 0.5 , 1E9 , -12.25e-3 ] , \"\" : { } , \"b\\n\\u0062\" : [ ] }\r\n",
    "[true,false,null,\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0041\\u00e9\\u4F60\\ud83d\\uDE00\\u0000\"]",
    "{\"k\":1,\"k\":\"\xE4\xBD\xA0\xE5\xA5\xBD\xF0\x9F\x98\x80\",\"long enough to leave the first "
    "window of the text\":[[],{}]}",
    "\"\"",
    "0",
    "-0",
    "12345678901234567890",
    "null",
    "[[[]],[{}]]"};

TEST(JsonReadTest, GoodTextsGiveTheTreeThatThePeerGives) {
  for (const std::string_view text : kGoodTexts) {
    Parsed parsed(text);
    EXPECT_TRUE(parsed.parse) << text;
    EXPECT_EQ(parsed.parse.position, text.size());
    EXPECT_EQ(parsed.form(), oracle::AskPeer(text).form) << text;
  }
}

// The rule of JsonParse::position: what stands before the place of the fault could go on to be a
// text, what ends with it could not.
void ExpectFirstFault(std::string_view text, const JsonParse& parse) {
  const Parsed before(text.substr(0, parse.position));
  EXPECT_TRUE(before.parse || before.parse.fault == JsonFault::kEnds) << text;
  EXPECT_EQ(before.parse.position, parse.position) << text;
  if (parse.fault == JsonFault::kEnds) return;
  const Parsed with(text.substr(0, parse.position + 1));
  EXPECT_EQ(with.parse.fault, parse.fault) << text;
  EXPECT_EQ(with.parse.position, parse.position) << text;
}

TEST(JsonReadTest, EveryPrefixAndEveryChangedByteIsJudgedAsByThePeer) {
  const auto check = [](std::string_view text) {
    Parsed parsed(text);
    const oracle::Verdict peer = oracle::AskPeer(text);
    if (peer.kind != oracle::Verdict::kNoOpinion) {
      EXPECT_EQ(bool(parsed.parse), peer.kind == oracle::Verdict::kGood) << text;
    }
    if (peer.kind == oracle::Verdict::kGood) {
      EXPECT_EQ(parsed.form(), peer.form) << text;
    }
    if (!parsed.parse) ExpectFirstFault(text, parsed.parse);
  };
  for (const std::string_view good : kGoodTexts) {
    for (std::size_t i = 0; i < good.size(); ++i) {
      check(good.substr(0, i));
      std::string changed(good);
      for (const char byte : "\"\\{}[]:,0.-+eutn \x01\x80\xFF"sv) {
        changed[i] = byte;
        check(changed);
      }
    }
  }
}

TEST(JsonReadTest, AFaultLeavesWhatWasCompleteBeforeIt) {
  Parsed parsed("{\"a\":[1,{\"b\":2},3");
  EXPECT_EQ(parsed.parse.fault, JsonFault::kEnds);
  EXPECT_EQ(parsed.form(), "{k1:a[#1:1{k1:b#1:2}#1:3]}");
  EXPECT_EQ(Parsed("{\"a\":1,\"b\":\"x").form(), "{k1:a#1:1}");
  EXPECT_EQ(Parsed("\"x").parse.root, nullptr);
}

TEST(JsonReadTest, NestingEndsAt512) {
  for (const std::string_view pair : {"[]"sv, "{}"sv}) {
    const auto nest = [&](std::size_t depth) {
      std::string text;
      for (std::size_t i = 0; i < depth; ++i)
        text.append(i && pair == "{}" ? "\"\":" : "").append(1, pair[0]);
      return text + std::string(depth, pair[1]);
    };
    EXPECT_TRUE(Parsed(nest(512)).parse);
    const Parsed deep(nest(513));
    EXPECT_EQ(deep.parse.fault, JsonFault::kDepth);
    EXPECT_EQ(deep.parse.position, nest(513).find(pair[1]) - 1);
    EXPECT_EQ(Parsed(nest(1000000)).parse.fault, JsonFault::kDepth);
  }
}

TEST(JsonReadTest, IntegersAreExactAndFitOrAreLeftAlone) {
  const auto is = [](std::string_view text, auto want, bool fits = true) {
    decltype(want) value = fits ? 0 : want;
    EXPECT_EQ(Parsed(text).parse.root->integer(value), fits) << text;
    EXPECT_EQ(value, want) << text;
  };
  const auto limits = [&]<class T>(T, std::string_view low, std::string_view past_low,
                                   std::string_view high, std::string_view past_high) {
    is(low, std::numeric_limits<T>::min());
    is(past_low, T{42}, false);
    is(high, std::numeric_limits<T>::max());
    is(past_high, T{42}, false);
    is("-0", T{0});
    for (const std::string_view other :
         {"1.0", "1e3", "0e0", "\"1\"", "true", "[1]", "123456789012345678901"}) {
      is(other, T{42}, false);
    }
  };
  limits(std::int8_t{}, "-128", "-129", "127", "128");
  limits(std::uint8_t{}, "0", "-1", "255", "256");
  limits(std::int16_t{}, "-32768", "-32769", "32767", "32768");
  limits(std::uint16_t{}, "0", "-1", "65535", "65536");
  limits(std::int32_t{}, "-2147483648", "-2147483649", "2147483647", "2147483648");
  limits(std::uint32_t{}, "0", "-1", "4294967295", "4294967296");
  limits(std::int64_t{}, "-9223372036854775808", "-9223372036854775809", "9223372036854775807",
         "9223372036854775808");
  limits(std::uint64_t{}, "0", "-1", "18446744073709551615", "18446744073709551616");
  is("9007199254740993", std::uint64_t{9007199254740993});
  EXPECT_EQ(Parsed("-12.5e-1").parse.root->real(), -1.25);
  EXPECT_EQ(Parsed("\"1\"").parse.root->real(), 0);
}

TEST(JsonReadTest, StringsDecodeToBytesAndToUnits) {
  struct Row {
    std::string_view json, bytes;
    std::u16string_view units;
  };
  const Row rows[] = {
      {R"("")", "", u""},
      {R"("\"\\\/\b\f\n\r\tx")", "\"\\/\b\f\n\r\tx", u"\"\\/\b\f\n\r\tx"},
      {R"("a\u0000\u007fb")",
       "a\0\x7F"sv
       "b",
       std::u16string_view(u"a\0\x7F"
                           u"b",
                           4)},
      {R"("\u00e9\u4f60\uD83D\ude00")", "\xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80",
       u"\u00E9\u4F60\U0001F600"},
      {"\"\xE4\xBD\xA0\\n\xF0\x9F\x98\x80\"", "\xE4\xBD\xA0\n\xF0\x9F\x98\x80",
       u"\u4F60\n\U0001F600"},
      // Lone surrogates: three bytes, but for those that stand for a byte.
      {R"("\ud800\udbffx")", "\xED\xA0\x80\xED\xAF\xBFx",
       u"\xD800\xDBFF"
       u"x"},
      {R"("\ud83d\ud83d\ude00")", "\xED\xA0\xBD\xF0\x9F\x98\x80", u"\xD83D\xD83D\xDE00"},
      {R"("\ude00\udc7f\udd00")", "\xED\xB8\x80\xED\xB1\xBF\xED\xB4\x80", u"\xDE00\xDC7F\xDD00"},
      {R"("\udc80\udcff\ud83dA")",
       "\x80\xFF\xED\xA0\xBD"sv
       "A",
       u"\xDC80\xDCFF\xD83D"
       u"A"},
      // Bytes that are not UTF-8: stray, cut short, overlong, a surrogate, above 10FFFF.
      {"\"\x80z\xE4\xBD\"", "\x80z\xE4\xBD", u"\xDC80z\xDCE4\xDCBD"},
      {"\"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\"", "\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80",
       u"\xDCC0\xDC80\xDCED\xDCA0\xDC80\xDCF4\xDC90\xDC80\xDC80"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.json);
    Parsed parsed(row.json);
    ASSERT_TRUE(parsed.parse);
    for (int twice = 0; twice < 2; ++twice) {  // the raw text outlives either form
      EXPECT_EQ(parsed.str8(), row.bytes);
      EXPECT_EQ(parsed.str16(), row.units);
    }
    EXPECT_EQ(parsed.parse.root->raw().std_view(), row.json.substr(1, row.json.size() - 2));
  }
}

TEST(JsonReadTest, AStringIsUnescapedOnceAndZeroTerminated) {
  Parsed parsed(R"(["a\tb",1])");
  JsonNode* const node = parsed.parse.root->first_child();
  const auto bytes = node->str8(parsed.arena);
  const auto units = node->str16(parsed.arena);
  EXPECT_EQ(node->str8(parsed.arena).cstr(), bytes.cstr());
  EXPECT_EQ(node->str16(parsed.arena).cstr(), units.cstr());
  EXPECT_EQ(bytes.cstr()[bytes.len()], 0);
  EXPECT_EQ(units.cstr()[units.len()], 0);
  EXPECT_TRUE(node->next()->str8(parsed.arena).is_empty());
  EXPECT_TRUE(parsed.parse.root->str16(parsed.arena).is_empty());
}

TEST(JsonReadTest, KeysCompareDecoded) {
  Parsed parsed(R"({"cu\u0069d\n":1,"":2,"cuid":[3]})");
  JsonNode* const first = parsed.parse.root->first_child();
  EXPECT_TRUE(first->key_is("cuid\n"));
  for (const char* other : {"cuid", "cuid\nx", "", "cuie\n", "cu\\u0069d\\n"})
    EXPECT_FALSE(first->key_is(other));
  EXPECT_TRUE(first->next()->key_is(""));
  EXPECT_TRUE(first->next()->next()->key_is("cuid"));
  EXPECT_FALSE(first->next()->next()->first_child()->key_is(""));  // an element has no key
}

TEST(JsonReadTest, AHundredMegabyteStringIsRead) {
  std::string text(100 << 20, 'x');
  text.front() = text.back() = '"';
  Parsed parsed(text);
  ASSERT_TRUE(parsed.parse);
  EXPECT_EQ(parsed.str8(), text.substr(1, text.size() - 2));
  EXPECT_LT(parsed.arena.total(), text.size() + 8192 * 32 + 65536);
}

TEST(JsonReadTest, NodesTakeAtMostSixteenBytesForEachByteOfText) {
  std::string text = "[0";
  while (text.size() < 1 << 20) text += ",0";
  EXPECT_LT(Parsed(text + "]").arena.total(), 16 * text.size() + 8192 * 32);
}

// An arena that serves so many requests and no more.
struct ShortArena {
  void* alloc_aligned(std::uint64_t n, std::size_t align) {
    return left-- > 0 ? memory.alloc_aligned(n, align) : nullptr;
  }
  int left;
  Chunk memory{};
};

TEST(JsonReadTest, ShortMemoryIsAFaultOrAnEmptyString) {
  std::string text = "[\"\\n\"";
  for (int i = 0; i < 40; ++i) text += ",[]";
  text += "]";
  for (int served = 0;; ++served) {
    ShortArena arena{served};
    const JsonParse parse = json_parse(text, arena);
    if (parse) {
      ASSERT_GT(served, 1);
      EXPECT_TRUE(parse.root->first_child()->str8(arena).is_empty());
      arena.left = 1;
      EXPECT_EQ(parse.root->first_child()->str8(arena).std_view(), "\n");
      break;
    }
    EXPECT_EQ(parse.fault, JsonFault::kMemory);
    EXPECT_EQ(parse.root == nullptr, served == 0);
  }
}

}  // namespace
}  // namespace tstl

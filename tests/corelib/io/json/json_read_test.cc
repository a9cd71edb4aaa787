#include "corelib/io/json/json_read.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/containers/chunk.h"
#include "fuzz/io/json_oracle.h"
#include "tests/reference/short_arena.h"

namespace tstl {
namespace {

using oracle::Verdict;
using std::string_literals::operator""s;
using std::string_view_literals::operator""sv;
using zenta::reference::ShortArena;

// Parses an exactly sized heap copy, so that a sanitizer sees a read past the end.
struct Parsed {
  explicit Parsed(std::string_view source)
      : text(source.begin(), source.end()),
        parse(json_parse({text.data(), static_cast<unsigned>(text.size())}, arena)) {}
  std::string form() { return oracle::PlainFormOf(parse.root, arena); }

  std::vector<char> text;
  Chunk arena;
  JsonParse parse;
};

// The reader must agree with the peer wherever the peer has an opinion, and a cursor with the tree.
void ExpectAgreement(std::string_view text) {
  Parsed parsed(text);
  Chunk arena;
  const BufferRef<unsigned char> copy(parsed.text.data(), static_cast<unsigned>(text.size()));
  EXPECT_TRUE(oracle::WalksAsTree(copy, parsed.parse, arena)) << text;
  const Verdict peer = oracle::AskPeer(text);
  EXPECT_TRUE(peer.kind == Verdict::kNoOpinion ||
              bool(parsed.parse) == (peer.kind == Verdict::kGood))
      << text;
  EXPECT_EQ(parsed.form(), peer.kind == Verdict::kGood ? peer.form : parsed.form()) << text;
}

TEST(JsonReadTest, FaultsAreNamedAndPlacedAtTheFirstByteThatCannotFollow) {
  using enum JsonFault;
  struct Row {
    JsonFault fault;
    std::vector<std::string_view> texts;  // '|' marks the position of the fault
  };
  const Row rows[] = {
      {kEnds,
       {"|", " \t\r\n|", "nul|", "[1,|", "{\"a\":|", "\"a|", "\"a\\|", "\"\\u12|", "-|", "1.|",
        "1e+|"}},
      {kUnexpected, {"|\xEF\xBB\xBF{}", "tru|E",  "[1,|]",  "[|,1]", "{\"a\":1,|}",
                     "{\"a\" |1}",      "{|a:1}", "{|1:2}", "[1|}",  "{|]",
                     "[1 |2]",          "[|\v1]", "|+1",    "-|a",   "|.5",
                     "1.|e5",           "|'a'",   "[|NaN]", "|// 1", "[|\0]"sv}},
      {kTrailing, {"1e5|.", "0|1", "0|x1", "1|\0"sv, "{} |{}", "1|,2", "\"\"|\""}},
      {kEscape, {"\"\\|v\"", "\"\\u00|G0\"", "\"\\|U0041\"", "\"\\|\n\""}},
      {kControl, {"\"a|\nb\"", "\"a|\0b\""sv, "{\"|\t\":1}"}},
  };
  for (const Row& row : rows) {
    for (std::string_view marked : row.texts) {
      SCOPED_TRACE(marked);
      std::string text(marked);
      text.erase(marked.find('|'), 1);
      const Parsed parsed(text);
      EXPECT_STREQ(json_fault_text(parsed.parse.fault), json_fault_text(row.fault));
      EXPECT_EQ(parsed.parse.position, marked.find('|'));
      ExpectAgreement(text);
    }
  }
}

// Texts that use the whole grammar, every prefix of them, and every change of one byte to one that
// means something in JSON.
TEST(JsonReadTest, GoodTextsAndBrokenOnesAreReadAsByThePeer) {
  const std::string_view texts[] = {
      " { \"a\" : [ 1 , -0 , 0.5 , 1E9 , 1.5E3 , -12.25e-3 ] , \"\" : { } , \"b\\n\\u0062\" : [ ] "
      "}\r\n",
      "[true,false,null,\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0041\\u00e9\\u4F60\\ud83d\\uDE00\\u0000\"]",
      "{\"k\":1,\"k\":\"\xE4\xBD\xA0\xE5\xA5\xBD\xF0\x9F\x98\x80\",\"a key that leaves the first "
      "64 bytes\":[[],{}]}",
      "12345678901234567890", "[[\"\"],[{}]]"};
  for (const std::string_view good : texts) {
    EXPECT_EQ(oracle::AskPeer(good).kind, Verdict::kGood);
    for (std::size_t i = 0; i < good.size(); ++i) {
      ExpectAgreement(good.substr(0, i));
      std::string changed(good);
      for (const char byte : "\"\\{}[]:,0.-+eutn \x01\x80\xFF"sv) {
        changed[i] = byte;
        ExpectAgreement(changed);
      }
    }
    ExpectAgreement(good);
  }
}

TEST(JsonReadTest, AFaultLeavesWhatWasCompleteBeforeIt) {
  EXPECT_EQ(Parsed("{\"a\":[1,{\"b\":2},3").form(), "{k1:a[#1:1{k1:b#1:2}#1:3]}");
  EXPECT_EQ(Parsed("{\"a\":1,\"b\":\"x").form(), "{k1:a#1:1}");
  EXPECT_EQ(Parsed("\"x").parse.root, nullptr);
}

TEST(JsonReadTest, NestingEndsAt512) {
  const auto nested = [](std::string_view open, char close, std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += open;
    return Parsed(text + "0" + std::string(depth, close));
  };
  EXPECT_TRUE(nested("[", ']', 512).parse);
  EXPECT_TRUE(nested("{\"\":", '}', 512).parse);
  std::string siblings = "[";
  while (siblings.size() < 4096) siblings += "[0],";
  EXPECT_TRUE(Parsed(siblings + "0]").parse);
  EXPECT_EQ(nested("{\"\":", '}', 513).parse.position, 512u * 4);
  for (const std::size_t depth : {511u, 512u, 513u, 600u}) {
    ExpectAgreement(std::string(depth, '['));
    ExpectAgreement(std::string(depth - 1, '[') + "{\"\":[0],\"\":{}}" + std::string(depth, ']'));
  }
  for (const std::size_t depth : {513u, 1000000u}) {
    EXPECT_EQ(nested("[", ']', depth).parse.fault, JsonFault::kDepth);
    EXPECT_EQ(nested("[", ']', depth).parse.position, 512u);
  }
}

template <class T>
void ExpectLimits() {
  const std::string least = std::to_string(std::numeric_limits<T>::min());
  const std::string most = std::to_string(std::numeric_limits<T>::max());
  // Increments the last digit, which is not 9 in any limit.
  const auto next = [](std::string number) { return ++number.back(), number; };
  T value = 42;
  for (const std::string& other :
       {std::is_signed_v<T> ? next(least) : "-1", next(most), next(most) + ".0", "1.5"s, "15e-1"s,
        "0.1"s, "1e20"s, "1e-400000000000000000000"s, "1E99999999999999999999"s, "\"1\""s, "true"s,
        "[1]"s, "123456789012345678901"s, "0.100e3000"s}) {
    ExpectAgreement(other + std::string(10, ' '));
    EXPECT_FALSE(Parsed(other).parse.root->integer(value)) << other;
    EXPECT_EQ(value, 42);
  }
  const std::string zeros(3000, '0');
  for (const auto& [text, want] :
       {std::pair(least, std::numeric_limits<T>::min()),
        {most, std::numeric_limits<T>::max()},
        {most + ".0", std::numeric_limits<T>::max()},
        {"0." + most + "E+" + std::to_string(most.size()), std::numeric_limits<T>::max()},
        {"-0", 0},
        {"-0.0e5", 0},
        {"0e99999999999999999999", 0},
        {"5.0", 5},
        {"5e0", 5},
        {"1e2", 100},
        {"120.0e-1", 12},
        {"0.05E+2", 5},
        {"1" + zeros + "e-3000", 1},
        {"0." + zeros + "7e3001", 7}}) {
    ExpectAgreement(text + std::string(10, ' '));
    EXPECT_TRUE(Parsed(text).parse.root->integer(value)) << text;
    EXPECT_EQ(value, want) << text;
  }
}

// Whether plain char is signed, and so which values fit, depends on the machine.
template <class T>
concept ReadsAsInteger = requires(const JsonNode& node, T& value) {
  node.integer(value);
};
static_assert(ReadsAsInteger<signed char> && !ReadsAsInteger<char>);

TEST(JsonReadTest, NumbersAreExactAndFitOrAreLeftAlone) {
  const auto expect = []<class... T>() { (ExpectLimits<T>(), ...); };
  expect.operator()<std::int8_t, std::int16_t, std::int32_t, std::int64_t, std::uint8_t,
                    std::uint16_t, std::uint32_t, std::uint64_t>();
  std::uint64_t great = 0;
  EXPECT_TRUE(Parsed("1e19").parse.root->integer(great) && great == 10'000'000'000'000'000'000u);
  EXPECT_EQ(Parsed("-12.5e-1").parse.root->real(), -1.25);
  for (const auto& [text, whole] : {std::pair("1.5E3", true),
                                    {"1e400", true},
                                    {"5.0", true},
                                    {"7", true},
                                    {"1.5", false},
                                    {"1e-400", false},
                                    {"\"1\"", false},
                                    {"0.0e-9", true}})
    EXPECT_EQ(Parsed(text).parse.root->is_integer(), whole) << text;
  EXPECT_EQ(Parsed("\"1\"").parse.root->real(), 0);
}

TEST(JsonReadTest, StringsAndKeysDecodeToBytesAndToUnits) {
  struct Row {
    std::string_view json, bytes;
    std::u16string_view units;
  };
  const Row rows[] = {
      {"", "", u""},
      {R"(\"\\\/\b\f\n\r\tx)", "\"\\/\b\f\n\r\tx", u"\"\\/\b\f\n\r\tx"},
      {R"(a\u0000\u007fz)", "a\0\x7Fz"sv, u"a\0\x7Fz"sv},
      {R"(\u00e9\u4f60\uD83D\ude00)", "\xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80",
       u"\u00E9\u4F60\U0001F600"},
      // Lone surrogates: three bytes each, except those that stand for a byte.
      {R"(\ud800\udbffx)", "\xED\xA0\x80\xED\xAF\xBFx", u"\xD800\xDBFFx"},
      {R"(\ud83d\ud83d\ude00)", "\xED\xA0\xBD\xF0\x9F\x98\x80", u"\xD83D\xD83D\xDE00"},
      {R"(\ude00\udc7f\udd00)", "\xED\xB8\x80\xED\xB1\xBF\xED\xB4\x80", u"\xDE00\xDC7F\xDD00"},
      {R"(\udc80\udcff\ud83dZ)", "\x80\xFF\xED\xA0\xBDZ", u"\xDC80\xDCFF\xD83DZ"},
      // Bytes that are not UTF-8: overlong, a surrogate, above U+10FFFF, truncated.
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80z\xE4\xBD",
       "\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80z\xE4\xBD",
       u"\xDCC0\xDC80\xDCED\xDCA0\xDC80\xDCF4\xDC90\xDC80\xDC80z\xDCE4\xDCBD"},
  };
  for (const Row& row : rows) {
    const std::string text(row.json);
    SCOPED_TRACE(text);
    ExpectAgreement('"' + text + "\"" + std::string(40, ' '));
    Parsed parsed("{\"" + text + "\":\"" + text + "\"}");
    JsonNode* const node = parsed.parse.root->first_child();
    const auto bytes = node->str8(parsed.arena);
    const auto units = node->str16(parsed.arena);
    EXPECT_EQ(bytes.std_view(), row.bytes);
    EXPECT_EQ(units.std_view(), row.units);
    EXPECT_EQ(bytes.cstr()[bytes.len()] + units.cstr()[units.len()], 0);
    EXPECT_EQ(node->raw().std_view(), text);
    EXPECT_EQ(node->key(parsed.arena).std_view(), row.bytes);
    EXPECT_EQ(node->raw_key().std_view(), text);
    EXPECT_TRUE(node->key_is(row.bytes));
    EXPECT_FALSE(node->key_is(std::string(row.bytes) + "x") || node->key_is("y"));
  }
  EXPECT_FALSE(Parsed("[1]").parse.root->first_child()->key_is(""));  // an element has no key
}

// Runs of each kind and of any length, one after another, with and without text after the string.
TEST(JsonReadTest, StringsOfAllKindsOfRunsAreReadAlike) {
  constexpr std::string_view kRuns[] = {"a",
                                        "plain text",
                                        "\xE4\xBD\xA0\xE5\xA5\xBD",
                                        "\\\"\\n",
                                        "\\u4f60",
                                        "\xC3\xA9\xF0\x9F\x98\x80",
                                        "\xE0\x9F\xBF",
                                        "\xED\xA0\x80",
                                        "\xE4\xBD",
                                        "\xFF"};
  std::mt19937 random(3);
  for (int i = 0; i < 4000; ++i) {
    std::string text = "\"";
    for (auto runs = random() % 5; runs != 0; --runs) {
      const std::string_view run = kRuns[random() % (i % 2 == 0 ? 4 : std::size(kRuns))];
      for (auto times = random() % 12; times != 0; --times) text += run;
    }
    ExpectAgreement(text + '"' + std::string(random() % 40, ' '));
  }
}

TEST(JsonReadTest, MemoryIsBoundedByTheText) {
  const std::string text(100 << 20, 'x');
  Parsed parsed('"' + text + '"');
  EXPECT_EQ(parsed.parse.root->str8(parsed.arena).std_view(), text);
  EXPECT_LT(parsed.arena.total(), text.size() + 8192 * 32 + 65536);
  std::string zeros = "[0";
  while (zeros.size() < 1 << 20) zeros += ",0";
  EXPECT_LT(Parsed(zeros + "]").arena.total(), 16 * zeros.size() + 8192 * 32);
}

TEST(JsonReadTest, ShortMemoryIsAFaultOrAnEmptyString) {
  std::string text = "[\"\\n\"";
  for (int i = 0; i < 40; ++i) text += ",[]";
  ShortArena arena{0};
  EXPECT_EQ(json_parse(text, arena).root, nullptr);
  arena.left = 1;
  const JsonParse parse = json_parse(text, arena);
  EXPECT_EQ(parse.fault, JsonFault::kMemory);
  EXPECT_TRUE(parse.root->first_child()->str8(arena).is_empty());
  arena.left = 1;
  EXPECT_EQ(parse.root->first_child()->str8(arena).std_view(), "\n");
}

}  // namespace
}  // namespace tstl

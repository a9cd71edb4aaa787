// Field tables and lists, tested with a record that has a member of every type. The tables of
// messages and traces are tested with those.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "corelib/containers/chunk.h"
#include "engine/records/copy.h"
#include "engine/records/message.h"
#include "fuzz/io/wire_oracle.h"
#include "tests/reference/record_reference.h"
#include "tests/temp_folder.h"

namespace zenta::records {

enum class Tone : std::int16_t { kLow = -3, kHigh = 300 };

struct Leaf {
  std::uint32_t id = 0;
  List<Text16> names;
};
constexpr auto fields_of(std::type_identity<Leaf>) {
  return Fields<Field<1, "id", &Leaf::id>, Field<2, "names", &Leaf::names>>();
}

struct Sample {
  float part = 0;
  Tone tone = {};
  bool flag = false;
  double real = 0;
  List<std::int32_t> numbers;
  List<float> parts;
  List<double> reals;
  List<Tone> tones;
  List<bool> flags;
  List<Leaf> leaves;
  Bytes text;
};
constexpr auto fields_of(std::type_identity<Sample>) {
  return Fields<Field<1, "part", &Sample::part>, Field<2, "tone", &Sample::tone>,
                Field<3, "flag", &Sample::flag>, Field<4, "real", &Sample::real>,
                Field<5, "numbers", &Sample::numbers>, Field<6, "reals", &Sample::reals>,
                Field<7, "tones", &Sample::tones>, Field<8, "parts", &Sample::parts>,
                Field<16, "flags", &Sample::flags>, Field<17, "leaves", &Sample::leaves>,
                Field<18, "text", &Sample::text>>();
}

// A record that contains itself.
struct Nest {
  std::uint32_t after = 0;
  List<Nest> inside;
};
constexpr auto fields_of(std::type_identity<Nest>) {
  return Fields<Field<1, "inside", &Nest::inside>, Field<2, "after", &Nest::after>>();
}

namespace {

using reference::Difference;
using reference::ShortArena;
using tstl::Chunk;
using tstl::WireFault;
using tstl::oracle::PlainField;
using tstl::oracle::PlainFixedField;
using tstl::oracle::PlainVarint;

template <Record R>
std::string Written(const R& record, bool json = false) {
  tstl::Buffer<unsigned char> bytes;
  EXPECT_TRUE(json ? write_json(record, bytes) : write_binary(record, bytes));
  return std::string(bytes.std_view());
}

TEST(CodecTest, NumbersHaveTheirBytesAndTheirText) {
  std::int32_t numbers[] = {1, -1, 300};
  double reals[] = {0.1, -0.0};
  Tone tones[] = {Tone::kHigh, Tone::kLow};
  bool flags[] = {true, false};
  Sample sample;
  sample.part = 1.5f, sample.tone = Tone::kLow, sample.real = -0.0;
  sample.numbers = numbers, sample.reals = reals, sample.tones = tones, sample.flags = flags;
  const std::string minus_one = PlainVarint(~0ull), minus_three = PlainVarint(~2ull);
  EXPECT_EQ(
      Written(sample),
      PlainFixedField(1, 0x3FC00000, 4) + "\x10" + minus_three + PlainFixedField(4, 1ull << 63, 8) +
          PlainField(5, "\x01" + minus_one + "\xAC\x02") +
          PlainField(6, std::string("\x9A\x99\x99\x99\x99\x99\xB9\x3F\0\0\0\0\0\0\0\x80", 16)) +
          PlainField(7, "\xAC\x02" + minus_three) + PlainField(16, std::string("\x01\0", 2)));
  EXPECT_EQ(Written(sample, true),
            R"({"part":1.5,"tone":-3,"real":-0,"numbers":[1,-1,300],"reals":[0.1,-0],)"
            R"("tones":[300,-3],"flags":[true,false]})");
}

// Packed and single elements of one list, and faults inside a packed field.
TEST(CodecTest, ListsOfNumbersAreReadPackedAndSingle) {
  const struct {
    std::string bytes, json;
    WireFault fault = WireFault::kNone;
    std::uint32_t position = 0;
  } rows[] = {
      {PlainField(5, 7) + PlainField(5, "\x08\x09") + PlainField(5, 10), R"("numbers":[7,8,9,10])"},
      {PlainFixedField(6, 0, 8) + PlainField(6, std::string(16, '\0')), R"("reals":[0,0,0])"},
      {PlainField(16, "\x02") + PlainField(16, ""), R"("flags":[true])"},
      {PlainField(5, "\x01\x80") + PlainField(18, "x"), R"("numbers":[1],"text":"x")",
       WireFault::kTruncated, 3},
      {PlainField(5, "\x01" + std::string(10, '\x80')), R"("numbers":[1])", WireFault::kOverlong,
       3},
      {PlainField(6, std::string(9, '\0')), R"("reals":[0])", WireFault::kTruncated, 10},
      {PlainField(6, 5) + PlainFixedField(5, 5, 4) + PlainFixedField(6, 0, 4), ""},
  };
  for (const auto& row : rows) {
    Chunk arena;
    Sample sample;
    const BinaryResult read = read_binary(sample, row.bytes, arena);
    EXPECT_EQ(Written(sample, true), "{" + row.json + "}");
    EXPECT_EQ(read.fault, row.fault) << row.json;
    EXPECT_EQ(read.position, read ? row.bytes.size() : row.position) << row.json;
  }
  // A fault keeps its position when the arena runs out of memory later, here for the text.
  ShortArena narrow{1};
  Sample sample;
  const BinaryResult read = read_binary(sample, rows[3].bytes, narrow);
  EXPECT_EQ(std::tuple(read.fault, read.out_of_memory, read.position),
            std::tuple(WireFault::kTruncated, true, 3u));
}

// Reading several messages into a record must give the same as reading them as one. At random,
// records are read into, copied, moved, or given lists of the caller's. Each must equal what all
// its messages make of an empty record, whatever was done to the others, and also when the k-th
// allocation fails.
TEST(RecordModelTest, NoRecordChangesAnother) {
  struct : IgnoredListener {
    void ignored(const Ignored& value) override { ADD_FAILURE() << value.key.std_view(); }
  } nothing;  // is ignored, even when the arena is out of memory
  reference::RecordFiller filler(5, false);
  std::int32_t numbers[] = {4, 5, 6, -1};
  Leaf leaves[3];
  leaves[1].id = 7;
  const std::string own = PlainField(5, "\4\5\6") + PlainField(17, "") + PlainField(17, "\x08\7");
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    ShortArena arena{seed % 3 == 0 ? ~0u : seed / 3};
    Sample records[3];
    std::string models[3];
    for (int step = 0; step < 30; ++step) {
      const auto i = random() % 3, j = random() % 3;
      switch (random() % 6) {
        case 0:
          records[i] = records[j], models[i] = models[j];
          break;
        case 1:
          if (i == j) break;
          if (step % 2 == 0) records[i] = Sample(std::move(records[j]));
          if (step % 2 != 0) records[i] = std::move(records[j]);
          models[i] = models[j];
          break;
        case 2:
          records[i] = Sample(), models[i] = own;
          records[i].numbers = {numbers, 3}, records[i].leaves = {leaves, 2};
          break;
        default: {
          const auto made = filler.Make<Sample>();
          const bool json = random() % 2 == 0;
          const std::string message = Written(made, json);
          Chunk check;
          Sample back;
          ASSERT_TRUE(json ? bool(read_json(back, message, check))
                           : bool(read_binary(back, message, check)));
          ASSERT_EQ(Difference(back, made), "");
          JsonResult text;
          BinaryResult bytes;
          if (json) text = read_json(records[i], message, arena, &nothing);
          if (!json) bytes = read_binary(records[i], message, arena);
          const bool good = text && bytes;
          ASSERT_TRUE(good || bytes.out_of_memory || text.fault == tstl::JsonFault::kMemory);
          models[i] = good ? models[i] + Written(made) : "";
          if (!good) records[i] = Sample();
        }
      }
      for (int k = 0; k < 3; ++k) {
        Chunk check;
        Sample want;
        ASSERT_TRUE(read_binary(want, models[k], check));
        ASSERT_EQ(Difference(records[k], want), "") << "seed " << seed << " step " << step;
      }
    }
    ASSERT_EQ(numbers[3], -1);
    ASSERT_TRUE(leaves[2].id == 0 && leaves[2].names.is_empty());
  }
}

TEST(RecordTest, ReplacingForgetsWhatWasThere) {
  Chunk arena;
  Sample sample;
  for (const bool json : {false, true}) {
    const std::string first =
        json ? R"({"numbers":[1,2,3],"text":"x"})" : PlainField(5, "\1\2\3") + PlainField(18, "x");
    const std::string second = json ? R"({"numbers":[9]})" : PlainField(5, "\x09");
    for (const std::string& message : {first, second}) {
      arena.rewind();  // under the address sanitizer, touching the old record ends the program
      EXPECT_TRUE(json ? bool(replace_json(sample, message, arena))
                       : bool(replace_binary(sample, message, arena)));
    }
    EXPECT_EQ(Written(sample, true), R"({"numbers":[9]})");
  }
}

TEST(RecordTest, NestingEndsAtOneHundred) {
  const auto depth_of = [](const Nest& outer) {
    unsigned depth = 0;
    for (const Nest* nest = &outer; !nest->inside.is_empty(); nest = nest->inside.data()) ++depth;
    return depth;
  };
  std::string binary, json = "{}";
  for (unsigned depth = 1; depth <= 101; ++depth) {
    binary = PlainField(1, binary), json = R"({"inside":[)" + json + "]}";
    if (depth < 100) continue;
    Chunk arena;
    Nest from_binary, from_json;
    const BinaryResult bytes = read_binary(from_binary, binary + PlainField(2, 5), arena);
    const JsonResult text =
        read_json(from_json, json.substr(0, json.size() - 1) + R"(,"after":5})", arena);
    EXPECT_EQ(from_binary.after + from_json.after, 10u) << "what follows is read";
    EXPECT_EQ(bytes.fault, depth == 100 ? WireFault::kNone : WireFault::kDepth);
    EXPECT_EQ(text.fault, depth == 100 ? tstl::JsonFault::kNone : tstl::JsonFault::kDepth);
    EXPECT_EQ(bytes.position, binary.size() + (depth == 100 ? 2 : 0));
    EXPECT_EQ(text.position, depth == 100 ? json.size() + 10 : 101 * 11);
    EXPECT_EQ(depth_of(from_json), 100u);
  }
  std::string backwards;
  while (backwards.size() < 400000) {
    const std::string head = "\x0A" + PlainVarint(backwards.size());
    backwards.append(head.rbegin(), head.rend());
  }
  binary.assign(backwards.rbegin(), backwards.rend());
  Chunk arena;
  Nest nest;
  EXPECT_EQ(read_binary(nest, binary, arena).fault, WireFault::kDepth);
}

TEST(RecordTest, CopyIsWholeWithoutTheArenaOfTheOriginalOrIsNotMade) {
  Chunk arena, kept;
  Sample sample, copy;
  ASSERT_TRUE(read_json(sample, R"({"part":1.5,"tone":300,"flag":true,"real":2,"numbers":[1,-2],
    "reals":[0.5],"tones":[-3],"flags":[true],"leaves":[{"id":7,"names":["a","你好",""]},{}],
    "text":"text"})",
                        arena));
  const std::string want = Written(sample, true);
  copy.part = 9;
  constexpr unsigned kAllocations = 10;  // six lists, one of them of texts, and four texts
  for (unsigned blocks = 0; blocks < kAllocations; ++blocks) {
    ShortArena narrow{blocks};
    Sample other = copy;
    EXPECT_FALSE(copy_record(sample, other, narrow)) << blocks;
    EXPECT_EQ(Written(other), Written(copy)) << blocks;
  }
  ASSERT_TRUE(copy_record(sample, copy, kept));
  arena.rewind();  // the next message overwrites what still points into it
  ASSERT_TRUE(replace_json(
      sample, std::string(want.size(), ' ') + "{\"text\":\"" + std::string(2000, 'x') + "\"}",
      arena));
  EXPECT_EQ(Written(copy, true), want);
  EXPECT_EQ(copy.text.cstr()[copy.text.len()], 0);
}

TEST(RecordTest, ListenerIsToldWhatIsIgnored) {
  struct Log : IgnoredListener {
    void ignored(const Ignored& value) override {
      text.append(value.key.std_view()).append(": ").append(ignored_reason_text(value.reason)) +=
          '\n';
    }
    std::string text;
  } log;
  Chunk arena;
  Sample sample;
  EXPECT_TRUE(read_json(sample, R"({"part":1e39,"tone":40000,"flag":1,"real":null,"x\n":[],
    "numbers":[1,1.5,2.0,3000000000,"4",5e0],"leaves":[{"id":-1,"names":[5]},7,{"no":0}]})",
                        arena, &log));
  EXPECT_EQ(log.text, R"(part: a number out of range
tone: a number out of range
flag: a value of another type
real: a value of another type
x\n: an unknown key
numbers: a number that is no integer
numbers: a number out of range
numbers: a value of another type
id: a number out of range
names: a value of another type
leaves: a value of another type
no: an unknown key
)");
  EXPECT_EQ(Written(sample, true), R"({"numbers":[1,2,5],"leaves":[{},{}]})");
}

static_assert(Record<Sample> && !Record<Chunk> && !Record<int>);
static_assert(!std::is_constructible_v<List<int>, int (&&)[3]>, "no list of a temporary");

#if defined(__clang__)  // stops at the twentieth error otherwise
#define ZENTA_ALL_ERRORS "-ferror-limit=0"
#else
#define ZENTA_ALL_ERRORS ""
#endif

// A mistake in a declaration is one compiler error, which says what is wrong. All rows are compiled
// at once, each in a namespace of its own.
class DeclarationTest : public testing::Test, protected TempFolder {};
TEST_F(DeclarationTest, EachMistakeIsOneErrorInWords) {
  const std::pair<const char*, const char*> rows[] = {
      {R"(Field<1, "a", &R::a>, Field<536870911, "b", &R::b>)", ""},
      {R"(Field<2, "a", &R::a>, Field<1, "b", &R::b>)", "numbers of a table's fields rise"},
      {R"(Field<536870912, "a", &R::a>)", "numbers of a table's fields rise"},
      {R"(Field<1, "a", &R::a>, Field<2, "a", &R::b>)", "one key and the same type"},
      {R"(Field<1, "a", &R::a>, Field<2, "b", &R::b, WrittenAs<"a">>)", "written under one key"},
      {R"(Field<1, "a", &R::a>, Field<2, "a", &R::list>)", "written under one key"},
      {R"(Field<1, "a", &R::a>, Field<2, "b", &R::a>)", "a member stands twice"},
      {R"(Field<1, "a\"", &R::a>)", "without quote and backslash"},
      {R"(Field<1, "a", &R::a, Misspelt>)", "a trait of this field"},
      {R"(Field<1, "a", &R::none>)", "has no codec"},
      {R"(Field<1, "a", &R::nones>)", "has no codec"},
      {R"(Field<1, "a", &R::rect>)", "member has no binary form"},
      {R"(Field<1, "a", &R::big>)", "at most 128 bytes"},
  };
  std::string source = "#include \"engine/records/message.h\"\n";
  std::map<std::string, int> want, got;  // how often each error is reported
  for (int i = 0; const auto& [table, words] : rows) {
    const std::string row = "zenta::records::row" + std::to_string(i++);
    source += "namespace " + row + R"( {
struct Big { Bytes t[12]; int n = 0; };
constexpr auto fields_of(std::type_identity<Big>) { return Fields<Field<1, "n", &Big::n>>(); }
struct None {};
struct Misspelt { static constexpr bool kAlwaysInJason = true; };
struct R { int a, b; List<int> list; None none; List<None> nones; std::array<int, 2> rect; List<Big> big; };
constexpr auto fields_of(std::type_identity<R>) { return Fields<)" +
              table + ">(); }\n}\ntemplate struct zenta::records::MessageCodec<" + row + "::R>;\n";
    if (*words != 0) ++want[words];
  }
  const std::string command =
      ZENTA_CXX_COMPILER " -std=c++20 -fsyntax-only " ZENTA_ALL_ERRORS " -I" ZENTA_SOURCE_DIR " ";
  EXPECT_NE(std::system((command + Put("r.cc", source) + " 2> " + At("errors")).c_str()), 0);
  std::ifstream errors(At("errors"));
  for (std::string line; std::getline(errors, line);) {
    if (line.find("error:") == line.npos) continue;
    for (const auto& [words, count] : want) {
      if (line.find(words) != line.npos) line = words;
    }
    ++got[line];
  }
#if defined(__clang__)  // reports follow-up errors
  std::erase_if(got, [&](const auto& line) { return !want.contains(line.first); });
#endif
  EXPECT_EQ(got, want);
}

}  // namespace
}  // namespace zenta::records

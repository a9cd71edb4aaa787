// Trace records to JSON and back.
#include "engine/trace/trace_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <limits>
#include <random>
#include <string>

#include "corelib/containers/chunk.h"
#include "engine/records/record.h"
#include "engine/trace/actions.h"
#include "engine/trace/trace_file.h"
#include "tests/reference/rapidjson_document.h"

namespace zenta {
namespace {

std::string Written(const TraceRecord& record) {
  tstl::JsonWrite out;
  write_json(record, out);
  EXPECT_TRUE(out.good());
  return std::string(out.output().std_view());
}

// What a line is written as after it was read.
std::string Rewritten(const std::string& line) {
  tstl::Chunk arena, nodes;
  TraceRecord record;
  std::uint32_t position;
  EXPECT_EQ(ReadTraceLine(line, record, arena, nodes, position), tstl::JsonFault::kNone) << line;
  nodes.reset();
  return Written(record);
}

const std::string kBareInput =
    R"({"type":"inputSelection","expect":"","preWord":"","aftWord":"","app_name":"","attribute":0,)"
    R"("where_from":0)";
const std::string kBareLayout = R"({"type":"setLayout","pad_rect":[0,0,0,0],"key_array":[]})";

TEST(TraceRecordTest, WritesTheMembersOfItsKindInOrder) {
  const std::string whole =
      R"({"type":"inputSelection","expect":"你好","preWord":"a","aftWord":"b","app_name":"c",)"
      R"("attribute":1,"where_from":2,"time":[3,4],"code":"nihao","point":[[-1,0],[32767,-32768]],)"
      R"("del_tail":5,"expect_type":6,"need_iec":true})";
  const struct {
    std::string read, written;
  } rows[] = {
      {whole, whole},
      {R"({"type":"inputSelection"})", kBareInput + "}"},
      {R"({"need_iec":false,"type":"inputSelection"})", kBareInput + R"(,"need_iec":false})"},
      {R"({"type":"inputSelection","time":[],"point":[],"code":"","del_tail":0,"expect_type":0})",
       kBareInput + "}"},
      {R"({"type":"setLayout","pad_rect":[-1,0,320,240]})",
       R"({"type":"setLayout","pad_rect":[-1,0,320,240],"key_array":[]})"},
      {R"({"key_array":[{"id":113},{"key_rect":[1,2,3,4]}],"type":"setLayout"})",
       R"({"type":"setLayout","pad_rect":[0,0,0,0],"key_array":[{"key_rect":[0,0,0,0],"id":113},)"
       R"({"key_rect":[1,2,3,4],"id":0}]})"},
      {R"({"type":"switchPad"})", R"({"type":"switchPad","pad_name":"","time":0})"},
      // Members before the type, and both meanings of "time".
      {R"({"time":1700000000000,"time":[7],"pad_name":"CJ","type":"switchPad"})",
       R"({"type":"switchPad","pad_name":"CJ","time":1700000000000})"},
      {R"({"time":9,"time":[7,8],"type":"inputSelection"})", kBareInput + R"(,"time":[7,8]})"},
      // Other types keep nothing else; the last of two types decides.
      {R"({"pad_name":"CJ","type":"lianSimulate","expect":"x"})", R"({"type":"lianSimulate"})"},
      {R"({"type":"setLayout","type":"setLayouts"})", R"({"type":"setLayouts"})"},
      {R"({"type":5})", R"({"type":""})"},
  };
  for (const auto& [read, written] : rows) EXPECT_EQ(Rewritten(read), written) << read;
}

TEST(TraceRecordTest, IgnoresWhatIsNoValueOfAMember) {
  for (const char* const member :
       {R"("pad_rect":[1,2,3])", R"("pad_rect":[1,2,3,4,5])", R"("pad_rect":[1,2,3,32768])",
        R"("pad_rect":[1,2,3,"4"])", R"("pad_rect":[1,2,3,4.0])", R"("pad_rect":[1,2,3,-32769])",
        R"("pad_rect":{"a":1})", R"("key_array":{})", R"("key_array":[5,"x",[]])",
        R"("pad_rect":"1234")", R"("KEY_ARRAY":[{}])", R"("":1)"}) {
    EXPECT_EQ(Rewritten(std::string(R"({"type":"setLayout",)") + member + "}"), kBareLayout);
  }
  for (const char* const member :
       {R"("time":[1,-1])", R"("time":[4294967296])", R"("time":["1"])", R"("time":5)",
        R"("point":[[1,2],[3]])", R"("point":[[1,2],3])", R"("point":[[1,40000]])",
        R"("point":[[1,2,3]])", R"("expect":null)", R"("code":[1])", R"("need_iec":1)",
        R"("del_tail":-1)", R"("del_tail":1e2)", R"("attribute":true)"}) {
    EXPECT_EQ(Rewritten(std::string(R"({"type":"inputSelection",)") + member + "}"),
              kBareInput + "}");
  }
}

TEST(TraceRecordTest, KindAndTypeFollowFromEachOther) {
  TraceRecord record;
  for (std::uint32_t code = 0; code < 22; ++code) {
    record.type = action_name(code);
    record.FindKind();
    EXPECT_EQ(static_cast<std::uint32_t>(record.kind), code <= 3 ? code : 0);
    if (code == 0 || code > 3) continue;
    TraceRecord made;
    made.SetKind(static_cast<TraceKind>(code));
    EXPECT_EQ(made.type, action_name(code));
  }
  record.SetKind(TraceKind::kOther);
  EXPECT_EQ(Written(record), R"({"type":""})");
}

// ---- Random records

class RandomRecords {
 public:
  // `plain`: texts are well-formed, as other readers of JSON want them.
  RandomRecords(unsigned seed, bool plain) : random_(seed), plain_(plain) {}

  TraceRecord Next(tstl::Chunk& arena) {
    TraceRecord record;
    Fill(record, arena);
    record.SetKind(static_cast<TraceKind>(Below(4)));
    if (record.kind == TraceKind::kOther) Fill(record.type, arena), record.FindKind();
    return record;
  }

 private:
  std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(random_() % n); }

  template <Record R>
  void Fill(R& record, tstl::Chunk& arena) {
    kFields<R>.each([&](auto field) { Fill(field.of(record), arena); });
    if constexpr (std::is_same_v<R, TraceRecord>) record.has_needs_iec = Below(2) != 0;
  }
  template <std::integral T>
  void Fill(T& number, tstl::Chunk&) {
    const T bounds[] = {0, 1, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()};
    const std::uint32_t choice = Below(5);
    number = choice < 4 ? bounds[choice] : static_cast<T>(random_());
  }
  template <tstl::Unit T>
  void Fill(tstl::BufferRef<T>& text, tstl::Chunk& arena) {
    const std::uint32_t length = Below(6);
    T* const units = arena.alloc_array<T>(length);
    for (std::uint32_t i = 0; i < length; ++i) {
      units[i] = static_cast<T>(plain_ ? Below(0x80) : Below(sizeof(T) == 1 ? 0x100 : 0x10000));
    }
    text.set_str(units, length);
  }
  template <class T, std::size_t kCount>
  void Fill(std::array<T, kCount>& numbers, tstl::Chunk& arena) {
    for (T& number : numbers) Fill(number, arena);
  }
  template <class T>
  void Fill(List<T>& list, tstl::Chunk& arena) {
    for (std::uint32_t more = Below(9); more != 0; --more) Fill(*list.append(arena), arena);
  }

  std::mt19937_64 random_;
  bool plain_;
};

// Whether all that is written of `a` is the same in `b`.
template <Record R>
bool Same(const R& a, const R& b);
template <class T>
bool Same(const T& a, const T& b) {
  return a == b;
}
template <class T>
bool Same(const List<T>& a, const List<T>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}
template <Record R>
bool Same(const R& a, const R& b) {
  return !kFields<R>.any([&](auto field) {
    return field.in_json(a) && !(field.in_json(b) && Same(field.of(a), field.of(b)));
  });
}

TEST(TraceRecordTest, ComesBackAsItWas) {
  tstl::Chunk arena, nodes;
  RandomRecords records(7, false);
  for (int i = 0; i < 3000; ++i, arena.rewind(), nodes.rewind()) {
    const TraceRecord record = records.Next(arena);
    const std::string line = Written(record);
    TraceRecord read;
    std::uint32_t position;
    ASSERT_EQ(ReadTraceLine(line, read, arena, nodes, position), tstl::JsonFault::kNone) << line;
    ASSERT_EQ(read.kind, record.kind);
    ASSERT_EQ(read.has_needs_iec, record.has_needs_iec && record.kind == TraceKind::kInput);
    ASSERT_TRUE(Same(record, read)) << line << '\n' << Written(read);
    ASSERT_EQ(Written(read), line);
  }
}

TEST(TraceRecordTest, AnotherReaderFindsTheSameMembers) {
  tstl::Chunk arena;
  RandomRecords records(8, true);
  for (int i = 0; i < 500; ++i, arena.rewind()) {
    const TraceRecord record = records.Next(arena);
    const std::string line = Written(record);
    rapidjson::Document peer;
    ASSERT_FALSE(peer.Parse(line.data(), line.size()).HasParseError()) << line;
    ASSERT_EQ(std::string_view(peer["type"].GetString(), peer["type"].GetStringLength()),
              record.type.std_view());
    if (record.kind == TraceKind::kPad) {
      EXPECT_EQ(peer["time"].GetUint64(), record.pad_time);
    } else if (record.kind == TraceKind::kLayout) {
      ASSERT_EQ(peer["key_array"].Size(), record.keys.size());
      for (unsigned k = 0; k < record.keys.size(); ++k) {
        EXPECT_EQ(peer["key_array"][k]["key_rect"][3].GetInt(), record.keys[k].rect[3]);
      }
    } else if (record.kind == TraceKind::kInput) {
      EXPECT_EQ(peer["where_from"].GetUint(), record.origin);
      EXPECT_EQ(peer.HasMember("need_iec"), record.has_needs_iec);
      for (unsigned k = 0; k < record.points.size(); ++k) {
        EXPECT_EQ(peer["point"][k][1].GetInt(), record.points[k][1]);
      }
    }
  }
}

}  // namespace
}  // namespace zenta

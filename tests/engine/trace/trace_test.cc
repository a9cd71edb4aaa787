// Trace records to JSON and back, and whole files of them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <initializer_list>
#include <sstream>
#include <string>
#include <tuple>

#include "corelib/containers/chunk.h"
#include "engine/records/record.h"
#include "engine/trace/trace_file.h"
#include "engine/trace/trace_record.h"
#include "tests/reference/record_reference.h"
#include "tests/temp_folder.h"

// Larger requests than this fail (the linker sends all of them here).
std::size_t g_largest = SIZE_MAX;
extern "C" {
void* __real_malloc(std::size_t n);
void* __real_realloc(void* memory, std::size_t n);
void* __wrap_malloc(std::size_t n) { return n > g_largest ? nullptr : __real_malloc(n); }
void* __wrap_realloc(void* memory, std::size_t n) {
  return n > g_largest ? nullptr : __real_realloc(memory, n);
}
}

namespace zenta::trace {
namespace {

using records::kFields;
using records::write_json;
using tstl::JsonFault;

std::string Written(const TraceRecord& record) {
  tstl::JsonWrite out;
  write_json(record, out);
  EXPECT_TRUE(out.good());
  return std::string(out.output().std_view());
}

// A good line that was read.
struct Read {
  explicit Read(const std::string& line) {
    std::uint32_t position;
    EXPECT_EQ(ReadTraceLine(line, record, arena, nodes, position), JsonFault::kNone) << line;
  }

  tstl::Chunk arena, nodes;
  TraceRecord record;
};

std::string Rewritten(const std::string& line) {
  Read read(line);
  read.nodes.reset();
  return Written(read.record);
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
      {R"({"key_array":[{"id":113},{"key_rect":[1,2,3,4]}],"pad_rect":[-1,0,9,8],"type":"setLayout"})",
       R"({"type":"setLayout","pad_rect":[-1,0,9,8],"key_array":[{"key_rect":[0,0,0,0],"id":113},)"
       R"({"key_rect":[1,2,3,4],"id":0}]})"},
      {R"({"type":"switchPad"})", R"({"type":"switchPad","pad_name":"","time":0})"},
      // Members before the type, and both meanings of "time".
      {R"({"time":1700000000000,"time":[7],"pad_name":"CJ","type":"switchPad"})",
       R"({"type":"switchPad","pad_name":"CJ","time":1700000000000})"},
      {R"({"time":9,"time":[7,8],"type":"inputSelection"})", kBareInput + R"(,"time":[7,8]})"},
      // Other types keep nothing else; the last of two types decides.
      {R"({"pad_name":"CJ","type":"lianSimulate","expect":"x"})", R"({"type":"lianSimulate"})"},
      {R"({"type":"setLayout","type":"setLayouts"})", R"({"type":"setLayouts"})"},
      {R"({"type":"noused_xx0","type":5})", R"({"type":"noused_xx0"})"},
      {"{}", R"({"type":""})"},
      // Integers, however they are written.
      {R"({"type":"inputSelection","time":[1e2,5.0],"point":[[-1.0,0.2e1]]})",
       kBareInput + R"(,"time":[100,5],"point":[[-1,2]]})"},
  };
  for (const auto& [read, written] : rows) EXPECT_EQ(Rewritten(read), written) << read;
  TraceRecord record;  // the type follows from the kind and need not be set
  record.kind = TraceKind::kLayout;
  EXPECT_EQ(Written(record), kBareLayout);
}

TEST(TraceRecordTest, IgnoresWhatIsNoValueOfAMember) {
  std::istringstream members(R"(
      "pad_rect":[1,2,3] "pad_rect":[1,2,3,4,5] "pad_rect":[1,2,3,32768] "pad_rect":[1,2,3,"4"]
      "pad_rect":[1,2,3,4.5] "pad_rect":[1,2,3,-32769] "pad_rect":{"a":1} "pad_rect":"1234"
      "key_array":{} "key_array":[5,"x",[]] "KEY_ARRAY":[{}] "":1 "time":[1,-1]
      "time":[4294967296] "time":["1"] "time":5 "point":[[1,2],[3]] "point":[[1,2],3]
      "point":[[1,40000]] "point":[[1,2,3]] "expect":null "code":[1] "need_iec":1
      "del_tail":-1 "del_tail":1e-2 "attribute":true)");
  for (std::string member; members >> member;) {
    EXPECT_EQ(Rewritten(R"({"type":"setLayout",)" + member + "}"), kBareLayout) << member;
    EXPECT_EQ(Rewritten(R"({"type":"inputSelection",)" + member + "}"), kBareInput + "}") << member;
  }
}

// The k-th allocation fails in either arena: the record is empty then, and the fault is kMemory.
TEST(TraceRecordTest, ComesBackAsItWasOrEmptyWhereMemoryIsShort) {
  reference::RecordFiller filler(7, false);
  for (unsigned i = 0; i < 2000; ++i) {
    auto made = filler.Make<TraceRecord>();
    made.has_needs_iec = i % 3 == 0;
    made.kind = TraceKind::kOther;
    if (i % 4 != 0) made.SetKind(static_cast<TraceKind>(i % 4));
    const std::string line = Written(made);
    for (unsigned k = i < 20 ? 0u : 1000u, served = 0; served < 2; ++k) {
      for (const bool tree : {false, true}) {
        reference::ShortArena arena{tree ? ~0u : k}, nodes{tree ? k : ~0u};
        auto record = filler.Make<TraceRecord>();
        std::uint32_t position = ~0u;
        const JsonFault fault = ReadTraceLine(line, record, arena, nodes, position);
        EXPECT_LE(position, line.size());
        if (fault != JsonFault::kNone) {
          EXPECT_EQ(fault, JsonFault::kMemory);
          EXPECT_EQ(reference::Difference(record, TraceRecord()), "");
          continue;
        }
        ++served;
        EXPECT_EQ(record.kind, made.kind);
        kFields<TraceRecord>.each([&](auto field) {
          EXPECT_EQ(field.in_json(record), field.in_json(made)) << field.kKey;
          if (!field.in_json(made)) return;
          EXPECT_EQ(reference::Difference(field.of(record), field.of(made)), "") << field.kKey;
        });
      }
    }
  }
}

class TraceFileTest : public testing::Test, protected TempFolder {
 protected:
  // Appends records of these kinds.
  void Write(std::initializer_list<TraceKind> kinds) const {
    TraceWriter writer;
    ASSERT_TRUE(writer.Open(path_.c_str()));
    TraceRecord record;
    for (const TraceKind kind : kinds) record.SetKind(kind), writer.Append(record);
    EXPECT_TRUE(writer.Close());
  }
  // The types of all records in the file, each followed by a blank.
  std::string Types(TraceReader& reader) {
    std::string types;
    EXPECT_TRUE(reader.Open(path_.c_str()));
    TraceRecord record;
    while (reader.Next(record, arena_)) types.append(record.type.std_view()) += ' ';
    EXPECT_EQ(reader.error(), 0);
    return types;
  }

  tstl::Chunk arena_;
  std::string path_ = At("trace");
};

TEST_F(TraceFileTest, ReadingGoesOnAfterBadLines) {
  const struct {
    std::string text, types;
    std::uint64_t lines, bad;
    TraceFault first;
  } rows[] = {
      {"\n \r\n\t\n", "", 3, 0, {}},
      {"\xEF\xBB\xBF{\"type\":\"a\"}\r\n\r\n  {\"type\":\"b\"}  ", "a b ", 3, 0, {}},
      {"{\"type\":\"a\"}\n{\"type\":\"b\" \n{}\n", "a  ", 3, 1, {JsonFault::kEnds, 2, 12}},
      {"\n  [1]\nnull\n{\"type\":\"a\"}\n", "a ", 4, 2, {JsonFault::kUnexpected, 2, 2}},
      {"{}{}\n{\"type\":\"a\"}", "a ", 2, 1, {JsonFault::kTrailing, 1, 2}},
      {" {\"a\":01}\r\n\x01\xFF\n", "", 2, 2, {JsonFault::kUnexpected, 1, 7}},
      {std::string(513, '[') + "\n{\"type\":\"a\"}\n", "a ", 2, 1, {JsonFault::kDepth, 1, 512}},
  };
  TraceReader reader;
  for (std::size_t i = 0; i < 2 * std::size(rows); ++i) {  // twice: the reader is used again
    const auto& [text, types, lines, bad, first] = rows[i % std::size(rows)];
    SCOPED_TRACE(text);
    Put("trace", text);
    EXPECT_EQ(Types(reader), types);
    EXPECT_EQ(reader.lines(), lines);
    EXPECT_EQ(reader.bad_lines(), bad);
    const TraceFault got = reader.first_fault();
    EXPECT_EQ(std::tie(got.fault, got.line, got.position),
              std::tie(first.fault, first.line, first.position));
  }
  reference::ShortArena none{0};  // a line that gets no memory is bad; the next is read
  Put("trace", "{\"type\":\"a\"}\n{}\n");
  TraceRecord record;
  ASSERT_TRUE(reader.Open(path_.c_str()) && reader.Next(record, none));
  EXPECT_TRUE(reader.lines() == 2 && record.type.is_empty());
  EXPECT_EQ(reader.first_fault().fault, JsonFault::kMemory);
}

TEST_F(TraceFileTest, ListenerIsToldWhatIsIgnoredAndInWhichLine) {
  Put("trace", R"({"type":"inputSelection","time":[1,1700000000000]}

{"bad
{"type":"switchPad","time":[5],"x":{"time":-1}}
{"time":5,"point":[[1,2],[1.5,2]],"type":"inputSelection"}
{"type":"setLayout","key_array":[{"id":-1},3],"pad_rect":[1,2,3]}
)");
  struct Log : records::IgnoredListener {
    void ignored(const records::Ignored& value) override {
      text += std::to_string(reader.lines()) + " " + std::string(value.key.std_view()) + ": " +
              records::ignored_reason_text(value.reason) + "\n";
    }
    TraceReader reader;
    std::string text;
  } log;
  log.reader.Listen(&log);
  EXPECT_EQ(Types(log.reader), "inputSelection switchPad inputSelection setLayout ");
  EXPECT_EQ(log.text, R"(1 time: a number out of range
4 x: an unknown key
4 time: a value of another type
5 point: a number that is no integer
5 time: a value of another type
6 id: a number out of range
6 key_array: a value of another type
6 pad_rect: an array of another length
)");
  log.reader.Listen(nullptr);
  log.text.clear();
  Types(log.reader);
  EXPECT_EQ(log.text, "");
}

TEST_F(TraceFileTest, WriterAppendsToWhatIsThere) {
  TraceReader reader;
  Write({TraceKind::kPad, TraceKind::kLayout});
  Write({TraceKind::kInput});
  EXPECT_EQ(Types(reader), "switchPad setLayout inputSelection ");
  EXPECT_EQ(reader.lines(), 3u);
  Put("trace", "{\"type\":\"swi");  // left by a writer that was killed
  Write({TraceKind::kLayout});
  EXPECT_EQ(Types(reader), "setLayout ");
  EXPECT_EQ(reader.bad_lines(), 1u);
  EXPECT_EQ(reader.lines(), 2u);
  Put("trace", "");
  Write({TraceKind::kPad});
  EXPECT_EQ(Types(reader), "switchPad ");
  EXPECT_EQ(reader.lines(), 1u);

  // A pipe has no last line; opening it to read one would wait until the alarm.
  const std::string pipe = At("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int end = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  alarm(60);
  TraceWriter writer;
  ASSERT_TRUE(writer.Open(pipe.c_str()));
  writer.Append(TraceRecord());
  EXPECT_TRUE(writer.Close());
  alarm(0);
  char text[20] = {};
  EXPECT_EQ(read(end, text, sizeof text), 12);
  EXPECT_STREQ(text, "{\"type\":\"\"}\n");
  close(end);
}

TEST_F(TraceFileTest, FailuresAreTold) {
  const std::string none = path_ + "/none";
  TraceRecord record;
  TraceReader reader;
  EXPECT_FALSE(reader.Open(none.c_str()) || reader.Next(record, arena_));
  EXPECT_EQ(reader.error(), ENOENT);
  TraceWriter writer;
  EXPECT_FALSE(writer.Open(none.c_str()));
  EXPECT_EQ(writer.error(), ENOENT);
  ASSERT_TRUE(writer.Open("/dev/full"));
  writer.Append(record);
  EXPECT_FALSE(writer.Close());
  EXPECT_EQ(writer.error(), ENOSPC);

  const std::string text(3 << 20, 'x');
  ASSERT_TRUE(writer.Open(path_.c_str()));
  record.type = text;
  g_largest = 1 << 20;
  writer.Append(record), record.type = "a", writer.Append(record);
  g_largest = SIZE_MAX;
  EXPECT_FALSE(writer.Close());
  EXPECT_EQ(writer.error(), ENOMEM);
  ASSERT_TRUE(writer.Open(path_.c_str()));
  writer.Append(record);
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(Types(reader), "a ") << "nothing after the failure, and all after the next Open()";
}

TEST_F(TraceFileTest, MemoryIsBoundedByTheLine) {
  std::string full_list = R"({"time":[0)";
  for (int i = 0; i < 16383; ++i) full_list += ",0";
  const std::tuple<std::string, const char*, const char*> rows[] = {
      {R"({"key_array":[{})", ",{}", "]}"},
      {R"({"type":"")", R"(,"code":"")", "}"},
      {R"({"type":"")", R"(,"time":[1])", "}"},
      {full_list + "]", R"(,"time":[-1])", "}"},
      {R"({"key_array":[{},{},{},{}])", R"(,"key_array":[[],[]])", "}"}};
  for (auto [line, part, end] : rows) {
    while (line.size() < 200000) line += part;
    line += end;
    const Read read(line);
    EXPECT_LE(std::max(read.arena.total(), read.nodes.total()), 16 * line.size() + 65536) << part;
  }
}

}  // namespace
}  // namespace zenta::trace

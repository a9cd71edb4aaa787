// Whole trace files.
#include "engine/trace/trace_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <string>
#include <tuple>

#include "corelib/containers/chunk.h"
#include "tests/temp_folder.h"

namespace zenta {
namespace {

using tstl::JsonFault;

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
  // The types of all records in the file, each before a blank.
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

TEST_F(TraceFileTest, ReadingGoesOnBehindBadLines) {
  const struct {
    std::string text, types;
    std::uint64_t lines, bad;
    TraceFault first;
  } rows[] = {
      {"\n \r\n\t\n", "", 3, 0, {}},
      {"\xEF\xBB\xBF{\"type\":\"a\"}\r\n\r\n  {\"type\":\"b\"}  ", "a b ", 3, 0, {}},
      {"{\"type\":\"a\"}\n{\"type\":\"b\" \n{}\n", "a  ", 3, 1, {JsonFault::kEnds, 2, 12}},
      {"\n[1]\nnull\n{\"type\":\"a\"}\n", "a ", 4, 2, {JsonFault::kUnexpected, 2, 0}},
      {"{}{}\n{\"type\":\"a\"}", "a ", 2, 1, {JsonFault::kTrailing, 1, 2}},
      {" {\"a\":01}\r\n\x01\xFF\n", "", 2, 2, {JsonFault::kUnexpected, 1, 7}},
      {std::string(513, '[') + "\n{\"type\":\"a\"}\n", "a ", 2, 1, {JsonFault::kDepth, 1, 512}},
  };
  TraceReader reader;
  for (const auto& [text, types, lines, bad, first] : rows) {
    SCOPED_TRACE(text);
    Put("trace", text);
    EXPECT_EQ(Types(reader), types);
    EXPECT_EQ(reader.lines(), lines);
    EXPECT_EQ(reader.bad_lines(), bad);
    const TraceFault got = reader.first_fault();
    EXPECT_EQ(std::tie(got.fault, got.line, got.position),
              std::tie(first.fault, first.line, first.position));
  }
}

TEST_F(TraceFileTest, WriterGoesOnBehindWhatIsThere) {
  TraceReader reader;
  Write({TraceKind::kPad, TraceKind::kLayout});
  Write({TraceKind::kInput});
  EXPECT_EQ(Types(reader), "switchPad setLayout inputSelection ");
  EXPECT_EQ(reader.lines(), 3u);
  Put("trace", "{\"type\":\"swi");  // of a writer that died
  Write({TraceKind::kLayout});
  EXPECT_EQ(Types(reader), "setLayout ");
  EXPECT_EQ(reader.bad_lines(), 1u);
  EXPECT_EQ(reader.lines(), 2u);
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
    tstl::Chunk arena, nodes;
    TraceRecord record;
    std::uint32_t position;
    EXPECT_EQ(ReadTraceLine(line, record, arena, nodes, position), JsonFault::kNone) << position;
    EXPECT_LE(std::max(arena.total(), nodes.total()), 16 * line.size() + 65536) << part;
  }
}

}  // namespace
}  // namespace zenta

// Whole trace files.
#include "engine/trace/trace_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "corelib/containers/chunk.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;
using tstl::JsonFault;

class TraceFileTest : public testing::Test {
 protected:
  TraceFileTest() {
    std::string name = (fs::temp_directory_path() / "trace-test-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    path_ = (folder_ / "trace.jsonl").string();
  }
  ~TraceFileTest() override { fs::remove_all(folder_); }

  void Put(const std::string& text) const { std::ofstream(path_, std::ios::binary) << text; }
  [[nodiscard]] std::string Contents() const {
    std::ostringstream text;
    text << std::ifstream(path_, std::ios::binary).rdbuf();
    return text.str();
  }
  // The types of all records that `reader` finds.
  std::vector<std::string> Types(TraceReader& reader) {
    std::vector<std::string> types;
    EXPECT_TRUE(reader.Open(path_.c_str()));
    TraceRecord record;
    while (reader.Next(record, arena_)) types.emplace_back(record.type.std_view());
    EXPECT_EQ(reader.error(), 0);
    EXPECT_TRUE(record.type.is_empty());
    return types;
  }

  tstl::Chunk arena_;
  fs::path folder_;
  std::string path_;
};

TEST_F(TraceFileTest, ReadingGoesOnBehindBadLines) {
  const struct {
    std::string text;
    std::vector<std::string> types;
    std::uint64_t lines, bad;
    TraceFault first;
  } rows[] = {
      {"", {}, 0, 0, {}},
      {"\n \r\n\t\n", {}, 3, 0, {}},
      {"{\"type\":\"a\"}\r\n\r\n  {\"type\":\"b\"}  ", {"a", "b"}, 3, 0, {}},
      {"\xEF\xBB\xBF{\"type\":\"a\"}\n", {"a"}, 1, 0, {}},
      {"{\"type\":\"a\"}\n{\"type\":\"b\" \n{}\n", {"a", ""}, 3, 1, {JsonFault::kEnds, 2, 12}},
      {"\n[1]\nnull\n{\"type\":\"a\"}\n", {"a"}, 4, 2, {JsonFault::kUnexpected, 2, 0}},
      {"{}{}\n{\"type\":\"a\"}", {"a"}, 2, 1, {JsonFault::kTrailing, 1, 2}},
      {" {\"a\":01}\r\n\x01\xFF\n", {}, 2, 2, {JsonFault::kUnexpected, 1, 7}},
      {"{\"a\":\"\\q\"}\n", {}, 1, 1, {JsonFault::kEscape, 1, 7}},
      {std::string(513, '[') + "\n{\"type\":\"a\"}\n", {"a"}, 2, 1, {JsonFault::kDepth, 1, 512}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    Put(row.text);
    TraceReader reader;
    EXPECT_EQ(Types(reader), row.types);
    EXPECT_EQ(reader.lines(), row.lines);
    EXPECT_EQ(reader.bad_lines(), row.bad);
    EXPECT_EQ(reader.first_fault().fault, row.first.fault);
    EXPECT_EQ(reader.first_fault().line, row.first.line);
    EXPECT_EQ(reader.first_fault().position, row.first.position);
  }
}

TEST_F(TraceFileTest, WriterGoesOnBehindWhatIsThere) {
  TraceRecord pad, layout;
  pad.SetKind(TraceKind::kPad);
  pad.pad_name = "CJ";
  layout.SetKind(TraceKind::kLayout);
  const std::string pad_line = R"({"type":"switchPad","pad_name":"CJ","time":0})"
                               "\n";
  const std::string layout_line = R"({"type":"setLayout","pad_rect":[0,0,0,0],"key_array":[]})"
                                  "\n";

  for (int i = 0; i < 2; ++i) {
    TraceWriter writer;
    ASSERT_TRUE(writer.Open(path_.c_str()));
    writer.Append(pad);
    writer.Append(layout);
    EXPECT_TRUE(writer.Close());
  }
  EXPECT_EQ(Contents(), pad_line + layout_line + pad_line + layout_line);

  // Behind the half line of a writer that died.
  Put("{\"type\":\"swi");
  TraceWriter writer;
  ASSERT_TRUE(writer.Open(path_.c_str()));
  writer.Append(pad);
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(Contents(), "{\"type\":\"swi\n" + pad_line);
  TraceReader reader;
  EXPECT_EQ(Types(reader), std::vector<std::string>{"switchPad"});
}

TEST_F(TraceFileTest, FailuresAreTold) {
  const std::string none = (folder_ / "none" / "trace").string();
  TraceReader reader;
  EXPECT_FALSE(reader.Open(none.c_str()));
  EXPECT_EQ(reader.error(), ENOENT);
  TraceRecord record;
  EXPECT_FALSE(reader.Next(record, arena_));

  TraceWriter writer;
  EXPECT_FALSE(writer.Open(none.c_str()));
  EXPECT_EQ(writer.error(), ENOENT);
  ASSERT_TRUE(writer.Open("/dev/full"));
  writer.Append(record);
  EXPECT_FALSE(writer.Close());
  EXPECT_EQ(writer.error(), ENOSPC);
}

// No text makes the arenas grow by more than a small multiple of its length, also where lists are
// begun again and again.
TEST_F(TraceFileTest, MemoryIsBoundedByTheLine) {
  const auto repeated = [](std::string line, const std::string& part, const std::string& end) {
    while (line.size() < 200000) line += part;
    return line + end;
  };
  const std::string times = repeated("{\"time\":[0", ",0", "]").substr(0, 10 + 2 * 16383) + "]";
  const std::string lines[] = {
      repeated(R"({"key_array":[{})", ",{}", "]}"),
      repeated(R"({"type":"")", R"(,"code":"")", "}"),
      repeated(R"({"type":"")", R"(,"time":[1])", "}"),
      repeated(times, R"(,"time":[1,""])", "}"),
      repeated(R"({"key_array":[{},{},{},{}])", R"(,"key_array":[[],[]])", "}"),
  };
  for (const std::string& text : lines) {
    SCOPED_TRACE(text.substr(0, 40));
    tstl::Chunk arena, nodes;
    TraceRecord record;
    std::uint32_t position;
    EXPECT_EQ(ReadTraceLine(text, record, arena, nodes, position), JsonFault::kNone) << position;
    EXPECT_LE(arena.total(), 16 * text.size() + 65536);
    EXPECT_LE(nodes.total(), 16 * text.size() + 65536);
  }
}

}  // namespace
}  // namespace zenta

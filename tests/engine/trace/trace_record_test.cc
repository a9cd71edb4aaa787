// Trace records to JSON and back.
#include "engine/trace/trace_record.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "corelib/containers/chunk.h"
#include "engine/records/record.h"
#include "engine/trace/trace_file.h"
#include "tests/reference/record_reference.h"

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
  };
  for (const auto& [read, written] : rows) EXPECT_EQ(Rewritten(read), written) << read;
}

TEST(TraceRecordTest, IgnoresWhatIsNoValueOfAMember) {
  std::istringstream members(R"(
      "pad_rect":[1,2,3] "pad_rect":[1,2,3,4,5] "pad_rect":[1,2,3,32768] "pad_rect":[1,2,3,"4"]
      "pad_rect":[1,2,3,4.0] "pad_rect":[1,2,3,-32769] "pad_rect":{"a":1} "pad_rect":"1234"
      "key_array":{} "key_array":[5,"x",[]] "KEY_ARRAY":[{}] "":1 "time":[1,-1]
      "time":[4294967296] "time":["1"] "time":5 "point":[[1,2],[3]] "point":[[1,2],3]
      "point":[[1,40000]] "point":[[1,2,3]] "expect":null "code":[1] "need_iec":1
      "del_tail":-1 "del_tail":1e2 "attribute":true)");
  for (std::string member; members >> member;) {
    EXPECT_EQ(Rewritten(R"({"type":"setLayout",)" + member + "}"), kBareLayout) << member;
    EXPECT_EQ(Rewritten(R"({"type":"inputSelection",)" + member + "}"), kBareInput + "}") << member;
  }
}

TEST(TraceRecordTest, ComesBackAsItWas) {
  reference::RecordFiller filler(7, false);
  for (unsigned i = 0; i < 2000; ++i) {
    auto record = filler.Make<TraceRecord>();
    record.has_needs_iec = i % 3 == 0;
    record.kind = TraceKind::kOther;
    if (i % 4 != 0) record.SetKind(static_cast<TraceKind>(i % 4));
    const std::string line = Written(record);
    tstl::Chunk arena, nodes;
    TraceRecord read;
    std::uint32_t position;
    ASSERT_EQ(ReadTraceLine(line, read, arena, nodes, position), tstl::JsonFault::kNone) << line;
    EXPECT_EQ(read.kind, record.kind);
    kFields<TraceRecord>.each([&](auto field) {
      EXPECT_EQ(field.in_json(read), field.in_json(record)) << field.kKey;
      if (!field.in_json(record)) return;
      EXPECT_EQ(reference::Difference(field.of(read), field.of(record)), "") << field.kKey;
    });
  }
}

}  // namespace
}  // namespace zenta

// Reads any bytes as lines of a trace. Invariants for each line:
// 1. It is a record exactly if it is a JSON object; otherwise its fault is the JSON reader's.
// 2. A record is written as one line, and the record read back from it is written the same:
//    nothing is lost or changed but what a record cannot hold.
// 3. What is written is JSON without line breaks, for RapidJSON too, and has the members that the
//    table asks for.
// 4. Reading takes at most 16 bytes for each byte of the line, plus 64 KiB, from each of the two
//    arenas.
#include <cstddef>
#include <cstdint>
#include <string>

#include "corelib/containers/chunk.h"
#include "corelib/text/buffer_ref.h"
#include "engine/records/record.h"
#include "engine/trace/trace_file.h"
#include "fuzz/io/json_oracle.h"
#include "fuzz/require.h"

namespace {

using tstl::Chunk;
using tstl::JsonFault;
using zenta::fuzz::Require;
using zenta::records::Bytes;
using zenta::trace::TraceRecord;

std::string Written(const TraceRecord& record) {
  tstl::JsonWrite out;
  zenta::records::write_json(record, out);
  Require(out.good());
  return std::string(out.output().std_view());
}

// The number of members of the object in a written line. Where RapidJSON has an opinion on the
// line, it must find an object with the same values.
unsigned MembersOf(const std::string& line, Chunk& arena) {
  const tstl::JsonParse parse = tstl::json_parse(line, arena);
  Require(parse && parse.root->type() == tstl::JsonType::kObject);
  const tstl::oracle::Verdict peer = tstl::oracle::AskPeer(line);
  Require(peer.kind != tstl::oracle::Verdict::kBad);
  if (peer.kind == tstl::oracle::Verdict::kGood)
    Require(peer.form == tstl::oracle::PlainFormOf(parse.root, arena));
  unsigned count = 0;
  for (auto* node = parse.root->first_child(); node != nullptr; node = node->next()) ++count;
  return count;
}

// The number of fields that the table asks to be written.
unsigned FieldsOf(const TraceRecord& record) {
  unsigned count = 0;
  zenta::records::kFields<TraceRecord>.each([&](auto field) { count += field.in_json(record); });
  return count;
}

void CheckLine(Bytes line) {
  Chunk arena, nodes, check;
  TraceRecord record;
  std::uint32_t position;
  struct : zenta::records::IgnoredListener {
    void ignored(const zenta::records::Ignored& value) override { keys += value.key.len(); }
    std::uint64_t keys = 0;
  } listener;
  const JsonFault fault =
      zenta::trace::ReadTraceLine(line, record, arena, nodes, position, &listener);
  Require(listener.keys <= 16 * std::uint64_t{line.len()} * line.len());
  Require(arena.total() <= 16 * std::uint64_t{line.len()} + 65536);
  Require(nodes.total() <= 16 * std::uint64_t{line.len()} + 65536);

  const tstl::JsonParse parse = tstl::json_parse(line, check);
  if (!parse) return Require(fault == parse.fault && position == parse.position);
  const bool is_object = parse.root->type() == tstl::JsonType::kObject;
  Require(fault == (is_object ? JsonFault::kNone : JsonFault::kUnexpected) &&
          position <= line.len());
  if (!is_object) return;

  nodes.reset();  // the record must not need them
  const std::string written = Written(record);
  Require(written.find('\n') == written.npos && written.find('\r') == written.npos);
  Require(MembersOf(written, check) == FieldsOf(record));
  TraceRecord again;
  Require(zenta::trace::ReadTraceLine(written, again, check, nodes, position) == JsonFault::kNone);
  Require(again.kind == record.kind && Written(again) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tstl::BufferRefMutable<unsigned char> text(data, static_cast<unsigned>(size));
  while (text) CheckLine(text.fetch_before_chr('\n'));
  return 0;
}

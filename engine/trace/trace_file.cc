#include "engine/trace/trace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/read_file.h"
#include "engine/records/message.h"
#include "engine/records/record.h"

namespace zenta::trace {
namespace {

using records::write_json;
using tstl::JsonFault;
using tstl::JsonType;

// Whether the last line of the file is incomplete. Only a regular file can have one; opening
// anything else, a pipe say, must not wait.
bool EndsInsideLine(const char* path) {
  const tstl::detail::Descriptor file(tstl::detail::open_file(path, O_RDONLY | O_NONBLOCK));
  std::uint64_t size = 0;
  if (!file || !tstl::detail::regular_file_size(file.fd(), size) || size == 0) return false;
  char last = '\n';
  return pread(file.fd(), &last, 1, static_cast<off_t>(size - 1)) == 1 && last != '\n';
}

// "time" is a number in a pad and an array in an input. A "time" that comes before the type can be
// recognized as the wrong one only when the type is known.
void TellWrongTime(const TraceRecord& record, records::IgnoredListener& listener) {
  const bool wrong = (record.kind == TraceKind::kInput && record.pad_time != 0) ||
                     (record.kind == TraceKind::kPad && !record.times.is_empty());
  if (wrong) listener.ignored({Bytes("time"), records::IgnoredReason::kOtherType});
}

}  // namespace

JsonFault ReadTraceLine(Bytes line, TraceRecord& record, tstl::ArenaRef arena, tstl::ArenaRef nodes,
                        std::uint32_t& position, records::IgnoredListener* listener) {
  record = TraceRecord();
  const tstl::JsonParse parse = tstl::json_parse(line, nodes);
  position = parse.position;
  if (!parse) return parse.fault;
  if (parse.root->type() != JsonType::kObject) {
    position = tstl::json_value_start(line);
    return JsonFault::kUnexpected;
  }
  ReadState state(arena, {}, listener);
  read_members(record, *parse.root, state);
  if (!state.stopped()) {
    if (listener != nullptr) TellWrongTime(record, *listener);
    return JsonFault::kNone;
  }
  record = TraceRecord();
  return JsonFault::kMemory;
}

bool TraceReader::Open(const char* path) {
  bytes_ = lines_ = bad_lines_ = 0;
  first_fault_ = TraceFault();
  return text_.open(path) == 0;
}

bool TraceReader::Next(TraceRecord& record, tstl::ArenaRef arena) {
  for (Bytes line; text_.read_line(line, true);) {
    ++lines_;
    bytes_ += std::uint64_t{line.len()} + 1;
    if (tstl::json_value_start(line) == line.len()) continue;
    std::uint32_t position;
    const JsonFault fault = ReadTraceLine(line, record, arena, nodes_, position, listener_);
    nodes_.rewind();
    if (fault == JsonFault::kNone) return true;
    if (bad_lines_++ == 0) first_fault_ = {fault, lines_, position};
  }
  record = TraceRecord();
  return false;
}

bool TraceWriter::Open(const char* path) {
  const bool torn = path != nullptr && EndsInsideLine(path);
  error_ = 0;
  if (file_.open(path, true) != 0) return false;
  if (torn) file_.write_line_end(false);
  return true;
}

void TraceWriter::Append(const TraceRecord& record) {
  line_.clear();
  write_json(record, line_);
  if (!line_.good() && error_ == 0) error_ = ENOMEM;
  if (error_ == 0) file_.write(line_.output()).write_line_end(false);
}

bool TraceWriter::Close() {
  file_.close();
  return error() == 0;
}

}  // namespace zenta::trace

// Trace files: JSON Lines, UTF-8 text with one record on each line.
//
//   TraceReader trace;
//   if (!trace.Open(path)) ...                         // see trace.error()
//   tstl::Chunk arena;
//   for (TraceRecord record; trace.Next(record, arena); arena.rewind()) ...
//   if (trace.bad_lines() != 0) ...                    // see trace.first_fault()
//
//   TraceWriter log;
//   if (!log.Open(path)) ...
//   log.Append(record);
//   if (!log.Close()) ...                              // see log.error(): a full disk, say
//
// A line ends with LF or CR LF (when it is read also with CR alone); blank lines are skipped. A
// line that holds no JSON object is bad; only that line is lost, and reading goes on after it.
// Members that a record does not have, and values that do not fit a member, are ignored;
// TraceReader::Listen reports them.
//
// A writer that was killed may leave an incomplete last line. The next writer starts a new line
// after it, and the reader reports one bad line.
#pragma once

#include <cstdint>

#include "corelib/base/arena_ref.h"
#include "corelib/containers/chunk.h"
#include "corelib/io/files/buffer_write.h"
#include "corelib/io/files/text_read.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_write.h"
#include "engine/records/field.h"
#include "engine/records/ignored.h"
#include "engine/trace/trace_record.h"

namespace zenta::trace {

// What is wrong with a line, and where: the number of the line, from 1, and the offset of the first
// byte that makes it invalid, from 0. kUnexpected also when the line is a JSON value but no object.
struct TraceFault {
  tstl::JsonFault fault = tstl::JsonFault::kNone;
  std::uint64_t line = 0;
  std::uint32_t position = 0;
};

// Reads a line into an empty record. The record's texts and lists lie in `arena`. The JSON tree
// lies in `nodes`, which may be emptied after the call. From each of the two it takes at most 16
// bytes for each byte of the line, plus 64 KiB. On a fault `record` is empty, `position` is the
// offset of the fault, and nothing was taken from `arena` unless the fault is kMemory.
//
// `listener`, which may be null, is called for each value that is ignored. That includes the number
// "time" in an input and the array "time" in a pad, since each kind has the other form.
[[nodiscard]] tstl::JsonFault ReadTraceLine(Bytes line, TraceRecord& record, tstl::ArenaRef arena,
                                            tstl::ArenaRef nodes, std::uint32_t& position,
                                            records::IgnoredListener* listener = nullptr);

// Reads a file record by record. Memory does not grow with the file but with its longest line: the
// text twice, and the tree of ReadTraceLine. Not copyable. A reader is for one thread at a time.
class TraceReader {
 public:
  // Opens the file `path` (zero-terminated) at its beginning. False if it cannot be read.
  [[nodiscard]] bool Open(const char* path);
  // Reads the next record and replaces what `record` holds. Its memory is in `arena` alone. False,
  // with an empty record, at the end of the file and when reading fails.
  [[nodiscard]] bool Next(TraceRecord& record, tstl::ArenaRef arena);
  // From now on `listener` is called for each value that is ignored; the value is in line number
  // lines(). Null ends that. `listener` must outlive the reading.
  void Listen(records::IgnoredListener* listener) noexcept { listener_ = listener; }

  // The errno value of the failure that ended Open() or Next(); 0 at the end of the file.
  [[nodiscard]] int error() const noexcept { return text_.error(); }
  // What has been read so far: lines of any kind, bad lines, and the first of the bad ones.
  [[nodiscard]] std::uint64_t lines() const noexcept { return lines_; }
  [[nodiscard]] std::uint64_t bad_lines() const noexcept { return bad_lines_; }
  // The bytes of UTF-8 text that have been read, with one byte counted for each line end.
  [[nodiscard]] std::uint64_t bytes() const noexcept { return bytes_; }
  [[nodiscard]] const TraceFault& first_fault() const noexcept { return first_fault_; }

 private:
  tstl::TextRead<unsigned char> text_;
  tstl::Chunk nodes_;
  std::uint64_t bytes_ = 0;
  std::uint64_t lines_ = 0;
  std::uint64_t bad_lines_ = 0;
  TraceFault first_fault_;
  records::IgnoredListener* listener_ = nullptr;
};

// Appends records to a file. Up to 4 KiB of what was appended is in memory only, until Close(). Not
// copyable. A writer is for one thread at a time.
class TraceWriter {
 public:
  // Opens the file `path` (zero-terminated) at its end, and creates it if it is missing. False if
  // it cannot be written.
  [[nodiscard]] bool Open(const char* path);
  // Writes a line. After a failure, which Close() reports, nothing more is written.
  void Append(const TraceRecord& record);
  // Writes what is pending and closes the file. False if anything since Open() has failed.
  [[nodiscard]] bool Close();

  // The errno value of the first failure since Open(), its own included; 0 when there was none.
  [[nodiscard]] int error() const noexcept { return error_ != 0 ? error_ : file_.error(); }

 private:
  tstl::BufferWrite<unsigned char> file_;
  tstl::JsonWrite line_;
  int error_ = 0;
};

}  // namespace zenta::trace

// Trace files: JSON Lines, UTF-8 text with one record on each line.
//
//   TraceReader trace;
//   if (!trace.Open(path)) ...                         // trace.error() tells why
//   tstl::Chunk arena;
//   for (TraceRecord record; trace.Next(record, arena); arena.rewind()) ...
//   if (trace.bad_lines() != 0) ...                    // trace.first_fault() tells the first
//
//   TraceWriter log;
//   if (!log.Open(path)) ...
//   log.Append(record);
//   if (!log.Close()) ...                              // log.error(): the disk was full, or the like
//
// A line ends with LF or CR LF (and, when it is read, with CR alone); blank lines mean nothing. A line
// that holds no JSON object is bad: it costs itself alone, reading goes on behind it. Members that a
// record does not have, and values that are none of theirs, are ignored; the reader can be asked which
// (TraceReader::Listen).
//
// A writer that died may leave the beginning of a line behind. The next one begins a line of its own
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

// What is wrong with a line, and where: its number, from 1, and the first byte of it, from 0, that
// cannot stand there. kUnexpected also where the line is a JSON value but no object.
struct TraceFault {
  tstl::JsonFault fault = tstl::JsonFault::kNone;
  std::uint64_t line = 0;
  std::uint32_t position = 0;
};

// Reads a line into a fresh record. The record's texts and lists lie in `arena`, the tree that is
// made on the way in `nodes`, which may be emptied then. Each of them gives at most 16 bytes for each
// byte of the line, and 64 KiB. On a fault `record` is empty, `position` has its place, and unless
// memory was short `arena` gave nothing.
// `listener`, which may be null, is told what the record does not take in. That is also the number
// "time" of an input and the array "time" of a pad, since each of them has the other.
[[nodiscard]] tstl::JsonFault ReadTraceLine(Bytes line, TraceRecord& record, tstl::ArenaRef arena,
                                            tstl::ArenaRef nodes, std::uint32_t& position,
                                            records::IgnoredListener* listener = nullptr);

// Reads a file record by record. However long it is, memory follows its longest line: twice for the
// text, and the tree of ReadTraceLine. Not to be copied; one thread at a time.
class TraceReader {
 public:
  // Starts at the beginning of the file `path` (zero-terminated). False if it cannot be read.
  [[nodiscard]] bool Open(const char* path);
  // Reads the next record, in place of what `record` holds. Its memory is in `arena` alone. False,
  // with an empty record, at the end of the file, and when the file cannot be read on.
  [[nodiscard]] bool Next(TraceRecord& record, tstl::ArenaRef arena);
  // Has `listener` told what is ignored from here on, each time in the line that lines() counted
  // last; null: nobody is told. It must outlive the reading.
  void Listen(records::IgnoredListener* listener) noexcept { listener_ = listener; }

  // The errno value of what kept Open() or Next() from going on; 0 at the end of the file.
  [[nodiscard]] int error() const noexcept { return text_.error(); }
  // Of what has been read: lines of any kind, lines that were bad, and the first of these.
  [[nodiscard]] std::uint64_t lines() const noexcept { return lines_; }
  [[nodiscard]] std::uint64_t bad_lines() const noexcept { return bad_lines_; }
  // How far the reading is, in bytes of UTF-8 text: the lines, one byte counted for each line's end.
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

// Appends records to a file. Up to 4 KiB of what was appended are in memory only, until Close(). Not
// to be copied; one thread at a time.
class TraceWriter {
 public:
  // Goes on at the end of the file `path` (zero-terminated), which is made if there is none. False
  // if it cannot be written.
  [[nodiscard]] bool Open(const char* path);
  // Writes a line. A failure is kept, and told by Close(); nothing more is written then.
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

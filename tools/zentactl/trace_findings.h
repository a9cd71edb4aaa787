// TraceFindings: what a reader of a trace ignored: of which member, why, how often, and in which
// line first.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/records/ignored.h"
#include "engine/trace/trace_file.h"

namespace zenta::zentactl {

class TraceFindings final : public records::IgnoredListener {
 public:
  struct Row {
    std::string key;  // as Shown() makes it
    const char* why;
    std::uint64_t count, first_line;
  };
  static constexpr std::size_t kMaxRows = 20;

  // Listens to `reader` for as long as it lives.
  explicit TraceFindings(trace::TraceReader& reader) : reader_(reader) { reader.Listen(this); }
  TraceFindings(const TraceFindings&) = delete;
  TraceFindings& operator=(const TraceFindings&) = delete;
  ~TraceFindings() { reader_.Listen(nullptr); }

  // Called by the reader.
  void ignored(const records::Ignored& value) override;
  // Checks the record that was read last for what has no effect: an unknown type or pad, times that
  // do not match the touches, members of another type of record.
  void Check(const trace::TraceRecord& record);

  [[nodiscard]] std::uint64_t count() const { return count_; }
  // The first kMaxRows kinds of findings, in the order of the trace.
  [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }
  // The number of findings that are in no row.
  [[nodiscard]] std::uint64_t unnamed() const { return unnamed_; }

 private:
  void Add(records::Bytes key, const char* why);

  trace::TraceReader& reader_;
  std::uint64_t count_ = 0, unnamed_ = 0;
  std::vector<Row> rows_;
};

}  // namespace zenta::zentactl

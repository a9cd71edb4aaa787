// TraceFindings: what a reader of a trace ignored: of which member, why, how often, and in which line
// first.
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

  // What the reader tells.
  void ignored(const records::Ignored& value) override;
  // What the record, which was read last, holds to no effect: a type, a pad, times or members that
  // nobody can do anything with.
  void Check(const trace::TraceRecord& record);

  [[nodiscard]] std::uint64_t count() const { return count_; }
  // The first kinds of them, in the order of the trace.
  [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }
  // How many are in no row.
  [[nodiscard]] std::uint64_t unnamed() const { return unnamed_; }

 private:
  void Add(records::Bytes key, const char* why);

  trace::TraceReader& reader_;
  std::uint64_t count_ = 0, unnamed_ = 0;
  std::vector<Row> rows_;
};

}  // namespace zenta::zentactl

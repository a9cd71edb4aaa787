// Writes the touches of a trace as a table for other programs: CSV (RFC 4180, but lines end with
// LF), in UTF-8, a row for each touch after a header row:
//
//   input,touch,time,x,y,pad,layout,hit,meant,from_middle,expect,code
//
// `input` counts from 1 in the trace, `touch` in its input. `time` is in milliseconds, empty if
// there is none. `layout` numbers the distinct layouts of the trace from 1, and is empty for those
// that TraceLayouts does not keep. `hit` and `meant` are the labels of keys, empty if there is
// none; `from_middle` is the distance from the middle of the key that was meant, or else of the one
// that was hit, as FromMiddle() has it. Texts are as Shown() makes them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "engine/trace/trace_record.h"
#include "tools/common/new_file.h"
#include "tools/zentactl/trace_data.h"

namespace zenta::zentactl {

// Its memory does not grow with the trace. Every member throws Failure.
class TraceCsv {
 public:
  // Nothing is written to `path` ("-" is standard output) before Finish().
  explicit TraceCsv(std::filesystem::path path);
  // Adds a row for each touch of the input that was added to `data` last; `keys` are its touches'
  // keys.
  void Add(const trace::TraceRecord& input, std::span<const TouchKeys> keys, const TraceData& data);
  void Finish();

 private:
  void Flush();

  std::filesystem::path path_;
  bool is_file_;  // and not standard output, a pipe or a device
  tools::NewFile file_;
  std::string rows_;  // not written yet
};

}  // namespace zenta::zentactl

#include "tools/zentactl/trace_totals.h"

#include <algorithm>

#include "engine/trace/pads.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {

using trace::TraceKind;
using trace::TraceRecord;

void TraceTotals::Add(const TraceRecord& record) {
  ++kinds[static_cast<std::size_t>(record.kind)];
  if (record.kind == TraceKind::kPad) AddPad(record);
  if (record.kind == TraceKind::kLayout) keys += record.keys.size();
  if (record.kind != TraceKind::kInput) return;
  touches += record.points.size();
  times += record.times.size();
  for (const std::uint32_t time : record.times) {
    first_time = std::min(first_time, time);
    last_time = std::max(last_time, time);
  }
}

void TraceTotals::AddPad(const TraceRecord& record) {
  std::string name = Shown(record.pad_name, 40);
  if (trace::pad_code(record.pad_name) == 0) name += " (no known pad)";
  if (std::ranges::find(pads, name) != pads.end()) return;
  if (pads.size() == kMaxPads) {
    more_pads = true;
  } else {
    pads.push_back(name);
  }
}

}  // namespace zenta::zentactl

// TraceData: what one pass over a trace collects for its summary and its pictures.
#pragma once

#include <vector>

#include "tools/zentactl/trace_keys.h"
#include "tools/zentactl/trace_layouts.h"
#include "tools/zentactl/trace_picture.h"
#include "tools/zentactl/trace_totals.h"

namespace zenta::zentactl {

struct TraceData {
  TraceTotals totals;
  TraceLayouts layouts;
  TracePicture picture;

  // Takes the next record of the trace. Returns the keys of an input's touches.
  std::vector<TouchKeys> Add(const trace::TraceRecord& record) {
    totals.Add(record);
    layouts.Add(record);
    if (record.kind != trace::TraceKind::kInput) return {};
    std::vector<TouchKeys> keys = FindKeys(layouts.current().keys, record);
    layouts.Count(keys);
    picture.Add(record, keys, layouts);
    return keys;
  }
};

}  // namespace zenta::zentactl

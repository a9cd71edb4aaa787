// Makes a page of a trace: one file of HTML that shows the pads, a time line that can be played,
// and the inputs. It loads nothing, and its policy forbids it to.
#pragma once

#include <string>
#include <string_view>

#include "tools/zentactl/trace_data.h"

namespace zenta::zentactl {

// The whole file's text: trace_page.html with trace_page.css, trace_page.js and the trace as JSON
// in their places. No text of the trace can end the element that it stands in. `title` is a
// heading, UTF-8.
std::string MakeTracePage(const TraceData& data, std::string_view title);

// The trace as trace_page.js reads it: JSON in which < > & and the separators U+2028 and U+2029 are
// escaped.
//
//   {"totals": {"inputs", "touches", "length": milliseconds}, "step": one in how many inputs is there,
//    "leftOut": {"layouts", "keys", "touches"},
//    "layouts": [{"heading", "rect": [left, top, right, bottom], "touches",
//                 "keys": [[left, top, right, bottom, label, hit, meant], ...]}, ...],
//    "inputs": [[number, text, code, layout, touches, milliseconds,
//                [x, y, milliseconds after the first or null, key hit, key meant, ...]], ...]}
//
// A key is an index into the keys of its layout, -1 for none. Touches follow each other, five
// values each.
std::string TracePageData(const TraceData& data);

}  // namespace zenta::zentactl

// Draws a picture of a trace as SVG 1.1: each layout with its keys to scale and the touches on
// them, a legend, and a list of inputs. Touches are numbered, coloured by time and joined within an
// input; a layout with many touches has a heat map instead. Every browser shows the picture, which
// needs nothing but fonts, and its tooltips explain touches and keys.
#pragma once

#include <string>
#include <string_view>

#include "tools/zentactl/trace_data.h"

namespace zenta::zentactl {

// The whole file's text, well-formed XML whatever the trace holds. `title` is a heading, UTF-8.
std::string DrawTrace(const TraceData& data, std::string_view title);

}  // namespace zenta::zentactl

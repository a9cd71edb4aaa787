// Draws a picture of a trace as SVG 1.1: one drawing for each layout, its keys to scale, and on them the
// touches, numbered, coloured by their time, and joined within an input, or where there are many of
// them a heat map; a legend; a list of inputs. It shows in every browser, needs nothing but fonts, and
// explains a touch or a key under the mouse.
#pragma once

#include <string>
#include <string_view>

#include "tools/zentactl/trace_data.h"

namespace zenta::zentactl {

// The whole file's text, well-formed XML whatever the trace holds. `title` is a heading, UTF-8.
std::string DrawTrace(const TraceData& data, std::string_view title);

}  // namespace zenta::zentactl

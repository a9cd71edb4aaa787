// What a trace holds, in words for a person or as a JSON object for a program.
#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "engine/trace/trace_file.h"
#include "tools/zentactl/trace_findings.h"
#include "tools/zentactl/trace_totals.h"

namespace zenta::zentactl {

struct TraceSummary {
  std::string name;  // of the trace
  const trace::TraceReader& reader;
  const TraceTotals& totals;
  const TraceFindings& findings;
  std::vector<std::pair<std::string, std::string>> written;  // outputs: label and file

  void Print(std::ostream& out) const;
  // Throws Failure when out of memory.
  void PrintJson(std::ostream& out) const;
};

// "line 2, byte 7: the text ends before its value does".
std::string Describe(const trace::TraceFault& fault);

}  // namespace zenta::zentactl

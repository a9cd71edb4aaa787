#include "tools/zentactl/trace_summary.h"

#include <ostream>
#include <string_view>

#include "corelib/io/json/json_write.h"
#include "engine/trace/actions.h"
#include "tools/common/failure.h"
#include "tools/common/terminal_text.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

using records::Bytes;
using tools::ForTerminal;
using trace::action_name;
using trace::TraceKind;

constexpr TraceKind kKinds[] = {TraceKind::kPad, TraceKind::kLayout, TraceKind::kInput};

void PrintKinds(const TraceTotals& totals, std::ostream& out) {
  out << "records    " << totals.records();
  const char* separator = ": ";
  for (const TraceKind kind : kKinds) {
    const auto code = static_cast<std::uint32_t>(kind);
    out << separator << totals.kinds[code] << ' ' << action_name(code).std_view();
    separator = ", ";
  }
  out << separator << totals.kinds[0] << " of other types\n";
}

void PrintPads(const TraceTotals& totals, std::ostream& out) {
  out << "pads       ";
  const char* separator = "";
  for (const std::string& name : totals.pads) {
    out << separator << name;
    separator = ", ";
  }
  if (totals.pads.empty()) out << "none";
  out << (totals.more_pads ? ", and more\n" : "\n");
}

void PrintTimes(const TraceTotals& totals, std::ostream& out) {
  out << "times      " << totals.times;
  if (totals.times != 0) {
    out << ", from " << totals.first_time << " to " << totals.last_time
        << " ms: " << Seconds(totals.length());
  }
  out << '\n';
}

void PrintFindings(const TraceFindings& findings, std::ostream& out) {
  out << "ignored    " << Counted(findings.count(), "value", "values") << '\n';
  for (const TraceFindings::Row& row : findings.rows()) {
    out << "           " << row.count << " of \"" << row.key << "\": " << row.why
        << ", first in line " << row.first_line << '\n';
  }
  if (findings.unnamed() != 0) {
    out << "           " << findings.unnamed() << " of other members\n";
  }
}

// ---- JSON

void Put(tstl::JsonWrite& out, std::string_view key, std::uint64_t value) {
  out.plain_key(key), out.num(value);
}

void Put(tstl::JsonWrite& out, std::string_view key, std::string_view value) {
  out.plain_key(key), out.str(Bytes(value));
}

void PutTotals(tstl::JsonWrite& out, const TraceTotals& totals) {
  out.plain_key(Bytes(std::string_view("records"))), out.begin_object();
  for (const TraceKind kind : kKinds) {
    const auto code = static_cast<std::uint32_t>(kind);
    out.key(action_name(code)), out.num(totals.kinds[code]);
  }
  Put(out, "other", totals.kinds[0]), out.end_object();
  out.plain_key(Bytes(std::string_view("pads"))), out.begin_array();
  for (const std::string& pad : totals.pads) out.str(Bytes(pad));
  out.end_array();
  Put(out, "layouts", totals.layouts()), Put(out, "keys", totals.keys);
  Put(out, "inputs", totals.inputs()), Put(out, "touches", totals.touches);
  Put(out, "times", totals.times);
  if (totals.times != 0) {
    Put(out, "first_time", totals.first_time), Put(out, "last_time", totals.last_time);
  }
}

void PutFindings(tstl::JsonWrite& out, const TraceFindings& findings) {
  Put(out, "ignored", findings.count());
  out.plain_key(Bytes(std::string_view("findings"))), out.begin_array();
  for (const TraceFindings::Row& row : findings.rows()) {
    out.begin_object();
    Put(out, "member", row.key), Put(out, "why", row.why);
    Put(out, "count", row.count), Put(out, "line", row.first_line);
    out.end_object();
  }
  out.end_array();
}

}  // namespace

std::string Describe(const trace::TraceFault& fault) {
  return "line " + std::to_string(fault.line) + ", byte " +
         std::to_string(std::uint64_t{fault.position} + 1) + ": " +
         tstl::json_fault_text(fault.fault);
}

void TraceSummary::Print(std::ostream& out) const {
  out << "trace      " << ForTerminal(name) << "  (" << Counted(reader.lines(), "line", "lines")
      << ")\n";
  PrintKinds(totals, out);
  PrintPads(totals, out);
  out << "keys       " << totals.keys << " in " << Counted(totals.layouts(), "layout", "layouts")
      << "\ntouches    " << totals.touches << " in " << Counted(totals.inputs(), "input", "inputs")
      << '\n';
  PrintTimes(totals, out);
  out << "bad lines  " << reader.bad_lines();
  if (reader.bad_lines() != 0) out << ", the first: " << Describe(reader.first_fault());
  out << '\n';
  PrintFindings(findings, out);
  for (const auto& [what, file] : written) {
    out << what << std::string(11 - what.size(), ' ') << ForTerminal(file) << '\n';
  }
}

void TraceSummary::PrintJson(std::ostream& out) const {
  tstl::JsonWrite json;
  json.begin_object();
  Put(json, "trace", name), Put(json, "lines", reader.lines());
  PutTotals(json, totals);
  Put(json, "bad_lines", reader.bad_lines());
  if (reader.bad_lines() != 0) Put(json, "first_bad_line", Describe(reader.first_fault()));
  PutFindings(json, findings);
  for (const auto& [what, file] : written) Put(json, what, file);
  json.end_object();
  if (!json.good()) throw tools::Failure("out of memory");
  out << json.output().std_view() << '\n';
}

}  // namespace zenta::zentactl

#include "tools/zentactl/report.h"

#include <algorithm>
#include <ostream>
#include <type_traits>
#include <utility>

#include "corelib/io/json/json_write.h"
#include "tools/common/failure.h"
#include "tools/common/terminal_text.h"

namespace zenta::zentactl {

void AddSpeechOptions(CLI::App& command, Speech& speech) {
  command.add_flag("--json", speech.json, "Print the result as a JSON object, for programs");
  AddQuietOption(command, speech);
}

void AddQuietOption(CLI::App& command, Speech& speech) {
  command.add_flag("--quiet", speech.quiet, "Print nothing but errors: no summary, no progress");
}

Report& Report::Add(std::string label, std::string value, std::string remark) {
  rows_.push_back({std::move(label), std::move(value), std::move(remark)});
  return *this;
}

Report& Report::Add(std::string label, std::uint64_t value, std::string remark) {
  rows_.push_back({std::move(label), value, std::move(remark)});
  return *this;
}

Report& Report::AddFlag(std::string label, bool value) {
  rows_.push_back({std::move(label), value, {}});
  return *this;
}

void Report::Print(const Speech& speech, std::ostream& out) const {
  if (speech.quiet) return;
  speech.json ? PrintJson(out) : PrintColumns(out);
}

void Report::PrintColumns(std::ostream& out) const {
  std::size_t width = 0;
  for (const Row& row : rows_) {
    if (!std::holds_alternative<bool>(row.value)) width = std::max(width, row.label.size());
  }
  for (const Row& row : rows_) {
    if (std::holds_alternative<bool>(row.value)) continue;
    out << row.label << std::string(width + 2 - row.label.size(), ' ');
    if (const auto* text = std::get_if<std::string>(&row.value)) {
      out << tools::ForTerminal(*text);
    } else {
      out << std::get<std::uint64_t>(row.value);
    }
    if (!row.remark.empty()) out << "  (" << tools::ForTerminal(row.remark) << ')';
    out << '\n';
  }
}

void Report::PrintJson(std::ostream& out) const {
  tstl::JsonWrite json;
  json.begin_object();
  for (const Row& row : rows_) {
    std::string key = row.label;
    std::replace(key.begin(), key.end(), ' ', '_');
    json.key(key);
    if (const auto* text = std::get_if<std::string>(&row.value)) {
      json.str(tstl::BufferRef<unsigned char>(*text));
    } else if (const auto* flag = std::get_if<bool>(&row.value)) {
      json.boolean(*flag);
    } else {
      json.num(std::get<std::uint64_t>(row.value));
    }
  }
  json.end_object();
  if (!json.good()) throw tools::Failure("out of memory");
  out << json.output().std_view() << '\n';
}

}  // namespace zenta::zentactl

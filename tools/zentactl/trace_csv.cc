#include "tools/zentactl/trace_csv.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>
#include <string_view>
#include <system_error>

#include "corelib/io/files/descriptor.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using tools::IsStandard;
using tools::NewFile;
using trace::TraceRecord;

constexpr std::size_t kMaxPending = 64 << 10;  // bytes
constexpr std::size_t kMaxText = 200;          // characters of a text

// Whether NewFile replaces what is at `path`, or says why not: false for a pipe or a device, too.
bool IsFile(const fs::path& path) {
  std::error_code none;  // usually there is no such file yet
  const fs::file_status there = fs::status(path, none);
  return !IsStandard(path) &&
         (!fs::exists(there) || fs::is_regular_file(there) || fs::is_directory(there));
}

// A cell, in quotes if it needs them.
std::string Quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == text.npos) return text;
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += c;
    quoted += c;
  }
  return quoted + '"';
}

void AppendRow(std::string& rows, std::initializer_list<std::string_view> cells) {
  for (const std::string_view cell : cells) rows.append(cell) += ',';
  rows.back() = '\n';
}

std::string KeyText(const TraceLayout& layout, std::uint16_t key) {
  return key == kNoKey ? "" : Quoted(KeyLabel(layout.keys[key].id));
}

std::string DistanceText(const TraceLayout& layout, const TouchKeys& keys,
                         const trace::ScreenPoint& at) {
  const std::uint16_t key = keys.meant != kNoKey ? keys.meant : keys.hit;
  if (key == kNoKey) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", FromMiddle(layout.keys[key].rect, at));
  return text;
}

}  // namespace

TraceCsv::TraceCsv(fs::path path)
    : path_(std::move(path)),
      is_file_(IsFile(path_)),
      file_(is_file_ ? NewFile::Beside(path_, 0666) : NewFile::Temporary(tools::OutputName(path_))),
      rows_("input,touch,time,x,y,pad,layout,hit,meant,from_middle,expect,code\n") {}

void TraceCsv::Add(const TraceRecord& input, std::span<const TouchKeys> keys,
                   const TraceData& data) {
  const TraceLayout& layout = data.layouts.current();
  const std::size_t index = data.layouts.current_index();
  const bool numbered = index < data.layouts.kept().size();
  const std::string number = std::to_string(data.totals.inputs()), pad = Quoted(layout.pad);
  const std::string layout_number = numbered ? std::to_string(index + 1) : "";
  const std::string text = Quoted(Shown(input.expected, kMaxText));
  const std::string code = Quoted(Shown(input.code, kMaxText));
  for (std::uint32_t i = 0; i < keys.size(); ++i) {
    const auto& [x, y] = input.points[i];
    AppendRow(rows_, {number, std::to_string(i + 1),
                      i < input.times.size() ? std::to_string(input.times[i]) : "",
                      std::to_string(x), std::to_string(y), pad, layout_number,
                      KeyText(layout, keys[i].hit), KeyText(layout, keys[i].meant),
                      DistanceText(layout, keys[i], input.points[i]), text, code});
    if (rows_.size() >= kMaxPending) Flush();
  }
}

void TraceCsv::Flush() {
  file_.Write(rows_);
  rows_.clear();
}

void TraceCsv::Finish() {
  Flush();
  if (is_file_) return file_.ReplaceAs(path_);
  if (IsStandard(path_)) return file_.CopyTo(STDOUT_FILENO);
  const tstl::detail::Descriptor out(open(path_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
  if (!out) throw tools::SystemFailure("cannot write " + path_.string());
  file_.CopyTo(out.fd());
}

}  // namespace zenta::zentactl

#include "tools/zentactl/trace_findings.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "engine/records/record.h"
#include "engine/trace/actions.h"
#include "engine/trace/pads.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {

using trace::TraceKind;
using trace::TraceRecord;

void TraceFindings::ignored(const records::Ignored& value) {
  Add(value.key, records::ignored_reason_text(value.reason));
}

void TraceFindings::Check(const TraceRecord& record) {
  using std::string_view_literals::operator""sv;
  if (record.kind == TraceKind::kOther) {  // its other members may be those of its action
    if (trace::action_code(record.type) == trace::kActionCount) Add("type"sv, "no such action");
    return;
  }
  if (record.kind == TraceKind::kPad && trace::pad_code(record.pad_name) == 0) {
    Add("pad_name"sv, "no such pad");
  }
  const bool timed = record.kind == TraceKind::kInput && !record.times.is_empty();
  if (timed && record.times.size() != record.points.size()) {
    Add("time"sv, "not one for each touch");
  }
  records::kFields<TraceRecord>.each([&](auto field) {
    using F = decltype(field);
    if (F::kKey == "time" || F::in_json(record)) return;  // the reader reports a wrong time
    if (!F::FieldCodec::is_empty(F::of(record))) Add(F::kKey, "not of this type of record");
  });
}

void TraceFindings::Add(records::Bytes member, const char* why) {
  ++count_;
  const std::string key = Shown(member, 40);
  const auto row = std::ranges::find_if(rows_, [&](const Row& other) {
    return std::strcmp(other.why, why) == 0 && other.key == key;
  });
  if (row != rows_.end()) {
    ++row->count;
  } else if (rows_.size() < kMaxRows) {
    rows_.push_back({key, why, 1, reader_.lines()});
  } else {
    ++unnamed_;
  }
}

}  // namespace zenta::zentactl

#include "engine/trace/trace_record.h"

#include "engine/trace/actions.h"

namespace zenta {

void TraceRecord::SetKind(TraceKind new_kind) noexcept {
  kind = new_kind;
  type = new_kind == TraceKind::kOther ? Bytes() : action_name(static_cast<std::uint32_t>(kind));
}

void TraceRecord::FindKind() noexcept {
  kind = TraceKind::kOther;
  for (const TraceKind known : {TraceKind::kInput, TraceKind::kLayout, TraceKind::kPad}) {
    if (type == action_name(static_cast<std::uint32_t>(known))) kind = known;
  }
}

}  // namespace zenta

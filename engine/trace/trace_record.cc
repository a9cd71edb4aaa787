#include "engine/trace/trace_record.h"

#include "engine/trace/actions.h"

namespace zenta::trace {

void TraceRecord::SetKind(TraceKind new_kind) noexcept {
  kind = new_kind;
  type = Bytes();
  type = WrittenType();
}

Bytes TraceRecord::WrittenType() const noexcept {
  return kind == TraceKind::kOther ? type : action_name(static_cast<std::uint32_t>(kind));
}

void TraceRecord::FindKind() noexcept {
  const std::uint32_t action = action_code(type);
  const bool is_kind = action <= static_cast<std::uint32_t>(TraceKind::kPad);
  kind = is_kind ? static_cast<TraceKind>(action) : TraceKind::kOther;
}

}  // namespace zenta::trace

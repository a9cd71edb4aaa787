#include "engine/records/message.h"

namespace zenta {

const char* BinaryResult::text() const noexcept {
  return out_of_memory ? "no memory for what was read" : tstl::wire_fault_text(fault);
}

std::uint32_t detail::start_of_value(Bytes text) noexcept {
  std::uint32_t at = 0;
  while (at < text.len() && text[at] <= ' ') ++at;
  return at;
}

}  // namespace zenta

#include "engine/records/message.h"

#include <string_view>

namespace zenta::records {

const char* BinaryResult::text() const noexcept {
  return out_of_memory ? "no memory for what was read" : tstl::wire_fault_text(fault);
}

std::uint32_t detail::start_of_value(Bytes text) noexcept {
  const auto start = text.std_view().find_first_not_of(" \t\r\n");
  return start == std::string_view::npos ? text.len() : static_cast<std::uint32_t>(start);
}

}  // namespace zenta::records

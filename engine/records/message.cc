#include "engine/records/message.h"

namespace zenta::records {

const char* BinaryResult::text() const noexcept {
  return out_of_memory && fault == tstl::WireFault::kNone ? "no memory for what was read"
                                                          : tstl::wire_fault_text(fault);
}

}  // namespace zenta::records

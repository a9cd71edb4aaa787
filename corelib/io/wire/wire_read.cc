#include "corelib/io/wire/wire_read.h"

namespace tstl {

const char* wire_fault_text(WireFault fault) noexcept {
  switch (fault) {
    case WireFault::kNone:
      return "no fault";
    case WireFault::kTruncated:
      return "the message ends inside a field";
    case WireFault::kOverlong:
      return "a varint of more than ten bytes";
    case WireFault::kGroup:
      return "a group, which is not supported";
    case WireFault::kWireType:
      return "a wire type that does not exist";
    case WireFault::kFieldNumber:
      return "a field number out of range";
  }
  return "unknown fault";
}

}  // namespace tstl

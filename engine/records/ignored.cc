#include "engine/records/ignored.h"

namespace zenta::records {

const char* ignored_reason_text(IgnoredReason reason) noexcept {
  switch (reason) {
    case IgnoredReason::kUnknownKey:
      return "an unknown key";
    case IgnoredReason::kOtherType:
      return "a value of another type";
    case IgnoredReason::kNoInteger:
      return "a number that is no integer";
    case IgnoredReason::kOutOfRange:
      return "a number out of range";
    case IgnoredReason::kCount:
      return "an array of another length";
    case IgnoredReason::kDepth:
      return "records nested too deep";
  }
  return "unknown reason";
}

}  // namespace zenta::records

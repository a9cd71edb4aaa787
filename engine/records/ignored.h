// What a JSON reader ignored, for callers who want to know. It is optional, and never an error: no
// message is refused for a member that is unknown or unusable.
//
//   struct Log : IgnoredListener {
//     void ignored(const Ignored& value) override { ... }
//   } log;
//   read_json(record, text, arena, &log);
#pragma once

#include <cstdint>

#include "corelib/text/buffer_ref.h"

namespace zenta::records {

enum class IgnoredReason : std::uint8_t {
  kUnknownKey,  // the record has no such member
  kOtherType,   // the value, or an element of it, is of another type than the member's
  kNoInteger,   // the number is no integer, and the member is one
  kOutOfRange,  // the number does not fit the member
  kCount,       // the array has another number of elements than the member
  kDepth,       // records are nested too deep
};

// A description of the reason for people: zero-terminated, with static storage.
[[nodiscard]] const char* ignored_reason_text(IgnoredReason reason) noexcept;

// An ignored value: that of a member, or one element of its array.
struct Ignored {
  // The member's key as written, its escapes not decoded: a view into the text that is being read.
  tstl::BufferRef<unsigned char> key;
  IgnoredReason reason = IgnoredReason::kUnknownKey;
};

class IgnoredListener {
 public:
  virtual void ignored(const Ignored& value) = 0;

 protected:
  ~IgnoredListener() = default;
};

}  // namespace zenta::records

// What a reader of JSON did not take in, for those who ask. Nobody has to: a message is not refused
// for a member that is unknown or of no use.
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
  kNoInteger,   // the number has a fraction, and the member has none
  kOutOfRange,  // the number does not fit the member
  kCount,       // the array has not as many elements as the member
  kDepth,       // records are nested too deep
};

// The reason in words, for people: a zero-terminated text that lives for ever.
[[nodiscard]] const char* ignored_reason_text(IgnoredReason reason) noexcept;

// A value that was ignored: that of a member, or one of the elements of its array.
struct Ignored {
  // The member's key, a part of the text that is being read, with any escapes.
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

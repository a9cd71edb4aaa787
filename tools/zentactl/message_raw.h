// Every field of a message as it lies in its bytes, whatever message it is: for bytes of which nobody
// knows what they are, and for those that a reader does not take in.
#pragma once

#include <string>

#include "corelib/text/buffer_ref.h"
#include "tools/zentactl/message_schema.h"

namespace zenta::zentactl {

// The text of a listing, and what is wrong with the bytes, as a sentence; empty if nothing is.
struct RawListing {
  std::string text;
  std::string fault;
};

// A line for each field: its offset, indented by its depth its number, the key that `record` has for it,
// its wire type, its value. Bytes are shown as a record where `record` says so or, where it does not
// know the field, where they look like one; as text where they are text; else in hexadecimal. Long
// values are cut. `record` may be null. Reading goes on behind a nested record that is broken.
[[nodiscard]] RawListing ListFields(tstl::BufferRef<unsigned char> message,
                                    const RecordInfo* record);

// The same as JSON: an array of objects, nothing cut.
[[nodiscard]] RawListing ListFieldsAsJson(tstl::BufferRef<unsigned char> message,
                                          const RecordInfo* record);

}  // namespace zenta::zentactl

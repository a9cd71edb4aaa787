// Lists every field of a message as it lies in its bytes. That needs no schema, so it works for
// unknown messages, and for broken ones too.
#pragma once

#include <string>

#include "corelib/text/buffer_ref.h"
#include "tools/zentactl/message_schema.h"

namespace zenta::zentactl {

// The text of a listing, and the first fault in the bytes as a sentence; empty if there is none.
struct RawListing {
  std::string text;
  std::string fault;
};

// Writes a line for each field: its offset; its number, indented by depth; its key in `record`, if
// the field is known; its wire type; its value. Bytes that `record` declares as a record or as
// 16-bit units are shown as that. Others are shown as text if they are readable UTF-8, as a record
// if the field is unknown and they parse as one, else in hexadecimal. Long values are cut. `record`
// may be null. The listing goes on after a broken nested record.
[[nodiscard]] RawListing ListFields(tstl::BufferRef<unsigned char> message,
                                    const RecordInfo* record);

// The same as JSON: an array of objects, nothing cut.
[[nodiscard]] RawListing ListFieldsAsJson(tstl::BufferRef<unsigned char> message,
                                          const RecordInfo* record);

}  // namespace zenta::zentactl

// The names of engine/records that declare the messages of this folder, and those that read and
// write them. They stand beside the records, so that argument-dependent lookup finds them.
#pragma once

#include "engine/records/message.h"

namespace zenta::cloud {

using records::Bytes;
using records::List;
using records::Text16;

using records::AbsentIs;
using records::AlwaysInJson;
using records::As;
using records::Field;
using records::Fields;
using records::NeverInBinary;
using records::RawUnits;
using records::WrittenAs;

using records::read_binary;
using records::read_binary_field;
using records::read_json;
using records::read_json_member;
using records::replace_binary;
using records::replace_json;
using records::write_binary;
using records::write_json;
using records::write_message;

}  // namespace zenta::cloud

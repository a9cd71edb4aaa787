#include "tools/zentactl/message_raw.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "corelib/io/json/json_write.h"
#include "corelib/text/utf.h"
#include "tools/common/failure.h"
#include "tools/common/terminal_text.h"
#include "tools/zentactl/wire_walk.h"

namespace zenta::zentactl {
namespace {

using records::Bytes;
using tools::ForTerminal;
using tstl::WireFault;
using tstl::WireType;

constexpr std::size_t kShownBytes = 48;  // of a value in a line

// How the payload of a field is shown.
enum class Form { kRecord, kText, kUnits, kHex };

// Text that a person can read: well-formed UTF-8 without control characters.
bool IsReadable(Bytes bytes) {
  return tstl::valid_utf8_prefix(bytes.cstr(), bytes.len()) == bytes.len() &&
         std::none_of(bytes.cbegin(), bytes.cend(),
                      [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

Form FormOf(const WireItem& item, const FieldInfo* field, unsigned depth) {
  if (field != nullptr && field->kind == FieldKind::kRecord && depth < records::kMaxRecordDepth) {
    return Form::kRecord;
  }
  if (field != nullptr && field->kind == FieldKind::kRawUnits) return Form::kUnits;
  if (IsReadable(item.bytes)) return Form::kText;
  const bool is_free = field == nullptr && depth < records::kMaxRecordDepth;
  return is_free && LooksLikeMessage(item.bytes) ? Form::kRecord : Form::kHex;
}

// The field of `record` that has the item's number and wire type; null if there is none.
const FieldInfo* FieldOf(const WireItem& item, const RecordInfo* record) {
  const FieldInfo* const field =
      record == nullptr || item.groups != 0 ? nullptr : record->Find(item.number);
  return field != nullptr && field->type == item.type ? field : nullptr;
}

std::string Hex(Bytes bytes) {
  std::string text;
  char digits[4];
  for (const unsigned char byte : bytes) {
    std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned>(byte));
    text += digits;
  }
  if (!text.empty()) text.pop_back();
  return text;
}

std::string UnitsAsText(Bytes bytes) {
  std::u16string units(bytes.len() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(bytes.cstr()[2 * i] | bytes.cstr()[2 * i + 1] << 8);
  }
  std::string text(3 * units.size(), '\0');
  text.resize(tstl::utf16_to_utf8(reinterpret_cast<const unsigned short*>(units.data()),
                                  units.size(), reinterpret_cast<unsigned char*>(text.data()),
                                  text.size()));
  return text;
}

// Keeps the first fault of a listing.
void Note(RawListing& listing, const WireWalk& walk) {
  if (walk.fault() == WireFault::kNone || !listing.fault.empty()) return;
  listing.fault =
      "byte " + std::to_string(walk.fault_offset()) + ": " + tstl::wire_fault_text(walk.fault());
}

// ---- Lines

std::string NumberText(const WireItem& item) {
  std::string text = std::to_string(item.value);
  if (item.type == WireType::kVarint && item.value >> 63) {
    text += " (" + std::to_string(static_cast<std::int64_t>(item.value)) + ")";
  }
  return text;
}

// At most kShownBytes of the value; a character that is cut is left out.
std::string PayloadText(Bytes bytes, Form form) {
  const Bytes front = bytes.sub_head(kShownBytes);
  const char* const more = front.len() < bytes.len() ? " ..." : "";
  if (form == Form::kHex) return Hex(front) + more;
  const std::string text =
      form == Form::kUnits ? UnitsAsText(front) : std::string(front.std_view());
  const std::size_t whole =
      *more == '\0' ? text.size()
                    : tstl::valid_utf8_prefix(reinterpret_cast<const unsigned char*>(text.data()),
                                              text.size());
  return '"' + ForTerminal(text.substr(0, whole)) + '"' + more;
}

void PutLine(RawListing& listing, const WireItem& item, const FieldInfo* field, unsigned depth,
             const std::string& value) {
  char offset[16];
  std::snprintf(offset, sizeof offset, "%8u  ", item.offset);
  listing.text += offset + std::string(2 * std::size_t{depth}, ' ') + std::to_string(item.number);
  if (field != nullptr) (listing.text += ' ') += field->key;
  (listing.text += ": ") += WireTypeName(item.type);
  if (!value.empty()) (listing.text += ' ') += value;
  listing.text += '\n';
}

void PutFields(RawListing& listing, Bytes message, std::uint32_t base, const RecordInfo* record,
               unsigned depth) {
  WireWalk walk(message, base);
  for (WireItem item; walk.Next(item);) {
    const FieldInfo* const field = FieldOf(item, record);
    const unsigned level = depth + item.groups;
    if (item.type != WireType::kBytes) {
      const bool is_group = item.type == WireType::kGroupStart || item.type == WireType::kGroupEnd;
      PutLine(listing, item, field, level, is_group ? "" : NumberText(item));
      continue;
    }
    const Form form = FormOf(item, field, level);
    const std::string length = std::to_string(item.bytes.len());
    if (form != Form::kRecord) {
      const std::string value = item.bytes.is_empty() ? "" : "  " + PayloadText(item.bytes, form);
      PutLine(listing, item, field, level, length + value);
      continue;
    }
    PutLine(listing, item, field, level, length);
    PutFields(listing, item.bytes, item.payload_offset, field == nullptr ? nullptr : field->record,
              level + 1);
  }
  if (walk.fault() != WireFault::kNone) {
    char line[16];
    std::snprintf(line, sizeof line, "%8u  ", walk.fault_offset());
    listing.text += line + std::string(2 * std::size_t{depth}, ' ') +
                    "broken: " + tstl::wire_fault_text(walk.fault()) + '\n';
  }
  Note(listing, walk);
}

// ---- JSON

void PutJsonFields(RawListing& listing, tstl::JsonWrite& out, Bytes message, std::uint32_t base,
                   const RecordInfo* record, unsigned depth);

void PutJsonPayload(RawListing& listing, tstl::JsonWrite& out, const WireItem& item,
                    const FieldInfo* field, unsigned depth) {
  const Form form = FormOf(item, field, depth);
  out.plain_key("length"), out.num(item.bytes.len());
  if (form == Form::kRecord) {
    out.plain_key("fields");
    PutJsonFields(listing, out, item.bytes, item.payload_offset,
                  field == nullptr ? nullptr : field->record, depth + 1);
  } else if (form == Form::kHex) {
    out.plain_key("hex"), out.str(Bytes(Hex(item.bytes)));
  } else {
    out.plain_key("text");
    out.str(form == Form::kUnits ? Bytes(UnitsAsText(item.bytes)) : item.bytes);
  }
}

void PutJsonFields(RawListing& listing, tstl::JsonWrite& out, Bytes message, std::uint32_t base,
                   const RecordInfo* record, unsigned depth) {
  out.begin_array();
  WireWalk walk(message, base);
  for (WireItem item; walk.Next(item);) {
    const FieldInfo* const field = FieldOf(item, record);
    out.begin_object();
    out.plain_key("offset"), out.num(item.offset);
    out.plain_key("number"), out.num(item.number);
    if (field != nullptr) out.plain_key("key"), out.str(Bytes(field->key));
    out.plain_key("type"), out.str(Bytes(std::string_view(WireTypeName(item.type))));
    if (item.groups != 0) out.plain_key("groups"), out.num(item.groups);
    if (item.type == WireType::kBytes) {
      PutJsonPayload(listing, out, item, field, depth);
    } else if (item.type != WireType::kGroupStart && item.type != WireType::kGroupEnd) {
      out.plain_key("value"), out.num(item.value);
    }
    out.end_object();
  }
  out.end_array();
  Note(listing, walk);
}

}  // namespace

RawListing ListFields(Bytes message, const RecordInfo* record) {
  RawListing listing;
  PutFields(listing, message, 0, record, 0);
  return listing;
}

RawListing ListFieldsAsJson(Bytes message, const RecordInfo* record) {
  RawListing listing;
  tstl::JsonWrite out;
  PutJsonFields(listing, out, message, 0, record, 0);
  if (!out.good()) throw tools::Failure("out of memory");
  listing.text = out.output().std_view();
  return listing;
}

}  // namespace zenta::zentactl

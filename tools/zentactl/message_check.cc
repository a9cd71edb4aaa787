#include "tools/zentactl/message_check.h"

#include <map>
#include <utility>

#include "corelib/text/utf.h"
#include "tools/zentactl/wire_walk.h"

namespace zenta::zentactl {
namespace {

using records::Bytes;
using tstl::WireFault;
using tstl::WireType;

class BinaryCheck {
 public:
  explicit BinaryCheck(Findings& findings) : findings_(findings) {}

  // `path` is that of the record with a dot after it: "attach."; empty for the message itself.
  void CheckRecord(Bytes message, std::uint32_t base, const RecordInfo& record,
                   const std::string& path);

 private:
  void CheckField(const WireItem& item, const FieldInfo& field, const std::string& member);
  void CheckInteger(const WireItem& item, const FieldInfo& field, const std::string& member);

  Findings& findings_;
};

std::string Unknown(const WireItem& item) {
  return "unknown field " + std::to_string(item.number) + " (" + WireTypeName(item.type) +
         "), ignored";
}

void BinaryCheck::CheckRecord(Bytes message, std::uint32_t base, const RecordInfo& record,
                              const std::string& path) {
  const std::string self = path.empty() ? path : path.substr(0, path.size() - 1);
  std::map<std::uint32_t, std::uint32_t> counts;  // by the field's number
  WireWalk walk(message, base);
  for (WireItem item; walk.Next(item);) {
    if (item.groups != 0 || item.type == WireType::kGroupEnd)
      continue;  // reported at the group's start
    const FieldInfo* const field = record.Find(item.number);
    if (field == nullptr) {
      findings_.Add(item.offset, self, Unknown(item));
      continue;
    }
    std::string member = path + std::string(field->key);
    if (field->type != item.type) {
      findings_.Add(item.offset, member,
                    std::string("of the wire type ") + WireTypeName(item.type) + ", not " +
                        WireTypeName(field->type) + ", ignored");
      continue;
    }
    const std::uint32_t index = counts[item.number]++;
    if (field->is_list) {
      member += '[' + std::to_string(index) + ']';
    } else if (index != 0 && field->kind != FieldKind::kRecord) {
      findings_.Add(item.offset, member, "comes again, and replaces the value before it");
    }
    CheckField(item, *field, member);
  }
  if (walk.fault() != WireFault::kNone) {
    findings_.Add(walk.fault_offset(), self, tstl::wire_fault_text(walk.fault()));
  }
}

void BinaryCheck::CheckField(const WireItem& item, const FieldInfo& field,
                             const std::string& member) {
  switch (field.kind) {
    case FieldKind::kInteger:
      return CheckInteger(item, field, member);
    case FieldKind::kBool:
      if (item.value > 1) {
        findings_.Add(item.offset, member, std::to_string(item.value) + " is taken as true");
      }
      return;
    case FieldKind::kText: {
      const std::size_t good = tstl::valid_utf8_prefix(item.bytes.cstr(), item.bytes.len());
      if (good != item.bytes.len()) {
        findings_.Add(item.payload_offset + static_cast<std::uint32_t>(good), member,
                      "a byte that is no part of well-formed UTF-8");
      }
      return;
    }
    case FieldKind::kRawUnits:
      if (item.bytes.len() % 2 != 0) {
        findings_.Add(item.payload_offset + item.bytes.len() - 1, member,
                      "a last byte that is no 16-bit unit, ignored");
      }
      return;
    case FieldKind::kRecord:
      return CheckRecord(item.bytes, item.payload_offset, *field.record, member + '.');
    case FieldKind::kBytes:
    case FieldKind::kReal:
      return;
  }
}

// A negative value is sent sign-extended to 64 bits.
void BinaryCheck::CheckInteger(const WireItem& item, const FieldInfo& field,
                               const std::string& member) {
  if (field.bits >= 64) return;
  const std::uint64_t limit = std::uint64_t{1} << (field.bits - field.is_signed);
  if (item.value < limit || (field.is_signed && item.value >= 0 - limit)) return;
  const std::uint64_t cut = item.value & ((std::uint64_t{1} << field.bits) - 1);
  findings_.Add(
      item.offset, member,
      std::to_string(item.value) + " has more than " + std::to_string(field.bits) +
          " bits, the lowest are taken: " +
          (field.is_signed && cut >= limit ? std::to_string(static_cast<std::int64_t>(cut) -
                                                            static_cast<std::int64_t>(2 * limit))
                                           : std::to_string(cut)));
}

}  // namespace

void Findings::Add(std::uint32_t offset, std::string member, std::string what) {
  ++count_;
  if (first_.size() < kMost) first_.push_back({offset, std::move(member), std::move(what)});
}

Findings CheckBinary(Bytes message, const RecordInfo& record) {
  Findings findings;
  BinaryCheck(findings).CheckRecord(message, 0, record, "");
  return findings;
}

void IgnoredFindings::ignored(const records::Ignored& value) {
  findings_.Add(static_cast<std::uint32_t>(value.key.cstr() - text_.cstr()),
                std::string(value.key.std_view()),
                std::string(records::ignored_reason_text(value.reason)) + ", ignored");
}

}  // namespace zenta::zentactl

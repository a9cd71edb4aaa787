// Finds what a reader of a message ignores or changes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corelib/io/json/json_text.h"
#include "corelib/text/buffer_ref.h"
#include "engine/records/ignored.h"
#include "tools/zentactl/message_schema.h"

namespace zenta::zentactl {

struct Finding {
  std::uint32_t offset = 0;  // in bytes
  std::string member;        // "attach.suglogs[0]"; in JSON only the key; empty: the message itself
  std::string what;
};

// Keeps the first kMost findings and counts all of them.
class Findings {
 public:
  static constexpr std::size_t kMost = 100;

  void Add(std::uint32_t offset, std::string member, std::string what);
  [[nodiscard]] const std::vector<Finding>& first() const { return first_; }
  [[nodiscard]] std::uint64_t count() const { return count_; }

 private:
  std::vector<Finding> first_;
  std::uint64_t count_ = 0;
};

// Checks a message in the binary form. Reports faults, unknown fields, fields of another wire type,
// values that are cut, texts that are not UTF-8, and values that a later one replaces.
[[nodiscard]] Findings CheckBinary(tstl::BufferRef<unsigned char> message,
                                   const RecordInfo& record);

// Collects what a reader of JSON ignores in `text`, which must outlive it.
class IgnoredFindings final : public records::IgnoredListener {
 public:
  IgnoredFindings(tstl::BufferRef<unsigned char> text, Findings& findings)
      : text_(text), findings_(findings) {}
  void ignored(const records::Ignored& value) override;

 private:
  tstl::BufferRef<unsigned char> text_;
  Findings& findings_;
};

}  // namespace zenta::zentactl

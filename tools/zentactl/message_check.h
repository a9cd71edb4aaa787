// What is in a message that its reader does not take in, or not as it stands.
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
  std::string member;  // "attach.suglogs[0]"; in JSON the key alone; empty: the message itself
  std::string what;
};

// Of many findings the first are kept and the others counted.
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

// Of a message in the binary form: what is broken; fields that the record does not have, or that are of
// another wire type; values that are cut, and texts that are no UTF-8; what is replaced by what follows.
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

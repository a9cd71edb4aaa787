// Invariants for any bytes that are read as a message, in either form. The lowest bit of an input's
// first byte tells which message: 0 a request, 1 a response.
// 1. What was read, even from a malformed message, can be written in both forms. Both read back
//    without a fault as a record that is written with the same bytes again, in both forms.
// 2. The arena is asked for at most kMaxGrowth bytes for each byte that is read.
// 3. The position of a fault lies in the message, and not after that of the message's own fault.
// 4. The fields of a message, read one by one, make the same record: a malformed nested record
//    costs only itself.
// 5. Reading a JSON text through its tree makes the same record, ignores the same values and
//    reports the same fault.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "fuzz/io/wire_oracle.h"
#include "fuzz/require.h"

namespace zenta::fuzz {

using cloud::CloudRequest;
using cloud::CloudResponse;
using cloud::SugCard;
using records::BinaryResult;
using records::Bytes;
using records::JsonResult;
using records::kMaxGrowth;

// An arena that counts what it is asked for.
class CountingArena {
 public:
  void* alloc_aligned(std::uint64_t n, std::size_t align) {
    asked_ += n;
    return arena_.alloc_aligned(n, align);
  }
  [[nodiscard]] std::uint64_t asked() const { return asked_; }

 private:
  tstl::Chunk arena_;
  std::uint64_t asked_ = 0;
};

// A message in both forms.
struct Forms {
  template <class R>
  explicit Forms(const R& record) {
    Require(write_binary(record, binary) && write_json(record, json));
  }
  [[nodiscard]] bool operator==(const Forms& other) const {
    return binary.std_view() == other.binary.std_view() && json.std_view() == other.json.std_view();
  }

  tstl::Buffer<unsigned char> binary, json;
};

// Clears the package names of cards: on purpose neither form reads back what it writes.
inline void DropPackageNames(CloudRequest&) {}
inline void DropPackageNames(CloudResponse& response) {
  for (SugCard& card : response.sug_card_list) card.apk_name = {};
}

template <class R>
void CheckRoundTrip(R& record) {
  DropPackageNames(record);
  const Forms forms(record);
  CountingArena arena;
  R from_binary, from_json;
  Require(bool(read_binary(from_binary, forms.binary, arena)) && Forms(from_binary) == forms);
  Require(bool(read_json(from_json, forms.json, arena)) && Forms(from_json) == forms);
}

template <class R>
void CheckBinary(Bytes message) {
  CountingArena arena;
  R record;
  const BinaryResult read = read_binary(record, message, arena);
  Require(arena.asked() <= std::uint64_t{kMaxGrowth} * message.len());
  const tstl::oracle::Walk walk =
      tstl::oracle::PlainWireReader({message.cstr(), message.len()}).read();
  Require(read.position <= walk.position && (!read || read.position == message.len()));
  Require(!read || walk.fault == tstl::WireFault::kNone);
  R by_field;
  tstl::WireReader fields(message);
  for (tstl::WireField field; fields.next(field);) (void)read_binary_field(by_field, field, arena);
  Require(Forms(by_field) == Forms(record));  // with the package names
  CheckRoundTrip(record);
}

// Checks what follows the first byte, as the message that this byte selects.
inline void CheckEither(const std::uint8_t* data, std::size_t size, auto check_request,
                        auto check_response) {
  if (size == 0) return;
  const Bytes message(data + 1, static_cast<unsigned>(size - 1));
  data[0] & 1 ? check_response(message) : check_request(message);
}

struct IgnoredLog : records::IgnoredListener {
  void ignored(const records::Ignored& value) override {
    text.append(value.key.std_view()).append(records::ignored_reason_text(value.reason)) += '\n';
  }
  std::string text;
};

template <class R>
void CheckJson(Bytes text) {
  CountingArena arena;
  R record;
  const JsonResult read = read_json(record, text, arena);
  Require(arena.asked() <= std::uint64_t{kMaxGrowth} * text.len());
  Require(read.position <= text.len());
  IgnoredLog log, tree_log;
  R again, from_tree;
  Require(read_json(again, text, arena, &log).position == read.position);
  const tstl::JsonParse parse = tstl::json_parse(text, arena);
  if (parse.root == nullptr || parse.root->type() == tstl::JsonType::kObject) {
    Require(read.fault == parse.fault && read.position == parse.position);
    records::ReadState state(arena, {}, &tree_log);
    if (parse.root != nullptr) records::read_members(from_tree, *parse.root, state);
  }
  Require(Forms(again) == Forms(record) &&
          Forms(from_tree) == Forms(record));  // with package names
  Require(log.text == tree_log.text);
  CheckRoundTrip(record);
}

}  // namespace zenta::fuzz

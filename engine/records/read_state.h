// ReadState: what the codecs share while one message is read: the arena that keeps the results, the
// first fault, the nesting depth of records, and the listener for ignored values.
//
// Texts are copied into the arena and zero-terminated there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "corelib/base/arena_ref.h"
#include "corelib/io/json/json_cursor.h"
#include "corelib/io/json/json_node.h"
#include "corelib/io/wire/wire_read.h"
#include "engine/records/field.h"
#include "engine/records/ignored.h"

namespace zenta::records {

// The greatest nesting depth of records in a message; other decoders have the same limit.
inline constexpr unsigned kMaxRecordDepth = 100;

// Reading goes on after malformed data, and stops when the arena is out of memory.
class ReadState {
 public:
  // `message` is the whole message: every payload that is kept lies in it. It is empty when a
  // single field or member is read. `listener`, which may be null, is called for each value that a
  // JSON reader ignores.
  explicit ReadState(tstl::ArenaRef arena, Bytes message = {},
                     IgnoredListener* listener = nullptr) noexcept
      : arena_(arena),
        message_end_(reinterpret_cast<std::uintptr_t>(message.cend())),
        block_size_(std::min(std::uint64_t{message.len()} * 2, kMaxBlock)),
        listener_(listener) {}

  [[nodiscard]] tstl::ArenaRef arena() const noexcept { return arena_; }
  // Whether reading has stopped because the arena is out of memory.
  [[nodiscard]] bool stopped() const noexcept { return stopped_; }
  // The first fault and its position in the message; null when there was none. If memory ran out
  // first, the position is that of the field or string that needed it.
  [[nodiscard]] tstl::WireFault fault() const noexcept { return fault_; }
  [[nodiscard]] const unsigned char* place() const noexcept { return place_; }

  void note(tstl::WireFault fault, const unsigned char* place) noexcept {
    if (fault_ != tstl::WireFault::kNone || stopped_) return;
    fault_ = fault;
    place_ = place;
  }
  void stop_for_memory(const unsigned char* place = nullptr) noexcept {
    if (place_ == nullptr) place_ = place;
    stopped_ = true;
  }

  // Called before and after a nested record is read. enter() returns false and notes the fault when
  // the record is nested too deep; the record is not read then, and leave() not called.
  [[nodiscard]] bool enter(const unsigned char* place) noexcept {
    if (depth_ == kMaxRecordDepth) [[unlikely]] {
      note(tstl::WireFault::kDepth, place);
      return false;
    }
    ++depth_;
    return true;
  }
  void leave() noexcept { --depth_; }

  // Codecs return these from read_json() when they refuse a value: they keep the reason and return
  // false. refuse_integer() finds the reason for a value that should have been an integer.
  bool refuse(IgnoredReason reason) noexcept {
    reason_ = reason;
    return false;
  }
  template <class Json>
  bool refuse_integer(const Json& json) noexcept {
    return has_listener() && refuse(integer_reason(json));
  }
  // Tells the listener, if there is one, that the member with this key, or an element of its array,
  // is ignored: for this reason, or for the one that the codec gave.
  void tell(Bytes key, IgnoredReason reason) noexcept {
    if (listener_ != nullptr) [[unlikely]]
      listener_->ignored({key, reason});
  }
  void tell(Bytes key) noexcept { tell(key, reason_); }
  [[nodiscard]] bool has_listener() const noexcept { return listener_ != nullptr; }

  // Copies of a binary field's payload, with a zero after them: as bytes, as UTF-8 converted to
  // 16-bit text, or as 16-bit units (an odd last byte is dropped). When the arena is out of memory
  // the result is empty and reading stops.
  [[nodiscard]] Bytes keep_bytes(Bytes payload);
  [[nodiscard]] Text16 keep_utf8(Bytes payload);
  [[nodiscard]] Text16 keep_units(Bytes payload);
  // Makes `text` refer to the decoded string of a JSON node, zero-terminated, which the node keeps.
  // False, and reading stops, when the arena is out of memory.
  bool keep_string(Bytes& text, tstl::JsonNode& node);
  bool keep_string(Text16& text, tstl::JsonNode& node);
  // The same for the string at a cursor, which moves past it. False, with the cursor where it was,
  // also when the string is malformed.
  template <tstl::Unit T>
  bool keep_string(tstl::BufferRef<T>& text, tstl::JsonCursor& json) {
    const tstl::JsonCursor behind = read_string(text, json);
    if (behind.is_at(json)) return false;
    json = behind;
    return true;
  }

 private:
  static constexpr std::uint64_t kMaxBlock = 4096;

  // Space for a text of up to `n` units and its zero. Null, and reading stops at `payload`, when
  // the arena is out of memory. end_text() ends the text after `n` units and keeps the rest of the
  // space for the next text.
  template <tstl::Unit T>
  T* begin_text(std::uint32_t n, Bytes payload);
  template <tstl::Unit T>
  tstl::BufferRef<T> end_text(std::size_t n) noexcept;
  bool new_text_block(std::uint64_t n, Bytes payload);
  // Whether `bytes` bytes can be read from the start of the payload without leaving the message,
  // and `units` units and a zero can be written to the block. Then a short text is converted or
  // copied without a branch on its length.
  template <tstl::Unit T>
  [[nodiscard]] bool has_slack(Bytes payload, std::uint32_t bytes, std::uint32_t units) const {
    return reinterpret_cast<std::uintptr_t>(payload.cstr()) + bytes <= message_end_ &&
           text_left_ > units * sizeof(T);
  }
  tstl::JsonCursor read_string(Bytes& text, tstl::JsonCursor json);
  tstl::JsonCursor read_string(Text16& text, tstl::JsonCursor json);
  template <tstl::Unit T>
  tstl::JsonCursor read_any_string(tstl::BufferRef<T>& text, tstl::JsonCursor json);

  std::uint32_t short_units(Bytes payload) noexcept;

  static IgnoredReason integer_reason(const tstl::JsonNode& node) noexcept;
  static IgnoredReason integer_reason(const tstl::JsonCursor& json) noexcept;

  tstl::ArenaRef arena_;
  // The texts of a message share blocks of the arena, since they are many and short. Together they
  // take at most twice the message. What is left of a block when the next one begins is less than
  // the text that did not fit.
  unsigned char* text_ = nullptr;
  std::uint64_t text_left_ = 0;  // bytes left in the block, an even number
  std::uintptr_t message_end_;
  std::uint64_t block_size_;
  IgnoredListener* listener_;
  const unsigned char* place_ = nullptr;
  unsigned depth_ = 0;  // nested records that are being read
  tstl::WireFault fault_ = tstl::WireFault::kNone;
  IgnoredReason reason_ = IgnoredReason::kOtherType;
  bool stopped_ = false;
};

}  // namespace zenta::records

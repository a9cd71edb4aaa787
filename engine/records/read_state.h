// ReadState: what the codecs of one message share while it is read: the arena that keeps what is read, the
// first fault, how deep records are nested, and who is told what is ignored.
//
// What is read is copied into the arena; texts are zero-terminated there.
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

// So deep may the records of a message be nested in one another; as in other decoders.
inline constexpr unsigned kMaxRecordDepth = 100;

// A reader goes on behind what is broken, and stops when the arena gives no more.
class ReadState {
 public:
  // `message`: the whole of it, of which all that is kept is a part; empty for a single field or member.
  // `listener`, which may be null, is told what readers of JSON ignore.
  explicit ReadState(tstl::ArenaRef arena, Bytes message = {},
                     IgnoredListener* listener = nullptr) noexcept
      : arena_(arena),
        message_end_(reinterpret_cast<std::uintptr_t>(message.cend())),
        block_size_(std::min(std::uint64_t{message.len()} * 2, kMaxBlock)),
        listener_(listener) {}

  [[nodiscard]] tstl::ArenaRef arena() const noexcept { return arena_; }
  // The arena gave no more.
  [[nodiscard]] bool stopped() const noexcept { return stopped_; }
  // The first fault, and its place in the message; null when there was none. Where memory was short
  // first, the place is that of the field or string which found none.
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

  // Called around what is read into a nested record. enter() is false, with the fault noted, when the
  // record is nested too deep; then it is not read, and there is no leave().
  [[nodiscard]] bool enter(const unsigned char* place) noexcept {
    if (depth_ == kMaxRecordDepth) [[unlikely]] {
      note(tstl::WireFault::kDepth, place);
      return false;
    }
    ++depth_;
    return true;
  }
  void leave() noexcept { --depth_; }

  // For read_json(), to be returned: why the value is no value of the member. Always false. The
  // second finds out what is wrong with a value that should be an integer.
  bool refuse(IgnoredReason reason) noexcept {
    reason_ = reason;
    return false;
  }
  template <class Json>
  bool refuse_integer(const Json& json) noexcept {
    return has_listener() && refuse(integer_reason(json));
  }
  // Tells the listener, if there is one, that the member with this key, or an element of its array, is
  // ignored: for this reason, or for the one that the codec gave.
  void tell(Bytes key, IgnoredReason reason) noexcept {
    if (listener_ != nullptr) [[unlikely]]
      listener_->ignored({key, reason});
  }
  void tell(Bytes key) noexcept { tell(key, reason_); }
  [[nodiscard]] bool has_listener() const noexcept { return listener_ != nullptr; }

  // Copies of what a field of the binary form has, with a zero after them: its bytes, its UTF-8 as
  // 16-bit text, its bytes as 16-bit units (a last byte that is no unit is dropped). Empty, and the
  // reader stops, when memory is short.
  [[nodiscard]] Bytes keep_bytes(Bytes payload);
  [[nodiscard]] Text16 keep_utf8(Bytes payload);
  [[nodiscard]] Text16 keep_units(Bytes payload);
  // Has `text` be the string of a JSON node, which keeps it for who asks again, with a zero after it.
  // False, and the reader stops, when memory is short.
  bool keep_string(Bytes& text, tstl::JsonNode& node);
  bool keep_string(Text16& text, tstl::JsonNode& node);
  // The same for the string at a cursor, which goes behind it. False, with the cursor where it was, also
  // when the string is not whole.
  template <tstl::Unit T>
  bool keep_string(tstl::BufferRef<T>& text, tstl::JsonCursor& json) {
    const tstl::JsonCursor behind = read_string(text, json);
    if (behind.is_at(json)) return false;
    json = behind;
    return true;
  }

 private:
  static constexpr std::uint64_t kMaxBlock = 4096;

  // Room for a text of up to `n` units and its zero, for the payload; null, and the reader stops,
  // when memory is short. end_text() takes as much of it as the text has in the end.
  template <tstl::Unit T>
  T* begin_text(std::uint32_t n, Bytes payload);
  template <tstl::Unit T>
  tstl::BufferRef<T> end_text(std::size_t n) noexcept;
  bool new_text_block(std::uint64_t n, Bytes payload);
  // Whether so many bytes can be read from the payload's first on, and as many units of text written
  // with a zero behind them: then a short text is converted or copied without a look at its length.
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
  // Texts of a message share blocks of the arena: they are many and short. All of them take
  // at most twice the message, and what is left of a block when it is given up is less than the text
  // that did not fit.
  unsigned char* text_ = nullptr;
  std::uint64_t text_left_ = 0;  // even
  std::uintptr_t message_end_;
  std::uint64_t block_size_;
  IgnoredListener* listener_;
  const unsigned char* place_ = nullptr;
  unsigned depth_ = 0;  // records that are being read, the outermost not counted
  tstl::WireFault fault_ = tstl::WireFault::kNone;
  IgnoredReason reason_ = IgnoredReason::kOtherType;
  bool stopped_ = false;
};

}  // namespace zenta::records

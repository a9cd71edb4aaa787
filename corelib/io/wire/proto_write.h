// ProtoWrite: writes messages in the Protocol Buffers wire format, every length before its content,
// in two passes over the same encoder.
//
//   ProtoWrite out;
//   const bool good = out.write([&](auto& to) {
//     to.template bsc_write_kvarint<unsigned>(1, id);
//     const auto slot = to.bsc_begin_kmsg(true, 2);
//     to.bsc_write_kbytes(1, name);
//     to.bsc_end_kmsg(slot);
//   });
//   send(out.output());
//
// The measuring pass only counts and records, in the order in which fields begin, the lengths that
// must be known before their content: those of nested messages and of packed arrays of 11 elements
// and more. The writing pass takes them from that list. So no content is ever written twice, copied
// or moved, and the only memory is the output, reserved once, and the list; both are kept for the
// next message.
//
// REQUIRES of an encoder: both passes make exactly the same calls. Where they do not, the lengths
// are wrong and only the assertion in write() tells; no memory outside the output is touched.
//
// write_once() is the quicker way to the same bytes, for encoders that can be run in a pass: a single
// one, in which a nested message is given the width of its length before its content is known, and
// is moved where that was wrong. Messages of a kind are alike, so it seldom is.
//
// The operations write whatever they are given, zeros and empty texts too: leaving those out is the
// encoder's business. They can be called without a driver as well: a new writer writes, growing its
// output as it goes, and can do all but what needs the list. When memory cannot be had, or a
// message would pass 32 bits, the output is empty, all further operations do nothing, and write()
// says false. One thread uses a writer at a time.
#pragma once

#include <cassert>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/base/vector_ref.h"
#include "corelib/io/output.h"
#include "corelib/io/wire/wire_format.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/utf.h"

namespace tstl {

class ProtoWrite;

// The element types: bool, the signed ones (char among them, whatever the machine says), which are
// sign-extended to 64 bits so that a negative value takes ten bytes, and the unsigned ones.
template <class T>
concept WireScalar = std::integral<T> && !std::same_as<T, wchar_t> && !std::same_as<T, char8_t>;

// What a writer does with a field in each of its two passes; the operations are those of
// ProtoWrite. A pass is two words: the writer, and how far it has come. The second stays in a
// register where a pass is a local variable, or is handed by value from encoder to encoder and
// back, and that is what makes encoding quick: a writer's own operations wait at each field for the
// memory that the last one left.
class MeasuringPass {
 public:
  template <WireScalar T>
  void bsc_write_kvarint(std::uint32_t key, std::type_identity_t<T> value) noexcept;
  template <WireScalar T>
  void bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept;
  void bsc_write_kbytes(std::uint32_t key, const BufferRef<unsigned char>& bytes) noexcept;
  void bsc_write_kstr16(std::uint32_t key, const BufferRef<unsigned short>& text) noexcept;
  [[nodiscard]] std::uint32_t bsc_begin_kmsg(bool sized, std::uint32_t key) noexcept;
  void bsc_end_kmsg(std::uint32_t slot) noexcept;

 private:
  friend class ProtoWrite;
  MeasuringPass(ProtoWrite* writer, std::uint64_t size) noexcept : writer_(writer), size_(size) {}
  void add_payload(std::uint32_t key, std::uint64_t length) noexcept;

  ProtoWrite* writer_;
  std::uint64_t size_;
};

class WritingPass {
 public:
  template <WireScalar T>
  void bsc_write_kvarint(std::uint32_t key, std::type_identity_t<T> value) noexcept;
  template <WireScalar T>
  void bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept;
  void bsc_write_kbytes(std::uint32_t key, const BufferRef<unsigned char>& bytes) noexcept;
  void bsc_write_kstr16(std::uint32_t key, const BufferRef<unsigned short>& text) noexcept;
  [[nodiscard]] std::uint32_t bsc_begin_kmsg(bool sized, std::uint32_t key) noexcept;
  void bsc_end_kmsg(std::uint32_t) noexcept {}

 private:
  friend class ProtoWrite;
  friend class PatchingPass;
  WritingPass(ProtoWrite* writer, unsigned char* at) noexcept : writer_(writer), at_(at) {}
  // Sees to room for `n` bytes from at_ on. False, and at_ is null, when there is none.
  bool room(std::uint64_t n) noexcept;
  void put(std::uint64_t value) noexcept { at_ = put_varint(at_, value); }
  void put_payload_key(std::uint32_t key, std::uint64_t length) noexcept;
  void close_short_array(std::uint64_t payload_at) noexcept;

  ProtoWrite* writer_;
  unsigned char* at_;  // null while no memory is in use
};

// The only pass of write_once(): writes without any length being known.
class PatchingPass : public WritingPass {
 public:
  template <WireScalar T>
  void bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept;
  [[nodiscard]] std::uint32_t bsc_begin_kmsg(bool sized, std::uint32_t key) noexcept;
  void bsc_end_kmsg(std::uint32_t slot) noexcept;

 private:
  friend class ProtoWrite;
  using WritingPass::WritingPass;
};

class ProtoWrite {
 public:
  // Packed arrays of fewer elements than this are written with one byte reserved for their length:
  // ten elements of at most ten bytes each always fit it.
  static constexpr std::uint32_t kListedArray = 11;

  ProtoWrite() = default;
  ProtoWrite(const ProtoWrite&) = delete;
  ProtoWrite& operator=(const ProtoWrite&) = delete;
  ~ProtoWrite();

  // ---- A whole message

  // Runs both passes of `encode`, a callable that takes the writer, or, several times as quick,
  // anything with its operations (`auto&`): it is given the passes themselves then. False, with an
  // empty output, when the message is too long or memory is short.
  template <class Encoder>
  [[nodiscard]] bool write(Encoder&& encode);

  // The same in one pass of `encode`, a callable that takes a pass by value and returns it.
  template <class Encoder>
  [[nodiscard]] bool write_once(Encoder&& encode);

  // What write() is made of. begin_measuring() forgets the last message; begin_writing() reserves
  // what was measured and is false when that cannot be done.
  void begin_measuring() noexcept;
  [[nodiscard]] bool begin_writing() noexcept;

  // Runs `encode`, a callable that takes either pass by value and returns it, as the pass that the
  // writer is in.
  template <class Encoder>
  void pass(Encoder&& encode);

  // The bytes written so far, zero-terminated where there is any storage. The caller may change the
  // buffer or move from it; what is written next is appended to what it finds.
  [[nodiscard]] Buffer<unsigned char>& output() noexcept;

  [[nodiscard]] bool measuring() const noexcept { return measuring_; }
  // Bytes that the measuring pass has counted; FAILURE when they are more than a message can have.
  [[nodiscard]] std::uint32_t measured_size() const noexcept {
    return measured_ <= kMaxMessage ? static_cast<std::uint32_t>(measured_) : FAILURE;
  }

  // ---- Fields. `key` is the field number.

  // A single value.
  template <WireScalar T>
  void bsc_write_kvarint(std::uint32_t key, std::type_identity_t<T> value) noexcept {
    in_pass([&](auto& out) { out.template bsc_write_kvarint<T>(key, value); });
  }

  // A packed array; an empty one is present, with an empty payload.
  template <WireScalar T>
  void bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept {
    in_pass([&](auto& out) { out.bsc_write_karrpack(key, values); });
  }

  // Bytes as they are: 8-bit text, or 16-bit text as raw units, little-endian, with twice its
  // length.
  void bsc_write_kbytes(std::uint32_t key, const BufferRef<unsigned char>& bytes) noexcept {
    in_pass([&](auto& out) { out.bsc_write_kbytes(key, bytes); });
  }

  // 16-bit text as UTF-8. A surrogate without its partner goes out as three bytes, so that a reader
  // gets it back.
  void bsc_write_kstr16(std::uint32_t key, const BufferRef<unsigned short>& text) noexcept {
    in_pass([&](auto& out) { out.bsc_write_kstr16(key, text); });
  }

  // A nested message: what is written between the two calls. With `sized` false there is no field
  // around it: neither key nor length is written, and its fields become fields of the message that
  // is being written. So one encoder serves a record that stands alone and one that is nested. The
  // result of begin is for its end.
  [[nodiscard]] std::uint32_t bsc_begin_kmsg(bool sized, std::uint32_t key) noexcept {
    std::uint32_t slot = FAILURE;
    in_pass([&](auto& out) { slot = out.bsc_begin_kmsg(sized, key); });
    return slot;
  }
  void bsc_end_kmsg(std::uint32_t slot) noexcept {
    in_pass([&](auto& out) { out.bsc_end_kmsg(slot); });
  }

 private:
  friend class MeasuringPass;
  friend class WritingPass;
  friend class PatchingPass;
  friend struct ProtoWritePeer;  // the tests', for what no encoder can reach

  // Room that is reserved beyond what was measured, so that the room for the longest key and value
  // that is asked for before each never makes the output grow.
  static constexpr std::uint32_t kSlack = kMaxVarint32 + kMaxVarint64;
  static constexpr std::uint64_t kMaxMessage = Buffer<unsigned char>::kGreatestCapacity - kSlack;

  template <class Encoder>
  void run(Encoder& encode);
  // As pass(), for what takes a pass by reference.
  template <class Operation>
  void in_pass(Operation&& operation) {
    pass([&](auto out) {
      operation(out);
      return out;
    });
  }

  // For a payload from `payload_at` to `at` whose length does not fit the one byte before it: moves
  // it up, puts the length before it, and returns its new end, or null.
  unsigned char* widen_length(unsigned char* at, std::uint64_t payload_at) noexcept;
  // Puts the length before a nested message that ends at `at` and began at `slot`, moves the content
  // to where that leaves it, and returns its end, or null. Remembers the width for the next one.
  unsigned char* close_message(unsigned char* at, std::uint32_t slot) noexcept;
  std::uint32_t new_slot(std::uint64_t length) noexcept;
  std::uint32_t next_length() noexcept {
    return length_cursor_ < length_count_ ? lengths_[length_cursor_++] : 0;
  }
  bool grow_lengths() noexcept;

  detail::Output out_;
  unsigned char* at_ = nullptr;  // where the writing pass stands; null while it has no memory
  std::uint64_t measured_ = 0;   // 64 bits wide, so that a message that is too long is seen
  std::uint32_t* lengths_ = nullptr;
  std::uint32_t length_count_ = 0;
  std::uint32_t length_capacity_ = 0;
  std::uint32_t length_cursor_ = 0;
  bool measuring_ = false;
  bool lengths_lost_ = false;  // no memory for the list
  // How many bytes the length of the last nested message took, by the low bits of its key.
  static constexpr std::uint32_t kWidths = 16;
  unsigned char widths_[kWidths] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
};

// ---------------------------------------------------------------------------------------------------------------------

namespace detail {

inline unsigned key_size(std::uint32_t key, WireType type) noexcept {
  return varint_size(wire_key(key, type));
}

// What goes into the varint. A plain char is signed here, also where the machine's is not.
template <WireScalar T>
constexpr std::uint64_t wire_value(T value) noexcept {
  if constexpr (std::same_as<T, char>) {
    return static_cast<std::uint64_t>(static_cast<signed char>(value));
  } else {
    return static_cast<std::uint64_t>(value);
  }
}

// The most bytes that a value of type T takes: those of the value with all bits set, which is -1 or
// the largest.
template <WireScalar T>
inline constexpr unsigned kMaxWireSize = varint_size(wire_value(static_cast<T>(-1)));

}  // namespace detail

// ---- The measuring pass

template <WireScalar T>
[[gnu::always_inline]] inline void MeasuringPass::bsc_write_kvarint(
    std::uint32_t key, std::type_identity_t<T> value) noexcept {
  size_ += detail::key_size(key, WireType::kVarint) + varint_size(detail::wire_value<T>(value));
}

[[gnu::always_inline]] inline void MeasuringPass::add_payload(std::uint32_t key,
                                                              std::uint64_t length) noexcept {
  size_ += detail::key_size(key, WireType::kBytes) + varint_size(length) + length;
}

template <WireScalar T>
void MeasuringPass::bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept {
  std::uint64_t size = 0;
  for (const T value : values) size += varint_size(detail::wire_value<T>(value));
  add_payload(key, size);
  if (values.size() >= ProtoWrite::kListedArray) writer_->new_slot(size);
}

[[gnu::always_inline]] inline void MeasuringPass::bsc_write_kbytes(
    std::uint32_t key, const BufferRef<unsigned char>& bytes) noexcept {
  add_payload(key, bytes.len());
}

[[gnu::always_inline]] inline void MeasuringPass::bsc_write_kstr16(
    std::uint32_t key, const BufferRef<unsigned short>& text) noexcept {
  add_payload(key, utf8_size(text.cstr(), text.len(), LoneSurrogate::kKeep));
}

[[gnu::always_inline]] inline std::uint32_t MeasuringPass::bsc_begin_kmsg(
    bool sized, std::uint32_t key) noexcept {
  if (!sized) return FAILURE;
  size_ += detail::key_size(key, WireType::kBytes);
  return writer_->new_slot(size_);
}

[[gnu::always_inline]] inline void MeasuringPass::bsc_end_kmsg(std::uint32_t slot) noexcept {
  if (slot >= writer_->length_count_) return;
  // In 32 bits, where the place that was recorded is cut to 32 bits too: exact unless the message
  // is too long anyway.
  const std::uint32_t length = static_cast<std::uint32_t>(size_) - writer_->lengths_[slot];
  writer_->lengths_[slot] = length;
  size_ += varint_size(length);
}

// ---- The writing pass

[[gnu::always_inline]] inline bool WritingPass::room(std::uint64_t n) noexcept {
  at_ = writer_->out_.room(at_, n);
  return at_ != nullptr;
}

template <WireScalar T>
[[gnu::always_inline]] inline void WritingPass::bsc_write_kvarint(
    std::uint32_t key, std::type_identity_t<T> value) noexcept {
  if (!room(kMaxVarint32 + detail::kMaxWireSize<T>)) return;
  put(wire_key(key, WireType::kVarint));
  put(detail::wire_value<T>(value));
}

[[gnu::always_inline]] inline void WritingPass::put_payload_key(std::uint32_t key,
                                                                std::uint64_t length) noexcept {
  put(wire_key(key, WireType::kBytes));
  put(length);
}

template <WireScalar T>
void WritingPass::bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept {
  const bool listed = values.size() >= ProtoWrite::kListedArray;
  if (!room(2 * kMaxVarint32)) return;
  put_payload_key(key, listed ? writer_->next_length() : 0);
  const auto payload_at = writer_->out_.position(at_);
  for (const T value : values) {
    if (!room(detail::kMaxWireSize<T>)) return;
    put(detail::wire_value<T>(value));
  }
  if (!listed) close_short_array(payload_at);
}

[[gnu::always_inline]] inline void WritingPass::bsc_write_kbytes(
    std::uint32_t key, const BufferRef<unsigned char>& bytes) noexcept {
  if (!room(2 * kMaxVarint32 + std::uint64_t{bytes.len()})) return;
  put_payload_key(key, bytes.len());
  base::copy_bytes(at_, bytes.cstr(), bytes.len());
  at_ += bytes.len();
}

inline void WritingPass::close_short_array(std::uint64_t payload_at) noexcept {
  unsigned char* const payload = writer_->out_.place(payload_at);
  const std::ptrdiff_t size = at_ - payload;
  payload[-1] = size & 0x7F;
  if (size >= 0x80) [[unlikely]]
    at_ = writer_->widen_length(at_, payload_at);
}

[[gnu::always_inline]] inline void WritingPass::bsc_write_kstr16(
    std::uint32_t key, const BufferRef<unsigned short>& text) noexcept {
  constexpr auto kKeep = LoneSurrogate::kKeep;
  constexpr std::uint64_t kShort =
      0x7F / 3;  // so many units have a length of one byte, whatever they are
  const std::uint64_t n = text.len();
  constexpr std::uint64_t kAmple = 32;  // with so much more than it needs a short text is quicker
  if (n <= kShort && writer_->out_.has_room(at_, 2 * kMaxVarint32 + 3 * n + kAmple)) {
    put_payload_key(key, 0);
    const std::size_t size = utf16_to_utf8(text.cstr(), n, at_, 3 * n + kAmple, kKeep);
    at_[-1] = static_cast<unsigned char>(size);
    at_ += size;
    return;
  }
  const std::uint64_t size = utf8_size(text.cstr(), n, kKeep);
  if (!room(2 * kMaxVarint32 + size)) return;
  put_payload_key(key, size);
  at_ += utf16_to_utf8(text.cstr(), n, at_, size, kKeep);
}

[[gnu::always_inline]] inline std::uint32_t WritingPass::bsc_begin_kmsg(
    bool sized, std::uint32_t key) noexcept {
  if (sized && room(2 * kMaxVarint32)) put_payload_key(key, writer_->next_length());
  return FAILURE;
}

// ---- The only pass

template <WireScalar T>
void PatchingPass::bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept {
  if (!room(2 * kMaxVarint32)) return;
  put_payload_key(key, 0);
  const auto payload_at = writer_->out_.position(at_);
  for (const T value : values) {
    if (!room(detail::kMaxWireSize<T>)) return;
    put(detail::wire_value<T>(value));
  }
  close_short_array(payload_at);
}

// Until its message ends, the first byte of a length holds the bits of the key and the width.
[[gnu::always_inline]] inline std::uint32_t PatchingPass::bsc_begin_kmsg(
    bool sized, std::uint32_t key) noexcept {
  if (!sized || !room(2 * kMaxVarint32)) return FAILURE;
  put(wire_key(key, WireType::kBytes));
  const std::uint32_t bits = key % ProtoWrite::kWidths;
  const auto slot = static_cast<std::uint32_t>(writer_->out_.position(at_));
  *at_ = static_cast<unsigned char>(bits << 4 | writer_->widths_[bits]);
  at_ += writer_->widths_[bits];
  return slot;
}

[[gnu::always_inline]] inline void PatchingPass::bsc_end_kmsg(std::uint32_t slot) noexcept {
  if (slot == FAILURE || at_ == nullptr) return;
  unsigned char* const length_at = writer_->out_.place(slot);
  const std::ptrdiff_t size = at_ - length_at - 1;
  if ((*length_at & 15) == 1 && size < 0x80) {
    *length_at = static_cast<unsigned char>(size);
  } else {
    at_ = writer_->close_message(at_, slot);
  }
}

// ---- The writer

template <class Encoder>
void ProtoWrite::pass(Encoder&& encode) {
  if (measuring_) {
    measured_ = encode(MeasuringPass(this, measured_)).size_;
  } else {
    at_ = encode(WritingPass(this, at_)).at_;
    if (at_ != nullptr) *at_ = 0;
  }
}

template <class Encoder>
void ProtoWrite::run(Encoder& encode) {
  if constexpr (std::is_invocable_v<Encoder&, MeasuringPass&> &&
                std::is_invocable_v<Encoder&, WritingPass&>) {
    in_pass(encode);
  } else {
    encode(*this);
  }
}

template <class Encoder>
bool ProtoWrite::write(Encoder&& encode) {
  begin_measuring();
  run(encode);
  if (!begin_writing()) return false;
  run(encode);
  assert((out_.failed() || output().len() == measured_) && "the two passes differ");
  return !out_.failed();
}

template <class Encoder>
bool ProtoWrite::write_once(Encoder&& encode) {
  constexpr std::uint64_t kFirstRoom = 1000;  // to begin with, where there is no memory yet
  begin_measuring();
  measuring_ = false;
  at_ = encode(PatchingPass(this, out_.room(nullptr, kFirstRoom))).at_;
  if (at_ != nullptr) *at_ = 0;
  return !out_.failed();
}

inline std::uint32_t ProtoWrite::new_slot(std::uint64_t length) noexcept {
  if (length_count_ == length_capacity_ && !grow_lengths()) return FAILURE;
  lengths_[length_count_] = static_cast<std::uint32_t>(length);
  return length_count_++;
}

}  // namespace tstl

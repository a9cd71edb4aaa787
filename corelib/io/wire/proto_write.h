// ProtoWrite: encodes messages in the Protocol Buffers wire format.
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
// write() runs the encoder twice. The measuring pass counts the bytes and records the lengths that
// must be known before their content: those of nested messages and of packed arrays of 11 elements
// and more. They go into the length list, in the order in which their fields begin. The writing
// pass writes the bytes and takes the lengths from the list. So no content is written twice or
// moved. The only memory is the output, reserved once, and the length list; both are kept for the
// next message.
//
// REQUIRES of an encoder: both passes make exactly the same calls. If they differ, the lengths are
// wrong, and only the assertion in write() notices; no memory outside the output is touched.
//
// write_once() gives the same bytes in a single pass, and is quicker. It guesses how many bytes the
// length of a nested message takes and patches the length in when the message ends. A wrong guess
// moves the content. Messages with the same key are alike, so most guesses are right.
//
// The operations write every value that they are given, zeros and empty texts too; omitting those
// is the encoder's task. They can also be called on the writer directly, outside of write() and
// write_once(). Then they append to its output, and patch lengths as write_once() does.
//
// Nested messages end in the reverse of the order in which they began, all of them before the
// output is taken. Debug builds assert it.
//
// When an allocation fails, or a message would be longer than 32 bits can count, the output is
// emptied, all further operations do nothing, and write() returns false. A writer is for one thread
// at a time.
#pragma once

#include <cassert>
#include <cstdint>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/base/vector_ref.h"
#include "corelib/io/wire/detail/measuring_sink.h"
#include "corelib/io/wire/detail/pass.h"
#include "corelib/io/wire/detail/pass_state.h"
#include "corelib/io/wire/detail/patching_sink.h"
#include "corelib/io/wire/detail/writing_sink.h"
#include "corelib/io/wire/wire_format.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// The passes that encoders are given. Each has the field operations of ProtoWrite and fits in two
// registers. No pass outlives the call that it is given to.
using MeasuringPass = detail::Pass<detail::MeasuringSink>;
using WritingPass = detail::Pass<detail::WritingSink>;
using PatchingPass = detail::Pass<detail::PatchingSink>;

class ProtoWrite : private detail::PassState {
 public:
  ProtoWrite() = default;
  ProtoWrite(const ProtoWrite&) = delete;
  ProtoWrite& operator=(const ProtoWrite&) = delete;

  // ---- A whole message

  // Runs `encode` in a measuring and in a writing pass. An encoder that takes `auto&` is given the
  // passes themselves; that is several times as quick as one that takes ProtoWrite&. False, with an
  // empty output, when the message is too long or an allocation fails.
  template <class Encoder>
  [[nodiscard]] bool write(Encoder&& encode);

  // Runs `encode` in a single pass. The encoder takes the pass by value and returns it. False as
  // for write().
  template <class Encoder>
  [[nodiscard]] bool write_once(Encoder&& encode);

  // The steps of write(), for callers that run the passes themselves. begin_measuring() discards
  // the last message. begin_writing() reserves what was measured, and returns false when it cannot.
  // output() ends the writing pass.
  void begin_measuring() noexcept;
  [[nodiscard]] bool begin_writing() noexcept;

  // Runs `encode` in the writer's current pass. The encoder takes the pass by value and returns it.
  template <class Encoder>
  void pass(Encoder&& encode);

  // The bytes written so far, zero-terminated unless the buffer has no storage. The caller may
  // change the buffer or move from it; the next operation appends to what it holds. REQUIRES: no
  // nested message is open.
  [[nodiscard]] Buffer<unsigned char>& output() noexcept;

  [[nodiscard]] bool measuring() const noexcept { return mode_ == Mode::kMeasuring; }
  // Bytes that the measuring pass has counted; FAILURE when that is too long for a message.
  [[nodiscard]] std::uint32_t measured_size() const noexcept {
    return measured_ <= kMaxMessage ? static_cast<std::uint32_t>(measured_) : FAILURE;
  }

  // ---- Fields. `key` is the field number.

  // A single value. Signed types, char among them, are sign-extended to 64 bits: a negative value
  // takes ten bytes.
  template <WireScalar T>
  void bsc_write_kvarint(std::uint32_t key, std::type_identity_t<T> value) noexcept {
    in_pass([&](auto& out) { out.template bsc_write_kvarint<T>(key, value); });
  }

  // A single value of four or eight bytes, integer or floating-point.
  template <WireFixed T>
  void bsc_write_kfixed(std::uint32_t key, std::type_identity_t<T> value) noexcept {
    in_pass([&](auto& out) { out.template bsc_write_kfixed<T>(key, value); });
  }

  // A packed array; an empty one is present, with an empty payload.
  template <WireScalar T>
  void bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept {
    in_pass([&](auto& out) { out.bsc_write_karrpack(key, values); });
  }

  // Bytes as they are: 8-bit text, or 16-bit text as its little-endian units, two bytes each.
  void bsc_write_kbytes(std::uint32_t key, const BufferRef<unsigned char>& bytes) noexcept {
    in_pass([&](auto& out) { out.bsc_write_kbytes(key, bytes); });
  }

  // 16-bit text as UTF-8. A lone surrogate is written as three bytes; a reader gets it back.
  void bsc_write_kstr16(std::uint32_t key, const BufferRef<unsigned short>& text) noexcept {
    in_pass([&](auto& out) { out.bsc_write_kstr16(key, text); });
  }

  // A nested message; its content is written between the two calls. With `sized` false neither key
  // nor length is written, and the fields belong to the enclosing message. So one encoder serves a
  // record both as a message of its own and as a nested one. Pass the result of begin to the
  // matching end.
  [[nodiscard]] std::uint32_t bsc_begin_kmsg(bool sized, std::uint32_t key) noexcept {
    std::uint32_t slot = FAILURE;
    in_pass([&](auto& out) { slot = out.bsc_begin_kmsg(sized, key); });
    return slot;
  }
  void bsc_end_kmsg(std::uint32_t slot) noexcept {
    if (mode_ == Mode::kAppending && !can_patch(slot)) slot = FAILURE;
    in_pass([&](auto& out) { out.bsc_end_kmsg(slot); });
  }

 private:
  friend struct ProtoWritePeer;  // for tests of what no encoder can reach

  // Reserved in addition to the measured size. Each operation asks for space for the longest key
  // and value before it writes, and must not make the output grow for that.
  static constexpr std::uint32_t kSlack = kMaxVarint32 + kMaxVarint64;
  static constexpr std::uint64_t kMaxMessage = Buffer<unsigned char>::kGreatestCapacity - kSlack;

  enum class Mode : std::uint8_t { kAppending, kMeasuring, kWriting };

  // Whether begin_message() has reserved a length in the output at `slot`. The caller may have
  // changed the output since, so the bytes there are checked.
  [[nodiscard]] bool can_patch(std::uint32_t slot) const noexcept;
  // Runs `encode` with the pass itself if it takes one, else with the writer.
  template <class Encoder>
  void run(Encoder& encode);
  // As pass(), for an encoder that takes the pass by reference.
  template <class Encoder>
  void in_pass(Encoder&& encode);
  // Ends the writing pass at `at`.
  void stop_at(unsigned char* at) noexcept {
    at_ = at;
    if (at_ != nullptr) *at_ = 0;
  }

  unsigned char* at_ = nullptr;  // where the next byte goes; null while the writer has no memory
  std::uint64_t measured_ = 0;   // 64 bits wide, so that an overlong message is noticed
  Mode mode_ = Mode::kAppending;
};

// ---------------------------------------------------------------------------------------------------------------------

template <class Encoder>
void ProtoWrite::pass(Encoder&& encode) {
  if (mode_ == Mode::kMeasuring) {
    measured_ = encode(MeasuringPass(this, measured_)).position();
  } else if (mode_ == Mode::kWriting) {
    stop_at(encode(WritingPass(this, at_)).position());
  } else {
    stop_at(encode(PatchingPass(this, at_)).position());
  }
}

template <class Encoder>
void ProtoWrite::in_pass(Encoder&& encode) {
  pass([&](auto out) {
    encode(out);
    return out;
  });
}

template <class Encoder>
void ProtoWrite::run(Encoder& encode) {
  if constexpr (std::is_invocable_v<Encoder&, MeasuringPass&> &&
                std::is_invocable_v<Encoder&, WritingPass&> &&
                std::is_invocable_v<Encoder&, PatchingPass&>) {
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
  mode_ = Mode::kAppending;
  assert((out_.failed() || output().len() == measured_) && "the two passes differ");
  return !out_.failed();
}

template <class Encoder>
bool ProtoWrite::write_once(Encoder&& encode) {
  constexpr std::uint64_t kFirstRoom = 1000;  // bytes of the first allocation
  begin_measuring();
  mode_ = Mode::kAppending;
  stop_at(encode(PatchingPass(this, out_.room(nullptr, kFirstRoom))).position());
  assert(open_ == 0 && "a nested message has no end");
  return !out_.failed();
}

}  // namespace tstl

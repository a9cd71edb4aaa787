// Whole messages: a record to bytes or JSON text and back.
//
//   zenta::cloud::CloudRequest request;
//   request.ipt.input = "nihao";
//   if (!write_binary(request, bytes)) return 1;  // too long, or out of memory
//
//   tstl::Chunk arena;
//   arena.set_limit(4 << 20);  // where messages come from others
//   zenta::cloud::CloudResponse response;
//   const auto read = replace_binary(response, received, arena);
//   if (!read) std::printf("%s at byte %u\n", read.text(), read.position);  // see BinaryResult
//
// Everything that is read is copied into the arena, so the message need not outlive the call.
// Fields and members that no record has are skipped. read_binary() and read_json() add to what a
// record holds; replace_binary() and replace_json() start with an empty record. Rewinding or
// resetting an arena invalidates the records that were read into it.
//
// The memory taken from the arena is bounded, even for a hostile message: at most kMaxGrowth bytes
// for each byte of the message (list.h). Only lists of empty elements come near that; a real
// message takes two or three times its length. A limit of the arena (Chunk::set_limit) bounds it
// further. In addition, a list that the record already holds but does not own is copied when it
// grows.
#pragma once

#include <cstdint>
#include <utility>

#include "corelib/base/arena_ref.h"
#include "corelib/io/json/json_cursor.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_write.h"
#include "corelib/io/wire/proto_write.h"
#include "corelib/io/wire/wire_read.h"
#include "corelib/text/buffer.h"
#include "engine/records/record.h"

namespace zenta::records {

// The result of reading a binary message: true when all of it was well formed. Otherwise the record
// holds what was good. A fault inside a nested record costs only the rest of that record; reading
// goes on after it. A fault of the message itself ends the reading.
struct BinaryResult {
  tstl::WireFault fault = tstl::WireFault::kNone;  // the first one
  bool out_of_memory = false;  // the arena was out of memory, and reading ended there
  // The number of bytes read. After a fault: the offset of the key, value, length or payload at
  // fault, counted from the start of the message however deep it is nested. If memory ran out
  // before any fault: the offset of what it was needed for.
  std::uint32_t position = 0;

  explicit operator bool() const noexcept {
    return fault == tstl::WireFault::kNone && !out_of_memory;
  }
  // What is wrong at `position`, for people: zero-terminated, with static storage.
  [[nodiscard]] const char* text() const noexcept;
};

struct JsonResult {
  // kUnexpected also for a value that is no object. kDepth also for records that are nested too
  // deep; `position` is then that of the first of them.
  tstl::JsonFault fault = tstl::JsonFault::kNone;
  // The number of bytes read. After a fault: the offset of the first byte that makes the message
  // invalid. For kMemory: the length of the text.
  std::uint32_t position = 0;

  explicit operator bool() const noexcept { return fault == tstl::JsonFault::kNone; }
  [[nodiscard]] const char* text() const noexcept { return tstl::json_fault_text(fault); }
};

// The operations below for messages of type R. For a record that is a message of its own,
// instantiate this once in a .cc file and declare the instance extern beside the table.
template <Record R>
struct MessageCodec {
  static bool write_binary(const R& record, tstl::ProtoWrite& out);
  static bool write_json(const R& record, tstl::JsonWrite& out);
  static BinaryResult read_binary(R& record, Bytes message, tstl::ArenaRef arena);
  static JsonResult read_json(R& record, Bytes text, tstl::ArenaRef arena,
                              IgnoredListener* listener);
};

// Writes the message; out.output() has it. Use these for many messages: the writer keeps its memory
// from one to the next. False, with an empty output, when the message is too long or an allocation
// fails.
template <Record R>
[[nodiscard]] bool write_message(const R& record, tstl::ProtoWrite& out) {
  return MessageCodec<R>::write_binary(record, out);
}
template <Record R>
[[nodiscard]] bool write_message(const R& record, tstl::JsonWrite& out) {
  return MessageCodec<R>::write_json(record, out);
}

// The same into a buffer. Replaces its contents and reuses its memory.
template <Record R>
[[nodiscard]] bool write_binary(const R& record, tstl::Buffer<unsigned char>& message);
template <Record R>
[[nodiscard]] bool write_json(const R& record, tstl::Buffer<unsigned char>& text);

// Reads a message into `record`, in addition to what it holds. Everything that is read lies in the
// arena, which must outlive the record; the message need not.
template <Record R>
[[nodiscard]] BinaryResult read_binary(R& record, Bytes message, tstl::ArenaRef arena) {
  return MessageCodec<R>::read_binary(record, message, arena);
}
// As read_binary(). `listener`, which may be null, is called for each value that is ignored
// (ignored.h).
template <Record R>
[[nodiscard]] JsonResult read_json(R& record, Bytes text, tstl::ArenaRef arena,
                                   IgnoredListener* listener = nullptr) {
  return MessageCodec<R>::read_json(record, text, arena, listener);
}

// The same, but replaces what `record` holds. The old contents are not read, so their arena may be
// gone.
template <Record R>
[[nodiscard]] BinaryResult replace_binary(R& record, Bytes message, tstl::ArenaRef arena) {
  record = R();
  return read_binary(record, message, arena);
}
template <Record R>
[[nodiscard]] JsonResult replace_json(R& record, Bytes text, tstl::ArenaRef arena,
                                      IgnoredListener* listener = nullptr) {
  record = R();
  return read_json(record, text, arena, listener);
}

// ---------------------------------------------------------------------------------------------------------------------

namespace detail {

// Writes `record` with a Writer that uses the memory of `buffer`.
template <class Writer, class R>
bool write_into(tstl::Buffer<unsigned char>& buffer, const R& record) {
  Writer out;
  out.output() = std::move(buffer);
  const bool good = write_message(record, out);
  buffer = std::move(out.output());
  return good;
}

}  // namespace detail

template <Record R>
bool write_binary(const R& record, tstl::Buffer<unsigned char>& message) {
  return detail::write_into<tstl::ProtoWrite>(message, record);
}

template <Record R>
bool write_json(const R& record, tstl::Buffer<unsigned char>& text) {
  return detail::write_into<tstl::JsonWrite>(text, record);
}

template <Record R>
bool MessageCodec<R>::write_binary(const R& record, tstl::ProtoWrite& out) {
  return out.write_once([&](auto pass) { return write_fields(record, pass); });
}

template <Record R>
bool MessageCodec<R>::write_json(const R& record, tstl::JsonWrite& out) {
  out.clear();
  records::write_json(record, out);
  return out.good();
}

template <Record R>
BinaryResult MessageCodec<R>::read_binary(R& record, Bytes message, tstl::ArenaRef arena) {
  ReadState state(arena, message);
  read_fields(record, message, state);
  const unsigned char* const place = state.place() == nullptr ? message.cend() : state.place();
  return {.fault = state.fault(),
          .out_of_memory = state.stopped(),
          .position = static_cast<std::uint32_t>(place - message.cbegin())};
}

template <Record R>
JsonResult MessageCodec<R>::read_json(R& record, Bytes text, tstl::ArenaRef arena,
                                      IgnoredListener* listener) {
  tstl::JsonText json(text);
  tstl::JsonCursor at = json.start();
  const auto result = [&json](tstl::JsonFault otherwise) {
    const bool good = json.fault() == tstl::JsonFault::kNone;
    return JsonResult{.fault = good ? otherwise : json.fault(), .position = json.position()};
  };
  const auto place_in_text = [&text](const unsigned char* place) {
    return static_cast<std::uint32_t>(place - text.cbegin());
  };
  if (!at.type_is(tstl::JsonType::kObject)) {
    const std::uint32_t start = place_in_text(at.place());
    if (!at.skip()) return result(tstl::JsonFault::kNone);
    return {.fault = tstl::JsonFault::kUnexpected, .position = start};
  }
  ReadState state(arena, text, listener);
  at = read_members(record, at, state);
  const bool is_whole = at.end();
  if (state.fault() == tstl::WireFault::kDepth) {
    return {.fault = tstl::JsonFault::kDepth, .position = place_in_text(state.place())};
  }
  const bool is_short = is_whole && state.stopped();
  return result(is_short ? tstl::JsonFault::kMemory : tstl::JsonFault::kNone);
}

}  // namespace zenta::records

// The four operations of every record, generated from its table (field.h): read one decoded wire
// field, read one JSON member, write the binary form, write the JSON form.
//
// The two readers get one field at a time, in any order. The texts and lists that they make lie in
// the arena; the record owns nothing. A field that occurs again is merged as the wire format's own
// decoders do it: a value is replaced, a list grows, and a nested record gets the new fields and
// keeps the others. No single bad field fails a message: a field that the record does not know, or
// whose type is not the member's, is ignored, and the member stays as it was. A malformed nested
// record keeps its fields up to the fault, and what follows it is read. Records may be nested
// kMaxRecordDepth deep; deeper ones are ignored.
//
// A record that was read may be copied, and both copies read into further. Neither changes the
// other's lists, nor the lists that a caller has put into a record (list.h).
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "corelib/base/arena_ref.h"
#include "corelib/io/json/json_cursor.h"
#include "corelib/io/json/json_node.h"
#include "corelib/io/json/json_write.h"
#include "corelib/io/wire/proto_write.h"
#include "corelib/io/wire/wire_read.h"
#include "engine/records/codec.h"
#include "engine/records/field.h"

namespace zenta::records {

// Reads one field of the binary form. True when the record has a field of this number and wire
// type; false when the caller should skip it. When the arena is out of memory the member is empty
// or as it was. A malformed nested message is read up to its fault.
template <Record R>
bool read_binary_field(R& record, const tstl::WireField& field, tstl::ArenaRef arena);

// Reads one member of a JSON object. True when the record has a field of this key, and the value is
// of the member's type and fits it; false when it is ignored. A string is decoded once and kept on
// the node, and the record refers to that copy.
template <Record R>
bool read_json_member(R& record, tstl::JsonNode& member, tstl::ArenaRef arena);

// Writes the record's fields by rising number, in the writer's current pass. No key and length are
// written around them: the caller does that for a nested record. Omitted are zeros, empty texts and
// lists, and nested records of which nothing would be written. Of lists all elements are written.
template <Record R>
void write_binary(const R& record, tstl::ProtoWrite& out) noexcept;

// Writes the record as one JSON object, with the members in the order of the table. Omitted are
// zeros, empty texts and lists. Nested records are all written.
template <Record R>
void write_json(const R& record, tstl::JsonWrite& out) noexcept {
  write_object(record, out);
}

// ---------------------------------------------------------------------------------------------------------------------

namespace detail {

// Whether the field has a number, and a codec without a binary form.
template <class F>
consteval bool lacks_binary() {
  return F::kNumber != 0 && !requires { F::FieldCodec::kWireType; };
}

template <Record R>
consteval bool all_have_binary() {
  return !kFields<R>.any([](auto f) { return lacks_binary<decltype(f)>(); });
}

// Compile-time checks of a record's table.
template <Record R>
struct CheckedTable {
  static_assert(kFields<R>.numbers_rise(),
                "the numbers of a table's fields rise, and are below 2^29 (0: no binary form)");
  static_assert(kFields<R>.keys_differ(),
                "two fields of a table have one key and the same type of JSON value");
  static_assert(
      !kFields<R>.keys_differ() || kFields<R>.written_keys_differ(),
      "two fields of a table are written under one key, and no OnlyWhen keeps them apart");
  static_assert(kFields<R>.members_differ(), "a member stands twice in a table");
  static_assert(all_have_binary<R>(),
                "this member has no binary form: give its field the number 0");
};

// Lists whose elements are fields of their own.
template <class Member>
inline constexpr bool kIsList = false;
template <class T>
inline constexpr bool kIsList<List<T>> = !Number<T>;

// The key of the field, which is number and wire type in one. 0, which no field has, for a field
// without a binary form.
template <class F>
consteval std::uint32_t wire_key_of() {
  if constexpr (F::kNumber == 0 || lacks_binary<F>()) {
    return 0;
  } else {
    return tstl::wire_key(F::kNumber, F::FieldCodec::kWireType);
  }
}

// The same for the other wire type that the codec accepts; 0 when there is none.
template <class F>
consteval std::uint32_t other_wire_key_of() {
  if constexpr (F::kNumber != 0 && requires { F::FieldCodec::kOtherWireType; }) {
    return tstl::wire_key(F::kNumber, F::FieldCodec::kOtherWireType);
  } else {
    return 0;
  }
}

template <class F>
bool member_is(const tstl::JsonNode& node) noexcept {
  return node.type() == F::FieldCodec::kJsonType && node.key_is(F::kKey);
}

// The field's key as most texts have it, with its quotes and the colon.
template <class F>
inline constexpr auto kQuotedKey = [] {
  std::array<char, F::kKey.size() + 3> text{};
  text.front() = '"';
  std::ranges::copy(F::kKey, text.begin() + 1);
  text[text.size() - 2] = '"';
  text.back() = ':';
  return text;
}();

// REQUIRES: the field's key is that of F. `reserved`: only for lists, which have space for it.
template <class F, class... Reserved>
void read_field(typename F::Record& record, const tstl::WireField& field, ReadState& state,
                Reserved... reserved) {
  F::FieldCodec::read_binary(F::of(record), field, state, reserved...);
  F::after_read(record);
}

// REQUIRES: member_is<F>(node).
template <class F>
bool read_member(typename F::Record& record, tstl::JsonNode& node, ReadState& state) {
  if (!F::FieldCodec::read_json(F::of(record), node, state)) {
    if (!state.stopped()) state.tell(node.raw_key());
    return false;
  }
  F::after_read(record);
  return true;
}

// The same for the member whose value is at the cursor, which moves past it.
template <class F>
[[gnu::always_inline]] inline void read_member(typename F::Record& record, tstl::JsonCursor& json,
                                               ReadState& state) {
  const Bytes key = state.has_listener() ? json.raw_key() : Bytes();
  const auto start = place_of(json);
  if (!state.stopped() && F::FieldCodec::read_json(F::of(record), json, state)) [[likely]] {
    F::after_read(record);
  } else if (is_value(json, start) && !state.stopped()) {
    state.tell(key);
  }
}

// For the listener: why the record has no field for a member, which is a node or a cursor.
template <Record R, class Json>
[[gnu::noinline]] IgnoredReason unknown_reason(const Json& member) {
  const bool has_key = kFields<R>.any([&](auto f) { return member.key_is(f.kKey); });
  return has_key ? IgnoredReason::kOtherType : IgnoredReason::kUnknownKey;
}

// Reads a member that is not the next one of the table, or whose key is written in an unusual way.
// Skips it if the record has no field for it.
template <Record R>
[[gnu::noinline]] tstl::JsonCursor read_any_member(R& record, tstl::JsonCursor json,
                                                   ReadState& state) {
  if (!json.read_key()) return json;
  const bool found = kFields<R>.any([&](auto f) {
    using F = decltype(f);
    if (!json.type_is(F::FieldCodec::kJsonType) || !json.key_is(F::kKey)) return false;
    read_member<F>(record, json, state);
    return true;
  });
  if (found) return json;
  const Bytes key = json.raw_key();
  const auto reason = state.has_listener() ? unknown_reason<R>(json) : IgnoredReason::kUnknownKey;
  if (json.skip() && !state.stopped()) state.tell(key, reason);
  return json;
}

// Reads the field F if it comes next; if F is a list, all the elements that follow one another.
// False when something else comes.
template <class F>
[[gnu::always_inline]] inline bool read_next(typename F::Record& record, tstl::WireReader& reader,
                                             ReadState& state) {
  constexpr std::uint32_t kKey = wire_key_of<F>();
  if constexpr (kKey != 0) {
    tstl::WireField field;
    if constexpr (kIsList<typename F::Member>) {
      tstl::WireReader ahead = reader;
      if (!ahead.next_if(kKey, field)) return false;
      std::uint32_t count = 1;
      for (tstl::WireField other; ahead.next_if(kKey, other);) ++count;
      if (!F::of(record).reserve(count, state.arena())) {
        state.stop_for_memory(field.bytes().cstr());
      }
      while (!state.stopped() && reader.next_if(kKey, field)) {
        read_field<F>(record, field, state, true);
      }
      return true;
    } else {
      if (!reader.next_if(kKey, field)) return false;
      read_field<F>(record, field, state);
      return true;
    }
  }
  return false;
}

// Reads the field if the record has it.
template <Record R>
[[gnu::noinline]] bool read_any(R& record, const tstl::WireField& field, ReadState& state) {
  return kFields<R>.any([&](auto f) {
    using F = decltype(f);
    if constexpr (wire_key_of<F>() == 0) {
      return false;
    } else {
      if (field.key() != wire_key_of<F>() && field.key() != other_wire_key_of<F>()) return false;
      read_field<F>(record, field, state);
      return true;
    }
  });
}

}  // namespace detail

template <Record R>
bool read_binary_field(R& record, const tstl::WireField& field, tstl::ArenaRef arena) {
  ReadState state(arena);
  return detail::read_any(record, field, state);
}

template <Record R>
bool read_json_member(R& record, tstl::JsonNode& member, tstl::ArenaRef arena) {
  ReadState state(arena);
  return kFields<R>.any([&](auto f) {
    using F = decltype(f);
    return detail::member_is<F>(member) && detail::read_member<F>(record, member, state);
  });
}

// Fields usually come in the order of their numbers, so each round looks for the table's fields in
// that order. When a round finds none, the slow path reads the next field, whatever it is. It works
// on a copy of the reader, so that the reader itself stays in registers.
template <Record R>
void read_fields(R& record, Bytes message, ReadState& state) {
  static_assert(sizeof(detail::CheckedTable<R>) != 0);
  tstl::WireReader reader(message);
  while (!reader.at_end() && !state.stopped()) {
    bool found = false;
    kFields<R>.any([&](auto f) __attribute__((always_inline)) {
      const bool is_next = detail::read_next<decltype(f)>(record, reader, state);
      found |= is_next;
      return is_next && state.stopped();
    });
    if (found) continue;
    tstl::WireReader slow = reader;
    tstl::WireField field;
    if (slow.next(field)) detail::read_any(record, field, state);
    reader = slow;
  }
  if (reader.fault() != tstl::WireFault::kNone) {
    state.note(reader.fault(), message.cstr() + reader.position());
  }
}

template <Record R>
void read_members(R& record, tstl::JsonNode& object, ReadState& state) {
  static_assert(sizeof(detail::CheckedTable<R>) != 0);
  tstl::JsonNode* node = object.first_child();
  while (node != nullptr && !state.stopped()) {
    const tstl::JsonNode* const first = node;
    kFields<R>.each([&](auto f) {
      using F = decltype(f);
      if (node == nullptr || !detail::member_is<F>(*node)) return;
      detail::read_member<F>(record, *node, state);
      node = state.stopped() ? nullptr : node->next();
    });
    if (node != first) continue;
    if (state.has_listener()) [[unlikely]]
      state.tell(node->raw_key(), detail::unknown_reason<R>(*node));
    node = node->next();
  }
}

// Members, too, usually come in the order of the table.
template <Record R>
[[gnu::noinline]] tstl::JsonCursor read_members(R& record, tstl::JsonCursor json,
                                                ReadState& state) {
  static_assert(sizeof(detail::CheckedTable<R>) != 0);
  bool more = json.enter_object();
  while (more) {
    bool found = false;
    kFields<R>.any([&](auto f) __attribute__((always_inline)) {
      using F = decltype(f);
      constexpr std::string_view kQuoted(detail::kQuotedKey<F>.data(),
                                         detail::kQuotedKey<F>.size());
      if (!json.take_key(kQuoted, F::FieldCodec::kJsonType)) return false;
      found = true;
      detail::read_member<F>(record, json, state);
      more = json.next_member();
      return !more;
    });
    if (found) continue;
    json = detail::read_any_member(record, json, state);
    more = json.next_member();
  }
  return json;
}

template <Record R>
constexpr bool has_binary(const R& record) noexcept {
  return kFields<R>.any([&](auto f) { return f.in_binary(record); });
}

// Inlined as a whole, so that the pass stays in registers from field to field.
template <Record R, class Pass>
Pass write_fields(const R& record, Pass out) noexcept {
  static_assert(sizeof(detail::CheckedTable<R>) != 0);
  kFields<R>.each([&](auto f) __attribute__((always_inline)) {
    using F = decltype(f);
    if constexpr (!F::kNeverInBinary && !detail::lacks_binary<F>()) {
      if (F::in_binary(record)) {
        out = F::FieldCodec::write_binary(F::written(record), F::kNumber, out);
      }
    }
  });
  return out;
}

template <Record R>
void write_binary(const R& record, tstl::ProtoWrite& out) noexcept {
  out.pass([&](auto pass) { return write_fields(record, pass); });
}

template <Record R>
void write_object(const R& record, tstl::JsonWrite& out) noexcept {
  static_assert(sizeof(detail::CheckedTable<R>) != 0);
  out.begin_object();
  kFields<R>.each([&](auto f) {
    using F = decltype(f);
    if (!F::in_json(record)) return;
    out.plain_key(F::kWrittenKey);
    F::FieldCodec::write_json(F::written(record), out);
  });
  out.end_object();
}

}  // namespace zenta::records

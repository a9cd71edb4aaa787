// Codecs: how a member of a record is read and written, by its type.
//
//   type                      binary                                  JSON
//   integer                   varint, cut to the type's width         number
//   bool                      varint; any non-zero is true            true or false
//   Bytes                     the bytes                               string
//   Text16                    UTF-8                                   string
//   Text16 with As<RawUnits>  its units, little-endian                string
//   a record                  nested message; left out if it has no   object, written even if empty
//                             field to write
//   List<T>, T not a number   one field for each element              array
//   List<number>              -                                       array
//   std::array<number, n>     -                                       array of exactly n numbers
//
// A codec is a structure of static members. The members for a form that a type does not have are
// missing, and a table that needs them does not compile:
//
//   kJsonType, kWireType     what a value looks like; a reader takes nothing else
//   kAlwaysInJson = true     optional: written in JSON although it is empty
//   is_empty(value)          whether it is left out (but in a list everything is written)
//   read_json(value, node, state) -> bool      REQUIRES: node.type() == kJsonType. False when the
//                            node is no such value after all, with `value` as it was
//   write_json(value, out)
//   read_binary(value, field, state)           REQUIRES: field.type() == kWireType. For a List one
//                            argument more, as below
//   write_binary(value, number, out) -> out    `out` is either pass of a ProtoWrite, by value
//
// A type of one's own gets its codec by a specialization of Codec, or, for single fields, by the
// trait As<>.
//
// What is read is copied into the arena; texts are zero-terminated there.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>

#include "corelib/base/arena_ref.h"
#include "corelib/io/json/json_node.h"
#include "corelib/io/json/json_write.h"
#include "corelib/io/wire/proto_write.h"
#include "corelib/io/wire/wire_read.h"
#include "engine/records/field.h"
#include "engine/records/list.h"

namespace zenta::records {

// What the codecs of one message share while it is read. A reader stops at the first fault and
// keeps what it has.
class ReadState {
 public:
  // `message_size`: bytes of the whole message, 0 for a single field or member.
  explicit ReadState(tstl::ArenaRef arena, std::uint32_t message_size = 0) noexcept
      : arena_(arena), block_size_(std::min(std::uint64_t{message_size} * 2, kMaxBlock)) {}

  [[nodiscard]] tstl::ArenaRef arena() const noexcept { return arena_; }
  [[nodiscard]] bool stopped() const noexcept { return stopped_; }
  // The place, in the message, of the field whose value could not be read; null for JSON.
  [[nodiscard]] const unsigned char* place() const noexcept { return place_; }
  [[nodiscard]] tstl::WireFault fault() const noexcept { return fault_; }
  // The arena gave no more.
  [[nodiscard]] bool out_of_memory() const noexcept {
    return stopped_ && fault_ == tstl::WireFault::kNone;
  }

  void stop(tstl::WireFault fault, const unsigned char* place) noexcept {
    stopped_ = true;
    fault_ = fault;
    place_ = place;
  }
  void stop_for_memory(const unsigned char* place = nullptr) noexcept {
    stop(tstl::WireFault::kNone, place);
  }

  // Copies of what a field of the binary form has, with a zero after them: its bytes, its UTF-8 as
  // 16-bit text, its bytes as 16-bit units (a last byte that is no unit is dropped). Empty, and the
  // reader stops, when memory is short.
  [[nodiscard]] Bytes keep_bytes(Bytes payload);
  [[nodiscard]] Text16 keep_utf8(Bytes payload);
  [[nodiscard]] Text16 keep_units(Bytes payload);
  // The string of a JSON node, with a zero after it. Null, and the reader stops, when memory is
  // short. The node keeps it for who asks again; but in a whole message nobody does. The second
  // argument only tells the width.
  [[nodiscard]] Bytes keep_string(tstl::JsonNode& node, unsigned char);
  [[nodiscard]] Text16 keep_string(tstl::JsonNode& node, unsigned short);

 private:
  static constexpr std::uint64_t kMaxBlock = 4096;

  // Room for a text of up to `n` units and its zero, for the payload; null, and the reader stops,
  // when memory is short. end_text() takes as much of it as the text has in the end.
  template <tstl::Unit T>
  T* begin_text(std::uint32_t n, Bytes payload);
  template <tstl::Unit T>
  tstl::BufferRef<T> end_text(std::size_t n) noexcept;
  bool new_text_block(std::uint64_t n, Bytes payload);

  tstl::ArenaRef arena_;
  // Texts of a message share blocks of the arena: they are many and short. All of them take
  // at most twice the message, and what is left of a block when it is given up is less than the text
  // that did not fit.
  unsigned char* text_ = nullptr;
  std::uint64_t text_left_ = 0;  // even
  std::uint64_t block_size_;
  const unsigned char* place_ = nullptr;
  tstl::WireFault fault_ = tstl::WireFault::kNone;
  bool stopped_ = false;
};

// ---- Numbers

template <std::integral T>
struct Codec<T> {
  static constexpr auto kJsonType = tstl::JsonType::kNumber;
  static constexpr auto kWireType = tstl::WireType::kVarint;

  static constexpr bool is_empty(T value) noexcept { return value == 0; }
  static bool read_json(T& value, tstl::JsonNode& node, ReadState&) noexcept {
    return node.integer(value);
  }
  static void write_json(T value, tstl::JsonWrite& out) noexcept { out.num(value); }
  static void read_binary(T& value, const tstl::WireField& field, ReadState&) noexcept {
    value = static_cast<T>(field.varint());
  }
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(T value, std::uint32_t number,
                                                  Pass out) noexcept {
    out.template bsc_write_kvarint<T>(number, value);
    return out;
  }
};

template <>
struct Codec<bool> {
  static constexpr auto kJsonType = tstl::JsonType::kBool;
  static constexpr auto kWireType = tstl::WireType::kVarint;

  static constexpr bool is_empty(bool value) noexcept { return !value; }
  static bool read_json(bool& value, tstl::JsonNode& node, ReadState&) noexcept {
    value = node.boolean();
    return true;
  }
  static void write_json(bool value, tstl::JsonWrite& out) noexcept { out.boolean(value); }
  static void read_binary(bool& value, const tstl::WireField& field, ReadState&) noexcept {
    value = field.varint() != 0;
  }
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(bool value, std::uint32_t number,
                                                  Pass out) noexcept {
    out.template bsc_write_kvarint<bool>(number, value);
    return out;
  }
};

// ---- Texts

namespace detail {

template <tstl::Unit T>
struct TextCodec {
  static constexpr auto kJsonType = tstl::JsonType::kString;
  static constexpr auto kWireType = tstl::WireType::kBytes;

  static constexpr bool is_empty(tstl::BufferRef<T> text) noexcept { return text.is_empty(); }
  static bool read_json(tstl::BufferRef<T>& text, tstl::JsonNode& node, ReadState& state) {
    const tstl::BufferRef<T> read = state.keep_string(node, T());
    if (read.cstr() == nullptr) return false;
    text = read;
    return true;
  }
  static void write_json(tstl::BufferRef<T> text, tstl::JsonWrite& out) noexcept { out.str(text); }
};

}  // namespace detail

template <>
struct Codec<Bytes> : detail::TextCodec<unsigned char> {
  static void read_binary(Bytes& bytes, const tstl::WireField& field, ReadState& state) {
    bytes = state.keep_bytes(field.bytes());
  }
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(Bytes bytes, std::uint32_t number,
                                                  Pass out) noexcept {
    out.bsc_write_kbytes(number, bytes);
    return out;
  }
};

template <>
struct Codec<Text16> : detail::TextCodec<unsigned short> {
  // UTF-8 never has fewer bytes than the text has units.
  static void read_binary(Text16& text, const tstl::WireField& field, ReadState& state) {
    text = state.keep_utf8(field.bytes());
  }
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(Text16 text, std::uint32_t number,
                                                  Pass out) noexcept {
    out.bsc_write_kstr16(number, text);
    return out;
  }
};

// 16-bit text that the binary form carries as its units, little-endian. A last byte that is no unit
// is dropped.
struct RawUnits : detail::TextCodec<unsigned short> {
  static_assert(std::endian::native == std::endian::little, "units are sent as they lie in memory");

  static void read_binary(Text16& text, const tstl::WireField& field, ReadState& state) {
    text = state.keep_units(field.bytes());
  }
  // A text of 2^31 units and more makes the message too long, whatever its length is said to be.
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(Text16 text, std::uint32_t number,
                                                  Pass out) noexcept {
    const std::uint32_t length = text.len() > tstl::FAILURE / 2 ? tstl::FAILURE : text.len() * 2;
    out.bsc_write_kbytes(number, {reinterpret_cast<const unsigned char*>(text.cstr()), length});
    return out;
  }
};

// ---- Records and lists

// record.h has these: all the fields or members of a record, read into it up to the first fault.
template <Record R>
void read_fields(R& record, Bytes message, ReadState& state);
template <Record R>
void read_members(R& record, tstl::JsonNode& object, ReadState& state);
template <Record R>
[[nodiscard]] constexpr bool has_binary(const R& record) noexcept;
template <Record R, class Pass>
[[nodiscard]] Pass write_fields(const R& record, Pass out) noexcept;
template <Record R>
void write_object(const R& record, tstl::JsonWrite& out) noexcept;

template <Record R>
struct Codec<R> {
  static constexpr auto kJsonType = tstl::JsonType::kObject;
  static constexpr auto kWireType = tstl::WireType::kBytes;
  static constexpr bool kAlwaysInJson = true;

  static constexpr bool is_empty(const R& record) noexcept { return !has_binary(record); }
  static bool read_json(R& record, tstl::JsonNode& node, ReadState& state) {
    read_members(record, node, state);
    return true;
  }
  static void write_json(const R& record, tstl::JsonWrite& out) noexcept {
    write_object(record, out);
  }
  static void read_binary(R& record, const tstl::WireField& field, ReadState& state) {
    read_fields(record, field.bytes(), state);
  }
  template <class Pass>
  static Pass write_binary(const R& record, std::uint32_t number, Pass out) noexcept {
    const std::uint32_t slot = out.bsc_begin_kmsg(true, number);
    out = write_fields(record, out);
    out.bsc_end_kmsg(slot);
    return out;
  }
};

// Lists, and what else is a JSON array.
template <class T>
struct Codec<List<T>> {
  using Element = Codec<T>;
  static constexpr auto kJsonType = tstl::JsonType::kArray;
  static constexpr auto kWireType = tstl::WireType::kBytes;

  static constexpr bool is_empty(const List<T>& list) noexcept { return list.is_empty(); }

  // Appends the elements; those that are no values of T are left out. A list that has elements makes
  // room only for what is added to it, or arrays of other values, coming again and again, would
  // move it each time.
  static bool read_json(List<T>& list, tstl::JsonNode& array, ReadState& state) {
    const bool reserved = list.is_empty();
    if (reserved && !list.reserve(count_of(array), state.arena())) {
      state.stop_for_memory();
      return false;
    }
    for (auto* node = array.first_child(); node != nullptr && !state.stopped();
         node = node->next()) {
      T value = T();
      if (node->type() != Element::kJsonType || !Element::read_json(value, *node, state)) continue;
      T* const element = list.append(state.arena(), reserved);
      if (element == nullptr) {
        state.stop_for_memory();
        return false;
      }
      *element = value;
    }
    return !state.stopped();
  }
  static void write_json(const List<T>& list, tstl::JsonWrite& out) noexcept {
    out.begin_array();
    for (const T& element : list) Element::write_json(element, out);
    out.end_array();
  }

  // Appends one element. `reserved`: the list has room for it.
  static void read_binary(List<T>& list, const tstl::WireField& field, ReadState& state,
                          bool reserved = false) {
    static_assert(Element::kWireType == tstl::WireType::kBytes, "no lists of numbers");
    T* const element = list.append(state.arena(), reserved);
    if (element == nullptr) return state.stop_for_memory(field.bytes().cstr());
    Element::read_binary(*element, field, state);
  }
  template <class Pass>
  static Pass write_binary(const List<T>& list, std::uint32_t number, Pass out) noexcept {
    static_assert(Element::kWireType == tstl::WireType::kBytes, "no lists of numbers");
    for (const T& element : list) out = Element::write_binary(element, number, out);
    return out;
  }

 private:
  static std::uint32_t count_of(tstl::JsonNode& array) noexcept {
    std::uint32_t count = 0;
    for (auto* node = array.first_child(); node != nullptr; node = node->next()) {
      count += node->type() == Element::kJsonType;
    }
    return count;
  }
};

template <std::integral T, std::size_t kCount>
struct Codec<std::array<T, kCount>> {
  static constexpr auto kJsonType = tstl::JsonType::kArray;

  static constexpr bool is_empty(const std::array<T, kCount>& numbers) noexcept {
    return std::ranges::all_of(numbers, [](T number) { return number == 0; });
  }
  static bool read_json(std::array<T, kCount>& numbers, tstl::JsonNode& array, ReadState&) {
    std::array<T, kCount> read;
    tstl::JsonNode* node = array.first_child();
    for (T& number : read) {
      if (node == nullptr || !node->integer(number)) return false;
      node = node->next();
    }
    if (node != nullptr) return false;
    numbers = read;
    return true;
  }
  static void write_json(const std::array<T, kCount>& numbers, tstl::JsonWrite& out) noexcept {
    out.begin_array();
    for (const T number : numbers) out.num(number);
    out.end_array();
  }
};

}  // namespace zenta::records

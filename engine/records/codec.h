// Codecs: how a member of a record is read and written, by its type.
//
//   type                      binary                                  JSON
//   integer                   varint, cut to the type's width         number
//   bool                      varint; any non-zero is true            true or false
//   float, double             4 and 8 bytes                           number; null if not finite
//   enumeration               as the integers of its underlying type, which is fixed
//   Bytes                     the bytes                               string
//   Text16                    UTF-8                                   string
//   Text16 with As<RawUnits>  its units, little-endian                string
//   a record                  nested message; omitted if it has no    object, written even if empty
//                             field to write
//   List<T>, T one of the     packed: one field with all elements;    array
//   first four                read also as one field for each
//   List<T>, others           one field for each element              array
//   std::array<number, n>     -                                       array of exactly n numbers
//
// A codec is a structure of static members. The members for a form that a type does not have are
// missing, and a table that needs them does not compile:
//
//   kJsonType, kWireType     the types of a value; readers accept no other
//   kAlwaysInJson = true     optional: written in JSON although it is empty
//   kOtherWireType           optional: another wire type that read_binary() accepts
//   is_empty(value)          whether it is omitted (but in a list everything is written)
//   read_json(value, json, state) -> bool
//                            REQUIRES: the JSON value is of kJsonType. False, with `value`
//                            unchanged, when the JSON value does not fit; the codec then reports
//                            the reason with state.refuse(reason). A template: `json` is a node of
//                            a tree (JsonNode&) or a cursor in the text (JsonCursor&), which have
//                            the same calls
//   write_json(value, out)
//   read_binary(value, field, state)
//                            REQUIRES: field.type() is kWireType or kOtherWireType. For a List
//                            whose elements are fields of their own it has one more argument, as
//                            below
//   write_binary(value, number, out) -> out
//                            `out` is any pass of a ProtoWrite, by value
//
// Your own types get a codec by a specialization of Codec or, for single fields, by the trait As<>.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "corelib/io/json/json_cursor.h"
#include "corelib/io/json/json_node.h"
#include "corelib/io/json/json_write.h"
#include "corelib/io/wire/proto_write.h"
#include "corelib/io/wire/wire_read.h"
#include "engine/records/field.h"
#include "engine/records/list.h"
#include "engine/records/read_state.h"

namespace zenta::records {

// The codec of a type that has none. Its members keep the compiler from reporting anything but this
// assertion.
template <class T>
struct Codec {
  static_assert(
      sizeof(T) == 0,
      "a member of this type has no codec: specialize zenta::records::Codec for it, or name "
      "one in the table with As<>");
  static constexpr auto kJsonType = tstl::JsonType::kNull;
  static constexpr auto kWireType = tstl::WireType::kBytes;
  static constexpr bool is_empty(const T&) noexcept { return true; }
  template <class Json>
  static bool read_json(T&, Json&, ReadState&) noexcept {
    return false;
  }
  static void write_json(const T&, tstl::JsonWrite&) noexcept {}
  static void read_binary(T&, const tstl::WireField&, ReadState&) noexcept {}
  template <class Pass>
  static Pass write_binary(const T&, std::uint32_t, Pass out) noexcept {
    return out;
  }
};

// ---- Numbers. from_wire(bits) converts the bits of a varint or of a fixed-size value; packed
// lists use it.

template <std::integral T>
struct Codec<T> {
  static constexpr auto kJsonType = tstl::JsonType::kNumber;
  static constexpr auto kWireType = tstl::WireType::kVarint;

  static constexpr bool is_empty(T value) noexcept { return value == 0; }
  template <class Json>
  [[gnu::always_inline]] static bool read_json(T& value, Json& json, ReadState& state) noexcept {
    return json.integer(value) || state.refuse_integer(json);
  }
  static void write_json(T value, tstl::JsonWrite& out) noexcept { out.num(value); }
  static constexpr T from_wire(std::uint64_t bits) noexcept { return static_cast<T>(bits); }
  static void read_binary(T& value, const tstl::WireField& field, ReadState&) noexcept {
    value = from_wire(field.varint());
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
  template <class Json>
  [[gnu::always_inline]] static bool read_json(bool& value, Json& json, ReadState&) noexcept {
    return json.boolean(value);
  }
  static void write_json(bool value, tstl::JsonWrite& out) noexcept { out.boolean(value); }
  static constexpr bool from_wire(std::uint64_t bits) noexcept { return bits != 0; }
  static void read_binary(bool& value, const tstl::WireField& field, ReadState&) noexcept {
    value = from_wire(field.varint());
  }
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(bool value, std::uint32_t number,
                                                  Pass out) noexcept {
    out.template bsc_write_kvarint<bool>(number, value);
    return out;
  }
};

// Only +0.0 is omitted. -0.0 has other bits, and is written.
template <std::floating_point T>
requires tstl::WireFixed<T>
struct Codec<T> {
  using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
  static constexpr auto kJsonType = tstl::JsonType::kNumber;
  static constexpr auto kWireType = tstl::kFixedType<T>;

  static constexpr bool is_empty(T value) noexcept { return std::bit_cast<Bits>(value) == 0; }
  template <class Json>
  [[gnu::always_inline]] static bool read_json(T& value, Json& json, ReadState& state) noexcept {
    double read;
    constexpr double kMax = std::numeric_limits<T>::max();
    if (!json.real(read) || read > kMax || read < -kMax) {
      return state.refuse(IgnoredReason::kOutOfRange);
    }
    value = static_cast<T>(read);
    return true;
  }
  static void write_json(T value, tstl::JsonWrite& out) noexcept { out.real(value); }
  static constexpr T from_wire(std::uint64_t bits) noexcept {
    return std::bit_cast<T>(static_cast<Bits>(bits));
  }
  static void read_binary(T& value, const tstl::WireField& field, ReadState&) noexcept {
    value = from_wire(field.fixed());
  }
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(T value, std::uint32_t number,
                                                  Pass out) noexcept {
    out.template bsc_write_kfixed<T>(number, value);
    return out;
  }
};

// An enumeration with a fixed underlying type, so that every number of that type is one of its
// values.
template <class T>
concept Enumeration = std::is_enum_v<T> && requires {
  T{0};
};

template <Enumeration T>
struct Codec<T> {
  using Underlying = std::underlying_type_t<T>;
  using NumberCodec = Codec<Underlying>;
  static constexpr auto kJsonType = NumberCodec::kJsonType;
  static constexpr auto kWireType = NumberCodec::kWireType;

  static constexpr bool is_empty(T value) noexcept {
    return NumberCodec::is_empty(static_cast<Underlying>(value));
  }
  template <class Json>
  [[gnu::always_inline]] static bool read_json(T& value, Json& json, ReadState& state) noexcept {
    auto number = Underlying();
    if (!NumberCodec::read_json(number, json, state)) return false;
    value = static_cast<T>(number);
    return true;
  }
  static void write_json(T value, tstl::JsonWrite& out) noexcept {
    NumberCodec::write_json(static_cast<Underlying>(value), out);
  }
  static constexpr T from_wire(std::uint64_t bits) noexcept {
    return static_cast<T>(NumberCodec::from_wire(bits));
  }
  static void read_binary(T& value, const tstl::WireField& field, ReadState& state) noexcept {
    auto number = Underlying();
    NumberCodec::read_binary(number, field, state);
    value = static_cast<T>(number);
  }
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(T value, std::uint32_t number,
                                                  Pass out) noexcept {
    return NumberCodec::write_binary(static_cast<Underlying>(value), number, out);
  }
};

// The types whose lists are packed.
template <class T>
concept Number = std::integral<T> || std::floating_point<T> || Enumeration<T>;

// ---- Texts

namespace detail {

template <tstl::Unit T>
struct TextCodec {
  static constexpr auto kJsonType = tstl::JsonType::kString;
  static constexpr auto kWireType = tstl::WireType::kBytes;

  static constexpr bool is_empty(tstl::BufferRef<T> text) noexcept { return text.is_empty(); }
  template <class Json>
  [[gnu::always_inline]] static bool read_json(tstl::BufferRef<T>& text, Json& json,
                                               ReadState& state) {
    return state.keep_string(text, json);
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

// 16-bit text that the binary form carries as its units, little-endian. An odd last byte is
// dropped.
struct RawUnits : detail::TextCodec<unsigned short> {
  static_assert(std::endian::native == std::endian::little, "units are sent as they lie in memory");

  static void read_binary(Text16& text, const tstl::WireField& field, ReadState& state) {
    text = state.keep_units(field.bytes());
  }
  // A text of 2^31 units or more does not fit any message. FAILURE as its length makes the writer
  // fail.
  template <class Pass>
  [[gnu::always_inline]] static Pass write_binary(Text16 text, std::uint32_t number,
                                                  Pass out) noexcept {
    const std::uint32_t length = text.len() > tstl::FAILURE / 2 ? tstl::FAILURE : text.len() * 2;
    out.bsc_write_kbytes(number, {reinterpret_cast<const unsigned char*>(text.cstr()), length});
    return out;
  }
};

// ---- Records and lists

namespace detail {

// The bytes of elements that are sent as they lie in memory. A size that exceeds 32 bits becomes
// FAILURE, which is too long for any message and makes the writer fail.
template <class T>
Bytes bytes_of(const T* elements, std::uint32_t count) noexcept {
  const std::uint64_t size = std::uint64_t{count} * sizeof(T);
  return {reinterpret_cast<const unsigned char*>(elements),
          size < tstl::FAILURE ? static_cast<std::uint32_t>(size) : tstl::FAILURE};
}

// The number of elements in a well-formed packed field of this wire type. A malformed field has at
// most that many before its fault.
[[nodiscard]] std::uint32_t packed_count(Bytes packed, tstl::WireType type) noexcept;

// Reads the elements of a packed field one by one.
class PackedReader {
 public:
  PackedReader(Bytes packed, tstl::WireType type) noexcept
      : at_(packed.cbegin()), end_(packed.cend()), type_(type) {}

  // False at the end of the field and at its first fault.
  bool next(std::uint64_t& bits) noexcept;
  [[nodiscard]] tstl::WireFault fault() const noexcept { return fault_; }
  // The first byte of the element at fault.
  [[nodiscard]] const unsigned char* place() const noexcept { return at_; }

 private:
  const unsigned char* at_;
  const unsigned char* end_;
  tstl::WireType type_;
  tstl::WireFault fault_ = tstl::WireFault::kNone;
};

}  // namespace detail

// Defined in record.h. The readers read all fields or members of a record, up to the first fault of
// the record's own bytes. A cursor is returned past the object.
template <Record R>
void read_fields(R& record, Bytes message, ReadState& state);
template <Record R>
void read_members(R& record, tstl::JsonNode& object, ReadState& state);
template <Record R>
[[nodiscard]] tstl::JsonCursor read_members(R& record, tstl::JsonCursor object, ReadState& state);
template <Record R>
[[nodiscard]] constexpr bool has_binary(const R& record) noexcept;
template <Record R, class Pass>
[[nodiscard]] Pass write_fields(const R& record, Pass out) noexcept;
template <Record R>
void write_object(const R& record, tstl::JsonWrite& out) noexcept;

namespace detail {

template <class Member>
struct RecordIn {
  using Type = Member;
};
template <class T>
struct RecordIn<List<T>> : RecordIn<T> {};

// Whether a record of type R can contain another R, at any depth. `Outer`: the types around it.
template <class R, class... Outer>
consteval bool nests_in_itself() {
  if constexpr ((std::is_same_v<R, Outer> || ...)) {
    return true;
  } else if constexpr (Record<R>) {
    return kFields<R>.any([](auto f) {
      return nests_in_itself<typename RecordIn<typename decltype(f)::Member>::Type, R, Outer...>();
    });
  } else {
    return false;
  }
}

}  // namespace detail

// Depth is counted only for types that can contain themselves. The nesting of all others is bounded
// by their definition.
template <Record R>
struct Codec<R> {
  static constexpr auto kJsonType = tstl::JsonType::kObject;
  static constexpr auto kWireType = tstl::WireType::kBytes;
  static constexpr bool kAlwaysInJson = true;

  static constexpr bool is_empty(const R& record) noexcept { return !has_binary(record); }
  template <class Json>
  [[gnu::always_inline]] static bool read_json(R& record, Json& json, ReadState& state) {
    constexpr bool kCounts = detail::nests_in_itself<R>();
    if (kCounts && !state.enter(json.key_place())) return state.refuse(IgnoredReason::kDepth);
    if constexpr (std::is_same_v<Json, tstl::JsonCursor>) {
      json = read_members(record, json, state);
    } else {
      read_members(record, json, state);
    }
    if (kCounts) state.leave();
    return true;
  }
  static void write_json(const R& record, tstl::JsonWrite& out) noexcept {
    write_object(record, out);
  }
  static void read_binary(R& record, const tstl::WireField& field, ReadState& state) {
    if constexpr (detail::nests_in_itself<R>()) {
      if (!state.enter(field.bytes().cstr())) return;
      read_fields(record, field.bytes(), state);
      state.leave();
    } else {
      read_fields(record, field.bytes(), state);
    }
  }
  template <class Pass>
  static Pass write_binary(const R& record, std::uint32_t number, Pass out) noexcept {
    const std::uint32_t slot = out.bsc_begin_kmsg(true, number);
    out = write_fields(record, out);
    out.bsc_end_kmsg(slot);
    return out;
  }
};

// Lists and arrays, which are JSON arrays.

namespace detail {

// Whether the value at `start`, which was not read, is well formed. In a tree every value is. A
// cursor finds out by skipping it.
inline const unsigned char* place_of(const tstl::JsonNode&) noexcept { return nullptr; }
inline const unsigned char* place_of(const tstl::JsonCursor& json) noexcept { return json.place(); }
inline bool is_value(const tstl::JsonNode&, const unsigned char*) noexcept { return true; }
inline bool is_value(tstl::JsonCursor& json, const unsigned char* start) noexcept {
  return json.place() != start || json.skip();
}

// The JSON form of a list.
template <class T>
struct ListCodec {
  using Element = Codec<T>;
  static constexpr auto kJsonType = tstl::JsonType::kArray;
  static constexpr auto kWireType = tstl::WireType::kBytes;

  static constexpr bool is_empty(const List<T>& list) noexcept { return list.is_empty(); }

  // Appends the elements, and skips those that are not values of T.
  static bool read_json(List<T>& list, tstl::JsonNode& array, ReadState& state) {
    if (!list.reserve(count_of(array), state.arena())) {
      state.stop_for_memory();
      return false;
    }
    read_elements(list, array, state);
    return !state.stopped();
  }
  [[gnu::always_inline]] static bool read_json(List<T>& list, tstl::JsonCursor& array,
                                               ReadState& state) {
    array = read_array(list, array, state);
    return !state.stopped();
  }
  static void write_json(const List<T>& list, tstl::JsonWrite& out) noexcept {
    out.begin_array();
    for (const T& element : list) Element::write_json(element, out);
    out.end_array();
  }

 private:
  static std::uint32_t count_of(tstl::JsonNode& array) noexcept {
    std::uint32_t count = 0;
    array.each([&count](const tstl::JsonNode& node) {
      count += node.type_is(Element::kJsonType);
      return true;
    });
    return count;
  }
  [[gnu::noinline]] static tstl::JsonCursor read_array(List<T>& list, tstl::JsonCursor array,
                                                       ReadState& state) {
    read_elements(list, array, state);
    return array;
  }
  template <class Json>
  [[gnu::always_inline]] static void read_elements(List<T>& list, Json& array, ReadState& state) {
    const Bytes key = state.has_listener() ? array.raw_key() : Bytes();
    array.each([&](Json & json) __attribute__((always_inline)) {
      if (state.stopped()) return false;
      const auto start = place_of(json);
      if (!json.type_is(Element::kJsonType)) [[unlikely]] {
        if (is_value(json, start)) state.tell(key, IgnoredReason::kOtherType);
      } else if (!list.has_room() && !list.reserve(kFirstRoom, state.arena())) [[unlikely]] {
        state.stop_for_memory();
      } else if (!Element::read_json(*list.append(state.arena(), true), json, state)) [[unlikely]] {
        list.drop_last();
        if (!state.stopped() && is_value(json, start)) state.tell(key);
      }
      return true;
    });
  }
};

}  // namespace detail

template <class T>
struct Codec<List<T>> : detail::ListCodec<T> {
  using Element = Codec<T>;

  // Appends one element. `reserved`: the list has space for it.
  static void read_binary(List<T>& list, const tstl::WireField& field, ReadState& state,
                          bool reserved = false) {
    T* const element = list.append(state.arena(), reserved);
    if (element == nullptr) return state.stop_for_memory(field.bytes().cstr());
    Element::read_binary(*element, field, state);
  }
  template <class Pass>
  static Pass write_binary(const List<T>& list, std::uint32_t number, Pass out) noexcept {
    for (const T& element : list) out = Element::write_binary(element, number, out);
    return out;
  }
};

template <Number T>
struct Codec<List<T>> : detail::ListCodec<T> {
  using Element = Codec<T>;
  static constexpr auto kOtherWireType = Element::kWireType;

  // Appends the elements of a packed field, up to its first fault, or a single one.
  static void read_binary(List<T>& list, const tstl::WireField& field, ReadState& state) {
    const Bytes packed = field.bytes();
    const bool is_packed = field.type() == tstl::WireType::kBytes;
    const std::uint32_t count = is_packed ? detail::packed_count(packed, Element::kWireType) : 1;
    if (!list.reserve(count, state.arena())) return state.stop_for_memory(packed.cstr());
    if (!is_packed) {
      Element::read_binary(*list.append(state.arena(), true), field, state);
      return;
    }
    detail::PackedReader reader(packed, Element::kWireType);
    for (std::uint64_t bits; reader.next(bits);) {
      *list.append(state.arena(), true) = Element::from_wire(bits);
    }
    if (reader.fault() != tstl::WireFault::kNone) state.note(reader.fault(), reader.place());
  }
  template <class Pass>
  static Pass write_binary(const List<T>& list, std::uint32_t number, Pass out) noexcept {
    if constexpr (std::is_enum_v<T>) {
      using Underlying = std::underlying_type_t<T>;
      out.bsc_write_karrpack(
          number, tstl::VectorRef<Underlying>(reinterpret_cast<const Underlying*>(list.data()),
                                              list.size()));
    } else if constexpr (std::floating_point<T>) {
      out.bsc_write_kbytes(number, detail::bytes_of(list.data(), list.size()));
    } else {
      out.bsc_write_karrpack(number, tstl::VectorRef<T>(list));
    }
    return out;
  }
};

template <std::integral T, std::size_t kCount>
struct Codec<std::array<T, kCount>> {
  static constexpr auto kJsonType = tstl::JsonType::kArray;

  static constexpr bool is_empty(const std::array<T, kCount>& numbers) noexcept {
    return std::ranges::all_of(numbers, [](T number) { return number == 0; });
  }
  template <class Json>
  static bool read_json(std::array<T, kCount>& numbers, Json& array, ReadState& state) {
    std::array<T, kCount> read;
    std::size_t n = 0;
    bool good = true;
    array.each([&](Json& json) {
      const auto start = detail::place_of(json);
      if (n < kCount && json.integer(read[n])) return ++n != 0;
      if (n < kCount) state.refuse_integer(json);
      if (!detail::is_value(json, start)) return false;
      if (n == kCount) state.refuse(IgnoredReason::kCount);
      return good = false;
    });
    if (good && n != kCount) return state.refuse(IgnoredReason::kCount);
    if (good) numbers = read;
    return good;
  }
  static void write_json(const std::array<T, kCount>& numbers, tstl::JsonWrite& out) noexcept {
    out.begin_array();
    for (const T number : numbers) out.num(number);
    out.end_array();
  }
};

}  // namespace zenta::records

// Field tables: a record is declared once, as a plain structure and a table of its fields. The code
// that reads and writes the record is generated from the table (record.h).
//
//   struct Card {
//     std::uint32_t id = 0;
//     Text16 title;
//     List<Picture> pictures;
//   };
//   constexpr auto fields_of(std::type_identity<Card>) {
//     return Fields<
//         Field<1, "id", &Card::id>,
//         Field<2, "title", &Card::title, WrittenAs<"titel">>,
//         Field<3, "pictures", &Card::pictures>>();
//   }
//
// A field is a number (in the binary form; 0 for a field that has none), a JSON key, a member, and
// traits for whatever is unusual about it. How a type of member looks in either form is defined by
// its codec (codec.h). Fields stand in the order in which they are written.
//
// A trait is any type with one or more of these members; a table may name traits of its own:
//
//   kWrittenKey                          the JSON key that is written, if not the one that is read
//   kAlwaysInJson, kNeverInBinary = true
//   Codec                                another codec than that of the member's type
//   is_absent(member) -> bool            whether the value counts as absent (default: 0 and empty)
//   applies(record) -> bool              whether the field is written at all for this record
//   written_value(record) -> value       what is written, if not the member's own value
//   after_read(record)                   runs after a reader has read the field
//
// Everything here is evaluated at compile time; a table takes no memory. Code that reads or writes
// a record checks its table, and a mistake in it is one compiler error that says what is wrong.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "corelib/text/buffer_ref.h"
#include "engine/records/list.h"

namespace zenta::records {

// The strings of records. Their memory belongs to an arena or to whoever built the record.
using Bytes = tstl::BufferRef<unsigned char>;
using Text16 = tstl::BufferRef<unsigned short>;

// A string literal as a template argument.
template <std::size_t kSize>
struct Name {
  char text[kSize] = {};
  consteval Name(const char (&literal)[kSize]) {  // NOLINT(google-explicit-constructor): a literal
    std::copy_n(literal, kSize, text);
  }
  [[nodiscard]] constexpr std::string_view view() const noexcept { return {text, kSize - 1}; }
};

// ---- Traits

// The JSON writer uses another key than the JSON reader.
template <Name kKey>
struct WrittenAs {
  static constexpr std::string_view kWrittenKey = kKey.view();
};
// Written in JSON whatever its value: a zero, an empty text, an empty list.
struct AlwaysInJson {
  static constexpr bool kAlwaysInJson = true;
};
// Read in the binary form, but never written.
struct NeverInBinary {
  static constexpr bool kNeverInBinary = true;
};
// Read and written by the codec C instead of that of the member's type.
template <class C>
struct As {
  using Codec = C;
};
// Omitted when it has this value; a zero is written then.
template <auto kValue>
struct AbsentIs {
  static constexpr bool is_absent(const auto& value) noexcept { return value == kValue; }
};
// Written only in records whose member `kSelector` (a kind, say) has the value `kValue`. It is read
// in any record, since members come in any order.
template <auto kSelector, auto kValue>
struct OnlyWhen {
  using Selector = std::integral_constant<decltype(kSelector), kSelector>;
  using Value = std::integral_constant<decltype(kValue), kValue>;
  static constexpr bool applies(const auto& record) noexcept { return record.*kSelector == kValue; }
};
// Written only when the record's flag `kFlag` is set, and then whatever the value. Reading the
// field sets the flag.
template <auto kFlag>
struct PresentWhen {
  static constexpr bool kAlwaysInJson = true;
  static constexpr bool applies(const auto& record) noexcept { return record.*kFlag; }
  static constexpr void after_read(auto& record) noexcept { record.*kFlag = true; }
};
// Calls `kCall(record)` after the field was read: for a member that is derived from another.
template <auto kCall>
struct AfterRead {
  static constexpr void after_read(auto& record) noexcept { kCall(record); }
};

// ---- Fields and tables

// How a member of type T is read and written: codec.h defines this for all the types that records
// are made of.
template <class T>
struct Codec;

template <class C>
concept AlwaysWritten = requires {
  requires C::kAlwaysInJson;
};

namespace detail {

// Queries of a field's traits, with the defaults where no trait applies.

template <class Trait>
concept NamesKey = requires {
  Trait::kWrittenKey;
};
template <class Trait>
concept BarsBinary = requires {
  requires Trait::kNeverInBinary;
};
template <class Trait>
concept NamesCodec = requires {
  typename Trait::Codec;
};

// Whether the trait has a member that tables know. A trait whose only member is misspelt has none.
template <class Trait, class Record, class Member>
concept KnownTrait = NamesKey<Trait> || NamesCodec<Trait> || requires {
  Trait::kAlwaysInJson;
} || requires {
  Trait::kNeverInBinary;
} || requires(const Member& member) {
  Trait::is_absent(member);
} || requires(const Record& record) {
  Trait::applies(record);
} || requires(const Record& record) {
  Trait::written_value(record);
} || requires(Record& record) {
  Trait::after_read(record);
};

// Whether two OnlyWhen compare the same member with different values.
template <class A, class B>
inline constexpr bool kExclude = false;
template <class A, class B>
requires requires {
  typename A::Selector;
  typename B::Selector;
}
inline constexpr bool kExclude<A, B> = std::is_same_v<typename A::Selector, typename B::Selector> &&
                                       !std::is_same_v<typename A::Value, typename B::Value>;

template <class... Traits>
struct TraitList {
  // Whether no record has both a field with these traits and one with the others.
  template <class... Others>
  static consteval bool exclude(TraitList<Others...>) {
    return (any_excluded<Traits, Others...>() || ...);
  }

 private:
  template <class Trait, class... Others>
  static consteval bool any_excluded() {
    return (kExclude<Trait, Others> || ...);
  }
};

// Whether a key is printable ASCII without quote and backslash, so that it can be written without
// escapes.
consteval bool is_plain(std::string_view key) {
  return std::ranges::all_of(key,
                             [](char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; });
}

template <class A, class B>
consteval bool same_member(A a, B b) {
  if constexpr (std::is_same_v<A, B>) {
    return a == b;
  } else {
    return false;
  }
}

template <class Trait>
constexpr std::string_view written_key(std::string_view otherwise) {
  if constexpr (NamesKey<Trait>) return Trait::kWrittenKey;
  return otherwise;
}

template <class Member, class... Traits>
struct CodecOf {
  using Type = records::Codec<Member>;
};
template <class Member, class First, class... Rest>
struct CodecOf<Member, First, Rest...> : CodecOf<Member, Rest...> {};
template <class Member, NamesCodec First, class... Rest>
struct CodecOf<Member, First, Rest...> {
  using Type = typename First::Codec;
};

template <class R, class M>
R record_of(M R::*);
template <class R, class M>
M member_of(M R::*);

}  // namespace detail

// One field of a record; everything in it is static. The writers ask in_binary() and in_json()
// whether to write it.
template <std::uint32_t kFieldNumber, Name kName, auto kMember, class... Traits>
struct Field {
  using Record = decltype(detail::record_of(kMember));
  using Member = decltype(detail::member_of(kMember));
  using FieldCodec = typename detail::CodecOf<Member, Traits...>::Type;
  using TraitList = detail::TraitList<Traits...>;
  static_assert(
      (detail::KnownTrait<Traits, Record, Member> && ...),
      "a trait of this field has no member that a table knows: see field.h for the names");

  static constexpr std::uint32_t kNumber = kFieldNumber;
  static constexpr auto kPointer = kMember;
  static constexpr bool kNeverInBinary = kNumber == 0 || (detail::BarsBinary<Traits> || ...);
  static constexpr std::string_view kKey = kName.view();
  static constexpr std::string_view kWrittenKey = [] {
    std::string_view key = kKey;
    ((key = detail::written_key<Traits>(key)), ...);
    return key;
  }();
  static_assert(detail::is_plain(kKey) && detail::is_plain(kWrittenKey),
                "a key is printable ASCII without quote and backslash");
  static constexpr bool kAlwaysInJson = AlwaysWritten<FieldCodec> || (AlwaysWritten<Traits> || ...);

  [[nodiscard]] static constexpr Member& of(Record& record) noexcept { return record.*kMember; }
  [[nodiscard]] static constexpr const Member& of(const Record& record) noexcept {
    return record.*kMember;
  }

  [[nodiscard]] static constexpr bool in_binary(const Record& record) noexcept {
    if constexpr (kNeverInBinary) return false;
    return applies(record) && !is_absent(written(record));
  }
  [[nodiscard]] static constexpr bool in_json(const Record& record) noexcept {
    return applies(record) && (kAlwaysInJson || !is_absent(written(record)));
  }
  // The value to write: the member, unless a trait gives another one.
  [[nodiscard]] static constexpr decltype(auto) written(const Record& record) noexcept {
    if constexpr ((kGivesValue<Traits> || ...)) {
      Member value = of(record);
      (take_value<Traits>(record, value), ...);
      return value;
    } else {
      return of(record);
    }
  }
  static constexpr void after_read(Record& record) noexcept {
    (after_read_by<Traits>(record), ...);
  }

 private:
  template <class Trait>
  static constexpr bool kHasAbsent = requires(const Member& member) {
    Trait::is_absent(member);
  };

  template <class Trait>
  static constexpr bool kGivesValue = requires(const Record& record) {
    Trait::written_value(record);
  };

  static constexpr bool applies(const Record& record) noexcept {
    return (applies_by<Traits>(record) && ...);
  }
  static constexpr bool is_absent(const Member& member) noexcept {
    if constexpr ((kHasAbsent<Traits> || ...)) {
      return (is_absent_by<Traits>(member) || ...);
    } else {
      return FieldCodec::is_empty(member);
    }
  }
  template <class Trait>
  static constexpr bool applies_by(const Record& record) noexcept {
    if constexpr (requires { Trait::applies(record); }) return Trait::applies(record);
    return true;
  }
  template <class Trait>
  static constexpr bool is_absent_by(const Member& member) noexcept {
    if constexpr (kHasAbsent<Trait>) return Trait::is_absent(member);
    return false;
  }
  template <class Trait>
  static constexpr void take_value(const Record& record, Member& value) noexcept {
    if constexpr (kGivesValue<Trait>) value = Trait::written_value(record);
  }
  template <class Trait>
  static constexpr void after_read_by(Record& record) noexcept {
    if constexpr (requires { Trait::after_read(record); }) Trait::after_read(record);
  }
};

// A table. Its numbers rise, and no member occurs twice. A key may occur twice if the two JSON
// values have different types, which tell the fields apart when they are read. A key may be written
// by two fields if no record has both (OnlyWhen).
template <class... F>
struct Fields {
  static constexpr std::size_t kCount = sizeof...(F);

  // Whether `visit(field)` is true for any field; they are tried in order, up to the first.
  template <class Visit>
  [[gnu::always_inline]] static constexpr bool any(Visit visit) {
    return (visit(F()) || ...);
  }
  // Calls `visit(field)` for each field in order.
  template <class Visit>
  [[gnu::always_inline]] static constexpr void each(Visit visit) {
    (visit(F()), ...);
  }

  [[nodiscard]] static consteval bool numbers_rise() {
    std::uint32_t last = 0;
    const auto rises = [&last](std::uint32_t number) {
      return number == 0 || (number > std::exchange(last, number) && number < (1u << 29));
    };
    return (rises(F::kNumber) && ...);
  }
  [[nodiscard]] static consteval bool keys_differ() {
    return (times_in_table<F>() + ... + 0) == sizeof...(F);
  }
  [[nodiscard]] static consteval bool written_keys_differ() {
    return (times_written<F>() + ... + 0) == sizeof...(F);
  }
  [[nodiscard]] static consteval bool members_differ() {
    return (times_pointed<F>() + ... + 0) == sizeof...(F);
  }

 private:
  template <class G>
  static consteval std::size_t times_written() {
    return ((F::kWrittenKey == G::kWrittenKey &&
             !typename F::TraitList().exclude(typename G::TraitList())) +
            ... + std::size_t{0});
  }
  template <class G>
  static consteval std::size_t times_pointed() {
    return (detail::same_member(F::kPointer, G::kPointer) + ... + std::size_t{0});
  }
  template <class G>
  static consteval std::size_t times_in_table() {
    return ((F::kKey == G::kKey && F::FieldCodec::kJsonType == G::FieldCodec::kJsonType) + ... +
            std::size_t{0});
  }
};

// The table of a record; null for other types. Each record defines its own beside the structure, in
// the same namespace, as the function fields_of(std::type_identity<R>).
template <class R>
inline constexpr auto kFields = [] {
  if constexpr (requires { fields_of(std::type_identity<R>()); }) {
    return fields_of(std::type_identity<R>());
  } else {
    return nullptr;
  }
}();

// A structure with a table.
template <class R>
concept Record = std::is_class_v<R> && !std::is_same_v<decltype(kFields<R>), const std::nullptr_t>;

}  // namespace zenta::records

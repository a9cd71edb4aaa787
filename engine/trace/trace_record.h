// TraceRecord: one entry of the trace of what happens on the on-screen keyboard: a pad was shown, a
// pad's keys were laid out, or a text was entered by touches.
//
// A trace shows the order of things: the pad and the layout that a text was entered on are those of
// the last records before it. All coordinates are pixels of the screen, x to the right and y down
// from its upper left corner. All times are milliseconds of one clock, whichever the writer has.
//
// A record owns nothing: its texts and lists lie in the arena that it was read into, or belong to
// whoever built it. Records are declared as tables of fields, at the end; engine/records/record.h
// reads and writes them by these, in JSON only: read_json_member(record, node, arena) and
// write_json(record, out). trace_file.h has whole files of them. A member whose value is of another
// type or does not fit leaves the record as it was.
#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

#include "engine/records/codec.h"
#include "engine/records/field.h"
#include "engine/records/list.h"

namespace zenta::trace {

using records::Bytes;
using records::List;
using records::Text16;

using records::AfterRead;
using records::AlwaysInJson;
using records::As;
using records::Codec;
using records::Field;
using records::Fields;
using records::OnlyWhen;
using records::PresentWhen;
using records::ReadState;

// Left, top, right, bottom; the last two are the first pixels outside.
using ScreenRect = std::array<std::int16_t, 4>;
// x, y.
using ScreenPoint = std::array<std::int16_t, 2>;

struct KeyRect {
  ScreenRect rect{};
  // Which key; by custom the Unicode character that it enters or shows (8 deletes, 13 is Enter).
  std::uint32_t id = 0;

  bool operator==(const KeyRect&) const = default;
};

// What a record tells. The code of a kind is also that of the action whose name is its type.
enum class TraceKind : std::uint32_t {
  kOther = 0,   // any type that is not one of these; such a record has nothing but its type
  kInput = 1,   // "inputSelection": a text was entered
  kLayout = 2,  // "setLayout": where a pad and its keys lie
  kPad = 3,     // "switchPad": a pad was shown
};

struct TraceRecord {
  // Kind and type follow from each other: set both by SetKind(), or the type and then FindKind(). What
  // is written is the type that goes with the kind; `type` itself only for kOther.
  TraceKind kind = TraceKind::kOther;
  Bytes type;

  // ---- A pad
  Bytes pad_name;  // one of pads.h
  std::uint64_t pad_time = 0;

  // ---- A layout
  ScreenRect pad_rect{};
  List<KeyRect> keys;

  // ---- An input
  Text16 expected;  // what the person meant to enter
  Text16 before;    // what stood before it, and after it
  Text16 after;
  Bytes application;  // the package name of the application typed into
  std::uint32_t attribute = 0;
  std::uint32_t origin = 0;
  List<std::uint32_t> times;  // one for each touch
  Bytes code;                 // the keys meant, such as the letters of pinyin
  List<ScreenPoint> points;   // one for each touch
  std::uint32_t deleted_tail = 0;
  std::uint32_t expected_type = 0;
  bool needs_iec = false;
  bool has_needs_iec = false;  // whether that member was there, or is to be written

  // Gives the record this kind and the type that goes with it, which is empty for kOther.
  void SetKind(TraceKind new_kind) noexcept;
  // Sets the kind that goes with the type.
  void FindKind() noexcept;
  // The type that is written.
  [[nodiscard]] Bytes WrittenType() const noexcept;
};

// A list whose elements belong one to one to those of another list: taken in whole or, when a single
// element is no value of T, not at all. Leaving out that element alone would shift all others.
template <class T>
struct WholeList : Codec<List<T>> {
  static bool read_json(List<T>& list, tstl::JsonNode& array, ReadState& state) {
    for (auto* node = array.first_child(); node != nullptr; node = node->next()) {
      T element;
      if (node->type() != Codec<T>::kJsonType) {
        return state.refuse(records::IgnoredReason::kOtherType);
      }
      if (!Codec<T>::read_json(element, *node, state)) return false;
    }
    return Codec<List<T>>::read_json(list, array, state);
  }
};

// ---- Tables

constexpr auto fields_of(std::type_identity<KeyRect>) {
  return Fields<Field<0, "key_rect", &KeyRect::rect, AlwaysInJson>,
                Field<0, "id", &KeyRect::id, AlwaysInJson>>();
}

namespace detail {
using OfPad = OnlyWhen<&TraceRecord::kind, TraceKind::kPad>;
using OfLayout = OnlyWhen<&TraceRecord::kind, TraceKind::kLayout>;
using OfInput = OnlyWhen<&TraceRecord::kind, TraceKind::kInput>;
inline void FindKind(TraceRecord& record) noexcept { record.FindKind(); }
// A record is written with its kind's type, whether it was set or not: it would be lost without.
struct TypeOfKind {
  static Bytes written_value(const TraceRecord& record) noexcept { return record.WrittenType(); }
};
}  // namespace detail

// "time" is one number for a pad and a list of them for an input.
constexpr auto fields_of(std::type_identity<TraceRecord>) {
  return Fields<
      Field<0, "type", &TraceRecord::type, AlwaysInJson, AfterRead<detail::FindKind>,
            detail::TypeOfKind>,
      Field<0, "pad_name", &TraceRecord::pad_name, detail::OfPad, AlwaysInJson>,
      Field<0, "time", &TraceRecord::pad_time, detail::OfPad, AlwaysInJson>,
      Field<0, "pad_rect", &TraceRecord::pad_rect, detail::OfLayout, AlwaysInJson>,
      Field<0, "key_array", &TraceRecord::keys, detail::OfLayout, AlwaysInJson>,
      Field<0, "expect", &TraceRecord::expected, detail::OfInput, AlwaysInJson>,
      Field<0, "preWord", &TraceRecord::before, detail::OfInput, AlwaysInJson>,
      Field<0, "aftWord", &TraceRecord::after, detail::OfInput, AlwaysInJson>,
      Field<0, "app_name", &TraceRecord::application, detail::OfInput, AlwaysInJson>,
      Field<0, "attribute", &TraceRecord::attribute, detail::OfInput, AlwaysInJson>,
      Field<0, "where_from", &TraceRecord::origin, detail::OfInput, AlwaysInJson>,
      Field<0, "time", &TraceRecord::times, detail::OfInput, As<WholeList<std::uint32_t>>>,
      Field<0, "code", &TraceRecord::code, detail::OfInput>,
      Field<0, "point", &TraceRecord::points, detail::OfInput, As<WholeList<ScreenPoint>>>,
      Field<0, "del_tail", &TraceRecord::deleted_tail, detail::OfInput>,
      Field<0, "expect_type", &TraceRecord::expected_type, detail::OfInput>,
      Field<0, "need_iec", &TraceRecord::needs_iec, detail::OfInput,
            PresentWhen<&TraceRecord::has_needs_iec>>>();
}

}  // namespace zenta::trace

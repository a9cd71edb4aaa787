// TraceRecord: one entry of a trace, which records what happens on the on-screen keyboard: a pad
// was shown, the keys of a pad were laid out, or a text was entered by touches.
//
// The order of records matters: a text was entered on the pad and the layout of the last such
// records before it. All coordinates are pixels of the screen, x to the right and y down from its
// upper left corner. All times are milliseconds of one clock, which the writer chooses.
//
// A record owns nothing: its texts and lists lie in the arena that it was read into, or belong to
// whoever built it. The field tables at the end declare the records. engine/records/record.h reads
// and writes them by these, in JSON only: read_json_member(record, node, arena) and
// write_json(record, out). trace_file.h reads and writes whole files. A value of another type, or
// one that does not fit its member, leaves the record unchanged.
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

// Left, top, right, bottom; right and bottom are exclusive.
using ScreenRect = std::array<std::int16_t, 4>;
// x, y.
using ScreenPoint = std::array<std::int16_t, 2>;

struct KeyRect {
  ScreenRect rect{};
  // Identifies the key; by convention the Unicode character that it enters or shows (8 deletes, 13
  // is Enter).
  std::uint32_t id = 0;

  bool operator==(const KeyRect&) const = default;
};

// What a record describes. The code of a kind is also that of the action whose name is the record's
// type.
enum class TraceKind : std::uint32_t {
  kOther = 0,   // any type other than these; such a record has no member but its type
  kInput = 1,   // "inputSelection": a text was entered
  kLayout = 2,  // "setLayout": where a pad and its keys lie
  kPad = 3,     // "switchPad": a pad was shown
};

struct TraceRecord {
  // Kind and type determine each other. Set both with SetKind(), or set the type and call
  // FindKind(). The type that belongs to the kind is written; `type` itself only for kOther.
  TraceKind kind = TraceKind::kOther;
  Bytes type;

  // ---- A pad
  Bytes pad_name;  // one of pads.h
  std::uint64_t pad_time = 0;

  // ---- A layout
  ScreenRect pad_rect{};
  List<KeyRect> keys;

  // ---- An input
  Text16 expected;  // what the user meant to enter
  Text16 before;    // the text before it, and after it
  Text16 after;
  Bytes application;  // the package name of the application typed into
  std::uint32_t attribute = 0;
  std::uint32_t origin = 0;
  List<std::uint32_t> times;  // one for each touch
  Bytes code;                 // the intended keys, such as the letters of pinyin
  List<ScreenPoint> points;   // one for each touch
  std::uint32_t deleted_tail = 0;
  std::uint32_t expected_type = 0;
  bool needs_iec = false;
  bool has_needs_iec = false;  // whether needs_iec was read, or is to be written

  // Sets the kind and the type that belongs to it, which is empty for kOther.
  void SetKind(TraceKind new_kind) noexcept;
  // Sets the kind that belongs to the type.
  void FindKind() noexcept;
  // The type that is written.
  [[nodiscard]] Bytes WrittenType() const noexcept;
};

// A list whose elements correspond one to one to those of another list. It is read as a whole or,
// when a single element is no value of T, not at all: omitting that element alone would shift all
// that follow.
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
// A record is written with the type of its kind, even if `type` was not set: otherwise a reader
// could not tell the kind.
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

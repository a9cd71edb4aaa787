// The field tables of the records as data, for commands that walk the bytes of a message
// themselves.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "corelib/io/wire/wire_format.h"
#include "engine/records/codec.h"
#include "engine/records/field.h"

namespace zenta::zentactl {

enum class FieldKind : std::uint8_t { kInteger, kBool, kReal, kBytes, kText, kRawUnits, kRecord };

struct RecordInfo;

struct FieldInfo {
  std::uint32_t number;
  std::string_view key;  // that of JSON
  FieldKind kind;        // of the value, or of a list's elements
  tstl::WireType type;
  std::uint32_t bits;  // of an integer
  bool is_signed;      // an integer
  bool is_list;
  const RecordInfo* record;  // of kRecord; else null
};

struct RecordInfo {
  std::span<const FieldInfo> fields;

  // Null if there is none.
  [[nodiscard]] const FieldInfo* Find(std::uint32_t number) const {
    const auto found = std::ranges::find(fields, number, &FieldInfo::number);
    return found == fields.end() ? nullptr : &*found;
  }
};

namespace detail {

template <class M>
struct ElementOf {
  using Type = M;
  static constexpr bool kIsList = false;
};
template <class T>
struct ElementOf<records::List<T>> {
  using Type = T;
  static constexpr bool kIsList = true;
};

template <class T, class FieldCodec>
consteval FieldKind KindOf() {
  if constexpr (records::Record<T>) return FieldKind::kRecord;
  if constexpr (std::is_same_v<FieldCodec, records::RawUnits>) return FieldKind::kRawUnits;
  if constexpr (std::is_same_v<T, records::Text16>) return FieldKind::kText;
  if constexpr (std::is_same_v<T, records::Bytes>) return FieldKind::kBytes;
  if constexpr (std::is_same_v<T, bool>) return FieldKind::kBool;
  if constexpr (std::is_floating_point_v<T>) return FieldKind::kReal;
  return FieldKind::kInteger;
}

template <records::Record R>
struct InfoOf;

template <class F>
consteval FieldInfo MakeInfo() {
  using Element = typename ElementOf<typename F::Member>::Type;
  const RecordInfo* record = nullptr;
  if constexpr (records::Record<Element>) record = &InfoOf<Element>::kInfo;
  return {F::kNumber,
          F::kKey,
          KindOf<Element, typename F::FieldCodec>(),
          F::FieldCodec::kWireType,
          static_cast<std::uint32_t>(sizeof(Element) * 8),
          std::is_signed_v<Element>,
          ElementOf<typename F::Member>::kIsList,
          record};
}

template <class... F>
consteval std::array<FieldInfo, sizeof...(F)> MakeInfos(records::Fields<F...>) {
  return {MakeInfo<F>()...};
}

template <records::Record R>
struct InfoOf {
  static constexpr auto kInfos = MakeInfos(records::kFields<R>);
  static constexpr RecordInfo kInfo{kInfos};
};

}  // namespace detail

// REQUIRES: every field of R has a binary form, and no record contains one of its own type.
template <records::Record R>
inline constexpr const RecordInfo& kRecordInfo = detail::InfoOf<R>::kInfo;

}  // namespace zenta::zentactl

// The same messages by protozero and by RapidJSON, as a user of these records and of one of those
// libraries would write it. The code is generated from the field tables; at run time that is the
// same as code written by hand. Where a library has no UTF-16, our own transcoder converts.
#pragma once

#define RAPIDJSON_SSE2  // its quicker form
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <cstring>
#include <protozero/pbf_reader.hpp>
#include <protozero/pbf_writer.hpp>
#include <string_view>
#include <type_traits>

#include "corelib/containers/chunk.h"
#include "corelib/text/utf.h"
#include "engine/records/record.h"

namespace zenta::bench {

using records::Bytes;
using records::kFields;
using records::List;
using records::RawUnits;
using records::Text16;

template <class T>
inline constexpr bool kIsList = false;
template <class T>
inline constexpr bool kIsList<List<T>> = true;

// ---- Texts

// UTF-8 of a text of at most 1024 units, valid until the next call.
inline std::string_view ToUtf8(Text16 text) {
  static char bytes[3 * 1024];
  return {bytes,
          tstl::utf16_to_utf8(text.cstr(), text.len(), reinterpret_cast<unsigned char*>(bytes),
                              sizeof bytes, tstl::LoneSurrogate::kKeep)};
}
inline std::string_view RawBytes(Text16 text) {
  return {reinterpret_cast<const char*>(text.cstr()), std::size_t{text.len()} * 2};
}

inline Text16 FromUtf8(std::string_view text, tstl::Chunk& arena) {
  auto* const units = arena.alloc_array<unsigned short>(text.size() + 1);
  const std::size_t n = tstl::utf8_to_utf16(reinterpret_cast<const unsigned char*>(text.data()),
                                            text.size(), units, text.size());
  return {units, static_cast<unsigned>(n)};
}
inline Text16 FromRawBytes(std::string_view bytes, tstl::Chunk& arena) {
  auto* const units = arena.alloc_array<unsigned short>(bytes.size() / 2 + 1);
  std::memcpy(units, bytes.data(), bytes.size() & ~std::size_t{1});
  return {units, static_cast<unsigned>(bytes.size() / 2)};
}

// ---- protozero

template <class R>
void WriteByProtozero(protozero::pbf_writer& out, const R& record);

template <class F, class T>
void PutByProtozero(protozero::pbf_writer& out, const T& value) {
  constexpr bool kRawUnits = std::is_same_v<typename F::FieldCodec, RawUnits>;
  if constexpr (kIsList<T>) {
    for (const auto& element : value) PutByProtozero<F>(out, element);
  } else if constexpr (std::is_same_v<T, Bytes>) {
    out.add_bytes(F::kNumber, value.std_view().data(), value.len());
  } else if constexpr (std::is_same_v<T, Text16>) {
    const std::string_view text = kRawUnits ? RawBytes(value) : ToUtf8(value);
    out.add_bytes(F::kNumber, text.data(), text.size());
  } else if constexpr (std::is_same_v<T, bool>) {
    out.add_bool(F::kNumber, value);
  } else if constexpr (std::is_signed_v<T>) {
    out.add_int64(F::kNumber, value);
  } else if constexpr (std::is_integral_v<T>) {
    out.add_uint64(F::kNumber, value);
  } else {
    protozero::pbf_writer nested(out, F::kNumber);
    WriteByProtozero(nested, value);
  }
}

template <class R>
void WriteByProtozero(protozero::pbf_writer& out, const R& record) {
  kFields<R>.each([&](auto f) {
    using F = decltype(f);
    if (F::in_binary(record)) PutByProtozero<F>(out, F::of(record));
  });
}

template <class R>
void ReadByProtozero(protozero::pbf_reader in, R& record, tstl::Chunk& arena);

template <class F, class T>
void TakeByProtozero(protozero::pbf_reader& in, T& value, tstl::Chunk& arena) {
  constexpr bool kRawUnits = std::is_same_v<typename F::FieldCodec, RawUnits>;
  if constexpr (kIsList<T>) {
    TakeByProtozero<F>(in, *value.append(arena), arena);
  } else if constexpr (std::is_integral_v<T>) {
    value = static_cast<T>(in.get_uint64());
  } else {
    const protozero::data_view view = in.get_view();
    const std::string_view bytes(view.data(), view.size());
    if constexpr (std::is_same_v<T, Bytes>) {
      value = arena.copy(Bytes(bytes));
    } else if constexpr (std::is_same_v<T, Text16>) {
      value = kRawUnits ? FromRawBytes(bytes, arena) : FromUtf8(bytes, arena);
    } else {
      ReadByProtozero(protozero::pbf_reader(view), value, arena);
    }
  }
}

// The compiler turns the chain of comparisons with constants into a jump by the field number.
template <class R>
void ReadByProtozero(protozero::pbf_reader in, R& record, tstl::Chunk& arena) {
  while (in.next()) {
    const bool known = kFields<R>.any([&](auto f) {
      using F = decltype(f);
      if (in.tag() != F::kNumber) return false;
      TakeByProtozero<F>(in, F::of(record), arena);
      return true;
    });
    if (!known) in.skip();
  }
}

// ---- RapidJSON

using JsonOut = rapidjson::Writer<rapidjson::StringBuffer>;
using JsonPool = rapidjson::MemoryPoolAllocator<>;
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonPool, JsonPool>;
using JsonValue = JsonDocument::ValueType;

template <class R>
void WriteByRapidJson(JsonOut& out, const R& record);

inline void PutString(JsonOut& out, std::string_view text) {
  out.String(text.data(), static_cast<unsigned>(text.size()));
}

template <class T>
void PutByRapidJson(JsonOut& out, const T& value) {
  if constexpr (kIsList<T>) {
    out.StartArray();
    for (const auto& element : value) PutByRapidJson(out, element);
    out.EndArray();
  } else if constexpr (std::is_same_v<T, Bytes>) {
    PutString(out, value.std_view());
  } else if constexpr (std::is_same_v<T, Text16>) {
    PutString(out, ToUtf8(value));
  } else if constexpr (std::is_same_v<T, bool>) {
    out.Bool(value);
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    out.Int64(value);
  } else if constexpr (std::is_same_v<T, std::uint64_t>) {
    out.Uint64(value);
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    out.Int(value);
  } else if constexpr (std::is_integral_v<T>) {
    out.Uint(value);
  } else {
    WriteByRapidJson(out, value);
  }
}

template <class R>
void WriteByRapidJson(JsonOut& out, const R& record) {
  out.StartObject();
  kFields<R>.each([&](auto f) {
    using F = decltype(f);
    if (!F::in_json(record)) return;
    out.Key(F::kWrittenKey.data(), static_cast<unsigned>(F::kWrittenKey.size()));
    PutByRapidJson(out, F::of(record));
  });
  out.EndObject();
}

template <class R>
void ReadByRapidJson(const JsonValue& object, R& record, tstl::Chunk& arena);

// Byte strings stay where the parser put them; it is spared the copy that our reader makes.
template <class T>
void TakeByRapidJson(const JsonValue& from, T& value, tstl::Chunk& arena) {
  if constexpr (kIsList<T>) {
    if (!from.IsArray()) return;
    for (const JsonValue& element : from.GetArray()) {
      TakeByRapidJson(element, *value.append(arena), arena);
    }
  } else if constexpr (std::is_same_v<T, Bytes>) {
    if (from.IsString()) value = Bytes(from.GetString(), from.GetStringLength());
  } else if constexpr (std::is_same_v<T, Text16>) {
    if (from.IsString()) value = FromUtf8({from.GetString(), from.GetStringLength()}, arena);
  } else if constexpr (std::is_same_v<T, bool>) {
    if (from.IsBool()) value = from.GetBool();
  } else if constexpr (std::is_signed_v<T>) {
    if (from.IsInt64()) value = static_cast<T>(from.GetInt64());
  } else if constexpr (std::is_integral_v<T>) {
    if (from.IsUint64()) value = static_cast<T>(from.GetUint64());
  } else {
    if (from.IsObject()) ReadByRapidJson(from, value, arena);
  }
}

template <class R>
void ReadByRapidJson(const JsonValue& object, R& record, tstl::Chunk& arena) {
  kFields<R>.each([&](auto f) {
    using F = decltype(f);
    const JsonValue key(
        rapidjson::StringRef(F::kKey.data(), static_cast<unsigned>(F::kKey.size())));
    const auto member = object.FindMember(key);
    if (member != object.MemberEnd()) TakeByRapidJson(member->value, F::of(record), arena);
  });
}

}  // namespace zenta::bench

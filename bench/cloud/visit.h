// Visits every value of a message and keeps none of it: the least that a reader can do. By
// protozero, and by yyjson and simdjson if they take part.
#pragma once

#if defined(ZENTA_PEER_SIMDJSON)
#include <simdjson.h>
#endif
#if defined(ZENTA_PEER_YYJSON)
#include <yyjson.h>
#endif

#include <cstdint>
#include <protozero/pbf_reader.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/cloud/peers.h"
#include "corelib/io/json/json_read.h"

namespace zenta::bench {

// What a visit has counted.
struct Seen {
  std::uint64_t values = 0;      // objects and arrays included
  std::uint64_t text_bytes = 0;  // of strings and keys
  std::uint64_t sum = 0;         // of the numbers

  bool operator==(const Seen&) const = default;
};

template <class R>
void VisitByProtozero(protozero::pbf_reader in, Seen& seen);

// Visits a field whose member is a T.
template <class T>
void VisitField(protozero::pbf_reader& in, Seen& seen) {
  ++seen.values;
  if constexpr (std::is_integral_v<T>) {
    seen.sum += in.get_uint64();
  } else if constexpr (std::is_same_v<T, Bytes> || std::is_same_v<T, Text16>) {
    seen.text_bytes += in.get_view().size();
  } else if constexpr (kIsList<T>) {
    --seen.values;
    VisitField<typename T::Element>(in, seen);
  } else {
    VisitByProtozero<T>(protozero::pbf_reader(in.get_view()), seen);
  }
}

template <class R>
void VisitByProtozero(protozero::pbf_reader in, Seen& seen) {
  while (in.next()) {
    const bool known = kFields<R>.any([&](auto f) {
      using F = decltype(f);
      if (in.tag() != F::kNumber) return false;
      VisitField<typename F::Member>(in, seen);
      return true;
    });
    if (!known) in.skip();
  }
}

// The same for our own tree, for comparison.
inline void Visit(tstl::JsonNode* node, tstl::Chunk& arena, Seen& seen) {
  ++seen.values;
  if (std::uint64_t number; node->integer(number)) seen.sum += number;
  if (std::int64_t number; node->integer(number) && number < 0) seen.sum += std::uint64_t(number);
  if (node->type() == tstl::JsonType::kString) seen.text_bytes += node->str8(arena).len();
  for (auto* child = node->first_child(); child != nullptr; child = child->next()) {
    seen.text_bytes += child->raw_key().len();
    Visit(child, arena, seen);
  }
}

#if defined(ZENTA_PEER_YYJSON)
inline void Visit(yyjson_val* value, Seen& seen) {
  ++seen.values;
  if (yyjson_is_str(value)) {
    seen.text_bytes += yyjson_get_len(value);
  } else if (yyjson_is_num(value)) {
    seen.sum += yyjson_get_uint(value);
  } else if (yyjson_is_obj(value)) {
    yyjson_obj_iter members = yyjson_obj_iter_with(value);
    while (yyjson_val* const key = yyjson_obj_iter_next(&members)) {
      seen.text_bytes += yyjson_get_len(key);
      Visit(yyjson_obj_iter_get_val(key), seen);
    }
  } else if (yyjson_is_arr(value)) {
    yyjson_arr_iter elements = yyjson_arr_iter_with(value);
    while (yyjson_val* const element = yyjson_arr_iter_next(&elements)) Visit(element, seen);
  }
}

// yyjson's parse and the visit, in memory that was allocated before.
class YyjsonVisitor {
 public:
  explicit YyjsonVisitor(const std::string& text)
      : text_(text), memory_(yyjson_read_max_memory_usage(text.size(), 0)) {}

  Seen operator()() {
    yyjson_alc pool;
    yyjson_alc_pool_init(&pool, memory_.data(), memory_.size());
    char* const text = const_cast<char*>(text_.data());  // it is not written to
    yyjson_doc* const document = yyjson_read_opts(text, text_.size(), 0, &pool, nullptr);
    Seen seen;
    Visit(yyjson_doc_get_root(document), seen);
    return seen;
  }

 private:
  const std::string& text_;
  std::vector<char> memory_;
};
#endif

#if defined(ZENTA_PEER_SIMDJSON)
// On demand: a value is decoded when it is asked for, into memory that was allocated before.
class SimdjsonVisitor {
 public:
  explicit SimdjsonVisitor(const std::string& text) : text_(text) {}

  Seen operator()() {
    Seen seen;
    simdjson::ondemand::document document = parser_.iterate(text_);
    Visit(document.get_value().value_unsafe(), seen);
    return seen;
  }

 private:
  static void Visit(simdjson::ondemand::value value, Seen& seen) {
    using Type = simdjson::ondemand::json_type;
    ++seen.values;
    switch (value.type().value_unsafe()) {
      case Type::object:
        for (auto field : value.get_object().value_unsafe()) {
          seen.text_bytes += field.unescaped_key().value_unsafe().size();
          Visit(field.value().value_unsafe(), seen);
        }
        break;
      case Type::array:
        for (auto element : value.get_array().value_unsafe()) Visit(element.value_unsafe(), seen);
        break;
      case Type::string:
        seen.text_bytes += value.get_string().value_unsafe().size();
        break;
      case Type::number:
        seen.sum += value.is_negative() ? std::uint64_t(value.get_int64().value_unsafe())
                                        : value.get_uint64().value_unsafe();
        break;
      default:
        (void)value.get_bool().value_unsafe();
    }
  }

  simdjson::padded_string text_;
  simdjson::ondemand::parser parser_;
};
#endif

}  // namespace zenta::bench

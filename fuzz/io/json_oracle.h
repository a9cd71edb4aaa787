// An independent opinion on JSON: RapidJSON's event parser, and a plain form in which its events
// and our tree can be compared.
#pragma once

// RapidJSON's own stack adds to null pointers, which clang's sanitizer would report.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#if defined(__clang__)
#pragma clang attribute pop
#endif

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_cursor.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_write.h"
#include "corelib/text/utf.h"

namespace tstl::oracle {

// The plain form: a letter for each event, then the length of the decoded text and the text.
// Numbers stay as they are written.
class PlainForm : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, PlainForm> {
 public:
  bool Null() { return Add("n"); }
  bool Bool(bool value) { return Add(value ? "t" : "f"); }
  bool RawNumber(const char* text, unsigned n, bool) { return Add("#", {text, n}); }
  bool String(const char* text, unsigned n, bool) { return AddDecoded("s", {text, n}); }
  bool Key(const char* text, unsigned n, bool) { return AddDecoded("k", {text, n}); }
  bool StartObject() { return Add("{"); }
  bool EndObject(unsigned) { return Add("}"); }
  bool StartArray() { return Add("["); }
  bool EndArray(unsigned) { return Add("]"); }

  bool Add(std::string_view event) {
    form += event;
    return true;
  }
  bool Add(std::string_view event, std::string_view text) {
    form.append(event).append(std::to_string(text.size())).append(":").append(text);
    return true;
  }

  // False for what is not UTF-8: the peer accepts lone low surrogates.
  bool AddDecoded(std::string_view event, std::string_view text) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    return valid_utf8_prefix(bytes, text.size()) == text.size() && Add(event, text);
  }

  std::string form;
};

// The peer's verdict on a text. It has no opinion where it is stricter than the grammar: on text
// that is not UTF-8, on lone surrogates, on numbers beyond a double, and on zero bytes, which it
// takes for the end of the text.
struct Verdict {
  enum { kGood, kBad, kNoOpinion } kind;
  std::string form;  // the plain form of a good text
};

inline Verdict AskPeer(std::string_view text) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag |
                              rapidjson::kParseNumbersAsStringsFlag |
                              rapidjson::kParseValidateEncodingFlag;
  if (text.find('\0') != std::string_view::npos) return {Verdict::kNoOpinion, {}};
  rapidjson::MemoryStream stream(text.data(), text.size());
  PlainForm handler;
  rapidjson::Reader reader;
  switch (reader.Parse<kFlags>(stream, handler).Code()) {
    case rapidjson::kParseErrorNone:
      return {Verdict::kGood, handler.form};
    case rapidjson::kParseErrorStringInvalidEncoding:
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
    case rapidjson::kParseErrorNumberTooBig:
    case rapidjson::kParseErrorTermination:  // by the handler
      return {Verdict::kNoOpinion, {}};
    default:
      return {Verdict::kBad, {}};
  }
}

inline void AddPlainForm(JsonNode* node, Chunk& arena, PlainForm& out) {
  if (node->has_key()) out.Add("k", node->key(arena));
  switch (node->type()) {
    case JsonType::kNull:
      out.Null();
      return;
    case JsonType::kBool:
      out.Bool(node->boolean());
      return;
    case JsonType::kNumber:
      out.Add("#", node->raw());
      return;
    case JsonType::kString:
      out.Add("s", node->str8(arena));
      return;
    default:
      break;
  }
  const bool is_object = node->type() == JsonType::kObject;
  out.Add(is_object ? "{" : "[");
  for (JsonNode* child = node->first_child(); child != nullptr; child = child->next())
    AddPlainForm(child, arena, out);
  out.Add(is_object ? "}" : "]");
}

// Writes the tree again.
inline void Rewrite(JsonNode* node, Chunk& arena, JsonWrite& out) {
  if (node->has_key()) out.key(node->key(arena));
  switch (node->type()) {
    case JsonType::kNull:
      return out.null();
    case JsonType::kBool:
      return out.boolean(node->boolean());
    case JsonType::kNumber:
      return out.raw(node->raw());
    case JsonType::kString:
      return out.str(node->str8(arena));
    default:
      break;
  }
  const bool is_object = node->type() == JsonType::kObject;
  is_object ? out.begin_object() : out.begin_array();
  for (JsonNode* child = node->first_child(); child != nullptr; child = child->next())
    Rewrite(child, arena, out);
  is_object ? out.end_object() : out.end_array();
}

// The value of a number that is an integer, in decimal, found by shifting its decimal point; "-0"
// is 0. Empty if it is no integer, and "?" if the exponent has too many digits. A number far beyond
// 64 bits may lack zeros at its end.
inline std::string PlainInteger(std::string_view number) {
  const std::size_t e = std::min(number.find_first_of("eE"), number.size());
  std::string digits(number.substr(0, e));
  const bool minus = digits[0] == '-';
  if (minus) digits.erase(0, 1);
  const std::string exponent(number.substr(std::min(e + 1, number.size())));
  if (exponent.size() > 6) return "?";
  const std::size_t point = std::min(digits.find('.'), digits.size());
  if (point != digits.size()) digits.erase(point, 1);
  const long whole = long(point) + (exponent.empty() ? 0 : std::stol(exponent));
  // More zeros than this do not turn it into an integer of 64 bits.
  const std::size_t count = std::min(whole < 0 ? 0 : std::size_t(whole), digits.size() + 64);
  if (digits.size() < count) digits.resize(count, '0');
  if (digits.find_first_not_of('0', count) != digits.npos) return "";
  digits.erase(count);
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  return digits.empty() ? "0" : (minus ? "-" : "") + digits;
}

// The plain form of a tree of ours.
inline std::string PlainFormOf(JsonNode* root, Chunk& arena) {
  PlainForm out;
  if (root != nullptr) AddPlainForm(root, arena, out);
  return out.form;
}

// ---- The cursor compared with the tree. Each of these is true when both say the same of a value.

template <class T>
bool SameInteger(const JsonNode& node, const JsonCursor& at) {
  T want = 42, got = 42;
  JsonCursor after = at;
  const bool fits = node.integer(want);
  const auto* const place = fits ? node.raw().cend() : at.place();
  return after.integer(got) == fits && got == want && after.place() == place;
}

// Reads the string in each way. quick_string() is also called with just enough space, and with too
// little.
template <Unit T>
bool SameString(BufferRef<T> want, const JsonCursor& at) {
  constexpr T kGuard = 0xA5;
  JsonCursor slow = at, plain = at;
  JsonCursor::RawString string;
  BufferRef<unsigned char> raw;
  if (!slow.find_string(string) || plain.plain_string(raw) == string.escaped) return false;
  std::vector<T> units(string.raw.len() + 1, kGuard);
  const auto is_it = [&](std::uint32_t n) {
    return n == want.len() && std::equal(want.begin(), want.end(), units.begin());
  };
  if (!is_it(slow.string(string, units.data())) || units.back() != kGuard) return false;
  if (!string.escaped && !(raw == string.raw && plain.is_at(slow))) return false;
  if constexpr (sizeof(T) == 1) {
    for (const std::uint32_t room : {want.len() + 33, want.len() + 1, want.len() / 2}) {
      units.assign(room + 1, kGuard);
      JsonCursor quick = at;
      const std::uint32_t n = quick.quick_string(units.data(), room);
      if (units.back() != kGuard) return false;
      if (n == FAILURE ? !quick.is_at(at) : !(is_it(n) && n < room && quick.is_at(slow)))
        return false;
    }
  }
  return true;
}

inline bool SameScalar(JsonNode& node, JsonCursor& at, Chunk& arena) {
  const bool is_string = node.type() == JsonType::kString;
  if (is_string && !(SameString(node.str8(arena), at) && SameString(node.str16(arena), at)))
    return false;
  double want = 0.25, got = 0.25;
  bool yes = false, no = false;
  JsonCursor number = at, word = at;
  return SameInteger<std::int8_t>(node, at) && SameInteger<std::uint32_t>(node, at) &&
         SameInteger<std::int64_t>(node, at) && SameInteger<std::uint64_t>(node, at) &&
         at.is_integer() == node.is_integer() && number.real(got) == node.real(want) &&
         got == want && word.boolean(yes) == node.boolean(no) && yes == no && at.skip() &&
         at.place() == node.raw().cend() + is_string;
}

// `node` is null if the tree of a malformed text lacks this value.
inline bool SameValue(JsonNode* node, JsonCursor& at, Chunk& arena) {
  if (node == nullptr) return !at.skip();
  if (!at.type_is(node->type())) return false;
  if (node->type() > JsonType::kArray) return SameScalar(*node, at, arena);
  const bool is_object = node->type() == JsonType::kObject;
  JsonNode* child = node->first_child();
  bool more = is_object ? at.enter_object() : at.enter_array();
  while (more) {
    if (is_object && !at.read_key()) break;
    if (is_object && child != nullptr &&
        !(at.raw_key() == child->raw_key() && at.key_is(child->key(arena)))) {
      return false;
    }
    if (!SameValue(child, at, arena)) return false;
    if (child != nullptr) child = child->next();
    more = is_object ? at.next_member() : at.next_element();
  }
  return child == nullptr;
}

// Whether a cursor finds what the tree of `parse` has, and ends with the same fault; and whether
// skip() over the whole text does.
inline bool WalksAsTree(BufferRef<unsigned char> text, const JsonParse& parse, Chunk& arena) {
  JsonText walked(text), skipped(text);
  JsonCursor at = walked.start(), over = skipped.start();
  if (!SameValue(parse.root, at, arena) || over.skip() != (parse.root != nullptr)) return false;
  const bool ends = at.end(), ends_over = over.end();
  return ends == bool(parse) && ends_over == ends && walked.fault() == parse.fault &&
         skipped.fault() == parse.fault && walked.position() == parse.position &&
         skipped.position() == parse.position;
}

}  // namespace tstl::oracle

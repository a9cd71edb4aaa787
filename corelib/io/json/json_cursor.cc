#include "corelib/io/json/json_cursor.h"

#include <algorithm>
#include <array>

#include "corelib/io/json/detail/json_grammar.h"
#include "corelib/text/str.h"

namespace tstl {

using detail::JsonPiece;

namespace {

// Which of the open containers inside a skipped value are objects: one bit for each level.
class OpenKinds {
 public:
  void set(unsigned depth, bool is_object) {
    const std::uint64_t bit = std::uint64_t{1} << depth % 64;
    std::uint64_t& word = objects_[depth / 64];
    word = is_object ? word | bit : word & ~bit;
  }
  [[nodiscard]] bool is_object(unsigned depth) const {
    return objects_[depth / 64] >> depth % 64 & 1;
  }

 private:
  std::array<std::uint64_t, kJsonMaxDepth / 64> objects_{};
};

// Scans a string from its opening quote to its closing one.
JsonPiece read_string(const unsigned char* at, const unsigned char* end, detail::StopFinder& stops,
                      bool& escaped) {
  const unsigned char* const stop = stops.next(at + 1);
  escaped = stop != end && *stop != '"';
  return detail::read_json_escaped(
      stop, end, [&stops](const unsigned char* from) { return stops.next(from); });
}

}  // namespace

bool JsonCursor::fail_at(const unsigned char* place, JsonFault fault) noexcept {
  if (text_->fault_ == JsonFault::kNone) {
    text_->fault_ = place == text_->end_ ? JsonFault::kEnds : fault;
    text_->end_ = place;
  }
  at_ = text_->end_;
  return false;
}
bool JsonCursor::fail(JsonFault fault) noexcept { return fail_at(at_, fault); }

unsigned char JsonCursor::token() noexcept {
  at_ = detail::skip_json_blanks(at_, text_->end_);
  return peek();
}

bool JsonCursor::find_key() noexcept { return token() == '"' || fail(JsonFault::kUnexpected); }

JsonCursor JsonCursor::enter_slow(JsonCursor at, unsigned char closer, bool& more) noexcept {
  more = at.text_->depth_ != kJsonMaxDepth || at.fail(JsonFault::kDepth);
  if (!more) return at;
  ++at.at_;
  ++at.text_->depth_;
  more = at.token() == closer ? at.leave() : closer == ']' || at.find_key();
  return at;
}

JsonCursor JsonCursor::next_slow(JsonCursor at, unsigned char closer, bool& more) noexcept {
  const unsigned char c = at.token();
  more = false;
  if (c == ',') {
    ++at.at_;
    at.token();
    more = closer == ']' || at.find_key();
  } else if (c == closer) {
    at.leave();
  } else {
    at.fail(JsonFault::kUnexpected);
  }
  return at;
}

bool JsonCursor::read_key() noexcept {
  const unsigned char* const key = at_ + 1;
  bool escaped = false;
  if (!skip_string(escaped)) return false;
  text_->key_ = key;
  text_->key_kind_ = escaped ? KeyKind::kEscaped : KeyKind::kPlain;
  if (token() != ':') return fail(JsonFault::kUnexpected);
  ++at_;
  token();
  return true;
}

bool JsonCursor::key_is(BufferRef<unsigned char> name) const noexcept {
  const bool escaped = text_->key_kind_ == KeyKind::kEscaped;
  return escaped ? detail::json_string_is(raw_key(), name) : raw_key() == name;
}

// The end of the key is not stored but searched for again, since few callers ask for it.
BufferRef<unsigned char> JsonCursor::raw_key() const noexcept {
  const unsigned char* const key = text_->key_;
  if (text_->key_kind_ == KeyKind::kNone) return {key, 0};
  bool escaped;
  const unsigned char* const end = read_string(key - 1, at_, text_->stops_, escaped).at;
  return {key, static_cast<std::uint32_t>(end - key)};
}

bool JsonCursor::boolean(bool& value) noexcept {
  const bool is_true = peek() == 't';
  const JsonPiece word = detail::read_json_literal(at_, text_->end_, is_true ? "true" : "false");
  if (!word) return false;
  value = is_true;
  at_ = word.at;
  return true;
}

JsonCursor::RawNumber JsonCursor::find_number() const noexcept {
  if (!type_is(JsonType::kNumber)) return {};
  bool has_fraction;
  const JsonPiece number = detail::read_json_number(at_, text_->end_, has_fraction);
  if (!number) return {};
  return {{at_, static_cast<std::uint32_t>(number.at - at_)}, has_fraction};
}

bool JsonCursor::real(double& value) noexcept {
  const RawNumber number = find_number();
  if (!number.text) return false;
  value = STR::zz_toreal(number.text.cstr(), number.text.len());
  at_ = number.text.cend();
  return true;
}

bool JsonCursor::is_integer() const noexcept {
  const RawNumber number = find_number();
  return number.text && detail::json_is_integer(number.text, number.has_fraction);
}

JsonCursor::Magnitude JsonCursor::any_magnitude(JsonCursor at) noexcept {
  const RawNumber number = at.find_number();
  Magnitude found{};
  if (number.text &&
      detail::json_magnitude(number.text, number.has_fraction, found.value, found.negative)) {
    found.after = number.text.cend();
  }
  return found;
}

// A plain run of up to 32 bytes is copied as 32 bytes where there is space for them, so that the
// copy does not branch on the length.
std::uint32_t JsonCursor::quick_string(unsigned char* to, std::uint64_t room) noexcept {
  struct Run {
    unsigned char bytes[32];
  };
  unsigned char* const first = to;
  unsigned char* const last = to + room;
  const unsigned char* const end = text_->end_;
  for (const unsigned char* at = at_ + 1;;) {
    const unsigned char* const stop = text_->stops_.next(at);
    const std::ptrdiff_t n = stop - at;
    if (end - stop < 2 || last - to <= std::max<std::ptrdiff_t>(n, sizeof(Run))) return FAILURE;
    if (n <= std::ptrdiff_t{sizeof(Run)} && end - at >= std::ptrdiff_t{sizeof(Run)}) {
      base::store(to, base::load<Run>(at));
    } else {
      base::copy_bytes(to, at, static_cast<std::size_t>(n));
    }
    to += n;
    if (*stop == '"') {
      at_ = stop + 1;
      return static_cast<std::uint32_t>(to - first);
    }
    *to = *stop == '\\' ? detail::json_short_escape(stop[1]) : 0;
    if (*to++ == 0) return FAILURE;
    at = stop + 2;
  }
}

bool JsonCursor::find_string(RawString& string) const noexcept {
  if (peek() != '"') return false;
  const JsonPiece rest = read_string(at_, text_->end_, text_->stops_, string.escaped);
  if (!rest) return false;
  string.raw = {at_ + 1, static_cast<std::uint32_t>(rest.at - (at_ + 1))};
  return true;
}

bool JsonCursor::skip_string(bool& escaped) noexcept {
  const JsonPiece rest = read_string(at_, text_->end_, text_->stops_, escaped);
  if (!rest) return fail_at(rest.at, rest.fault);
  at_ = rest.at + 1;
  return true;
}

bool JsonCursor::skip_scalar() noexcept {
  const unsigned char c = peek();
  bool unused;
  if (c == '"') return skip_string(unused);
  const unsigned char* const end = text_->end_;
  JsonPiece piece{at_};
  if (begins(c, JsonType::kNumber)) {
    piece = detail::read_json_number(at_, end, unused);
  } else {
    piece = detail::read_json_literal(at_, end, c == 'n' ? "null" : c == 't' ? "true" : "false");
  }
  if (!piece) return fail_at(piece.at, piece.fault);
  at_ = piece.at;
  return true;
}

// Without recursion: the text counts the open containers, and `kinds` holds their kinds.
JsonCursor JsonCursor::skip_value(JsonCursor at) noexcept {
  JsonText& text = *at.text_;
  const unsigned outside = text.depth_;
  OpenKinds kinds;
  at.token();
  for (;;) {
    const bool is_object = at.type_is(JsonType::kObject);
    bool more = false;
    if (is_object || at.type_is(JsonType::kArray)) {
      more = is_object ? at.enter_object() : at.enter_array();
      if (more) kinds.set(text.depth_ - 1, is_object);
    } else {
      at.skip_scalar();
    }
    while (!more && at.good() && text.depth_ != outside) {
      more = at.next(kinds.is_object(text.depth_ - 1) ? '}' : ']');
    }
    if (!more) return at;
    if (kinds.is_object(text.depth_ - 1) && !at.read_key()) return at;
  }
}

bool JsonCursor::end() noexcept {
  token();
  return at_ == text_->end_ ? good() : fail(JsonFault::kTrailing);
}

}  // namespace tstl

#include "corelib/io/json_read.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <new>
#include <string_view>

#include "corelib/io/detail/json_string.h"
#include "corelib/text/detail/simd.h"

// Of the parser's functions some must be inlined and some must not, or its state is spilled at
// every byte.
#define ZENTA_HOT [[gnu::always_inline]] inline
#define ZENTA_COLD [[gnu::noinline]]

namespace tstl {
namespace detail {

namespace {

bool is_blank(unsigned char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }

// Which of 64 bytes end a plain run inside a string: quotes, backslashes, control characters. The
// first byte's bit is the lowest.
inline std::uint64_t string_stops(const unsigned char* bytes) {
  using Bytes = Block<unsigned char>;
  std::uint64_t stops = 0;
  for (unsigned i = 0; i < 64; i += Bytes::kUnits) {
    const Bytes block = Bytes::load(bytes + i);
    const auto found = equal(block, Bytes::fill('"')) | equal(block, Bytes::fill('\\')) |
                       less(block, Bytes::fill(0x20));
    stops |= found.mask().bit_per_byte() << i;
  }
  return stops;
}

// Finds the end of each plain run of a text, left to right. The text is looked at in windows of 64
// bytes, and a window's stops are found all at once: so most searches are a shift and a bit scan in
// a register and do not wait for memory.
class StopFinder {
 public:
  StopFinder(const unsigned char* begin, const unsigned char* end) : window_(begin), end_(end) {
    look();
  }

  // The first stop in [at, end), or the end. REQUIRES: `at` is not before that of the last call.
  ZENTA_HOT const unsigned char* next(const unsigned char* at) {
    const auto offset = static_cast<std::size_t>(at - window_);
    if (offset < kWindow) [[likely]] {
      if (const std::uint64_t stops = stops_ >> offset) return at + std::countr_zero(stops);
    }
    return next_window(at);
  }

 private:
  static constexpr std::size_t kWindow = 64;

  ZENTA_COLD const unsigned char* next_window(const unsigned char* at) {
    std::uint64_t stops = 0;
    do {
      window_ += kWindow;
      look();
      const std::ptrdiff_t offset = std::max<std::ptrdiff_t>(at - window_, 0);
      stops = offset < 64 ? stops_ >> offset << offset : 0;
    } while (stops == 0);
    return window_ + std::countr_zero(stops);
  }
  // The last window is filled up with zeros, so that a stop is always found, at the end of the
  // text.
  void look() {
    const auto left = static_cast<std::size_t>(end_ - window_);
    if (left >= kWindow) [[likely]] {
      stops_ = string_stops(window_);
      return;
    }
    unsigned char bytes[kWindow] = {};
    if (left != 0) std::memcpy(bytes, window_, left);
    stops_ = string_stops(bytes);
  }

  const unsigned char* window_;
  const unsigned char* end_;
  std::uint64_t stops_;
};

const unsigned char* skip_blanks(const unsigned char* at, const unsigned char* end) {
  while (at != end && is_blank(*at)) ++at;
  return at;
}

const unsigned char* skip_digits(const unsigned char* at, const unsigned char* end) {
  while (at != end && is_digit(*at)) ++at;
  return at;
}

// What a piece of the text ends with: the place after it, or the fault and its place.
struct Piece {
  const unsigned char* at;
  JsonFault fault = JsonFault::kNone;
};

Piece broken(const unsigned char* at, const unsigned char* end, JsonFault fault) {
  return {at, at == end ? JsonFault::kEnds : fault};
}

// One or more digits.
Piece read_digits(const unsigned char* at, const unsigned char* end) {
  if (at == end || !is_digit(*at)) return broken(at, end, JsonFault::kUnexpected);
  return {skip_digits(at, end)};
}

// The fraction and the exponent of a number, at its '.' or its 'e'.
ZENTA_COLD Piece read_fraction(const unsigned char* at, const unsigned char* end) {
  if (*at == '.') {
    const Piece digits = read_digits(at + 1, end);
    if (digits.fault != JsonFault::kNone) return digits;
    at = digits.at;
    if (at == end || (*at | 0x20) != 'e') return {at};
  }
  ++at;
  if (at != end && (*at == '+' || *at == '-')) ++at;
  return read_digits(at, end);
}

Piece read_literal(const unsigned char* at, const unsigned char* end, std::string_view literal) {
  for (const char c : literal) {
    if (at == end || *at != static_cast<unsigned char>(c))
      return broken(at, end, JsonFault::kUnexpected);
    ++at;
  }
  return {at};
}

// One escape, at its backslash.
Piece read_escape(const unsigned char* at, const unsigned char* end) {
  ++at;
  if (at == end || *at != 'u') {
    if (at == end || json_short_escape(*at) == 0) return broken(at, end, JsonFault::kEscape);
    return {at + 1};
  }
  ++at;
  for (int i = 0; i < 4; ++i, ++at) {
    if (at == end || json_hex_digit(*at) > 15) return broken(at, end, JsonFault::kEscape);
  }
  return {at};
}

// The rest of a string from its first stop that is not its end, up to the closing quote.
ZENTA_COLD Piece read_escaped(const unsigned char* at, const unsigned char* end,
                              StopFinder& stops) {
  while (at != end && *at != '"') {
    if (*at != '\\') return {at, JsonFault::kControl};
    const Piece escape = read_escape(at, end);
    if (escape.fault != JsonFault::kNone) return escape;
    at = escape.at;
    if (at != end && *at != '\\') at = stops.next(at);
  }
  return at == end ? Piece{at, JsonFault::kEnds} : Piece{at};
}

}  // namespace

// One pass over the text. A value's node is linked into the tree when the value is complete, a
// container's when it opens; so after a fault the tree is whole as soon as the containers that are
// still open are closed.
//
// The object lives in registers: its functions are inlined into one, and what they call takes
// values, not `this`.
class JsonParser {
 public:
  JsonParser(BufferRef<unsigned char> text, ArenaRef arena, StopFinder& stops)
      : at_(text.cbegin()), end_(text.cend()), stops_(stops), arena_(arena) {}

  // Returns where it stopped.
  ZENTA_HOT const unsigned char* run() {
    while (element() && (opened_ || more())) {
    }
    while (open_ != nullptr) close();
    return at_;
  }
  ZENTA_HOT JsonNode* root() const { return root_; }
  ZENTA_HOT JsonFault fault() const { return fault_; }

 private:
  ZENTA_HOT bool element();
  ZENTA_HOT bool more();
  ZENTA_HOT bool key(JsonNode* node);
  ZENTA_HOT bool string(JsonNode* node, JsonNode::Flags escaped);
  ZENTA_HOT bool number(JsonNode* node);
  ZENTA_HOT bool container(JsonNode* node, JsonType type);
  ZENTA_HOT void link(JsonNode* node, JsonType type);
  ZENTA_HOT void close();
  ZENTA_HOT JsonNode* free_slot();

  // The byte at at_; 0, which JSON allows nowhere, at the end.
  ZENTA_HOT unsigned char peek() const { return at_ != end_ ? *at_ : 0; }
  // The same after blanks.
  ZENTA_HOT unsigned char token() {
    if (peek() <= ' ') [[unlikely]]
      at_ = skip_blanks(at_, end_);
    return peek();
  }
  ZENTA_HOT bool fail(JsonFault fault) {
    fault_ = at_ == end_ ? JsonFault::kEnds : fault;
    return false;
  }
  ZENTA_HOT bool take(Piece piece) {
    at_ = piece.at;
    fault_ = piece.fault;
    return piece.fault == JsonFault::kNone;
  }

  const unsigned char* at_;
  const unsigned char* end_;
  StopFinder& stops_;
  ArenaRef arena_;

  JsonNode* slot_ = nullptr;  // the next free node of the current block
  JsonNode* slots_end_ = nullptr;
  JsonNode* root_ = nullptr;
  JsonNode** link_ = &root_;  // where the next value of this level goes
  JsonNode* open_ = nullptr;  // the innermost open container
  unsigned depth_ = 0;
  unsigned char closer_ = 0;  // what closes open_
  bool opened_ = false;       // the last value was a container that is not empty
  JsonFault fault_ = JsonFault::kNone;
};

// One value, in an object with its key. False after a fault.
inline bool JsonParser::element() {
  JsonNode* const node = free_slot();
  if (node == nullptr) return false;
  node->flags_ = 0;
  node->key_len_ = 0;
  unsigned char c = token();
  if (closer_ == '}') {
    if (!key(node)) return false;
    c = token();
  }
  const unsigned char* start = at_;
  JsonType type = JsonType::kString;
  bool good;
  if (c == '"') {
    ++start;
    good = string(node, JsonNode::kEscaped);
  } else if (c == '-' || is_digit(c)) {
    type = JsonType::kNumber;
    good = number(node);
  } else if (c == '{' || c == '[') {
    return container(node, c == '{' ? JsonType::kObject : JsonType::kArray);
  } else if (c == 'n') {
    type = JsonType::kNull;
    good = take(read_literal(at_, end_, "null"));
  } else {
    type = JsonType::kBool;
    if (c == 't') node->flags_ |= JsonNode::kTrue;
    good = take(read_literal(at_, end_, c == 't' ? "true" : "false"));
  }
  if (!good) return false;
  if (closer_ != '}') node->text_ = start;
  node->raw_ = {static_cast<std::uint32_t>(start - node->text_),
                static_cast<std::uint32_t>(at_ - start)};
  if (c == '"') ++at_;
  link(node, type);
  opened_ = false;
  return true;
}

// After a complete value: closes the containers that end here. True when another value follows a
// comma.
inline bool JsonParser::more() {
  for (;;) {
    const unsigned char c = token();
    if (c == ',' && open_ != nullptr) {
      ++at_;
      return true;
    }
    if (open_ == nullptr) return at_ != end_ && fail(JsonFault::kTrailing);
    if (c != closer_) return fail(JsonFault::kUnexpected);
    ++at_;
    close();
  }
}

inline bool JsonParser::key(JsonNode* node) {
  if (peek() != '"') return fail(JsonFault::kUnexpected);
  node->text_ = at_ + 1;
  node->flags_ = JsonNode::kHasKey;
  if (!string(node, JsonNode::kKeyEscaped)) return false;
  node->key_len_ = static_cast<std::uint32_t>(at_ - node->text_);
  ++at_;
  if (token() != ':') return fail(JsonFault::kUnexpected);
  ++at_;
  return true;
}

// From the opening quote to the closing one.
inline bool JsonParser::string(JsonNode* node, JsonNode::Flags escaped) {
  at_ = stops_.next(at_ + 1);
  if (peek() == '"') [[likely]]
    return true;
  node->flags_ |= escaped;
  return take(read_escaped(at_, end_, stops_));
}

inline bool JsonParser::number(JsonNode* node) {
  if (*at_ == '-') ++at_;
  if (peek() == '0') {
    ++at_;
  } else if (!take(read_digits(at_, end_))) {
    return false;
  }
  if (peek() != '.' && (peek() | 0x20) != 'e') [[likely]]
    return true;
  node->flags_ |= JsonNode::kFraction;
  return take(read_fraction(at_, end_));
}

// Opens the container at at_, and closes it again when it is empty.
inline bool JsonParser::container(JsonNode* node, JsonType type) {
  if (depth_ == kJsonMaxDepth) return fail(JsonFault::kDepth);
  ++at_;
  node->child_ = nullptr;
  link(node, type);
  const unsigned char closer = type == JsonType::kObject ? '}' : ']';
  opened_ = token() != closer;
  if (!opened_) {
    ++at_;
    return true;
  }
  node->next_ = open_;
  open_ = node;
  closer_ = closer;
  link_ = &node->child_;
  ++depth_;
  return true;
}

inline void JsonParser::close() {
  JsonNode* const done = open_;
  open_ = done->next_;
  done->next_ = nullptr;
  link_ = &done->next_;
  closer_ = open_ == nullptr ? 0 : open_->type_ == JsonType::kObject ? '}' : ']';
  --depth_;
}

// Puts the node into the tree; its slot is taken.
inline void JsonParser::link(JsonNode* node, JsonType type) {
  node->type_ = type;
  node->next_ = nullptr;
  *link_ = node;
  link_ = &node->next_;
  ++slot_;
}

// A slot that is not taken yet; null when memory is short. Blocks follow the length of what is left
// of the text, so that a message of ordinary density needs one and a small text takes little.
inline JsonNode* JsonParser::free_slot() {
  if (slot_ != slots_end_) [[likely]]
    return slot_;
  constexpr std::ptrdiff_t kBytesPerNode = 16, kMinNodes = 8, kMaxNodes = 8192;
  const auto count = std::min((end_ - at_) / kBytesPerNode + kMinNodes, kMaxNodes);
  slot_ = static_cast<JsonNode*>(
      arena_.alloc(static_cast<std::uint64_t>(count) * sizeof(JsonNode), alignof(JsonNode)));
  slots_end_ = slot_ == nullptr ? nullptr : slot_ + count;
  if (slot_ == nullptr) fault_ = JsonFault::kMemory;
  return slot_;
}

}  // namespace detail

JsonParse json_parse(BufferRef<unsigned char> text, ArenaRef arena) {
  detail::StopFinder stops(text.cbegin(), text.cend());
  detail::JsonParser parser(text, arena, stops);
  const unsigned char* const stop = parser.run();
  return {parser.root(), parser.fault(), static_cast<std::uint32_t>(stop - text.cbegin())};
}

const char* json_fault_text(JsonFault fault) noexcept {
  switch (fault) {
    case JsonFault::kNone:
      return "no fault";
    case JsonFault::kEnds:
      return "the text ends before its value does";
    case JsonFault::kUnexpected:
      return "a byte that cannot stand here";
    case JsonFault::kEscape:
      return "a backslash that begins no escape";
    case JsonFault::kControl:
      return "a control character inside a string";
    case JsonFault::kDepth:
      return "objects and arrays are nested too deep";
    case JsonFault::kTrailing:
      return "something follows the value";
    case JsonFault::kMemory:
      return "out of memory";
  }
  return "unknown fault";
}

}  // namespace tstl

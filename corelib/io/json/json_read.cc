#include "corelib/io/json/json_read.h"

#include <algorithm>
#include <cassert>

#include "corelib/io/json/detail/json_grammar.h"
#include "corelib/io/json/detail/json_scan.h"

// The parser's functions must be inlined, or its state is spilled at every byte.
#define ZENTA_HOT [[gnu::always_inline]] inline

namespace tstl {
namespace detail {

// One pass over the text. A scalar's node is linked into the tree when the value is complete, a
// container's when it opens. So after a fault the tree is complete once all open containers are
// closed.
//
// The object lives in registers: its functions are inlined into one, nothing points into it, and
// what it calls takes values, not `this`.
class JsonParser {
 public:
  JsonParser(BufferRef<unsigned char> text, ArenaRef arena, StopFinder& stops, JsonParse& result)
      : at_(text.cbegin()), end_(text.cend()), stops_(stops), arena_(arena), result_(result) {
    link_ = &result_.root;
  }

  // Returns the position where it stopped.
  ZENTA_HOT const unsigned char* run() {
    while (element() && (opened_ || more())) {
    }
    while (open_ != nullptr) close();
    return at_;
  }

 private:
  // What is known of a node before it is complete.
  struct Draft {
    const unsigned char* text = nullptr;
    std::uint32_t key_len = 0;
    JsonType type = JsonType::kNull;
    std::uint8_t flags = 0;
  };

  ZENTA_HOT bool element();
  ZENTA_HOT bool more();
  ZENTA_HOT bool key(Draft& node);
  ZENTA_HOT bool string(Draft& node, JsonNode::Flags escaped);
  ZENTA_HOT bool number(Draft& node);
  ZENTA_HOT bool container(Draft& node, JsonType type);
  ZENTA_HOT JsonNode* link(const Draft& node);
  ZENTA_HOT void close();
  ZENTA_HOT bool more_slots();

  // The byte at at_; 0, which JSON allows nowhere, at the end.
  ZENTA_HOT unsigned char peek() const { return at_ != end_ ? *at_ : 0; }
  // The same after skipping whitespace.
  ZENTA_HOT unsigned char token() {
    if (peek() <= ' ') [[unlikely]]
      at_ = skip_json_blanks(at_, end_);
    return peek();
  }
  ZENTA_HOT bool fail(JsonFault fault) {
    result_.fault = at_ == end_ ? JsonFault::kEnds : fault;
    return false;
  }
  ZENTA_HOT bool take(JsonPiece piece) {
    at_ = piece.at;
    result_.fault = piece.fault;
    return piece.fault == JsonFault::kNone;
  }

  const unsigned char* at_;
  const unsigned char* end_;
  StopFinder& stops_;
  ArenaRef arena_;
  JsonParse& result_;

  JsonNode* slot_ = nullptr;  // the next free node of the current block
  JsonNode* slots_end_ = nullptr;
  JsonNode** link_;           // where the next value of this level goes
  JsonNode* open_ = nullptr;  // the innermost open container
  unsigned depth_ = 0;
  unsigned char closer_ = 0;  // what closes open_
  bool opened_ = false;       // the last value was a container that is not empty
};

// Reads one value, in an object with its key before it. False after a fault.
inline bool JsonParser::element() {
  Draft node;
  unsigned char c = token();
  const bool is_member = closer_ == '}';
  if (is_member) {
    if (!key(node)) return false;
    c = token();
  }
  const unsigned char* start = at_;
  bool good;
  if (c == '"') {
    ++start;
    node.type = JsonType::kString;
    good = string(node, JsonNode::kEscaped);
  } else if (c == '-' || is_json_digit(c)) {
    node.type = JsonType::kNumber;
    good = number(node);
  } else if (c == '{' || c == '[') {
    return container(node, c == '{' ? JsonType::kObject : JsonType::kArray);
  } else if (c == 'n') {
    node.type = JsonType::kNull;
    good = take(read_json_literal(at_, end_, "null"));
  } else {
    node.type = JsonType::kBool;
    if (c == 't') node.flags |= JsonNode::kTrue;
    good = take(read_json_literal(at_, end_, c == 't' ? "true" : "false"));
  }
  if (!good) return false;
  if (!is_member) node.text = start;
  const auto gap = static_cast<std::uint32_t>(start - node.text);
  const auto len = static_cast<std::uint32_t>(at_ - start);
  if (c == '"') ++at_;
  opened_ = false;
  JsonNode* const linked = link(node);
  if (linked == nullptr) return false;
  linked->raw_ = {gap, len};
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

inline bool JsonParser::key(Draft& node) {
  if (peek() != '"') return fail(JsonFault::kUnexpected);
  node.text = at_ + 1;
  node.flags = JsonNode::kHasKey;
  if (!string(node, JsonNode::kKeyEscaped)) return false;
  node.key_len = static_cast<std::uint32_t>(at_ - node.text);
  ++at_;
  if (token() != ':') return fail(JsonFault::kUnexpected);
  ++at_;
  return true;
}

// Moves from the opening quote to the closing one.
inline bool JsonParser::string(Draft& node, JsonNode::Flags escaped) {
  at_ = stops_.next(at_ + 1);
  if (peek() == '"') [[likely]]
    return true;
  node.flags |= escaped;
  StopFinder& stops = stops_;
  return take(
      read_json_escaped(at_, end_, [&stops](const unsigned char* at) { return stops.next(at); }));
}

inline bool JsonParser::number(Draft& node) {
  if (*at_ == '-') ++at_;
  if (peek() == '0') {
    ++at_;
  } else if (!take(read_json_digits(at_, end_))) {
    return false;
  }
  if (peek() != '.' && (peek() | 0x20) != 'e') [[likely]]
    return true;
  node.flags |= JsonNode::kFraction;
  return take(read_json_fraction(at_, end_));
}

// Opens the container at at_, and closes it again when it is empty.
inline bool JsonParser::container(Draft& node, JsonType type) {
  if (depth_ == kJsonMaxDepth) return fail(JsonFault::kDepth);
  if (closer_ != '}') node.text = at_;
  node.type = type;
  JsonNode* const linked = link(node);
  if (linked == nullptr) return false;
  linked->child_ = nullptr;
  ++at_;
  const unsigned char closer = type == JsonType::kObject ? '}' : ']';
  opened_ = token() != closer;
  if (!opened_) {
    ++at_;
    return true;
  }
  linked->next_ = open_;
  open_ = linked;
  closer_ = closer;
  link_ = &linked->child_;
  ++depth_;
  return true;
}

inline void JsonParser::close() {
  assert(open_ != nullptr && depth_ != 0);
  JsonNode* const done = open_;
  open_ = done->next_;
  done->next_ = nullptr;
  link_ = &done->next_;
  closer_ = open_ == nullptr ? 0 : open_->type_ == JsonType::kObject ? '}' : ']';
  --depth_;
}

// Adds the node to the arena and to the tree; null when the arena is out of memory.
inline JsonNode* JsonParser::link(const Draft& node) {
  if (slot_ == slots_end_ && !more_slots()) [[unlikely]]
    return nullptr;
  slot_->text_ = node.text;
  slot_->next_ = nullptr;
  slot_->key_len_ = node.key_len;
  slot_->type_ = node.type;
  slot_->flags_ = node.flags;
  *link_ = slot_;
  link_ = &slot_->next_;
  return slot_++;
}

// Allocates a block of nodes. Its size depends on the length of the text that is left, so that a
// typical message needs one block and a short text takes little memory.
inline bool JsonParser::more_slots() {
  constexpr std::ptrdiff_t kBytesPerNode = 16, kMinNodes = 8, kMaxNodes = 8192;
  const auto count = std::min((end_ - at_) / kBytesPerNode + kMinNodes, kMaxNodes);
  slot_ = static_cast<JsonNode*>(
      arena_.alloc(static_cast<std::uint64_t>(count) * sizeof(JsonNode), alignof(JsonNode)));
  slots_end_ = slot_ == nullptr ? nullptr : slot_ + count;
  if (slot_ == nullptr) result_.fault = JsonFault::kMemory;
  return slot_ != nullptr;
}

}  // namespace detail

JsonParse json_parse(BufferRef<unsigned char> text, ArenaRef arena) {
  JsonParse result;
  detail::StopFinder stops(text.cbegin(), text.cend());
  const unsigned char* const stop = detail::JsonParser(text, arena, stops, result).run();
  result.position = static_cast<std::uint32_t>(stop - text.cbegin());
  return result;
}

std::uint32_t json_value_start(BufferRef<unsigned char> text) noexcept {
  return static_cast<std::uint32_t>(detail::skip_json_blanks(text.cbegin(), text.cend()) -
                                    text.cbegin());
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

// The JSON reader: UTF-8 text in, one tree of nodes in the caller's arena out.
//
//   tstl::Chunk arena;
//   const tstl::JsonParse parse = tstl::json_parse(text, arena);
//   if (!parse) std::printf("%s at byte %u\n", json_fault_text(parse.fault), parse.position);
//   for (auto* node = parse ? parse.root->first_child() : nullptr; node; node = node->next()) {
//     if (node->key_is("word")) word = node->str8(arena);  // decoded into the arena; empty: no text
//   }
//
// Accepted are exactly the texts of RFC 8259, plus bytes that are not UTF-8 inside strings, plus
// nothing: no byte order mark, no comments. Containers may be nested 512 deep. Duplicate keys all
// stay, in order.
//
// The nodes live in the arena and point into the text; both must outlive the tree. Memory is
// bounded: a node is 32 bytes and a text has at most one value for every two bytes, so the tree
// takes at most 16 bytes for each byte of text, and one block of nodes more; a string that is asked
// for takes its length once more (twice for 16-bit units) and 32 bytes. Parsing neither recurses
// nor converts anything: a value that nobody asks for costs its node and no more.
//
// Malformed text is a result, not an error: json_parse tells what is wrong and where, and leaves
// the tree of everything that was complete before that place.
#pragma once

#include <cstdint>

#include "corelib/base/arena_ref.h"
#include "corelib/io/json/json_node.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

enum class JsonFault : std::uint8_t {
  kNone,
  kEnds,        // the text ends before the value does
  kUnexpected,  // a byte that cannot stand here
  kEscape,      // a backslash that begins no escape
  kControl,     // a control character inside a string, which must be escaped
  kDepth,       // containers nested more than kJsonMaxDepth deep
  kTrailing,    // something follows the value
  kMemory,      // the arena gave no more
};

inline constexpr unsigned kJsonMaxDepth = 512;

// The fault in words, for people: a zero-terminated text that lives for ever.
[[nodiscard]] const char* json_fault_text(JsonFault fault) noexcept;

struct JsonParse {
  // The value; after a fault, what was complete of it, which is null when nothing was.
  JsonNode* root = nullptr;
  JsonFault fault = JsonFault::kNone;
  // Bytes read; after a fault, the offset of the first byte with which no JSON text could go on.
  // That is the text's length for kEnds.
  std::uint32_t position = 0;

  explicit operator bool() const noexcept { return fault == JsonFault::kNone; }
};

// Reads the one value that `text` is.
[[nodiscard]] JsonParse json_parse(BufferRef<unsigned char> text, ArenaRef arena);

// The offset of the text's first byte that is no blank of JSON; its length when it has none.
[[nodiscard]] std::uint32_t json_value_start(BufferRef<unsigned char> text) noexcept;

}  // namespace tstl

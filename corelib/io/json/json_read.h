// The JSON reader: UTF-8 text in, one tree of nodes in the caller's arena out.
//
//   tstl::Chunk arena;
//   const tstl::JsonParse parse = tstl::json_parse(text, arena);
//   if (!parse) std::printf("%s at byte %u\n", json_fault_text(parse.fault), parse.position);
//   for (auto* node = parse ? parse.root->first_child() : nullptr; node; node = node->next()) {
//     if (node->key_is("word")) word = node->str8(arena);  // decoded into the arena
//   }
//
// The reader accepts exactly the texts of RFC 8259, and inside strings also bytes that are not
// valid UTF-8. A byte order mark or a comment is a fault. Objects and arrays may be nested
// kJsonMaxDepth deep. Duplicate keys are all kept, in order.
//
// The nodes live in the arena and point into the text; both must outlive the tree.
//
// Memory is bounded. A node takes 32 bytes, and a text has at most one value for every two bytes,
// so the tree takes at most 16 bytes for each byte of text, plus one block of nodes. A string that
// the caller asks for takes its length again (twice its length as 16-bit units) and 32 bytes.
// Parsing does not recurse and converts nothing: a value that nobody asks for costs its node only.
//
// Malformed text is an ordinary result: json_parse reports what is wrong and where. The tree then
// holds everything that was complete before that position.
#pragma once

#include <cstdint>

#include "corelib/base/arena_ref.h"
#include "corelib/io/json/json_node.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

enum class JsonFault : std::uint8_t {
  kNone,
  kEnds,        // the text ends before the value does
  kUnexpected,  // a byte that the grammar does not allow here
  kEscape,      // a backslash that does not begin a valid escape
  kControl,     // a control character inside a string, which must be escaped
  kDepth,       // containers nested more than kJsonMaxDepth deep
  kTrailing,    // something follows the value
  kMemory,      // the arena is out of memory
};

inline constexpr unsigned kJsonMaxDepth = 512;

// A description of the fault for people: zero-terminated, with static storage.
[[nodiscard]] const char* json_fault_text(JsonFault fault) noexcept;

struct JsonParse {
  // The value. After a fault: the part of it that was complete, or null when there is none.
  JsonNode* root = nullptr;
  JsonFault fault = JsonFault::kNone;
  // The number of bytes read. After a fault: the offset of the first byte that makes the text
  // invalid; for kEnds, the length of the text.
  std::uint32_t position = 0;

  explicit operator bool() const noexcept { return fault == JsonFault::kNone; }
};

// Parses `text`, which must be one JSON value with optional whitespace around it.
[[nodiscard]] JsonParse json_parse(BufferRef<unsigned char> text, ArenaRef arena);

// The offset of the first byte that is not JSON whitespace; the length of the text when there is
// none.
[[nodiscard]] std::uint32_t json_value_start(BufferRef<unsigned char> text) noexcept;

}  // namespace tstl

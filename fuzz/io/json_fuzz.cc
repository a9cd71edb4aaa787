// Feeds any bytes to the JSON reader, and what it read to the writer and to the reader again.
// Invariants:
// 1. Wherever RapidJSON has an opinion, the reader accepts and refuses the same texts, and reads
//    the same values.
// 2. A fault is reported at the first possible position: the text before it can be continued to a
//    valid one, the text with the byte at it cannot.
// 3. What was read, even from a malformed text, is written as valid UTF-8 that reads back as the
//    same tree, in bytes and in 16-bit units.
// 4. Which numbers are integers, and fit 64 bits, agrees with shifting the decimal point by hand.
// 5. The tree, with every string in both forms, takes at most 48 bytes of arena for each byte of
//    text, plus a block.
// 6. A cursor finds the same values and the same fault.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_write.h"
#include "corelib/text/utf.h"
#include "fuzz/io/json_oracle.h"
#include "fuzz/require.h"

namespace {

using tstl::Chunk;
using tstl::JsonFault;
using tstl::JsonNode;
using tstl::JsonParse;
using tstl::JsonWrite;
using zenta::fuzz::Require;

JsonParse Parse(std::string_view text, Chunk& arena) {
  return tstl::json_parse({text.data(), static_cast<unsigned>(text.size())}, arena);
}

void CheckFaultPlace(std::string_view text, const JsonParse& parse) {
  Chunk arena;
  const JsonParse before = Parse(text.substr(0, parse.position), arena);
  Require((before || before.fault == JsonFault::kEnds) && before.position == parse.position);
  if (parse.fault == JsonFault::kEnds) return Require(parse.position == text.size());
  const JsonParse with = Parse(text.substr(0, parse.position + 1), arena);
  Require(with.fault == parse.fault && with.position == parse.position);
}

// Compares integers with what shifting the decimal point by hand gives.
template <class T>
void CheckInteger(const JsonNode* node) {
  if (node->type() != tstl::JsonType::kNumber) return;
  const std::string plain = tstl::oracle::PlainInteger(node->raw().std_view());
  T value{};
  const bool fits = node->integer(value);
  if (plain == "?") return;
  Require(node->is_integer() == !plain.empty() && (!fits || std::to_string(value) == plain));
  constexpr bool kSigned = std::is_signed_v<T>;
  if (!fits && !plain.empty())
    Require(plain.size() >= (kSigned ? 19 : 20) || (!kSigned && plain[0] == '-'));
}

using Strings = std::vector<tstl::BufferRef<unsigned short>>;

// Asks for both forms of every string, and collects the 16-bit ones. Asking again must give the
// same memory.
void CheckStrings(JsonNode* node, Chunk& arena, Strings& strings) {
  CheckInteger<std::int64_t>(node);
  CheckInteger<std::uint64_t>(node);
  const auto bytes = node->str8(arena);
  const auto units = node->str16(arena);
  Require(node->str8(arena).cstr() == bytes.cstr() && node->str16(arena).cstr() == units.cstr());
  if (node->type() == tstl::JsonType::kString) strings.push_back(units);
  for (JsonNode* child = node->first_child(); child != nullptr; child = child->next())
    CheckStrings(child, arena, strings);
}

// What the writer makes of the units must read back as the same.
void CheckUnits(const Strings& strings) {
  JsonWrite out;
  out.begin_array();
  for (const auto& units : strings) out.str(units);
  out.end_array();
  Chunk arena;
  const JsonParse again = tstl::json_parse(out.output(), arena);
  Require(bool(again));
  JsonNode* node = again.root->first_child();
  for (const auto& units : strings) {
    Require(node != nullptr && node->str16(arena) == units);
    node = node->next();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Chunk arena;
  const JsonParse parse = Parse(text, arena);
  const std::string form = tstl::oracle::PlainFormOf(parse.root, arena);

  const tstl::oracle::Verdict peer = tstl::oracle::AskPeer(text);
  if (peer.kind == tstl::oracle::Verdict::kGood && parse.fault != JsonFault::kDepth)
    Require(parse && form == peer.form);
  if (peer.kind == tstl::oracle::Verdict::kBad) Require(!parse);
  if (!parse) CheckFaultPlace(text, parse);
  Chunk walk;
  Require(tstl::oracle::WalksAsTree({text.data(), static_cast<unsigned>(size)}, parse, walk));
  if (parse.root == nullptr) return 0;

  Strings strings;
  CheckStrings(parse.root, arena, strings);
  CheckUnits(strings);
  Require(arena.total() <= 48 * size + 65536);

  JsonWrite out;
  tstl::oracle::Rewrite(parse.root, arena, out);
  Require(out.good());
  const std::string_view written = out.output().std_view();
  Require(tstl::valid_utf8_prefix(out.output().c_str(), written.size()) == written.size());
  Chunk second;
  const JsonParse again = Parse(written, second);
  Require(again && tstl::oracle::PlainFormOf(again.root, second) == form);
  return 0;
}

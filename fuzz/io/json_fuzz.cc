// Any bytes through the JSON reader, and what it read through the writer and the reader again.
// Held:
// 1. The reader accepts what RapidJSON accepts and refuses what it refuses, wherever that one has
// an opinion, and gives the
//    same values.
// 2. The place of a fault is the first one: the text before it can go on, the text with it cannot.
// 3. What was read, also of a broken text, is written as valid UTF-8 that reads back as the same
// tree, in bytes and in
//    16-bit units.
// 4. Numbers are integers, and fit 64 bits or not, as moving their point by hand says.
// 5. The tree, with every string in both forms, takes at most 48 bytes of arena for each byte of
// text, and a block more.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_write.h"
#include "corelib/text/utf.h"
#include "fuzz/io/json_oracle.h"

namespace {

using tstl::Chunk;
using tstl::JsonFault;
using tstl::JsonNode;
using tstl::JsonParse;
using tstl::JsonWrite;

void Check(bool good) {
  if (!good) std::abort();
}

JsonParse Parse(std::string_view text, Chunk& arena) {
  return tstl::json_parse({text.data(), static_cast<unsigned>(text.size())}, arena);
}

void CheckFaultPlace(std::string_view text, const JsonParse& parse) {
  Chunk arena;
  const JsonParse before = Parse(text.substr(0, parse.position), arena);
  Check((before || before.fault == JsonFault::kEnds) && before.position == parse.position);
  if (parse.fault == JsonFault::kEnds) return Check(parse.position == text.size());
  const JsonParse with = Parse(text.substr(0, parse.position + 1), arena);
  Check(with.fault == parse.fault && with.position == parse.position);
}

// Integers are what moving the decimal point by hand makes of them, and fit or do not.
template <class T>
void CheckInteger(const JsonNode* node) {
  if (node->type() != tstl::JsonType::kNumber) return;
  const std::string plain = tstl::oracle::PlainInteger(node->raw().std_view());
  T value{};
  const bool fits = node->integer(value);
  if (plain == "?") return;
  Check(node->is_integer() == !plain.empty() && (!fits || std::to_string(value) == plain));
  constexpr bool kSigned = std::is_signed_v<T>;
  if (!fits && !plain.empty())
    Check(plain.size() >= (kSigned ? 19 : 20) || (!kSigned && plain[0] == '-'));
}

// Asks for both forms of every string; a second asking gives the same memory, and units come back
// by way of the writer.
void CheckStrings(JsonNode* node, Chunk& arena) {
  CheckInteger<std::int64_t>(node);
  CheckInteger<std::uint64_t>(node);
  const auto bytes = node->str8(arena);
  const auto units = node->str16(arena);
  Check(node->str8(arena).cstr() == bytes.cstr() && node->str16(arena).cstr() == units.cstr());
  if (node->type() == tstl::JsonType::kString) {
    Chunk scratch;
    JsonWrite out;
    out.str(units);
    const JsonParse again = tstl::json_parse(out.output(), scratch);
    Check(bool(again) && again.root->str16(scratch) == units);
  }
  for (JsonNode* child = node->first_child(); child != nullptr; child = child->next())
    CheckStrings(child, arena);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Chunk arena;
  const JsonParse parse = Parse(text, arena);
  const std::string form = tstl::oracle::PlainFormOf(parse.root, arena);

  const tstl::oracle::Verdict peer = tstl::oracle::AskPeer(text);
  if (peer.kind == tstl::oracle::Verdict::kGood && parse.fault != JsonFault::kDepth)
    Check(parse && form == peer.form);
  if (peer.kind == tstl::oracle::Verdict::kBad) Check(!parse);
  if (!parse) CheckFaultPlace(text, parse);
  if (parse.root == nullptr) return 0;

  CheckStrings(parse.root, arena);
  Check(arena.total() <= 48 * size + 65536);

  JsonWrite out;
  tstl::oracle::Rewrite(parse.root, arena, out);
  Check(out.good());
  const std::string_view written = out.output().std_view();
  Check(tstl::valid_utf8_prefix(out.output().c_str(), written.size()) == written.size());
  Chunk second;
  const JsonParse again = Parse(written, second);
  Check(again && tstl::oracle::PlainFormOf(again.root, second) == form);
  return 0;
}

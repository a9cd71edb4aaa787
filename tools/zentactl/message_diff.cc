#include "tools/zentactl/message_diff.h"

#include <utility>

#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_read.h"
#include "tools/common/failure.h"

namespace zenta::zentactl {
namespace {

using tstl::JsonNode;
using tstl::JsonType;
using Text = tstl::BufferRef<unsigned char>;

class Comparison {
 public:
  explicit Comparison(Differences& found) : found_(found) {}

  // A null pointer stands for a missing value.
  void Compare(JsonNode* a, JsonNode* b, const std::string& member);

 private:
  void CompareObjects(JsonNode* a, JsonNode* b, const std::string& member);
  void CompareArrays(JsonNode* a, JsonNode* b, const std::string& member);
  void Add(const std::string& member, JsonNode* a, JsonNode* b);

  Differences& found_;
};

// A scalar as it stands in the text, {} or [] for an object or an array, empty for a missing value.
std::string Scalar(JsonNode* node) {
  if (node == nullptr) return {};
  if (node->type() == JsonType::kObject) return "{}";
  if (node->type() == JsonType::kArray) return "[]";
  const std::string raw(node->raw().std_view());
  return node->type() == JsonType::kString ? '"' + raw + '"' : raw;
}

JsonNode* FirstOf(JsonNode* node) { return node == nullptr ? nullptr : node->first_child(); }
JsonNode* NextOf(JsonNode* node) { return node == nullptr ? nullptr : node->next(); }

// An empty record, which is written as {}, equals a missing one.
void Comparison::Compare(JsonNode* a, JsonNode* b, const std::string& member) {
  JsonNode* const any = a == nullptr ? b : a;
  if (any->type() == JsonType::kObject) return CompareObjects(a, b, member);
  if (any->type() == JsonType::kArray) return CompareArrays(a, b, member);
  if (Scalar(a) != Scalar(b)) Add(member, a, b);
}

void Comparison::Add(const std::string& member, JsonNode* a, JsonNode* b) {
  ++found_.count;
  if (found_.first.size() == Differences::kMost) return;
  found_.first.push_back({member, Scalar(a), Scalar(b)});
}

// Members come in the order of the record's table. So the members that only `b` has stand before
// the next one that both have.
void Comparison::CompareObjects(JsonNode* a, JsonNode* b, const std::string& member) {
  const auto path = [&](JsonNode* node) {
    return (member.empty() ? "" : member + '.') + std::string(node->raw_key().std_view());
  };
  const auto find = [](JsonNode* node, Text key) {
    while (node != nullptr && !node->key_is(key)) node = node->next();
    return node;
  };
  JsonNode* rest = FirstOf(b);
  for (JsonNode* node = FirstOf(a); node != nullptr; node = node->next()) {
    JsonNode* const other = find(rest, node->raw_key());
    while (other != nullptr && rest != other) {
      Compare(nullptr, rest, path(rest));
      rest = rest->next();
    }
    Compare(node, other, path(node));
    if (other != nullptr) rest = other->next();
  }
  for (; rest != nullptr; rest = rest->next()) Compare(nullptr, rest, path(rest));
}

void Comparison::CompareArrays(JsonNode* a, JsonNode* b, const std::string& member) {
  JsonNode *first = FirstOf(a), *second = FirstOf(b);
  for (std::uint32_t i = 0; first != nullptr || second != nullptr; ++i) {
    const std::string element = member + '[' + std::to_string(i) + ']';
    JsonNode* const only = second == nullptr ? first : first == nullptr ? second : nullptr;
    if (only != nullptr && only->type() == JsonType::kObject && only->first_child() == nullptr) {
      Add(element, first, second);  // an element counts, even one without members
    } else {
      Compare(first, second, element);
    }
    first = NextOf(first);
    second = NextOf(second);
  }
}

}  // namespace

Differences CompareJson(Text first, Text second) {
  tstl::Chunk arena;
  const tstl::JsonParse a = tstl::json_parse(first, arena), b = tstl::json_parse(second, arena);
  if (!a || !b) throw tools::Failure("out of memory");
  Differences found;
  Comparison(found).Compare(a.root, b.root, "");
  return found;
}

}  // namespace zenta::zentactl

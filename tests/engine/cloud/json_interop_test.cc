// The JSON form beside RapidJSON: what we write it reads, and what it writes we read, member by
// member. Texts are Unicode here; other decoders refuse what is not.
#include <gtest/gtest.h>
// RapidJSON's own stack adds to null pointers, which clang's sanitizer would stop at.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#if defined(__clang__)
#pragma clang attribute pop
#endif

#include <concepts>
#include <string>
#include <string_view>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "tests/reference/record_reference.h"
#include "tests/reference/utf_reference.h"

namespace zenta {
namespace {

using Value = rapidjson::Value;

std::string Utf8(Bytes text) { return std::string(text.std_view()); }
std::string Utf8(Text16 text) {
  const auto bytes = tstl::reference::ToUtf8({text.begin(), text.end()}, ~std::size_t{0}, false);
  return std::string(bytes.begin(), bytes.end());
}

// ---- Ours, as the peer reads it

bool Means(const Value& json, bool value) { return json.IsBool() && json.GetBool() == value; }
template <std::integral T>
bool Means(const Value& json, T value) {
  if (std::is_signed_v<T>)
    return json.IsInt64() && json.GetInt64() == static_cast<std::int64_t>(value);
  return json.IsUint64() && json.GetUint64() == static_cast<std::uint64_t>(value);
}
template <tstl::Unit T>
bool Means(const Value& json, tstl::BufferRef<T> text) {
  return json.IsString() && std::string(json.GetString(), json.GetStringLength()) == Utf8(text);
}
template <Record R>
bool Means(const Value& json, const R& record);
template <class T>
bool Means(const Value& json, const List<T>& list) {
  if (!json.IsArray() || json.Size() != list.size()) return false;
  for (std::uint32_t i = 0; i < list.size(); ++i) {
    if (!Means(json[i], list[i])) return false;
  }
  return true;
}

// A member that is not there has the value of a fresh record, and one that is has another; but
// records and bools are always there. Nothing else is there.
template <Record R>
bool Means(const Value& json, const R& record) {
  if (!json.IsObject()) return false;
  bool same = true;
  std::size_t found = 0;
  kFields<R>.each([&](auto f) {
    using Member = typename decltype(f)::Member;
    const auto& value = f.of(record);
    const auto member = json.FindMember(std::string(f.kWrittenKey).c_str());
    const bool is_fresh = reference::Difference(value, f.of(R())).empty();
    const bool is_there = member != json.MemberEnd();
    const bool is_due = !is_fresh || Record<Member> || std::same_as<Member, bool>;
    same = same && is_there == is_due && (!is_there || Means(member->value, value));
    found += is_there;
  });
  return same && found == json.MemberCount();
}

// ---- The peer's, as we read it: all members are there, zeros too

template <class Out>
void Put(Out& out, bool value) {
  out.Bool(value);
}
template <class Out, std::integral T>
void Put(Out& out, T value) {
  std::is_signed_v<T> ? out.Int64(static_cast<std::int64_t>(value))
                      : out.Uint64(static_cast<std::uint64_t>(value));
}
template <class Out, tstl::Unit T>
void Put(Out& out, tstl::BufferRef<T> text) {
  const std::string bytes = Utf8(text);
  out.String(bytes.data(), static_cast<unsigned>(bytes.size()));
}
template <class Out, Record R>
void Put(Out& out, const R& record);
template <class Out, class T>
void Put(Out& out, const List<T>& list) {
  out.StartArray();
  for (const T& element : list) Put(out, element);
  out.EndArray();
}
template <class Out, Record R>
void Put(Out& out, const R& record) {
  out.StartObject();
  kFields<R>.each([&](auto f) {
    out.Key(std::string(f.kKey).c_str());
    Put(out, f.of(record));
  });
  out.EndObject();
}

template <class Out, Record R>
void ExpectReads(const R& record) {
  rapidjson::StringBuffer text;
  Out out(text);
  Put(out, record);
  tstl::Chunk arena;
  R read;
  ASSERT_TRUE(read_json(read, {text.GetString(), static_cast<unsigned>(text.GetSize())}, arena));
  EXPECT_EQ(reference::Difference(read, record), "");
}

template <class R>
class JsonInteropTest : public testing::Test {};
using Messages = testing::Types<CloudRequest, CloudResponse>;
TYPED_TEST_SUITE(JsonInteropTest, Messages);

TYPED_TEST(JsonInteropTest, MeansTheSameToAnotherReaderAndFromAnotherWriter) {
  using rapidjson::StringBuffer, rapidjson::UTF8, rapidjson::ASCII;
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    reference::RecordFiller filler(seed, true);
    const auto record = seed == 0 ? TypeParam() : filler.template Make<TypeParam>();
    tstl::Buffer<unsigned char> text;
    ASSERT_TRUE(write_json(record, text));
    rapidjson::Document document;
    constexpr unsigned kStrict = rapidjson::kParseValidateEncodingFlag;
    document.Parse<kStrict>(reinterpret_cast<const char*>(text.c_str()), text.len());
    ASSERT_FALSE(document.HasParseError()) << text.std_view();
    EXPECT_TRUE(Means(document, record)) << text.std_view();

    ExpectReads<rapidjson::Writer<StringBuffer>>(record);
    ExpectReads<rapidjson::PrettyWriter<StringBuffer, UTF8<>, ASCII<>>>(record);  // \uXXXX
  }
}

}  // namespace
}  // namespace zenta

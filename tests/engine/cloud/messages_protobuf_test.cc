// The binary form and docs/cloud.proto against the protobuf library and against our tables.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "cloud.pb.h"
#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "tests/reference/record_reference.h"

namespace zenta::cloud {
namespace {

using google::protobuf::FieldDescriptor;
using records::kFields;
using records::Record;

// The type that cloud.proto must declare for a member of type T, or for a list of T, with this
// codec.
template <class Codec, class T>
constexpr FieldDescriptor::Type TypeOf() {
  if constexpr (requires { typename Codec::Element; }) {
    return TypeOf<typename Codec::Element, typename T::Element>();
  }
  if (Record<T>) return FieldDescriptor::TYPE_MESSAGE;
  if (std::is_same_v<Codec, zenta::records::Codec<Text16>>) return FieldDescriptor::TYPE_STRING;
  if (!std::is_integral_v<T>) return FieldDescriptor::TYPE_BYTES;
  if (std::is_same_v<T, bool>) return FieldDescriptor::TYPE_BOOL;
  if (std::is_same_v<T, std::int32_t>) return FieldDescriptor::TYPE_INT32;
  if (std::is_same_v<T, std::int64_t>) return FieldDescriptor::TYPE_INT64;
  return sizeof(T) == 8 ? FieldDescriptor::TYPE_UINT64 : FieldDescriptor::TYPE_UINT32;
}

// Compares the declaration of a message, and of those inside it, with the tables.
template <class T>
struct Declaration {
  static void Check(const google::protobuf::Descriptor*) {}
};
template <class T>
struct Declaration<List<T>> : Declaration<T> {};
template <Record R>
struct Declaration<R> {
  static void Check(const google::protobuf::Descriptor* message) {
    EXPECT_EQ(unsigned(message->field_count()), kFields<R>.kCount) << message->name();
    kFields<R>.each([&](auto f) {
      using F = decltype(f);
      using Member = typename F::Member;
      SCOPED_TRACE(message->name() + "." + std::string(F::kKey));
      const FieldDescriptor* const field = message->FindFieldByNumber(int(F::kNumber));
      ASSERT_NE(field, nullptr);
      EXPECT_EQ(field->name(), F::kKey);
      EXPECT_EQ(int(field->type()), int((TypeOf<typename F::FieldCodec, Member>())));
      EXPECT_EQ(
          field->is_repeated(), requires { typename Member::Element; });
      // Where zero is an ordinary value, it must be distinguishable from an absent one.
      R zero;
      if constexpr (std::is_integral_v<Member>) F::of(zero) = 0;
      EXPECT_EQ(field->has_optional_keyword(), std::is_integral_v<Member> && F::in_binary(zero));
      Declaration<Member>::Check(field->message_type());
    });
  }
};

// Types and numbers are the declared ones. So if the peer knows every field and writes the same
// bytes again, the message means the same to it. It has no opinion on texts that are not UTF-8; our
// reader must return those, too.
template <class Ours, class Theirs>
void ExpectExchange() {
  Declaration<Ours>::Check(Theirs::descriptor());
  for (unsigned seed = 0; seed < 200; ++seed) {
    const bool well_formed = seed % 2 == 0;
    reference::RecordFiller filler(seed, well_formed);
    const auto made = filler.Make<Ours>();
    tstl::Buffer<unsigned char> bytes, json;
    ASSERT_TRUE(write_binary(made, bytes) && write_json(made, json));
    if (well_formed) {
      Theirs message;
      ASSERT_TRUE(message.ParseFromString(std::string(bytes.std_view())));
      message.DiscardUnknownFields();
      EXPECT_EQ(message.SerializeAsString(), bytes.std_view());
    }
    EXPECT_EQ(tstl::valid_utf8_prefix(json.c_str(), json.len()), json.len());
    tstl::Chunk arena;
    Ours from_binary, from_json;
    const auto read = read_binary(from_binary, bytes, arena);
    EXPECT_TRUE(read && read.position == bytes.len() && read_json(from_json, json, arena));
    EXPECT_EQ(reference::Difference(from_binary, made), "");
    EXPECT_EQ(reference::Difference(from_json, made), "");
  }
}

TEST(ProtobufTest, RequestsGoThereAndBackAsDeclared) {
  ExpectExchange<CloudRequest, proto::CloudRequest>();
}
TEST(ProtobufTest, ResponsesGoThereAndBackAsDeclared) {
  ExpectExchange<CloudResponse, proto::CloudResponse>();
}

}  // namespace
}  // namespace zenta::cloud

// The binary form and docs/cloud.proto against the protobuf library, which is driven by our tables
// through its reflection.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "cloud.pb.h"
#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "tests/reference/record_reference.h"
#include "tests/reference/utf_reference.h"

namespace zenta {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::util::MessageDifferencer;

std::string Utf8(Text16 text) {
  const auto bytes = tstl::reference::ToUtf8({text.begin(), text.end()}, ~std::size_t{0}, true);
  return std::string(bytes.begin(), bytes.end());
}
std::string Raw(Text16 text) {
  std::string bytes;
  for (const unsigned unit : text) {
    for (const unsigned byte : {unit % 256, unit / 256}) bytes += static_cast<char>(byte);
  }
  return bytes;
}

// How protobuf declares a value of type T that `Codec` reads and writes, and how one is put into a
// message.
template <class Codec, class T>
struct Peer {  // integers
  static constexpr auto kType = std::is_same_v<T, bool>            ? FieldDescriptor::TYPE_BOOL
                                : std::is_same_v<T, std::int32_t>  ? FieldDescriptor::TYPE_INT32
                                : std::is_same_v<T, std::int64_t>  ? FieldDescriptor::TYPE_INT64
                                : std::is_same_v<T, std::uint64_t> ? FieldDescriptor::TYPE_UINT64
                                                                   : FieldDescriptor::TYPE_UINT32;
  static void Put(T value, const FieldDescriptor* field, Message& message) {
    const auto* const reflection = message.GetReflection();
    if constexpr (kType == FieldDescriptor::TYPE_BOOL) reflection->SetBool(&message, field, value);
    if constexpr (kType == FieldDescriptor::TYPE_INT32)
      reflection->SetInt32(&message, field, value);
    if constexpr (kType == FieldDescriptor::TYPE_INT64)
      reflection->SetInt64(&message, field, value);
    if constexpr (kType == FieldDescriptor::TYPE_UINT64)
      reflection->SetUInt64(&message, field, value);
    if constexpr (kType == FieldDescriptor::TYPE_UINT32)
      reflection->SetUInt32(&message, field, value);
  }
};
template <class Codec, tstl::Unit T>
struct Peer<Codec, tstl::BufferRef<T>> {
  static constexpr bool kIsText = std::is_same_v<Codec, zenta::Codec<Text16>>;
  static constexpr auto kType =
      kIsText ? FieldDescriptor::TYPE_STRING : FieldDescriptor::TYPE_BYTES;
  static void Put(tstl::BufferRef<T> text, const FieldDescriptor* field, Message& message) {
    std::string bytes;
    if constexpr (sizeof(T) == 1) bytes = text.std_view();
    if constexpr (sizeof(T) == 2) bytes = kIsText ? Utf8(text) : Raw(text);
    const auto* const reflection = message.GetReflection();
    if (field->is_repeated()) return reflection->AddString(&message, field, bytes);
    reflection->SetString(&message, field, bytes);
  }
};
template <class Codec, Record R>
struct Peer<Codec, R> {
  static constexpr auto kType = FieldDescriptor::TYPE_MESSAGE;
  static void Put(const R& record, const FieldDescriptor* field, Message& message) {
    const auto* const reflection = message.GetReflection();
    Fill(record, *(field->is_repeated() ? reflection->AddMessage(&message, field)
                                        : reflection->MutableMessage(&message, field)));
  }
  static void Fill(const R& record, Message& message) {
    kFields<R>.each([&](auto f) {
      using F = decltype(f);
      const auto* const field = message.GetDescriptor()->FindFieldByNumber(int(F::kNumber));
      if (F::in_binary(record))
        Peer<typename F::FieldCodec, typename F::Member>::Put(F::of(record), field, message);
    });
  }
};
template <class Codec, class T>
struct Peer<Codec, List<T>> {
  using Element = Peer<typename Codec::Element, T>;
  static constexpr auto kType = Element::kType;
  static void Put(const List<T>& list, const FieldDescriptor* field, Message& message) {
    for (const T& element : list) Element::Put(element, field, message);
  }
};

// Holds a message that the .proto declares, and those inside it, against the tables.
template <class R>
struct Declaration {
  static void Check(const Descriptor*) {}
};
template <class T>
struct Declaration<List<T>> : Declaration<T> {};
template <Record R>
struct Declaration<R> {
  static void Check(const Descriptor* message) {
    EXPECT_EQ(std::size_t(message->field_count()), kFields<R>.kCount) << message->name();
    kFields<R>.each([&](auto f) {
      using F = decltype(f);
      using Member = typename F::Member;
      SCOPED_TRACE(message->name() + "." + std::string(F::kKey));
      const FieldDescriptor* const field = message->FindFieldByNumber(int(F::kNumber));
      ASSERT_NE(field, nullptr);
      EXPECT_EQ(field->name(), F::kKey);
      EXPECT_EQ(int(field->type()), int(Peer<typename F::FieldCodec, Member>::kType));
      EXPECT_EQ(
          field->is_repeated(), requires { typename Member::Element; });
      // Where zero is a value like others, it has to be told from what is not there.
      R zero;
      if constexpr (std::is_integral_v<Member>) F::of(zero) = 0;
      EXPECT_EQ(field->has_optional_keyword(), std::is_integral_v<Member> && F::in_binary(zero));
      Declaration<Member>::Check(field->message_type());
    });
  }
};

template <class R, class M>
struct Pair {
  using Ours = R;
  using Theirs = M;
};
template <class P>
class ProtobufTest : public testing::Test {};
using Messages = testing::Types<Pair<CloudRequest, cloud::CloudRequest>,
                                Pair<CloudResponse, cloud::CloudResponse>>;
TYPED_TEST_SUITE(ProtobufTest, Messages);

TYPED_TEST(ProtobufTest, DeclarationsAreThoseOfTheTables) {
  Declaration<typename TypeParam::Ours>::Check(TypeParam::Theirs::descriptor());
}

TYPED_TEST(ProtobufTest, ReadsWhatWeWriteAndWritesWhatWeRead) {
  using Ours = typename TypeParam::Ours;
  for (unsigned seed = 0; seed < 100; ++seed) {
    reference::RecordFiller filler(seed, true);
    const auto made = filler.template Make<Ours>();
    tstl::Buffer<unsigned char> bytes;
    ASSERT_TRUE(write_binary(made, bytes));
    typename TypeParam::Theirs read, want;
    EXPECT_TRUE(read.ParseFromString(std::string(bytes.std_view())));
    Peer<Codec<Ours>, Ours>::Fill(made, want);
    EXPECT_TRUE(MessageDifferencer::Equals(read, want)) << read.DebugString();

    tstl::Chunk arena;
    Ours back;
    EXPECT_TRUE(read_binary(back, want.SerializeAsString(), arena));
    EXPECT_EQ(reference::Difference(back, made), "");
  }
}

}  // namespace
}  // namespace zenta

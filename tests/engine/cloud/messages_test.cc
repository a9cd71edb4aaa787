// The records of both messages in both forms: one body for all of them, generated from their
// tables, and the byte sequences that the service and other decoders rely on.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_text.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "fuzz/cloud/message_fuzz.h"
#include "fuzz/io/wire_oracle.h"
#include "tests/reference/record_reference.h"

namespace zenta::cloud {
namespace {

using records::kFields;
using records::Record;
using reference::Difference;
using reference::RecordFiller;
using tstl::Buffer;
using tstl::Chunk;
using tstl::JsonFault;
using tstl::WireFault;
using tstl::oracle::PlainField;
using std::string_view_literals::operator""sv;

template <Record R>
std::string Binary(const R& record) {
  Buffer<unsigned char> bytes;
  EXPECT_TRUE(write_binary(record, bytes));
  return std::string(bytes.std_view());
}
template <Record R>
std::string Json(const R& record) {
  Buffer<unsigned char> text;
  EXPECT_TRUE(write_json(record, text));
  return std::string(text.std_view());
}

// The record that was read, and the result of reading. The record lies in an arena that lives as
// long as the program. Binary messages are read from an exactly sized copy.
Chunk& TheArena() {
  static Chunk arena;
  return arena;
}
template <Record R>
auto FromBinary(std::string_view bytes) {
  const std::vector<char> copy(bytes.begin(), bytes.end());
  R record;
  const auto read = read_binary(record, {copy.data(), unsigned(copy.size())}, TheArena());
  return std::pair(record, read);
}
template <Record R>
auto FromJson(std::string_view text) {
  R record;
  const auto read = read_json(record, text, TheArena());
  return std::pair(record, read);
}

template <class R>
class RecordTest : public testing::Test {};
using Records = testing::Types<ReqInfo, InputInfo, EnvInfo, ClientInfo, SugLog, AttachItem,
                               SkinInfo, SkinReport, SkinInput, SkinJson, AttachInfo, CloudRequest,
                               ServInfo, VerRange, PkgVersion, SugAction, LianItem, MutiLian,
                               CandItem, ServItem, SugCard, CloudResponse>;
TYPED_TEST_SUITE(RecordTest, Records);

// One by one: the fields by falling number, the members last to first.
TYPED_TEST(RecordTest, TakesItsFieldsInAnyOrder) {
  RecordFiller filler(7, false);
  const auto made = filler.template Make<TypeParam>();
  const std::string bytes = Binary(made), json = Json(made);
  Chunk arena;
  TypeParam from_fields, from_members;
  std::vector<tstl::WireField> fields;
  tstl::WireReader reader{Bytes(bytes)};
  for (tstl::WireField field; reader.next(field);) fields.push_back(field);
  std::ranges::stable_sort(fields, std::greater(), &tstl::WireField::key);
  for (const auto& field : fields) EXPECT_TRUE(read_binary_field(from_fields, field, arena));
  EXPECT_EQ(Difference(from_fields, made), "");

  std::vector<tstl::JsonNode*> members;
  auto* node = tstl::json_parse(json, arena).root->first_child();
  for (; node != nullptr; node = node->next()) members.insert(members.begin(), node);
  for (auto* member : members) EXPECT_TRUE(read_json_member(from_members, *member, arena));
  EXPECT_EQ(Difference(from_members, made), "");
}

// Each field with a value of every other type, and fields and keys that no record has.
TYPED_TEST(RecordTest, LeavesAloneWhatItDoesNotKnow) {
  std::string bytes = PlainField(77, 5) + PlainField(78, "x");
  std::string json = R"({"":1,"Req":1,"a\u0062":[{}])";
  kFields<TypeParam>.each([&](auto field) {
    using Codec = typename decltype(field)::FieldCodec;
    const bool number = Codec::kWireType == tstl::WireType::kVarint;
    bytes += number ? PlainField(field.kNumber, "12345") : PlainField(field.kNumber, 1);
    bytes += static_cast<char>(field.kNumber * 8 + 5) + std::string(4, 1);
    const char* const values[] = {"{}", "[[]]", "\"1\"", "1", "true", "null"};
    for (std::size_t type = 0; type < 6; ++type) {
      if (type != std::size_t(Codec::kJsonType))
        json += ",\"" + std::string(field.kKey) + "\":" + values[type];
    }
  });
  Chunk arena;
  TypeParam record;
  tstl::WireReader reader{Bytes(bytes)};
  for (tstl::WireField field; reader.next(field);)
    EXPECT_FALSE(read_binary_field(record, field, arena));
  auto* member = tstl::json_parse(json += "}", arena).root->first_child();
  for (; member != nullptr; member = member->next())
    EXPECT_FALSE(read_json_member(record, *member, arena));
  EXPECT_TRUE(read_binary(record, bytes, arena) && read_json(record, json, arena)) << json;
  EXPECT_EQ(Difference(record, TypeParam()), "");
}

TYPED_TEST(RecordTest, KeepsWhatStoodBeforeTheFault) {
  RecordFiller filler(3, false);
  const std::string bytes = Binary(filler.template Make<TypeParam>());
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    const std::string_view cut = std::string_view(bytes).substr(0, n);
    tstl::WireReader reader{Bytes(cut)};
    std::size_t good = 0;
    for (tstl::WireField field; reader.next(field);) good = reader.position();
    const auto [record, read] = FromBinary<TypeParam>(cut);
    EXPECT_EQ(read.fault, good == n ? WireFault::kNone : WireFault::kTruncated);
    EXPECT_EQ(read.position, reader.position());
    EXPECT_EQ(Difference(record, FromBinary<TypeParam>(cut.substr(0, good)).first), "");
  }
}

TEST(CloudMessageTest, IsWrittenAsTheServiceReadsIt) {
  static SugLog log[1];
  static Text16 cands[] = {u"a", u"", u"\xD800"};
  const struct {
    std::function<void(CloudRequest&)> set;
    std::string_view bytes;
    const char* json;  // the part that differs from that of an empty request
  } rows[] = {
      {[](auto& r) { r.req.is_ft = true; }, "\x0A\x02\x28\x01",
       R"("req":{"need_zj_forcast":false,"is_ft":true})"},
      {[](auto& r) { log[0].sug_word = log[0].input_inline = u"中a", r.attach.suglogs = log; },
       "\x2A\x0E\x0A\x0C\x2A\x04\xE4\xB8\xAD\x61\x32\x04\x2D\x4E\x61\0"sv,
       R"("attach":{"suglogs":[{"sug_word":"中a","input_inline":"中a"}],"json")"},
      {[](auto& r) { r.attach.json.report.status = 0; }, "\x2A\6\x32\4\x12\2\x08\0"sv,
       R"("report":{"status":0})"},
      {[](auto& r) { r.attach.json.cands = cands; }, "\x2A\x0C\x32\x0A\"\1a\"\0\"\3\xED\xA0\x80"sv,
       R"("cands":["a","","\ud800"])"},
  };
  for (const auto& row : rows) {
    CloudRequest request;
    row.set(request);
    EXPECT_EQ(Binary(request), row.bytes) << row.json;
    EXPECT_NE(Json(request).find(row.json), std::string::npos) << Json(request);
  }
  EXPECT_EQ(Binary(CloudRequest()), "");
  EXPECT_EQ(Json(CloudRequest()),
            R"({"req":{"need_zj_forcast":false,"is_ft":false},"ipt":{},"env":{},"client":{},)"
            R"("attach":{"json":{"info":{},"report":{},"input":{}}}})");

  SugCard card[1];  // reads its package name under one key and writes it under another
  card[0].apk_name = "com.x";
  CloudResponse response;
  response.sug_card_list = card;
  EXPECT_NE(Json(response).find(R"("sug_card_list":[{"akp_name":"com.x"}]})"), std::string::npos);
  EXPECT_EQ(Binary(response), "\x3A\0"sv);
  EXPECT_EQ(FromJson<SugCard>(R"({"apk_name":"b","akp_name":"c"})").first.apk_name, "b"sv);
  EXPECT_EQ(FromBinary<SugCard>(PlainField(10, "com.y")).first.apk_name, "com.y"sv);
}

TEST(CloudMessageTest, WhatComesAgainReplacesAppendsOrMerges) {
  const auto report = [](std::string_view fields) {
    return PlainField(5, PlainField(6, PlainField(2, fields)));
  };
  const auto binary = FromBinary<CloudRequest>(
      report(PlainField(1, 3)) + PlainField(5, PlainField(1, "") + PlainField(5, "old")) +
      report(PlainField(2, 4)) + PlainField(5, PlainField(1, "") + PlainField(5, "")));
  const auto json = FromJson<CloudRequest>(
      R"({"attach":{"json":{"report":{"status":3}},"suglogs":[{},7],"ai_cloud":"old"},)"
      R"("attach":{"json":{"report":{"cost":4}},"suglogs":[{}],"ai_cloud":""}})");
  for (const CloudRequest* request : {&binary.first, &json.first}) {
    const std::string attach = Json(*request);
    EXPECT_NE(attach.find(R"({"suglogs":[{},{}],"json":)"), attach.npos) << attach;
    EXPECT_NE(attach.find(R"("report":{"status":3,"cost":4})"), attach.npos) << attach;
  }
  // A varint that is wider than the member is cut to its width; a JSON number that does not fit is
  // ignored.
  EXPECT_EQ(Json(FromBinary<ServItem>(PlainField(1, 0x12345) + PlainField(5, ~0ull - 1) +
                                      PlainField(12, ~0ull >> 32))
                     .first),
            R"({"show_type":9029,"img_rect":18446744073709551614,"max_show_num":-1})");
  EXPECT_TRUE(FromBinary<ReqInfo>(PlainField(4, 1ull << 63)).first.need_zj_forcast);
  EXPECT_EQ(FromJson<ServItem>(R"({"show_type":65535,"show_type":65536})").first.show_type, 65535);
  EXPECT_EQ(FromBinary<SugLog>(PlainField(6, "a\0b\0c"sv)).first.input_inline.len(), 2u);
}

// In lines, with escaped keys, cut short, and with each byte changed: a cursor must read the same
// as a tree (message_fuzz.h compares them).
TEST(CloudMessageTest, JsonIsReadAsItsTreeIsHoweverItIsSpelled) {
  RecordFiller filler(11, false);
  const std::string json = Json(filler.Make<CloudResponse>());
  const auto check = [](const std::string& text) {
    const std::vector<char> copy(text.begin(), text.end());
    fuzz::CheckJson<CloudResponse>({copy.data(), unsigned(copy.size())});
  };
  Buffer<unsigned char> lines;
  ASSERT_TRUE(tstl::json_pretty(json, lines));
  check(std::string(lines.std_view()));
  std::string escaped;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const bool begins_key = json[i] == 'i' && (json[i - 1] == '"');
    escaped += begins_key ? "\\u0069" : std::string(1, json[i]);
  }
  check(escaped);
  for (std::size_t i = 0; i < json.size(); i += 1 + i / 64) {
    check(json.substr(0, i));
    std::string changed = json;
    for (const char byte : "\"\\{}[]:,0-e \x01\xE4"sv) changed[i] = byte, check(changed);
  }
}

// A fault of the message itself ends the reading. A fault of a nested record costs the rest of that
// record, and the fields that follow are read.
TEST(CloudMessageTest, FaultsAreNamedWithTheirPlaceInTheWholeMessage) {
  const struct {
    std::string_view bytes;
    WireFault fault;
    std::uint32_t position;
    std::uint32_t read_on;  // the context_id after the fault, 0 if it was not read
    std::string_view json;  // a part of what was read
  } rows[] = {
      {"\x2A\x03\x1A\x05\x41"sv, WireFault::kTruncated, 4, 9, ""},
      {"\x2A\x08\x32\x06\x12\x04\x08\x01\x10\x80"sv, WireFault::kTruncated, 9, 9,
       R"("report":{"status":1})"},
      {"\x2A\x06\x0A\x04\x08\x05\x0C\x00"sv, WireFault::kGroup, 6, 9,
       R"("suglogs":[{"sug_log_type":5}])"},
      {"\x2A\x02\x0F\x00\x0A\x01\x08"sv, WireFault::kWireType, 2, 9, ""},
      {"\x08\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x00"sv, WireFault::kOverlong, 1, 0, ""},
      {"\x0A\x01\x08\x0C"sv, WireFault::kTruncated, 3, 0, ""},  // the first of two
      {"\x7B\x0A\x01\x08\x7C\x2A\x05\x7B\x7C\x1A\x01\x62"sv, WireFault::kNone, 12 + 4, 9,
       R"("binary_log":"b")"},
  };
  const std::string before = "\x2A\x03\x2A\x01\x61", after = PlainField(2, PlainField(3, 9));
  for (const auto& row : rows) {
    const auto [request, read] =
        FromBinary<CloudRequest>(std::string(before).append(row.bytes) + after);
    SCOPED_TRACE(testing::PrintToString(row.bytes) + Json(request));
    EXPECT_EQ(read.fault, row.fault);
    EXPECT_EQ(read.position, before.size() + row.position);
    EXPECT_EQ(request.attach.ai_cloud, "a"sv);
    EXPECT_EQ(request.ipt.context_id, row.read_on);
    EXPECT_NE(Json(request).find(row.json), std::string::npos);
  }
  const auto [request, text] =
      FromJson<CloudRequest>(R"({"ipt":{"context_id":3},"env":{"net_type":2,x)");
  EXPECT_EQ(std::pair(text.fault, text.position), std::pair(JsonFault::kUnexpected, 44u));
  EXPECT_EQ(request.env.net_type, 2u);
  const auto array = FromJson<CloudRequest>(" [1]").second;
  EXPECT_EQ(std::pair(array.fault, array.position), std::pair(JsonFault::kUnexpected, 1u));
}

}  // namespace
}  // namespace zenta::cloud

// The records of both messages, in both forms: one body for all of them, made from their tables,
// and the byte sequences that the service and other decoders rely on.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "fuzz/io/wire_oracle.h"
#include "tests/reference/record_reference.h"

namespace zenta::cloud {
namespace {

using records::BinaryResult;
using records::JsonResult;
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

// A record with the arena that it was read into. Binary messages are read from an exactly sized copy.
template <Record R>
struct Read {
  static Read FromBinary(std::string_view bytes) {
    Read read;
    const std::vector<char> copy(bytes.begin(), bytes.end());
    read.binary = read_binary(read.record, {copy.data(), unsigned(copy.size())}, read.arena);
    return read;
  }
  static Read FromJson(std::string_view text) {
    Read read;
    read.json = read_json(read.record, text, read.arena);
    return read;
  }

  Chunk arena;
  R record;
  BinaryResult binary;
  JsonResult json;
};

template <class R>
class RecordTest : public testing::Test {};
using Records = testing::Types<ReqInfo, InputInfo, EnvInfo, ClientInfo, SugLog, AttachItem,
                               SkinInfo, SkinReport, SkinInput, SkinJson, AttachInfo, CloudRequest,
                               ServInfo, VerRange, PkgVersion, SugAction, LianItem, MutiLian,
                               CandItem, ServItem, SugCard, CloudResponse>;
TYPED_TEST_SUITE(RecordTest, Records);

TYPED_TEST(RecordTest, ComesBackWholeFromEitherForm) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    const bool well_formed = seed % 2 == 0;
    RecordFiller filler(seed, well_formed);
    const auto made = filler.template Make<TypeParam>();
    const std::string bytes = Binary(made), json = Json(made);
    const auto from_bytes = Read<TypeParam>::FromBinary(bytes);
    const auto from_json = Read<TypeParam>::FromJson(json);
    EXPECT_TRUE(from_bytes.binary && from_json.json);
    EXPECT_EQ(from_bytes.binary.position, bytes.size());
    EXPECT_EQ(Difference(from_bytes.record, made), "");
    EXPECT_EQ(Difference(from_json.record, made), "");
    EXPECT_EQ(Binary(from_json.record), bytes);
    EXPECT_EQ(Json(from_bytes.record), json);
    EXPECT_EQ(tstl::valid_utf8_prefix(Bytes(json).cstr(), json.size()), json.size());
  }
}

// Fed one by one, the fields by falling number, the members last to first.
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
    const auto read = Read<TypeParam>::FromBinary(cut);
    EXPECT_EQ(read.binary.fault, good == n ? WireFault::kNone : WireFault::kTruncated);
    EXPECT_EQ(read.binary.position, reader.position());
    EXPECT_EQ(Difference(read.record, Read<TypeParam>::FromBinary(cut.substr(0, good)).record), "");
  }
}

// ---- What the bytes are

std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

TEST(CloudRequestTest, IsWrittenByteForByteAsTheServiceReadsIt) {
  static SugLog log[1];
  static Text16 cands[] = {u"a", u"", u"\xD800"};
  struct Row {
    std::function<void(CloudRequest&)> set;
    const char* bytes;
    const char* json;  // what differs from that of an empty request: the object that is changed
  };
  const Row rows[] = {
      {[](auto&) {}, "", R"("ipt":{})"},
      {[](auto& r) { r.req.need_zj_forcast = true; }, "0A 02 20 01",
       R"("req":{"need_zj_forcast":true,"is_ft":false})"},
      {[](auto& r) { r.req.is_ft = true; }, "0A 02 28 01",
       R"("req":{"need_zj_forcast":false,"is_ft":true})"},
      {[](auto& r) { log[0].sug_word = log[0].input_inline = u"中文a", r.attach.suglogs = log; },
       "2A 13 0A 11 2A 07 E4 B8 AD E6 96 87 61 32 06 2D 4E 87 65 61 00",
       R"("attach":{"suglogs":[{"sug_word":"中文a","input_inline":"中文a"}],"json")"},
      {[](auto& r) { r.attach.json.report.status = 0; }, "2A 06 32 04 12 02 08 00",
       R"("report":{"status":0})"},
      {[](auto& r) { r.attach.json.report.cost = -2; },
       "2A 0F 32 0D 12 0B 10 FE FF FF FF FF FF FF FF FF 01", R"("report":{"cost":-2})"},
      {[](auto& r) { r.attach.json.cands = cands; }, "2A 0C 32 0A 22 01 61 22 00 22 03 ED A0 80",
       R"("cands":["a","","\ud800"])"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.json);
    CloudRequest request;
    row.set(request);
    EXPECT_EQ(Hex(Binary(request)), row.bytes);
    EXPECT_NE(Json(request).find(row.json), std::string::npos) << Json(request);
  }
  EXPECT_EQ(Json(CloudRequest()),
            R"({"req":{"need_zj_forcast":false,"is_ft":false},"ipt":{},"env":{},"client":{},)"
            R"("attach":{"json":{"info":{},"report":{},"input":{}}}})");
}

TEST(CloudResponseTest, CardsReadTheirPackageNameAndWriteItUnderAnotherKeyOnly) {
  SugCard card[1];
  card[0].apk_name = "com.x";
  CloudResponse response;
  response.sug_card_list = card;
  EXPECT_NE(Json(response).find(R"("sug_card_list":[{"akp_name":"com.x"}]})"), std::string::npos);
  EXPECT_EQ(Hex(Binary(response)), "3A 00");
  EXPECT_EQ(Read<SugCard>::FromJson(R"({"apk_name":"b","akp_name":"c"})").record.apk_name, "b"sv);
  EXPECT_EQ(Read<SugCard>::FromBinary(PlainField(10, "com.y")).record.apk_name, "com.y"sv);
}

TEST(CloudMessageTest, WhatComesAgainReplacesAppendsOrMerges) {
  const auto report = [](std::string_view fields) {
    return PlainField(5, PlainField(6, PlainField(2, fields)));
  };
  const auto binary = Read<CloudRequest>::FromBinary(
      report(PlainField(1, 3)) + PlainField(5, PlainField(1, "") + PlainField(5, "old")) +
      report(PlainField(2, 4)) + PlainField(5, PlainField(1, "") + PlainField(5, "")));
  const auto json = Read<CloudRequest>::FromJson(
      R"({"attach":{"json":{"report":{"status":3}},"suglogs":[{},7],"ai_cloud":"old"},)"
      R"("attach":{"json":{"report":{"cost":4}},"suglogs":[{}],"ai_cloud":""}})");
  for (const auto* read : {&binary, &json}) {
    const AttachInfo& attach = read->record.attach;
    EXPECT_EQ(attach.json.report.status, 3);
    EXPECT_EQ(attach.json.report.cost, 4);
    EXPECT_EQ(attach.suglogs.size(), 2u);
    EXPECT_TRUE(attach.ai_cloud.is_empty());
  }
  // A varint that is wider than the member is cut to its width; a number of JSON is not taken.
  const auto item = Read<ServItem>::FromBinary(PlainField(1, 0x12345) + PlainField(5, ~0ull - 1) +
                                               PlainField(12, ~0ull >> 32));
  EXPECT_EQ(Json(item.record),
            R"({"show_type":9029,"img_rect":18446744073709551614,"max_show_num":-1})");
  EXPECT_TRUE(Read<ReqInfo>::FromBinary(PlainField(4, 1ull << 63)).record.need_zj_forcast);
  EXPECT_EQ(Read<ServItem>::FromJson(R"({"show_type":65535,"show_type":65536})").record.show_type,
            65535);
  const auto raw = Read<SugLog>::FromBinary(PlainField(6, "a\0b\0c"sv)).record.input_inline;
  EXPECT_EQ(raw.len(), 2u);
}

// A fault of the message itself ends it. One of a nested record costs that record what stands behind
// it, and the fields that follow are read.
TEST(CloudMessageTest, FaultsAreNamedWithTheirPlaceInTheWholeMessage) {
  struct Row {
    std::string_view bytes;
    WireFault fault;
    std::uint32_t position;
    std::uint32_t read_on;  // the context_id behind it, 0 if it was not read
    std::string_view json;  // a part of what was read
  };
  const std::string_view before = "\x2A\x03\x2A\x01\x61"sv;  // ai_cloud "a"
  const Row rows[] = {
      {"\x12\x02\x18\x07"sv, WireFault::kNone, 0, 9, ""},
      {"\x2A\x03\x1A\x05\x41"sv, WireFault::kTruncated, 4, 9, R"("ai_cloud":"a")"},
      {"\x2A\x08\x32\x06\x12\x04\x08\x01\x10\x80"sv, WireFault::kTruncated, 9, 9,
       R"("report":{"status":1})"},
      {"\x2A\x06\x0A\x04\x08\x05\x0C\x00"sv, WireFault::kGroup, 6, 9,
       R"("suglogs":[{"sug_log_type":5}])"},
      {"\x2A\x04\x06\x00\x1A\x00"sv, WireFault::kFieldNumber, 2, 9, R"("ai_cloud":"a")"},
      {"\x2A\x02\x0F\x00\x0A\x01\x08"sv, WireFault::kWireType, 2, 9, R"("ai_cloud":"a")"},
      {"\x08\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x00"sv, WireFault::kOverlong, 1, 0, ""},
      {"\x0A\x01\x08\x0C"sv, WireFault::kTruncated, 3, 0, ""},  // the first of two
      {"\x7B\x0A\x01\x08\x7C\x2A\x05\x7B\x7C\x1A\x01\x62"sv, WireFault::kNone, 0, 9,
       R"("binary_log":"b")"},
  };
  for (const Row& row : rows) {
    const auto read = Read<CloudRequest>::FromBinary(std::string(before).append(row.bytes) +
                                                     PlainField(2, PlainField(3, 9)));
    EXPECT_EQ(read.binary.fault, row.fault) << Hex(row.bytes);
    const auto good = row.fault == WireFault::kNone;
    EXPECT_EQ(read.binary.position, before.size() + (good ? row.bytes.size() + 4 : row.position))
        << Hex(row.bytes);
    EXPECT_EQ(read.record.attach.ai_cloud, "a"sv);
    EXPECT_EQ(read.record.ipt.context_id, row.read_on) << Hex(row.bytes);
    EXPECT_NE(Json(read.record).find(row.json), std::string::npos) << Json(read.record);
  }
  const auto text =
      Read<CloudRequest>::FromJson(R"({"ipt":{"context_id":3},"env":{"net_type":2,x)");
  EXPECT_EQ(text.json.fault, JsonFault::kUnexpected);
  EXPECT_EQ(text.json.position, 44u);
  EXPECT_EQ(text.record.env.net_type, 2u);
  const auto array = Read<CloudRequest>::FromJson(" [1]");
  EXPECT_EQ(array.json.fault, JsonFault::kUnexpected);
  EXPECT_EQ(array.json.position, 1u);
}

}  // namespace
}  // namespace zenta::cloud

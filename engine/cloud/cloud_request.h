// CloudRequest: what the engine asks the cloud suggestion service for, and the records inside it.
//
// Plain structures. Strings are views, and lists are a pointer and a count. Both refer to the arena
// that the message was read into, or to memory of the caller who fills a request; the structures
// own nothing. A new record is empty: zeros, empty texts, and -1 in the three integers of
// SkinReport.
//
// Only the service interprets the integer codes; here they are copied.
//
// Each structure is followed by its table: the field numbers of the binary form and the JSON keys,
// in the order in which they are written. Reading and writing: engine/records/record.h for one
// record, engine/records/message.h for a whole message.
#pragma once

#include <cstdint>
#include <type_traits>

#include "engine/cloud/fields.h"

namespace zenta::cloud {

// clang-format off: a table is read in columns

// What is asked for.
struct ReqInfo {
  std::uint8_t req_type = 0;
  std::uint32_t word_num = 0;
  std::uint32_t forcast_num = 0;
  bool need_zj_forcast = false;
  bool is_ft = false;
};
constexpr auto fields_of(std::type_identity<ReqInfo>) {
  return Fields<Field<1, "req_type", &ReqInfo::req_type>, Field<2, "word_num", &ReqInfo::word_num>,
                Field<3, "forcast_num", &ReqInfo::forcast_num>,
                Field<4, "need_zj_forcast", &ReqInfo::need_zj_forcast, AlwaysInJson>,
                Field<5, "is_ft", &ReqInfo::is_ft, AlwaysInJson>>();
}

// The text being typed and its context.
struct InputInfo {
  Bytes input;
  Bytes history;
  std::uint32_t context_id = 0;
};
constexpr auto fields_of(std::type_identity<InputInfo>) {
  return Fields<Field<1, "input", &InputInfo::input>, Field<2, "history", &InputInfo::history>,
                Field<3, "context_id", &InputInfo::context_id>>();
}

// The device, and the editor that receives the text.
struct EnvInfo {
  std::uint32_t check_id = 0;
  std::uint32_t net_type = 0;
  std::uint32_t screen_width = 0;
  std::uint32_t screen_height = 0;
  std::uint32_t input_id = 0;
  std::uint32_t editor_id = 0;
};
constexpr auto fields_of(std::type_identity<EnvInfo>) {
  return Fields<Field<1, "check_id", &EnvInfo::check_id>, Field<2, "net_type", &EnvInfo::net_type>,
                Field<3, "screen_width", &EnvInfo::screen_width>,
                Field<4, "screen_height", &EnvInfo::screen_height>,
                Field<5, "input_id", &EnvInfo::input_id>,
                Field<6, "editor_id", &EnvInfo::editor_id>>();
}

// The identity of this installation.
struct ClientInfo {
  Bytes cuid;
  Bytes cname;
  Bytes cinput_ver;
  Bytes capp_name;
  Bytes channel;
  Bytes city;
  Bytes cuid3;
  Bytes oaid;
};
constexpr auto fields_of(std::type_identity<ClientInfo>) {
  return Fields<Field<1, "cuid", &ClientInfo::cuid>, Field<2, "cname", &ClientInfo::cname>,
                Field<3, "cinput_ver", &ClientInfo::cinput_ver>,
                Field<4, "capp_name", &ClientInfo::capp_name>,
                Field<5, "channel", &ClientInfo::channel>, Field<6, "city", &ClientInfo::city>,
                Field<7, "cuid3", &ClientInfo::cuid3>, Field<8, "oaid", &ClientInfo::oaid>>();
}

// One logged suggestion event.
struct SugLog {
  std::uint16_t sug_log_type = 0;
  std::uint16_t input_id = 0;
  std::uint32_t sug_source_id = 0;
  std::uint32_t click_type = 0;
  Text16 sug_word;
  Text16 input_inline;
  Bytes pkg_name;
};
// The two texts differ in the binary form, on purpose: one is UTF-8, the other its 16-bit units as
// they are.
constexpr auto fields_of(std::type_identity<SugLog>) {
  return Fields<
      Field<1, "sug_log_type", &SugLog::sug_log_type>, Field<2, "input_id", &SugLog::input_id>,
      Field<3, "sug_source_id", &SugLog::sug_source_id>,
      Field<4, "click_type", &SugLog::click_type>, Field<5, "sug_word", &SugLog::sug_word>,
      Field<6, "input_inline", &SugLog::input_inline, As<RawUnits>>,
      Field<7, "pkg_name", &SugLog::pkg_name>>();
}

// A payload that is sent along.
struct AttachItem {
  std::uint32_t type = 0;
  Bytes buff;
};
constexpr auto fields_of(std::type_identity<AttachItem>) {
  return Fields<Field<1, "type", &AttachItem::type>, Field<2, "buff", &AttachItem::buff>>();
}

// The skin-resource report, which consists of four records.
struct SkinInfo {
  Bytes skin_token;
  std::uint32_t res_id_type = 0;
};
constexpr auto fields_of(std::type_identity<SkinInfo>) {
  return Fields<Field<1, "skin_token", &SkinInfo::skin_token>,
                Field<2, "res_id_type", &SkinInfo::res_id_type>>();
}

// In this record 0 is a value like any other, and -1 means "not set".
struct SkinReport {
  static constexpr std::int64_t kNotSet = -1;
  std::int64_t status = kNotSet;
  std::int64_t cost = kNotSet;
  std::int64_t cpn = kNotSet;
  Bytes ip;
};
constexpr auto fields_of(std::type_identity<SkinReport>) {
  return Fields<Field<1, "status", &SkinReport::status, AbsentIs<SkinReport::kNotSet>>,
                Field<2, "cost", &SkinReport::cost, AbsentIs<SkinReport::kNotSet>>,
                Field<3, "cpn", &SkinReport::cpn, AbsentIs<SkinReport::kNotSet>>,
                Field<4, "ip", &SkinReport::ip>>();
}

struct SkinInput {
  Bytes first;
};
constexpr auto fields_of(std::type_identity<SkinInput>) {
  return Fields<Field<1, "first", &SkinInput::first>>();
}

struct SkinJson {
  SkinInfo info;
  SkinReport report;
  SkinInput input;
  List<Text16> cands;
};
constexpr auto fields_of(std::type_identity<SkinJson>) {
  return Fields<Field<1, "info", &SkinJson::info>, Field<2, "report", &SkinJson::report>,
                Field<3, "input", &SkinJson::input>, Field<4, "cands", &SkinJson::cands>>();
}

// Logs and payloads that are sent along.
struct AttachInfo {
  List<SugLog> suglogs;
  List<AttachItem> attach_items;
  Bytes binary_log;
  Bytes user_trace;
  Bytes ai_cloud;
  SkinJson json;
};
constexpr auto fields_of(std::type_identity<AttachInfo>) {
  return Fields<Field<1, "suglogs", &AttachInfo::suglogs>,
                Field<2, "attach_items", &AttachInfo::attach_items>,
                Field<3, "binary_log", &AttachInfo::binary_log>,
                Field<4, "user_trace", &AttachInfo::user_trace>,
                Field<5, "ai_cloud", &AttachInfo::ai_cloud>, Field<6, "json", &AttachInfo::json>>();
}

// The whole request.
struct CloudRequest {
  ReqInfo req;
  InputInfo ipt;
  EnvInfo env;
  ClientInfo client;
  AttachInfo attach;
};
constexpr auto fields_of(std::type_identity<CloudRequest>) {
  return Fields<Field<1, "req", &CloudRequest::req>, Field<2, "ipt", &CloudRequest::ipt>,
                Field<3, "env", &CloudRequest::env>, Field<4, "client", &CloudRequest::client>,
                Field<5, "attach", &CloudRequest::attach>>();
}

// clang-format on

}  // namespace zenta::cloud

// Compiled once, in cloud_request.cc.
extern template struct zenta::records::MessageCodec<zenta::cloud::CloudRequest>;

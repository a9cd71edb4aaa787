// CloudResponse: what the cloud suggestion service answers, and the records inside it.
//
// Plain structures, like those of cloud_request.h: all strings and lists lie in the arena that the
// message was read into, and nothing is owned. A new record is zero and empty. The service's
// integer codes are not interpreted.
#pragma once

#include <cstdint>
#include <type_traits>

#include "engine/cloud/fields.h"

namespace zenta::cloud {

// clang-format off: a table is read in columns

// State of the server.
struct ServInfo {
  std::uint32_t check_id = 0;
  std::uint32_t server_pressure = 0;
  std::uint32_t white_list_ver = 0;
  std::uint8_t input_type = 0;
  std::uint32_t rsp_flag = 0;
};
constexpr auto fields_of(std::type_identity<ServInfo>) {
  return Fields<Field<1, "check_id", &ServInfo::check_id>,
                Field<2, "server_pressure", &ServInfo::server_pressure>,
                Field<3, "white_list_ver", &ServInfo::white_list_ver>,
                Field<4, "input_type", &ServInfo::input_type>,
                Field<5, "rsp_flag", &ServInfo::rsp_flag>>();
}

struct VerRange {
  std::uint32_t min_ver = 0;
  std::uint32_t max_ver = 0;
};
constexpr auto fields_of(std::type_identity<VerRange>) {
  return Fields<Field<1, "min_ver", &VerRange::min_ver>, Field<2, "max_ver", &VerRange::max_ver>>();
}

// An application package and the version ranges of it to which an action applies.
struct PkgVersion {
  Bytes pkg_name;
  List<VerRange> ver_list;
};
constexpr auto fields_of(std::type_identity<PkgVersion>) {
  return Fields<Field<1, "pkg_name", &PkgVersion::pkg_name>,
                Field<2, "ver_list", &PkgVersion::ver_list>>();
}

// An action that the service suggests.
struct SugAction {
  std::uint16_t action_type = 0;
  std::uint16_t sug_type = 0;
  std::uint32_t source_id = 0;
  std::uint32_t ex_action = 0;
  Text16 source_msg;
  Bytes command;
  List<PkgVersion> pkg_list;
};
constexpr auto fields_of(std::type_identity<SugAction>) {
  return Fields<
      Field<1, "action_type", &SugAction::action_type>, Field<2, "sug_type", &SugAction::sug_type>,
      Field<3, "source_id", &SugAction::source_id>, Field<4, "ex_action", &SugAction::ex_action>,
      Field<5, "source_msg", &SugAction::source_msg>, Field<6, "command", &SugAction::command>,
      Field<7, "pkg_list", &SugAction::pkg_list>>();
}

// A word that may follow, and how often it does.
struct LianItem {
  Text16 unis;
  std::uint32_t freq = 0;
};
constexpr auto fields_of(std::type_identity<LianItem>) {
  return Fields<Field<1, "unis", &LianItem::unis>, Field<2, "freq", &LianItem::freq>>();
}

// The words that may follow what was typed.
struct MutiLian {
  Text16 history;
  std::uint32_t offset = 0;
  List<LianItem> items;
};
constexpr auto fields_of(std::type_identity<MutiLian>) {
  return Fields<Field<1, "history", &MutiLian::history>, Field<2, "offset", &MutiLian::offset>,
                Field<3, "items", &MutiLian::items>>();
}

// One candidate; `unis` is its text.
struct CandItem {
  std::uint32_t type = 0;
  Text16 unis;
  Bytes zids;
  Bytes pinyin;
  Bytes split_info;
  Bytes key;
  std::uint32_t freq = 0;
};
constexpr auto fields_of(std::type_identity<CandItem>) {
  return Fields<Field<1, "type", &CandItem::type>, Field<2, "unis", &CandItem::unis>,
                Field<3, "zids", &CandItem::zids>, Field<4, "pinyin", &CandItem::pinyin>,
                Field<5, "split_info", &CandItem::split_info>, Field<6, "key", &CandItem::key>,
                Field<7, "freq", &CandItem::freq>>();
}

// One service entry for the candidate bar.
struct ServItem {
  std::uint16_t show_type = 0;
  std::uint16_t service_type = 0;
  std::uint32_t flag = 0;
  std::uint32_t is_replace = 0;
  std::uint64_t img_rect = 0;  // a rectangle packed into one number
  Text16 text;
  Bytes goto_url;
  Bytes img_url;
  Bytes content;
  Bytes uid;
  Bytes banner;
  std::int32_t max_show_num = 0;
  std::uint32_t goto_url_type = 0;
};
constexpr auto fields_of(std::type_identity<ServItem>) {
  return Fields<Field<1, "show_type", &ServItem::show_type>,
                Field<2, "service_type", &ServItem::service_type>,
                Field<3, "flag", &ServItem::flag>, Field<4, "is_replace", &ServItem::is_replace>,
                Field<5, "img_rect", &ServItem::img_rect>, Field<6, "text", &ServItem::text>,
                Field<7, "goto_url", &ServItem::goto_url>, Field<8, "img_url", &ServItem::img_url>,
                Field<9, "content", &ServItem::content>, Field<10, "uid", &ServItem::uid>,
                Field<11, "banner", &ServItem::banner>,
                Field<12, "max_show_num", &ServItem::max_show_num>,
                Field<13, "goto_url_type", &ServItem::goto_url_type>>();
}

// One suggestion card.
struct SugCard {
  std::uint32_t card_id = 0;
  Text16 card_key;
  Text16 title;
  Text16 content1;
  Text16 content2;
  Text16 content3;
  Bytes img_url;
  Bytes icon_url;
  Bytes download_url;
  Bytes apk_name;
};
// The package name has two peculiarities, on purpose. JSON is written with the key "akp_name" and
// read with "apk_name", so a card that was written does not read its own package name back. The
// binary form of it is read but never written.
constexpr auto fields_of(std::type_identity<SugCard>) {
  return Fields<Field<1, "card_id", &SugCard::card_id>, Field<2, "card_key", &SugCard::card_key>,
                Field<3, "title", &SugCard::title>, Field<4, "content1", &SugCard::content1>,
                Field<5, "content2", &SugCard::content2>, Field<6, "content3", &SugCard::content3>,
                Field<7, "img_url", &SugCard::img_url>, Field<8, "icon_url", &SugCard::icon_url>,
                Field<9, "download_url", &SugCard::download_url>,
                Field<10, "apk_name", &SugCard::apk_name, WrittenAs<"akp_name">, NeverInBinary>>();
}

// The whole answer.
struct CloudResponse {
  ServInfo serv_info;
  SugAction sug_action;
  MutiLian muti_lian;
  Bytes ai_cloud;  // not interpreted here
  List<CandItem> cand_list;
  List<ServItem> serv_list;
  List<SugCard> sug_card_list;
};
constexpr auto fields_of(std::type_identity<CloudResponse>) {
  return Fields<Field<1, "serv_info", &CloudResponse::serv_info>,
                Field<2, "sug_action", &CloudResponse::sug_action>,
                Field<3, "muti_lian", &CloudResponse::muti_lian>,
                Field<4, "ai_cloud", &CloudResponse::ai_cloud>,
                Field<5, "cand_list", &CloudResponse::cand_list>,
                Field<6, "serv_list", &CloudResponse::serv_list>,
                Field<7, "sug_card_list", &CloudResponse::sug_card_list>>();
}

// clang-format on

}  // namespace zenta::cloud

// Compiled once, in cloud_response.cc.
extern template struct zenta::records::MessageCodec<zenta::cloud::CloudResponse>;

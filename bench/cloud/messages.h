// A typical request and a typical response, as records.
//
// The request has 8 identity strings, 20 log records and 4 attachments. The response has 20
// candidates, 10 service entries and 10 cards, with Chinese text throughout. Payloads are
// printable, as with a service that also accepts JSON, so that every contestant writes the same
// JSON text.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"

namespace zenta::bench {

using cloud::AttachInfo;
using cloud::AttachItem;
using cloud::CandItem;
using cloud::CloudRequest;
using cloud::CloudResponse;
using cloud::LianItem;
using cloud::PkgVersion;
using cloud::ServItem;
using cloud::SkinReport;
using cloud::SugAction;
using cloud::SugCard;
using cloud::SugLog;
using cloud::VerRange;
using records::Bytes;
using records::List;
using records::Text16;

inline constexpr std::array<const char16_t*, 20> kWords = {
    u"附近的美食推荐", u"今天天气怎么样", u"明天上午十点开会", u"北京", u"上海迪士尼乐园门票",
    u"生日快乐",       u"一路顺风",       u"好的，马上就到",   u"我们", u"在路上了",
    u"高铁时刻表查询", u"周末去哪儿玩",   u"红烧肉的做法",     u"谢谢", u"麻烦发一下地址",
    u"没关系",         u"年会节目单",     u"健身计划",         u"手机", u"人工智能与机器学习"};
inline constexpr std::array<const char*, 5> kSpellings = {
    "fu'jin'de'mei'shi", "jin'tian'tian'qi", "ming'tian'shang'wu", "bei'jing", "shang'hai"};

class Messages {
 public:
  Messages() {
    FillRequest();
    FillResponse();
  }
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;

  CloudRequest request;
  CloudResponse response;

 private:
  Bytes Text(const std::string& text) { return arena_.copy(Bytes(text)); }
  Bytes Numbered(const char* text, std::uint32_t i) { return Text(text + std::to_string(i)); }
  // `n` characters like those of a payload in base64.
  Bytes Payload(std::uint32_t n) {
    std::string text;
    for (std::uint32_t i = 0; i < n; ++i) text += "ABCDEFGHIJKLMNOPqrstuvwx0123456"[i * i % 31];
    return Text(text);
  }
  static Text16 Word(std::uint32_t i) { return kWords[i % kWords.size()]; }
  static Bytes Spelling(std::uint32_t i) { return kSpellings[i % kSpellings.size()]; }
  template <class T>
  List<T> MakeList(std::uint32_t n) {
    List<T> list;
    for (std::uint32_t i = 0; i < n; ++i) (void)list.append(arena_);
    return list;
  }

  void FillRequest() {
    request.req = {1, 20, 5, true, false};
    request.ipt = {Text("fujindemeishi"), Text("我们晚上去吃"), 4711};
    request.env = {90231, 2, 1440, 900, 7, 3};
    request.client = {Text("6F3A9C0E41D27B5804C1A2779E10BD55|0"),
                      Text("mac_pinyin"),
                      Text("11.2.1.204"),
                      Text("com.example.messenger"),
                      Text("1000e"),
                      Text("北京市"),
                      Text("A00000B1C7D2E955F3AA0C1B2D3E4F56"),
                      Text("3a6e9c1f-55b0-4c3d-9f0e-1a2b3c4d5e6f")};
    AttachInfo& attach = request.attach;
    attach.suglogs = MakeList<SugLog>(20);
    for (std::uint32_t i = 0; i < 20; ++i) {
      attach.suglogs[i] = {static_cast<std::uint16_t>(1 + i % 4),
                           static_cast<std::uint16_t>(i * 37),
                           2311 + i,
                           i % 3,
                           Word(i),
                           u"fujinde",
                           Text("com.example.messenger")};
    }
    attach.attach_items = MakeList<AttachItem>(4);
    for (std::uint32_t i = 0; i < 4; ++i) attach.attach_items[i] = {i + 1, Payload(96u << i)};
    attach.binary_log = Payload(120);
    attach.json.info = {Text("b9d1f0a2"), 3};
    attach.json.report = {200, 35, SkinReport::kNotSet, Text("10.0.0.7")};
    attach.json.input = {Text("fu")};
    attach.json.cands = MakeList<Text16>(3);
    for (std::uint32_t i = 0; i < 3; ++i) attach.json.cands[i] = Word(i);
  }

  void FillResponse() {
    response.serv_info = {90231, 12, 20260104, 1, 0};
    FillAction(response.sug_action);
    response.muti_lian = {Word(8), 2, MakeList<LianItem>(6)};
    for (std::uint32_t i = 0; i < 6; ++i) response.muti_lian.items[i] = {Word(i + 5), 100 - i};
    response.ai_cloud = Payload(160);
    response.cand_list = MakeList<CandItem>(20);
    for (std::uint32_t i = 0; i < 20; ++i) {
      response.cand_list[i] = {1 + i % 2,       Word(i),       Numbered("1f3c", i * 77),
                               Spelling(i),     Text("2|3|2"), Numbered("k", 1000 + i),
                               60000 - i * 1234};
    }
    response.serv_list = MakeList<ServItem>(10);
    for (std::uint32_t i = 0; i < 10; ++i) {
      response.serv_list[i] = {static_cast<std::uint16_t>(1 + i % 3),
                               static_cast<std::uint16_t>(20 + i),
                               0x1001,
                               i % 2,
                               0x0010002000A000B0u + i,
                               Word(i + 3),
                               Numbered("https://service.example.com/open?item=", 880000 + i),
                               Numbered("https://img.example.com/icons/", 1200 + i),
                               Text(R"({"style":2,"color":"#3388ff"})"),
                               Numbered("u", 55000 + i),
                               Bytes(),
                               i % 2 != 0 ? -1 : 3,
                               1};
    }
    response.sug_card_list = MakeList<SugCard>(10);
    for (std::uint32_t i = 0; i < 10; ++i) {
      // Without a package name, which on purpose is written under another key than it is read
      // under.
      response.sug_card_list[i] = {300 + i,
                                   Word(i),
                                   Word(i + 1),
                                   Word(i + 4),
                                   Word(i + 9),
                                   Text16(),
                                   Numbered("https://img.example.com/cards/", i),
                                   Numbered("https://img.example.com/icons/", i),
                                   Numbered("https://dl.example.com/app?id=", 70000 + i),
                                   Bytes()};
    }
  }
  void FillAction(SugAction& action) {
    action = {3, 1, 2311, 0, Word(4), Text("open"), MakeList<PkgVersion>(2)};
    for (std::uint32_t i = 0; i < 2; ++i) {
      action.pkg_list[i] = {Numbered("com.example.app", i), MakeList<VerRange>(2)};
      action.pkg_list[i].ver_list[0] = {100, 899};
      action.pkg_list[i].ver_list[1] = {1000, 4294967295};
    }
  }

  tstl::Chunk arena_;
};

}  // namespace zenta::bench

#include "tools/zentactl/trace_page.h"

#include <openssl/evp.h>

#include <cassert>
#include <utility>

#include "corelib/io/json/json_write.h"
#include "tools/common/failure.h"
#include "tools/common/xml_text.h"
#include "tools/zentactl/trace_page_text.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

using records::Bytes;
using tools::Failure;
using tstl::JsonWrite;

void Key(JsonWrite& out, std::string_view key) { out.plain_key(Bytes(key)); }

void Put(JsonWrite& out, std::string_view key, std::uint64_t value) {
  Key(out, key), out.num(value);
}

void PutText(JsonWrite& out, std::string_view text) { out.str(Bytes(text)); }

void PutLayout(JsonWrite& out, const TraceLayout& layout, const std::string& heading) {
  out.begin_object();
  Key(out, "heading"), PutText(out, heading);
  Key(out, "rect"), out.begin_array();
  for (const std::int16_t side : layout.rect) out.num(side);
  out.end_array();
  Put(out, "touches", layout.touches);
  Key(out, "keys"), out.begin_array();
  for (std::size_t i = 0; i < layout.keys.size(); ++i) {
    out.begin_array();
    for (const std::int16_t side : layout.keys[i].rect) out.num(side);
    PutText(out, KeyLabel(layout.keys[i].id));
    out.num(layout.counts[i].hit), out.num(layout.counts[i].meant);
    out.end_array();
  }
  out.end_array(), out.end_object();
}

int IndexOrNone(std::uint16_t key) { return key == kNoKey ? -1 : key; }

void PutInput(JsonWrite& out, const PictureInput& input, std::uint32_t first_time) {
  out.begin_array();
  out.num(input.number), PutText(out, input.text), PutText(out, input.code);
  out.num(input.kept.empty() ? std::int64_t{-1} : static_cast<std::int64_t>(input.layout));
  out.num(input.touches), out.num(input.milliseconds);
  out.begin_array();
  for (const PictureTouch& touch : input.kept) {
    out.num(touch.at[0]), out.num(touch.at[1]);
    touch.time ? out.num(*touch.time - first_time) : out.null();
    out.num(IndexOrNone(touch.keys.hit)), out.num(IndexOrNone(touch.keys.meant));
  }
  out.end_array(), out.end_array();
}

void PutLeftOut(JsonWrite& out, const TraceLayouts::LeftOut& left) {
  Key(out, "leftOut"), out.begin_object();
  Put(out, "layouts", left.layouts), Put(out, "keys", left.keys), Put(out, "touches", left.touches);
  out.end_object();
}

// Escapes what could end the script element or begin a comment, and the two separators that older
// JavaScript takes for line ends. In JSON they occur only inside strings, which allow escapes.
std::string EscapedForScript(std::string_view json) {
  constexpr std::pair<std::string_view, std::string_view> kEscapes[] = {{"<", "\\u003c"},
                                                                        {">", "\\u003e"},
                                                                        {"&", "\\u0026"},
                                                                        {"\u2028", "\\u2028"},
                                                                        {"\u2029", "\\u2029"}};
  std::string out;
  out.reserve(json.size());
  while (!json.empty()) {
    std::string_view taken = json.substr(0, 1), put = taken;
    for (const auto& [text, escape] : kEscapes) {
      if (json.starts_with(text)) taken = text, put = escape;
    }
    out += put;
    json.remove_prefix(taken.size());
  }
  return out;
}

// The SHA-256 of the script in base64, by which the page's policy (CSP) allows it.
std::string DigestOf(std::string_view script) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (EVP_Digest(script.data(), script.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
    throw Failure("cannot digest the page's script");
  }
  unsigned char text[EVP_MAX_MD_SIZE * 2];
  const int count = EVP_EncodeBlock(text, digest, static_cast<int>(length));
  return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(count)};
}

}  // namespace

std::string TracePageData(const TraceData& data) {
  JsonWrite out;
  out.begin_object();
  Key(out, "totals"), out.begin_object();
  Put(out, "inputs", data.totals.inputs()), Put(out, "touches", data.totals.touches);
  Put(out, "length", data.totals.length()), out.end_object();
  Put(out, "step", data.picture.step());
  PutLeftOut(out, data.layouts.left_out());
  Key(out, "layouts"), out.begin_array();
  const auto& layouts = data.layouts.kept();
  for (std::size_t i = 0; i < layouts.size(); ++i) {
    PutLayout(out, layouts[i], data.layouts.Heading(i));
  }
  out.end_array();
  Key(out, "inputs"), out.begin_array();
  for (const PictureInput& input : data.picture.inputs()) {
    PutInput(out, input, data.totals.first_time);
  }
  out.end_array(), out.end_object();
  if (!out.good()) throw Failure("out of memory");
  return EscapedForScript(out.output().std_view());
}

std::string MakeTracePage(const TraceData& data, std::string_view title) {
  const std::string heading = tools::XmlText(Shown(title, 60));
  const std::pair<std::string_view, std::string> places[] = {
      {"{{title}}", heading},
      {"{{digest}}", DigestOf(kTracePageJs)},
      {"{{style}}", std::string(kTracePageCss)},
      {"{{title}}", heading},
      {"{{data}}", TracePageData(data)},
      {"{{script}}", std::string(kTracePageJs)},
  };
  // Each placeholder is replaced once, in the order of the page; text that was put in is not
  // searched.
  std::string page;
  std::string_view rest = kTracePageHtml;
  for (const auto& [place, text] : places) {
    const std::size_t at = rest.find(place);
    assert(at != rest.npos);
    page.append(rest.substr(0, at)).append(text);
    rest.remove_prefix(at + place.size());
  }
  return page.append(rest);
}

}  // namespace zenta::zentactl

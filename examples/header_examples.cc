// The examples at the top of the most used headers, one function each, so that they are compiled
// and run. Prints what the first and the last of them make.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "corelib/io/json/json_read.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "engine/records/field.h"
#include "engine/records/message.h"

namespace {

using Text = tstl::BufferRef<unsigned char>;
using zenta::records::Field;
using zenta::records::Fields;
using zenta::records::List;
using zenta::records::Text16;
using zenta::records::WrittenAs;

int show_buffer() {
  tstl::Buffer<unsigned char> line;               // 8-bit text: UTF-8
  line.append_str("count: ").append_num(42, 4);   // "count: 0042"
  line.append_str(u"，中").append_chr(U'文');     // other widths are transcoded
  const tstl::Buffer<unsigned short> wide(line);  // the whole text as UTF-16
  std::puts(reinterpret_cast<const char*>(line.c_str()));
  return wide.len() == 14 ? 0 : 1;
}

int show_views() {
  unsigned height = 0;
  for (tstl::BufferRefMutable<unsigned char> text = "width=5\nheight=7\n"; text;) {
    tstl::BufferRefMutable<unsigned char> line = text.fetch_before_crlf();
    const tstl::BufferRef<unsigned char> name = line.fetch_before_chr('=');
    if (name == "height") height = line.to_num32();  // `line` is what is left of it: "7"
  }
  return height == 7 ? 0 : 1;
}

int show_hash() {
  std::uint64_t total = 0;
  tstl::BufferHash<unsigned char> words(100'000);  // about as many buckets as keys
  auto* const node = words.insert("你好");         // found, or made with the value 0
  if (node != nullptr) node->set_value(node->value() + 1);
  const auto* const found = words.find("世界");  // null: it is not there
  words.for_each([&](Text key, std::uint64_t value) { total += key.len() * value; });
  return found == nullptr && total == 6 ? 0 : 1;
}

int show_dict() {
  std::uint64_t total = 0;
  tstl::BufferDict<unsigned char> dict;
  if (dict.open("words.dict") == tstl::FAILURE) return 1;  // 0 is success
  const auto* const record = dict.find("你好");            // null: it is not there
  if (record != nullptr) total += record->value();
  dict.for_each([&](Text key, std::uint64_t value) { total += key.len() * value; });
  return total != 0 ? 0 : 1;
}

int show_json() {
  const Text text = R"({"freq": 5, "word": "\u4F60好"})";
  Text word;
  tstl::Chunk arena;
  const tstl::JsonParse parse = tstl::json_parse(text, arena);
  if (!parse) std::printf("%s at byte %u\n", json_fault_text(parse.fault), parse.position);
  for (auto* node = parse ? parse.root->first_child() : nullptr; node; node = node->next()) {
    if (node->key_is("word")) word = node->str8(arena);  // decoded into the arena
  }
  return word == "你好" ? 0 : 1;
}

int show_message() {
  tstl::Buffer<unsigned char> bytes;
  const Text received;
  zenta::cloud::CloudRequest request;
  request.ipt.input = "nihao";
  if (!write_binary(request, bytes)) return 1;  // too long, or out of memory

  tstl::Chunk arena;
  arena.set_limit(4 << 20);  // where messages come from others
  zenta::cloud::CloudResponse response;
  const auto read = replace_binary(response, received, arena);
  if (!read) std::printf("%s at byte %u\n", read.text(), read.position);  // see BinaryResult
  return read && bytes ? 0 : 1;
}

struct Picture {
  std::uint32_t width = 0;
};
constexpr auto fields_of(std::type_identity<Picture>) {
  return Fields<Field<1, "width", &Picture::width>>();
}

struct Card {
  std::uint32_t id = 0;
  Text16 title;
  List<Picture> pictures;
};
constexpr auto fields_of(std::type_identity<Card>) {
  return Fields<Field<1, "id", &Card::id>, Field<2, "title", &Card::title, WrittenAs<"titel">>,
                Field<3, "pictures", &Card::pictures>>();
}

int show_fields() {
  Picture picture{640};
  Card card{7, u"中", {&picture, 1}};
  tstl::JsonWrite json;
  zenta::records::write_json(card, json);
  tstl::ProtoWrite binary;
  zenta::records::write_binary(card, binary);
  std::puts(reinterpret_cast<const char*>(json.output().c_str()));
  const auto& bytes = binary.output();
  for (unsigned i = 0; i < bytes.len(); ++i) std::printf(i == 0 ? "%02X" : " %02X", bytes[i]);
  std::puts("");
  return 0;
}

}  // namespace

int main() {
  return show_buffer() | show_views() | show_hash() | show_dict() | show_json() | show_message() |
         show_fields();
}

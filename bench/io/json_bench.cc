// The JSON reader beside RapidJSON's in-situ parse, and the writer beside RapidJSON's. Both readers
// parse a fresh copy of the text into memory that was allocated before. Both writers write into a
// buffer that is large enough.
#include <benchmark/benchmark.h>
#define RAPIDJSON_SSE2  // its quicker form
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bench/ratio.h"
#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_write.h"

namespace {

using tstl::BufferRef;
using tstl::JsonNode;
using zenta::bench::Contestant;
using zenta::bench::Race;

// Writes a message of records like those of the cloud service, through any writer. `text` is one of
// the strings in each record.
template <class Out>
void WriteRecords(Out& out, int count, std::string_view text) {
  out.BeginArray();
  for (int i = 0; i < count; ++i) {
    out.BeginObject();
    out.Key("sug_log_type"), out.Number(i % 7);
    out.Key("input_id"), out.Number(i * 37);
    out.Key("click_type"), out.Number(2311);
    out.Key("sug_word"), out.Text(text);
    out.Key("pkg_name"), out.Text("com.example.messenger");
    out.EndObject();
  }
  out.EndArray();
}

struct Ours {
  void BeginArray() { out.begin_array(); }
  void EndArray() { out.end_array(); }
  void BeginObject() { out.begin_object(); }
  void EndObject() { out.end_object(); }
  void Key(std::string_view name) { out.plain_key(name); }
  void Number(int value) { out.num(value); }
  void Text(std::string_view text) { out.str(BufferRef<unsigned char>(text)); }

  tstl::JsonWrite& out;
};

struct Peer {
  void BeginArray() { out.StartArray(); }
  void EndArray() { out.EndArray(); }
  void BeginObject() { out.StartObject(); }
  void EndObject() { out.EndObject(); }
  void Key(std::string_view name) { out.Key(name.data(), static_cast<unsigned>(name.size())); }
  void Number(int value) { out.Int(value); }
  void Text(std::string_view text) { out.String(text.data(), static_cast<unsigned>(text.size())); }

  rapidjson::Writer<rapidjson::StringBuffer> out;
};

struct Kind {
  const char* name;
  const char* text;
};
constexpr Kind kKinds[] = {
    {"ascii", "restaurants near me that are open"},
    {"chinese",
     "\xE9\x99\x84\xE8\xBF\x91\xE7\x9A\x84\xE7\xBE\x8E\xE9\xA3\x9F\xE6\x8E\xA8\xE8\x8D\x90"},
    {"escapes", "a \"quoted\" word,\na second line\t\\"},
};

void BM_Write(benchmark::State& state) {
  const Kind& kind = kKinds[state.range(0)];
  tstl::JsonWrite out;
  rapidjson::StringBuffer buffer;
  const auto ours = [&] {
    out.clear();
    Ours writer{out};
    WriteRecords(writer, 30, kind.text);
    return out.output().std_view();
  };
  const auto peer = [&] {
    buffer.Clear();
    Peer writer{rapidjson::Writer<rapidjson::StringBuffer>(buffer)};  // quickest as a local object
    WriteRecords(writer, 30, kind.text);
    return std::string_view(buffer.GetString(), buffer.GetSize());
  };
  if (ours() != peer()) state.SkipWithError("the contestants disagree");
  state.SetLabel(kind.name);
  Race(state, {.bytes = double(ours().size())}, Contestant{"ours", ours},
       Contestant{"rapidjson", peer});
}
BENCHMARK(BM_Write)->ArgName("kind")->DenseRange(0, 2);

std::size_t CountValues(JsonNode* node) {
  std::size_t count = 1;
  for (JsonNode* child = node->first_child(); child != nullptr; child = child->next())
    count += CountValues(child);
  return count;
}
std::size_t CountValues(const rapidjson::Value& value) {
  std::size_t count = 1;
  if (value.IsObject())
    for (const auto& member : value.GetObject()) count += CountValues(member.value);
  if (value.IsArray())
    for (const auto& element : value.GetArray()) count += CountValues(element);
  return count;
}

void BM_Parse(benchmark::State& state) {
  const Kind& kind = kKinds[state.range(0)];
  tstl::JsonWrite source;
  Ours writer{source};
  WriteRecords(writer, static_cast<int>(state.range(1)), kind.text);
  const std::string text(source.output().std_view());
  std::vector<char> copy(text.size() + 1);
  const auto refill = [&] { std::memcpy(copy.data(), text.c_str(), copy.size()); };

  tstl::Chunk arena;
  const auto ours = [&] {
    refill();
    arena.rewind();
    return tstl::json_parse({copy.data(), static_cast<unsigned>(text.size())}, arena).root;
  };
  using Pool = rapidjson::MemoryPoolAllocator<>;
  using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, Pool, Pool>;
  std::vector<char> values(text.size() * 8 + 65536), stack(text.size() * 8 + 65536);
  const auto peer = [&](auto use) {
    refill();
    Pool value_pool(values.data(), values.size()), stack_pool(stack.data(), stack.size());
    Document document(&value_pool, 4096, &stack_pool);
    document.ParseInsitu(copy.data());
    return use(document);
  };
  const std::size_t theirs = peer([](const Document& document) { return CountValues(document); });
  if (CountValues(ours()) != theirs) state.SkipWithError("the contestants disagree");
  state.SetLabel(kind.name);
  Race(
      state, {.bytes = double(text.size())}, Contestant{"ours", ours},
      Contestant{"rapidjson", [&] { return peer([](const Document& d) { return d.GetType(); }); }});
}
BENCHMARK(BM_Parse)->ArgNames({"kind", "records"})->ArgsProduct({{0, 1, 2}, {30, 1000}});

}  // namespace

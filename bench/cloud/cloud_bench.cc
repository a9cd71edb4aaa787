// A typical request and a typical response, to bytes and to JSON text and back, beside protobuf
// with its arena, protozero and RapidJSON. All of them write and read the same bytes. All memory is
// there from the message before. `allocs` and `allocs_PEER`: the allocations for one such message.
//
// `protozero_visit`: protozero visits each field; `yyjson` and `simdjson`: these parse the text and
// visit each value. None of it is kept. That is the least that any reader of a message has to do.
//
// protobuf's messages hold UTF-8, which its encoder only copies, while ours and protozero's
// encoding begins with 16-bit text. protobuf's decoder, and RapidJSON's bare parse, leave texts as
// UTF-8.
#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bench/cloud/allocations.h"
#include "bench/cloud/messages.h"
#include "bench/cloud/peers.h"
#include "bench/cloud/visit.h"
#include "bench/ratio.h"
#include "cloud.pb.h"
#include "corelib/io/json/json_read.h"
#include "engine/records/message.h"

namespace {

using tstl::Chunk;
using tstl::JsonWrite;
using tstl::ProtoWrite;
using zenta::bench::AllocationsOf;
using zenta::bench::Contestant;
using zenta::bench::Messages;
using zenta::bench::Race;
using zenta::cloud::CloudRequest;
using zenta::cloud::CloudResponse;

const Messages& TheMessages() {
  static const Messages messages;
  return messages;
}

// A record, and the protobuf message that corresponds to it.
struct Request {
  using Record = CloudRequest;
  using Peer = zenta::cloud::proto::CloudRequest;
  static const Record& Typical() { return TheMessages().request; }
};
struct Response {
  using Record = CloudResponse;
  using Peer = zenta::cloud::proto::CloudResponse;
  static const Record& Typical() { return TheMessages().response; }
};

template <class Out, class R>
std::string Written(const R& record) {
  Out out;
  return write_message(record, out) ? std::string(out.output().std_view()) : "failed";
}

// A protobuf arena that keeps its memory from message to message.
class PeerArena {
 public:
  template <class M>
  M* Parse(std::string_view bytes) {
    arena_.Reset();
    auto* const message = google::protobuf::Arena::CreateMessage<M>(&arena_);
    const bool parsed = message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
    return parsed ? message : nullptr;
  }

 private:
  static google::protobuf::ArenaOptions Options(std::vector<char>& block) {
    google::protobuf::ArenaOptions options;
    options.initial_block = block.data();
    options.initial_block_size = block.size();
    return options;
  }

  std::vector<char> block_ = std::vector<char>(256 << 10);
  google::protobuf::Arena arena_{Options(block_)};
};

template <class Kind>
void BM_BinaryEncode(benchmark::State& state) {
  const auto& record = Kind::Typical();
  const std::string bytes = Written<ProtoWrite>(record);
  typename Kind::Peer peer;
  if (!peer.ParseFromString(bytes)) state.SkipWithError("protobuf refuses the message");
  ProtoWrite out;
  std::string protozero_bytes, peer_bytes(bytes.size(), 0);
  const auto ours = [&] { return write_message(record, out); };
  const auto by_protozero = [&] {
    protozero_bytes.clear();
    protozero::pbf_writer writer(protozero_bytes);
    zenta::bench::WriteByProtozero(writer, record);
  };
  const auto by_protobuf = [&] {
    return peer.SerializeToArray(peer_bytes.data(), static_cast<int>(peer_bytes.size()));
  };
  by_protozero();
  if (!ours() || !by_protobuf() || out.output().std_view() != bytes || protozero_bytes != bytes ||
      peer_bytes != bytes) {
    state.SkipWithError("the contestants disagree");
  }
  state.counters["allocs"] = AllocationsOf(ours);
  state.counters["allocs_protobuf"] = AllocationsOf(by_protobuf);
  Race(state, {.bytes = double(bytes.size())}, Contestant{"ours", ours},
       Contestant{"protobuf", by_protobuf}, Contestant{"protozero", by_protozero});
}
BENCHMARK(BM_BinaryEncode<Request>);
BENCHMARK(BM_BinaryEncode<Response>);

template <class Kind>
void BM_BinaryDecode(benchmark::State& state) {
  using Record = typename Kind::Record;
  const std::string bytes = Written<ProtoWrite>(Kind::Typical());
  Chunk arena, second_arena;
  PeerArena peer_arena;
  const auto ours = [&] {
    arena.rewind();
    Record record;
    benchmark::DoNotOptimize(bool(read_binary(record, bytes, arena)));
    return record;
  };
  const auto by_protozero = [&] {
    second_arena.rewind();
    Record record;
    zenta::bench::ReadByProtozero(protozero::pbf_reader(bytes), record, second_arena);
    return record;
  };
  const auto by_protobuf = [&] { return peer_arena.Parse<typename Kind::Peer>(bytes); };
  const auto visit = [&] {
    zenta::bench::Seen seen;
    zenta::bench::VisitByProtozero<Record>(protozero::pbf_reader(bytes), seen);
    return seen;
  };
  if (Written<ProtoWrite>(ours()) != bytes || Written<ProtoWrite>(by_protozero()) != bytes ||
      by_protobuf()->SerializeAsString() != bytes) {
    state.SkipWithError("the contestants disagree");
  }
  state.counters["allocs"] = AllocationsOf(ours);
  state.counters["allocs_protobuf"] = AllocationsOf(by_protobuf);
  Race(state, {.bytes = double(bytes.size())}, Contestant{"ours", ours},
       Contestant{"protobuf", by_protobuf}, Contestant{"protozero", by_protozero},
       Contestant{"protozero_visit", visit});
}
BENCHMARK(BM_BinaryDecode<Request>);
BENCHMARK(BM_BinaryDecode<Response>);

template <class Kind>
void BM_JsonWrite(benchmark::State& state) {
  const auto& record = Kind::Typical();
  JsonWrite out;
  rapidjson::StringBuffer buffer;
  const auto ours = [&] { return write_message(record, out); };
  const auto peer = [&] {
    buffer.Clear();
    zenta::bench::JsonOut writer(buffer);  // quickest as a local object
    zenta::bench::WriteByRapidJson(writer, record);
  };
  peer();
  if (!ours() || out.output().std_view() != std::string_view(buffer.GetString(), buffer.GetSize()))
    state.SkipWithError("the contestants disagree");
  state.counters["allocs"] = AllocationsOf(ours);
  state.counters["allocs_rapidjson"] = AllocationsOf(peer);
  Race(state, {.bytes = double(out.output().len())}, Contestant{"ours", ours},
       Contestant{"rapidjson", peer});
}
BENCHMARK(BM_JsonWrite<Request>);
BENCHMARK(BM_JsonWrite<Response>);

// From text to record, beside RapidJSON's in-situ parse: alone (`rapidjson_parse`) and with the
// conversion to the record (`rapidjson`). That parse needs a copy of the text that it may change, so
// it begins by making one. `also_parse` is our own tree parser alone.
template <class Kind>
void BM_JsonRead(benchmark::State& state) {
  using Record = typename Kind::Record;
  using zenta::bench::JsonDocument;
  using zenta::bench::JsonPool;
  const std::string text = Written<JsonWrite>(Kind::Typical());
  Chunk arena, second_arena;
  const auto ours = [&] {
    arena.rewind();
    Record record;
    benchmark::DoNotOptimize(bool(read_json(record, text, arena)));
    return record;
  };
  std::vector<char> copy(text.size() + 1), values(256 << 10), stack(64 << 10);
  const auto parse = [&](auto use) {
    std::memcpy(copy.data(), text.c_str(), copy.size());
    JsonPool value_pool(values.data(), values.size()), stack_pool(stack.data(), stack.size());
    JsonDocument document(&value_pool, 16 << 10, &stack_pool);
    document.ParseInsitu(copy.data());
    return use(document);
  };
  const auto to_document = [&] {
    return parse([](const JsonDocument& document) { return document.MemberCount(); });
  };
  const auto to_record = [&] {
    return parse([&](const JsonDocument& document) {
      second_arena.rewind();
      Record record;
      zenta::bench::ReadByRapidJson(document, record, second_arena);
      return record;
    });
  };
  const auto our_parse = [&] {
    arena.rewind();
    return tstl::json_parse(text, arena).root;
  };
  zenta::bench::Seen seen;
  zenta::bench::Visit(our_parse(), arena, seen);
  if (Written<JsonWrite>(ours()) != text || Written<JsonWrite>(to_record()) != text)
    state.SkipWithError("the contestants disagree");
#if defined(ZENTA_PEER_YYJSON)
  zenta::bench::YyjsonVisitor by_yyjson(text);
  if (by_yyjson() != seen) state.SkipWithError("yyjson has seen something else");
#endif
#if defined(ZENTA_PEER_SIMDJSON)
  zenta::bench::SimdjsonVisitor by_simdjson(text);
  if (by_simdjson() != seen) state.SkipWithError("simdjson has seen something else");
#endif
  state.counters["allocs"] = AllocationsOf(ours);
  state.counters["allocs_rapidjson"] = AllocationsOf(to_record);
  Race(state, {.bytes = double(text.size())}, Contestant{"ours", ours},
#if defined(ZENTA_PEER_YYJSON)
       Contestant{"yyjson", [&] { return by_yyjson(); }},
#endif
#if defined(ZENTA_PEER_SIMDJSON)
       Contestant{"simdjson", [&] { return by_simdjson(); }},
#endif
       Contestant{"rapidjson_parse", to_document}, Contestant{"rapidjson", to_record},
       Contestant{"also_parse", our_parse});
}
BENCHMARK(BM_JsonRead<Request>);
BENCHMARK(BM_JsonRead<Response>);

}  // namespace

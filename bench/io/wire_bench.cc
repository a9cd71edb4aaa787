// The wire writer and reader beside protozero, a small encoder and decoder of the same format
// without generated code. The records have a few numbers and short texts, and are nested one deep.
#include <benchmark/benchmark.h>

#include <protozero/pbf_reader.hpp>
#include <protozero/pbf_writer.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "bench/ratio.h"
#include "corelib/io/wire/proto_write.h"
#include "corelib/io/wire/wire_read.h"

namespace {

using tstl::BufferRef;
using tstl::ProtoWrite;
using tstl::WireField;
using tstl::WireReader;
using zenta::bench::Contestant;
using zenta::bench::Race;

struct Record {
  unsigned id, input, source;
  std::string text, package;
};

std::vector<Record> MakeRecords() {
  std::vector<Record> records;
  for (unsigned i = 0; i < 40; ++i) {
    records.push_back({i, i * 37, 2311, std::string("restaurants near me").substr(i % 9),
                       "com.example.messenger"});
  }
  return records;
}

template <class Out>
void EncodeRecord(Out& out, const Record& record) {
  const auto slot = out.bsc_begin_kmsg(true, 1);
  out.template bsc_write_kvarint<unsigned>(1, record.id);
  out.template bsc_write_kvarint<unsigned>(2, record.input);
  out.template bsc_write_kvarint<unsigned>(3, record.source);
  out.bsc_write_kbytes(4, record.text);
  out.bsc_write_kbytes(5, record.package);
  out.bsc_end_kmsg(slot);
}

void EncodeByPeer(std::string& bytes, const std::vector<Record>& records) {
  bytes.clear();
  protozero::pbf_writer out(bytes);
  for (const Record& from : records) {
    protozero::pbf_writer record(out, 1);
    record.add_uint32(1, from.id);
    record.add_uint32(2, from.input);
    record.add_uint32(3, from.source);
    record.add_bytes(4, from.text);
    record.add_bytes(5, from.package);
  }
}

void BM_WireWrite(benchmark::State& state) {
  const std::vector<Record> records = MakeRecords();
  ProtoWrite out;
  std::string theirs;
  const auto by_writer = [&] {
    return out.write([&](ProtoWrite& to) {
      for (const Record& record : records) EncodeRecord(to, record);
    });
  };
  const auto by_passes = [&] {
    return out.write([&](auto& to) {
      for (const Record& record : records) EncodeRecord(to, record);
    });
  };
  EncodeByPeer(theirs, records);
  if (!by_passes() || out.output().std_view() != theirs || !by_writer() ||
      out.output().std_view() != theirs) {
    state.SkipWithError("the contestants disagree");
  }
  Race(state, {.bytes = double(theirs.size()), .items = double(records.size())},
       Contestant{"passes", by_passes}, Contestant{"also_writer", by_writer},
       Contestant{"protozero", [&] { EncodeByPeer(theirs, records); }});
}
BENCHMARK(BM_WireWrite);

// The sum of all numbers and lengths.
std::uint64_t Sum(BufferRef<unsigned char> message, bool nested) {
  std::uint64_t sum = 0;
  WireReader reader(message);
  for (WireField field; reader.next(field);)
    sum += nested ? Sum(field.bytes(), false) : field.varint() + field.bytes().len();
  return sum;
}

std::uint64_t SumByPeer(std::string_view message) {
  std::uint64_t sum = 0;
  for (protozero::pbf_reader reader(message.data(), message.size()); reader.next();) {
    for (protozero::pbf_reader record = reader.get_message(); record.next();) {
      sum += record.wire_type() == protozero::pbf_wire_type::varint ? record.get_uint32()
                                                                    : record.get_view().size();
    }
  }
  return sum;
}

void BM_WireRead(benchmark::State& state) {
  std::string message;
  EncodeByPeer(message, MakeRecords());
  if (Sum(message, true) != SumByPeer(message)) state.SkipWithError("the contestants disagree");
  Race(state, {.bytes = double(message.size()), .items = 40},
       Contestant{"ours", [&] { return Sum(message, true); }},
       Contestant{"protozero", [&] { return SumByPeer(message); }});
}
BENCHMARK(BM_WireRead);

}  // namespace

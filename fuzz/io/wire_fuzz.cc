// Feeds any bytes to the wire reader. Invariants:
// 1. It returns the fields that a plain reader finds, and stops at the same fault in the same
//    position.
// 2. Written by ProtoWrite, these fields give the bytes that a plain writer gives, and read back
//    as the same fields.
#include <cstddef>
#include <cstdint>
#include <string>

#include "corelib/io/wire/proto_write.h"
#include "corelib/io/wire/wire_read.h"
#include "fuzz/io/wire_oracle.h"
#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tstl::ProtoWrite;
  using tstl::WireType;
  using zenta::fuzz::Require;
  const tstl::oracle::Walk walk = tstl::oracle::ReadWithWireReader({data, size});
  Require(walk == tstl::oracle::PlainWireReader({data, size}).read());
  Require(walk == tstl::oracle::ReadWithWireReader({data, size}, true));

  ProtoWrite out;
  std::string plain;
  Require(out.write([&](ProtoWrite& to) {
    for (const tstl::oracle::Field& field : walk.fields) {
      const auto type = static_cast<WireType>(field.key % 8);
      if (type == WireType::kFixed64 || type == WireType::kFixed32) {
        const unsigned width = type == WireType::kFixed64 ? 8 : 4;
        if (width == 8) to.bsc_write_kfixed<std::uint64_t>(field.key / 8, field.varint);
        if (width == 4)
          to.bsc_write_kfixed<std::uint32_t>(field.key / 8,
                                             static_cast<std::uint32_t>(field.varint));
        plain +=
            to.measuring() ? tstl::oracle::PlainFixedField(field.key / 8, field.varint, width) : "";
      } else if (type == WireType::kVarint) {
        to.bsc_write_kvarint<unsigned long long>(field.key / 8, field.varint);
        plain += to.measuring() ? tstl::oracle::PlainField(field.key / 8, field.varint) : "";
      } else {
        to.bsc_write_kbytes(field.key / 8, field.bytes);
        plain += to.measuring() ? tstl::oracle::PlainField(field.key / 8, field.bytes) : "";
      }
    }
  }));
  const auto& written = out.output();
  Require(written.std_view() == plain);
  const tstl::oracle::Walk again =
      tstl::oracle::ReadWithWireReader({written.c_str(), written.len()});
  Require(again.fault == tstl::WireFault::kNone && again.fields == walk.fields);
  return 0;
}

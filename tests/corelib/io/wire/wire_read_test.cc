#include "corelib/io/wire/wire_read.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "fuzz/io/wire_oracle.h"

namespace tstl {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The reader and the plain one must agree on an exactly sized copy, in which a sanitizer sees a
// read past the end.
oracle::Walk Read(const Bytes& message) {
  const Bytes copy(message);
  const oracle::Walk want = oracle::PlainWireReader(copy).read();
  const oracle::Walk got = oracle::ReadWithWireReader(copy);
  EXPECT_EQ(oracle::ReadWithWireReader(copy, true), got);
  EXPECT_EQ(got.fields, want.fields);
  EXPECT_STREQ(wire_fault_text(got.fault), wire_fault_text(want.fault));
  EXPECT_EQ(got.position, want.position);
  return got;
}

// Every kind of field, short and long keys, nested content.
const Bytes kMessage{0x08, 0x96, 0x01, 0x12, 0x03, 'a',  'b',  'c',  0x09, 1,
                     2,    3,    4,    5,    6,    7,    8,    0x15, 1,    2,
                     3,    4,    0x82, 1,    0x02, 0x08, 0x2A, 0x18, 0xFF, 0xFF,
                     0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x22, 0x00};

TEST(WireReadTest, FaultsAreNamedAndPlaced) {
  using enum WireFault;
  struct Row {
    WireFault fault;
    std::size_t fields, position;
    Bytes message;
  };
  const Row rows[] = {
      {kNone, 0, 0, {}},
      {kNone, 7, kMessage.size(), kMessage},
      {kTruncated, 0, 1, {0x08, 0x80}},
      {kTruncated, 1, 4, {0x08, 1, 0x12, 3, 'a', 'b'}},
      {kTruncated, 0, 11, {0x12, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}},
      {kTruncated, 0, 1, {0x09, 1, 2, 3, 4, 5, 6, 7}},
      {kOverlong, 0, 1, {0x08, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0}},
      {kNone, 1, 11, {0x08, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x7F}},
      {kOverlong, 0, 1, {0x08, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80}},
      {kTruncated, 0, 1, {0x08, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80}},
      {kOverlong, 0, 1, {0x12, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0}},
      // Groups: skipped with their contents; not closed, closed with another number, closed but not
      // open.
      {kNone, 1, 8, {0x7B, 0x08, 1, 0x7C, 0x22, 2, 'a', 'b'}},
      {kNone, 0, 24, {0x7B, 0x12, 2, 0x7C, 0x7C, 0x83, 1, 0x09, 1, 2,    3, 4,
                      5,    6,    7, 8,    0x15, 1,    2, 3,    4, 0x84, 1, 0x7C}},
      {kTruncated, 1, 2, {0x08, 1, 0x7B, 0x0B, 0x0C, 0x08, 1}},
      {kTruncated, 1, 4, {0x08, 1, 0x7B, 0x09, 1, 2}},
      {kTruncated, 1, 5, {0x08, 1, 0x7B, 0x12, 9, 1}},
      {kGroup, 1, 5, {0x08, 1, 0x7B, 0x83, 0x01, 0x7C}},
      {kGroup, 1, 2, {0x08, 1, 0x0C}},
      {kWireType, 0, 1, {0x7B, 0x0E, 0x7C}},
      {kFieldNumber, 0, 1, {0x7B, 0x02, 0x7C}},
      {kOverlong,
       0,
       2,
       {0x7B, 0x08, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0}},
      {kWireType, 1, 2, {0x08, 1, 0x0E, 0}},
      {kFieldNumber, 1, 2, {0x08, 1, 0x00, 0}},
      {kFieldNumber, 0, 0, {0x02, 0}},
      {kNone, 1, 6, {0xF8, 0xFF, 0xFF, 0xFF, 0x0F, 5}},
      {kFieldNumber, 0, 0, {0x80, 0x80, 0x80, 0x80, 0x10, 5}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const oracle::Walk walk = Read(row.message);
    EXPECT_EQ(walk.fault, row.fault);
    EXPECT_EQ(walk.fields.size(), row.fields);
    EXPECT_EQ(walk.position, row.position);
  }
}

TEST(WireReadTest, GroupsAreSkippedUpToADepthOfOneHundred) {
  for (const std::size_t depth : {100u, 101u, 1000000u}) {
    Bytes message(depth, 0x7B);
    message.insert(message.end(), depth, 0x7C);
    const oracle::Walk walk = Read(message);
    EXPECT_EQ(walk.fault, depth == 100 ? WireFault::kNone : WireFault::kDepth);
    EXPECT_EQ(walk.position, depth == 100 ? 200 : 100);
  }
}

TEST(WireReadTest, NextStaysFalseAfterAFaultAndLeavesTheFieldAlone) {
  const Bytes message{0x08, 7, 0x00, 0x08, 9};
  WireReader reader({message.data(), static_cast<unsigned>(message.size())});
  WireField field;
  EXPECT_TRUE(reader.next(field));
  EXPECT_FALSE(reader.next(field) || reader.next(field));
  EXPECT_EQ(field.number(), 1u);
  EXPECT_EQ(field.type(), WireType::kVarint);
  EXPECT_EQ(field.varint(), 7u);
}

TEST(WireReadTest, PrefixesChangedBytesAndRandomMessagesReadAsThePlainReaderSays) {
  for (std::size_t n = 0; n < kMessage.size(); ++n) {
    Read(Bytes(kMessage.begin(), kMessage.begin() + static_cast<std::ptrdiff_t>(n)));
    Bytes changed = kMessage;
    for (unsigned value = 0; value < 256; ++value) {
      changed[n] = static_cast<std::uint8_t>(value);
      Read(changed);
    }
  }
  std::mt19937 random(20240305);
  for (int round = 0; round < 5000; ++round) {
    Bytes message(random() % 40);
    for (std::uint8_t& byte : message)  // mostly small, so that keys and lengths make sense
      byte = static_cast<std::uint8_t>(random() % (random() % 4 ? 24 : 256));
    Read(message);
  }
}

}  // namespace
}  // namespace tstl

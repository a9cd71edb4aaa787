#include "corelib/io/wire_read.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "fuzz/io/wire_oracle.h"

namespace tstl {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The reader and the plain one agree on an exactly sized copy, so that a read past its end is seen.
void ExpectAgreement(const Bytes& message) {
  const Bytes copy(message);
  const oracle::Walk want = oracle::PlainWireReader(copy).read();
  const oracle::Walk got = oracle::ReadWithWireReader(copy);
  EXPECT_EQ(got.fields, want.fields);
  EXPECT_EQ(got.fault, want.fault)
      << wire_fault_text(got.fault) << ", not " << wire_fault_text(want.fault);
  EXPECT_EQ(got.position, want.position);
}

// Every kind of field, short and long keys, nested content.
const Bytes kMessage{0x08, 0x96, 0x01, 0x12, 0x03, 'a',  'b',  'c',  0x09, 1,
                     2,    3,    4,    5,    6,    7,    8,    0x15, 1,    2,
                     3,    4,    0x82, 1,    0x02, 0x08, 0x2A, 0x18, 0xFF, 0xFF,
                     0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x22, 0x00};

TEST(WireReadTest, FieldsComeInOrderAndFixedOnesAreSteppedOver) {
  const oracle::Walk walk = oracle::ReadWithWireReader(kMessage);
  EXPECT_EQ(walk.fault, WireFault::kNone);
  EXPECT_EQ(walk.position, kMessage.size());
  const std::vector<oracle::Field> want{
      {8, 150, ""}, {18, 0, "abc"}, {130, 0, "\x08\x2A"}, {24, UINT64_MAX, ""}, {34, 0, ""}};
  EXPECT_EQ(walk.fields, want);
}

TEST(WireReadTest, FaultsAreNamedAndPlaced) {
  struct Row {
    Bytes message;
    WireFault fault;
    std::size_t fields, position;
  };
  const Row rows[] = {
      {{}, WireFault::kNone, 0, 0},
      {{0x08}, WireFault::kTruncated, 0, 1},
      {{0x08, 0x80}, WireFault::kTruncated, 0, 1},
      {{0x08, 1, 0x12, 3, 'a', 'b'}, WireFault::kTruncated, 1, 4},
      {{0x12, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01},
       WireFault::kTruncated,
       0,
       11},
      {{0x09, 1, 2, 3, 4, 5, 6, 7}, WireFault::kTruncated, 0, 1},
      {{0x0D, 1, 2, 3}, WireFault::kTruncated, 0, 1},
      {{0x08, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0},
       WireFault::kOverlong,
       0,
       1},
      {{0x08, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x7F}, WireFault::kNone, 1, 11},
      {{0x08, 1, 0x0B}, WireFault::kGroup, 1, 2},
      {{0x08, 1, 0x0C}, WireFault::kGroup, 1, 2},
      {{0x08, 1, 0x0E, 0}, WireFault::kWireType, 1, 2},
      {{0x08, 1, 0x00, 0}, WireFault::kFieldNumber, 1, 2},
      {{0x02, 0}, WireFault::kFieldNumber, 0, 0},
      {{0xF8, 0xFF, 0xFF, 0xFF, 0x0F, 5}, WireFault::kNone, 1, 6},
      {{0x80, 0x80, 0x80, 0x80, 0x10, 5}, WireFault::kFieldNumber, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const oracle::Walk walk = oracle::ReadWithWireReader(row.message);
    EXPECT_EQ(walk.fault, row.fault);
    EXPECT_EQ(walk.fields.size(), row.fields);
    EXPECT_EQ(walk.position, row.position);
    ExpectAgreement(row.message);
  }
}

TEST(WireReadTest, NextStaysFalseAfterAFaultAndLeavesTheFieldAlone) {
  const Bytes message{0x08, 7, 0x00, 0x08, 9};
  WireReader reader({message.data(), static_cast<unsigned>(message.size())});
  WireField field;
  ASSERT_TRUE(reader.next(field));
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(reader.next(field));
    EXPECT_EQ(field.number(), 1u);
    EXPECT_EQ(field.type(), WireType::kVarint);
    EXPECT_EQ(field.varint, 7u);
    EXPECT_EQ(reader.position(), 2u);
  }
}

TEST(WireReadTest, EveryPrefixAndEveryChangedByteReadAsThePlainReaderSays) {
  for (std::size_t n = 0; n < kMessage.size(); ++n) {
    SCOPED_TRACE(testing::Message() << "byte " << n);
    ExpectAgreement(Bytes(kMessage.begin(), kMessage.begin() + static_cast<std::ptrdiff_t>(n)));
    Bytes changed = kMessage;
    for (unsigned value = 0; value < 256; ++value) {
      changed[n] = static_cast<std::uint8_t>(value);
      ExpectAgreement(changed);
    }
  }
}

TEST(WireReadTest, RandomMessagesReadAsThePlainReaderSays) {
  std::mt19937 random(20240305);
  for (int round = 0; round < 20000; ++round) {
    Bytes message(random() % 40);
    // Mostly small bytes, so that keys and lengths make sense for a while.
    for (std::uint8_t& byte : message)
      byte = static_cast<std::uint8_t>(random() % (random() % 4 ? 24 : 256));
    ExpectAgreement(message);
  }
}

TEST(WireFormatTest, VarintsComeBackAtTheLengthThatWasForetold) {
  for (unsigned bits = 0; bits <= 64; ++bits) {
    const std::uint64_t power = bits == 64 ? 0 : std::uint64_t{1} << bits;
    for (const std::uint64_t value : {power - 1, power, power + 1}) {
      unsigned char bytes[kMaxVarint64];
      const unsigned char* const end = put_varint(bytes, value);
      EXPECT_EQ(static_cast<unsigned>(end - bytes), varint_size(value));
      std::uint64_t back = ~value;
      EXPECT_EQ(get_varint(bytes, end, back), end);
      EXPECT_EQ(back, value);
      EXPECT_EQ(get_varint(bytes, end - 1, back), nullptr);
    }
  }
}

}  // namespace
}  // namespace tstl

// The wire format written and read plainly: one index, one byte at a time, no optimization. It
// judges ProtoWrite and WireReader in tests and under the fuzzer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corelib/io/wire/wire_read.h"

namespace tstl::oracle {

// The plain writer builds each content first, so its length is known.
inline std::string PlainVarint(std::uint64_t value) {
  std::string bytes;
  for (; value > 127; value /= 128) bytes += static_cast<char>(value % 128 + 128);
  return bytes + static_cast<char>(value);
}
inline std::string PlainField(std::uint32_t number, std::string_view payload) {
  return PlainVarint(number * 8u + 2) + PlainVarint(payload.size()) + std::string(payload);
}
inline std::string PlainField(std::uint32_t number, std::uint64_t value) {
  return PlainVarint(number * 8u) + PlainVarint(value);
}
inline std::string PlainFixedField(std::uint32_t number, std::uint64_t value, unsigned size) {
  std::string bytes = PlainVarint(number * 8u + (size == 4 ? 5 : 1));
  for (; size-- != 0; value /= 256) bytes += static_cast<char>(value % 256);
  return bytes;
}

struct Field {
  std::uint32_t key;
  std::uint64_t varint;
  std::string bytes;

  bool operator==(const Field&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Field& field) {
    return out << "key " << field.key << " varint " << field.varint << " bytes "
               << field.bytes.size();
  }
};

struct Walk {
  std::vector<Field> fields;
  WireFault fault = WireFault::kNone;
  std::size_t position = 0;

  bool operator==(const Walk&) const = default;
};

class PlainWireReader {
 public:
  explicit PlainWireReader(std::span<const std::uint8_t> message) : message_(message) {}

  Walk read() && {
    while (walk_.fault == WireFault::kNone && walk_.position < message_.size()) field(0, 0);
    return std::move(walk_);
  }

 private:
  // Reads a field inside `groups` open groups, the innermost with the number `group`. Fields inside
  // groups are not kept. True at the end of that group.
  bool field(unsigned groups, std::uint64_t group) {
    const std::size_t start = walk_.position;
    const auto key = varint();
    if (!key) return false;
    const auto wire = static_cast<unsigned>(*key % 8);
    const std::uint64_t number = *key / 8;
    if (number == 0 || number > 0x1FFFFFFF) return fail(WireFault::kFieldNumber, start);
    if (wire > 5) return fail(WireFault::kWireType, start);
    if (wire == 4) return groups != 0 && number == group ? true : fail(WireFault::kGroup, start);
    if (wire == 3) return skip_group(groups + 1, number, start);
    Field found{static_cast<std::uint32_t>(*key), 0, {}};
    std::optional<std::uint64_t> value = wire == 5 ? 4 : 8;
    if (wire == 0 || wire == 2) value = varint();
    if (!value) return false;
    if (wire == 0) {
      found.varint = *value;
    } else {
      if (*value > message_.size() - walk_.position)
        return fail(WireFault::kTruncated, walk_.position);
      const auto content = message_.subspan(walk_.position, *value);
      found.bytes.assign(content.begin(), content.end());
      walk_.position += *value;
    }
    if (wire == 1 || wire == 5) {
      for (std::size_t i = found.bytes.size(); i-- != 0;)
        found.varint = found.varint * 256 + static_cast<unsigned char>(found.bytes[i]);
      found.bytes.clear();
    }
    if (groups == 0) walk_.fields.push_back(std::move(found));
    return false;
  }

  bool skip_group(unsigned depth, std::uint64_t number, std::size_t start) {
    if (depth > 100) return fail(WireFault::kDepth, start);
    if (depth == 1) outermost_ = start;
    for (bool ended = false; !ended && walk_.fault == WireFault::kNone;) {
      if (walk_.position == message_.size()) return fail(WireFault::kTruncated, outermost_);
      ended = field(depth, number);
    }
    return false;
  }

  std::optional<std::uint64_t> varint() {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < 10; ++i) {
      const std::size_t at = walk_.position + i;
      if (at >= message_.size()) return fail(WireFault::kTruncated, walk_.position), std::nullopt;
      value |= std::uint64_t{message_[at] & 0x7Fu} << (7 * i);
      if (message_[at] < 0x80) {
        walk_.position = at + 1;
        return value;
      }
    }
    return fail(WireFault::kOverlong, walk_.position), std::nullopt;
  }

  bool fail(WireFault fault, std::size_t position) {
    walk_.fault = fault;
    walk_.position = position;
    return false;
  }

  std::span<const std::uint8_t> message_;
  Walk walk_;
  std::size_t outermost_ = 0;  // where the outermost open group begins
};

// What WireReader reads from the message, in the same form. `guess`: next_if() is called with the
// key that the next byte would be.
inline Walk ReadWithWireReader(std::span<const std::uint8_t> message, bool guess = false) {
  WireReader reader({message.data(), static_cast<unsigned>(message.size())});
  const auto guessed = [&](WireField& field) {
    const unsigned key = reader.at_end() ? 0 : message[reader.position()];
    return guess && key >= 8 && key % 8 < 6 && key % 8 != 3 && key % 8 != 4 &&
           reader.next_if(key, field);
  };
  Walk walk;
  for (WireField field; guessed(field) || reader.next(field);) {
    walk.fields.push_back({field.key(), field.varint(), std::string(field.bytes().std_view())});
  }
  walk.fault = reader.fault();
  walk.position = reader.position();
  return walk;
}

}  // namespace tstl::oracle

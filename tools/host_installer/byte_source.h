// A stream of bytes, read block by block. Sources are stacked: the file in the package, the
// decompressor above it, and the size limit above that.
#pragma once

#include <cstdint>
#include <span>

namespace zenta::host_installer {

using Block = std::span<const std::uint8_t>;

class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  // The next bytes, valid until the next call. Empty at the end and in every later call. Returns
  // the end only after every checksum over the bytes has matched. Throws Failure if they are
  // damaged.
  virtual Block Next() = 0;
};

// Reads and drops the rest, so that the checksums are compared.
inline void Drain(ByteSource& source) {
  while (!source.Next().empty()) {
  }
}

}  // namespace zenta::host_installer

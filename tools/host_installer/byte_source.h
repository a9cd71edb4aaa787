// Bytes that come block by block. Sources are stacked: a file of the package, what undoes its
// compression, what counts the result.
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

  // The next bytes, valid until the next call. Empty at the end and ever after; by then every
  // checksum over the bytes has been compared. Throws Failure if the bytes are damaged.
  virtual Block Next() = 0;
};

// Reads to the end, where checksums are compared.
inline void Drain(ByteSource& source) {
  while (!source.Next().empty()) {
  }
}

}  // namespace zenta::host_installer

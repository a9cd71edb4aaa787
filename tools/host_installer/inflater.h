// Decompresses deflate streams and verifies their checksums. libarchive's gzip filter does not
// verify them.
#pragma once

#include <zlib.h>

#include <array>
#include <memory>

#include "tools/host_installer/byte_source.h"

namespace zenta::host_installer {

class Inflater final : public ByteSource {
 public:
  enum class Format {
    kZlib,  // RFC 1950: one stream with an Adler-32
    kGzip,  // RFC 1952: one or more members, each with a CRC-32 and a length
  };

  Inflater(std::unique_ptr<ByteSource> packed, Format format);
  ~Inflater() override { inflateEnd(&stream_); }

  // Throws Failure if a checksum or length does not match, if the stream is truncated, or if it is
  // followed by anything but a further gzip member.
  Block Next() override;

 private:
  void Refill();

  std::unique_ptr<ByteSource> packed_;
  Format format_;
  z_stream stream_{};
  bool input_ended_ = false;
  bool at_end_ = false;  // of the zlib stream, or of a gzip member
  std::array<std::uint8_t, 64 * 1024> buffer_;
};

}  // namespace zenta::host_installer

// Undoes deflate compression and compares its checksums, which libarchive's gzip filter passes over.
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

  // Throws Failure if a checksum or length does not match, if the stream stops before its end, or
  // if anything but a further member comes after it.
  Block Next() override;

 private:
  void Refill();

  std::unique_ptr<ByteSource> packed_;
  Format format_;
  z_stream stream_{};
  bool input_ended_ = false;
  bool at_end_ = false;  // of the stream, or of a member
  std::array<std::uint8_t, 64 * 1024> buffer_;
};

}  // namespace zenta::host_installer

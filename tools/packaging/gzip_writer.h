// Writes gzip (RFC 1952) on all cores of the machine.
//
// The input is cut into blocks of kBlockBytes, which threads deflate independently: each starts
// with the last 32 KiB of the block before as its dictionary and ends on a byte boundary, so that
// the pieces in order are one DEFLATE stream. The result is one ordinary gzip member that any
// program reads. It depends on the input and zlib's version only, not on the number of threads. The
// header holds no time and no name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <future>
#include <memory>
#include <string>
#include <string_view>

#include "tools/packaging/cpio_writer.h"

namespace zenta::packaging {

class GzipWriter {
 public:
  static constexpr std::size_t kBlockBytes = 512 << 10;

  // Deflates up to `threads` blocks at a time and holds twice as many; 0 stands for the number of
  // cores.
  explicit GzipWriter(Sink sink, unsigned threads = 0);

  void Write(std::string_view bytes);
  // Ends the file; the last call.
  void Finish();

 private:
  struct Deflated {
    std::string bytes;
    std::uint32_t crc = 0;   // of the block
    std::size_t length = 0;  // of the block
  };
  using Block = std::shared_ptr<const std::string>;
  enum class Position { kInside, kLast };

  static Deflated Deflate(const Block& before, const Block& block, Position position);
  // Starts deflating the collected bytes.
  void Submit(Position position);
  // Waits for the oldest block under way and writes it.
  void WriteOldest();

  Sink sink_;
  std::size_t most_;     // limit of blocks under way
  std::string current_;  // collects the next block
  Block before_;         // the block that was submitted last; null at first
  std::deque<std::future<Deflated>> under_way_;
  std::uint32_t crc_ = 0;     // of what was written so far
  std::uint64_t length_ = 0;  // bytes, uncompressed
};

}  // namespace zenta::packaging

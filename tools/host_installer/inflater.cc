#include "tools/host_installer/inflater.h"

#include <new>
#include <string>
#include <utility>

#include "tools/common/failure.h"

namespace zenta::host_installer {

using tools::Failure;

Inflater::Inflater(std::unique_ptr<ByteSource> packed, Format format)
    : packed_(std::move(packed)), format_(format) {
  constexpr int kGzipOnly = 16;  // added to windowBits: zlib then accepts only gzip
  if (inflateInit2(&stream_, format == Format::kGzip ? MAX_WBITS + kGzipOnly : MAX_WBITS) != Z_OK) {
    throw std::bad_alloc();
  }
}

void Inflater::Refill() {
  const Block block = packed_->Next();
  input_ended_ = block.empty();
  stream_.next_in = const_cast<std::uint8_t*>(block.data());  // zlib only reads there
  stream_.avail_in = static_cast<uInt>(block.size());
}

Block Inflater::Next() {
  while (true) {
    if (stream_.avail_in == 0 && !input_ended_) Refill();
    if (at_end_) {
      if (stream_.avail_in == 0) return {};
      if (format_ == Format::kZlib) throw Failure("bytes follow the end of its compression");
      inflateReset(&stream_);
      at_end_ = false;
    }
    stream_.next_out = buffer_.data();
    stream_.avail_out = static_cast<uInt>(buffer_.size());
    const int status = inflate(&stream_, Z_NO_FLUSH);
    at_end_ = status == Z_STREAM_END;
    // Z_BUF_ERROR: no progress without more input.
    if (!at_end_ && status != Z_OK && status != Z_BUF_ERROR) {
      throw Failure("its compression is damaged: " +
                    std::string(stream_.msg != nullptr ? stream_.msg : zError(status)));
    }
    const std::size_t count = buffer_.size() - stream_.avail_out;
    if (count != 0) return Block(buffer_).first(count);
    if (input_ended_ && !at_end_) throw Failure("its compression is cut short");
  }
}

}  // namespace zenta::host_installer

#include "tools/packaging/gzip_writer.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

#include "tools/common/failure.h"
#include "tools/common/interruption.h"

namespace zenta::packaging {
namespace {

using tools::Failure;
using tools::SignalsHeld;

// For programs and libraries, level 4 takes 40 % of the time of zlib's default level, and its
// output is 3 % larger.
constexpr int kLevel = 4;
constexpr int kRawDeflate = -15;  // neither zlib's nor gzip's header; the largest window
constexpr int kMemoryLevel = 9;
constexpr std::size_t kWindowBytes = 32 << 10;

struct Deflater {
  Deflater() {
    if (deflateInit2(&stream, kLevel, Z_DEFLATED, kRawDeflate, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
      throw std::bad_alloc();
    }
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  ~Deflater() { deflateEnd(&stream); }
  z_stream stream{};
};

// zlib does not write through the pointers to its input.
Bytef* Unchanged(std::string_view bytes) {
  return const_cast<Bytef*>(reinterpret_cast<const Bytef*>(bytes.data()));
}

std::string LittleEndian32(std::uint32_t number) {
  std::string bytes;
  for (int shift = 0; shift != 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

}  // namespace

GzipWriter::GzipWriter(Sink sink, unsigned threads) : sink_(std::move(sink)) {
  if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
  most_ = std::size_t{2} * threads;
  current_.reserve(kBlockBytes);
  // Magic, deflate, no flags, no time, no extra flags, Unix.
  sink_(std::string_view("\x1F\x8B\x08\0\0\0\0\0\0\x03", 10));
}

void GzipWriter::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t count = std::min(bytes.size(), kBlockBytes - current_.size());
    current_.append(bytes.substr(0, count));
    bytes.remove_prefix(count);
    if (current_.size() == kBlockBytes) Submit(Position::kInside);
  }
}

void GzipWriter::Finish() {
  Submit(Position::kLast);
  while (!under_way_.empty()) WriteOldest();
  sink_(LittleEndian32(crc_) + LittleEndian32(static_cast<std::uint32_t>(length_)));
}

GzipWriter::Deflated GzipWriter::Deflate(const Block& before, const Block& block,
                                         Position position) {
  Deflater deflater;
  z_stream& stream = deflater.stream;
  if (before != nullptr) {
    const std::string_view window = std::string_view(*before).substr(before->size() - kWindowBytes);
    deflateSetDictionary(&stream, Unchanged(window), static_cast<uInt>(window.size()));
  }
  stream.next_in = Unchanged(*block);
  stream.avail_in = static_cast<uInt>(block->size());
  // The bound is that of a whole stream; the empty block that a flush ends with is 5 bytes more.
  Deflated made{std::string(deflateBound(&stream, stream.avail_in) + 16, '\0'),
                static_cast<std::uint32_t>(crc32_z(0, Unchanged(*block), block->size())),
                block->size()};
  stream.next_out = reinterpret_cast<Bytef*>(made.bytes.data());
  stream.avail_out = static_cast<uInt>(made.bytes.size());
  deflate(&stream, position == Position::kLast ? Z_FINISH : Z_SYNC_FLUSH);
  if (stream.avail_in != 0 || stream.avail_out == 0)
    throw Failure("zlib needs more room than it says");
  made.bytes.resize(made.bytes.size() - stream.avail_out);
  return made;
}

void GzipWriter::Submit(Position position) {
  if (under_way_.size() == most_) WriteOldest();
  const auto block = std::make_shared<const std::string>(std::exchange(current_, {}));
  {
    const SignalsHeld for_the_thread;  // it inherits the mask and handles no signals
    // Deferred: if no thread can be started, the block is deflated by get().
    under_way_.push_back(std::async(std::launch::async | std::launch::deferred, Deflate,
                                    std::exchange(before_, block), block, position));
  }
  current_.reserve(kBlockBytes);
}

void GzipWriter::WriteOldest() {
  const Deflated block = under_way_.front().get();
  under_way_.pop_front();
  crc_ = static_cast<std::uint32_t>(
      crc32_combine(crc_, block.crc, static_cast<z_off_t>(block.length)));
  length_ += block.length;
  sink_(block.bytes);
}

}  // namespace zenta::packaging

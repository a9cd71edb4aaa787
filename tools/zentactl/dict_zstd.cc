#include "tools/zentactl/dict_zstd.h"

#include <utility>

#include "tools/common/failure.h"

#ifdef ZENTA_READS_ZSTD
#include <zstd.h>

#include <new>
#include <string>
#include <vector>
#endif

namespace zenta::zentactl {

using host_installer::Block;
using host_installer::ByteSource;
using tools::Failure;

#ifdef ZENTA_READS_ZSTD

namespace {

class ZstdReader final : public ByteSource {
 public:
  explicit ZstdReader(std::unique_ptr<ByteSource> packed)
      : packed_(std::move(packed)), stream_(ZSTD_createDStream()), made_(ZSTD_DStreamOutSize()) {
    if (stream_ == nullptr) throw std::bad_alloc();
  }
  ~ZstdReader() override { ZSTD_freeDStream(stream_); }

  Block Next() override {
    for (;;) {
      if (input_.pos == input_.size && !may_hold_more_) {
        const Block block = packed_->Next();
        if (block.empty()) return AtEnd();
        input_ = {block.data(), block.size(), 0};
      }
      ZSTD_outBuffer output{made_.data(), made_.size(), 0};
      left_ = ZSTD_decompressStream(stream_, &output, &input_);
      if (ZSTD_isError(left_)) {
        throw Failure(std::string("its compression is damaged: ") + ZSTD_getErrorName(left_));
      }
      may_hold_more_ = output.pos == output.size && left_ != 0;
      if (output.pos != 0) return Block(made_).first(output.pos);
    }
  }

 private:
  Block AtEnd() const {
    if (left_ != 0) throw Failure("its compression is cut short");
    return {};
  }

  std::unique_ptr<ByteSource> packed_;
  ZSTD_DStream* stream_;
  std::vector<std::uint8_t> made_;
  ZSTD_inBuffer input_{nullptr, 0, 0};
  std::size_t left_ = 0;        // bytes that the frame still needs, as a hint; 0 at its end
  bool may_hold_more_ = false;  // the stream has more output, because the last block was full
};

}  // namespace

std::unique_ptr<ByteSource> ReadZstd(std::unique_ptr<ByteSource> packed) {
  return std::make_unique<ZstdReader>(std::move(packed));
}

#else

std::unique_ptr<ByteSource> ReadZstd(std::unique_ptr<ByteSource>) {
  throw Failure(
      "it is compressed with Zstandard, which this zentactl was built without; unpack it first");
}

#endif

}  // namespace zenta::zentactl

// BufferDict::check: whether an image is whole.
#include <algorithm>
#include <cstdint>

#include "corelib/containers/chunk.h"
#include "corelib/containers/dict/buffer_dict.h"

namespace tstl {
namespace {

using dict_format::kRecordAlignment;

// A bit for every kRecordAlignment bytes of the image: whether a record has them.
class Cells {
 public:
  explicit Cells(std::uint64_t length)
      : bits_(arena_.alloc_array<std::uint64_t>(length / kRecordAlignment / kBits + 1)) {}
  explicit operator bool() const { return bits_ != nullptr; }

  // False when another record has any of these bytes. REQUIRES: whole cells inside the image.
  bool take(std::uint64_t offset, std::uint64_t size) {
    for (std::uint64_t cell = offset / kRecordAlignment; cell < (offset + size) / kRecordAlignment;
         ++cell) {
      const std::uint64_t bit = std::uint64_t{1} << cell % kBits;
      if ((bits_[cell / kBits] & bit) != 0) return false;
      bits_[cell / kBits] |= bit;
    }
    return true;
  }

 private:
  static constexpr std::uint64_t kBits = 64;

  Chunk arena_;
  std::uint64_t* bits_;
};

template <Unit T>
bool ends_with_zeros(const BufferDictNode<T>& node) {
  const auto* const units = reinterpret_cast<const unsigned char*>(node.str() + node.len());
  return std::all_of(units, reinterpret_cast<const unsigned char*>(node.next()),
                     [](unsigned char byte) { return byte == 0; });
}

}  // namespace

template <Unit T>
bool BufferDict<T>::check() const {
  if (is_empty() || bucket_cnt_ != header_->bucket_cnt.get()) return false;
  const std::uint64_t start = dict_format::records_offset(bucket_cnt_);
  Cells cells(image_.len());
  if (!cells) return false;
  const auto is_whole = [&](const Node* node, std::uint32_t bucket) {
    const std::uint64_t offset = offset_of(node);
    return offset >= start && offset % kRecordAlignment == 0 &&
           cells.take(offset, node->node_size()) && ends_with_zeros(*node) &&
           hash_id(node->key()) == bucket;
  };
  for (std::uint32_t bucket = 0; bucket < bucket_cnt_; ++bucket) {
    prefetch_ahead(bucket);
    bool ended = first_offset(bucket) == dict_format::kEmptyBucket;
    for (const Node* node = first_record(bucket); node != nullptr; node = next_record(node)) {
      if (!is_whole(node, bucket)) return false;
      ended = node->is_lastnode();
    }
    if (!ended) return false;
  }
  return true;
}

template bool BufferDict<unsigned char>::check() const;
template bool BufferDict<unsigned short>::check() const;

}  // namespace tstl

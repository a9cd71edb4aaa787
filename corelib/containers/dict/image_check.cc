// BufferDict::find_fault: whether an image is whole.
#include <algorithm>
#include <cstdint>

#include "corelib/containers/chunk.h"
#include "corelib/containers/dict/buffer_dict.h"

namespace tstl {
namespace {

using dict_format::kRecordAlignment;

// A bitmap with one bit for every kRecordAlignment bytes of the image: whether a record has them.
class Cells {
 public:
  explicit Cells(std::uint64_t length)
      : bits_(arena_.alloc_array<std::uint64_t>(length / kRecordAlignment / kBits + 1)) {}
  explicit operator bool() const { return bits_ != nullptr; }

  // Marks the bytes as taken; false if another record has any of them. REQUIRES: they are whole
  // cells inside the image.
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
DictFault BufferDict<T>::find_fault() const {
  using Kind = DictFault::Kind;
  if (is_empty()) return {Kind::kNoImage};
  if (!has_whole_table()) return {Kind::kTableCut, bucket_cnt_, image_.len()};
  const std::uint64_t start = dict_format::records_offset(bucket_cnt_);
  Cells cells(image_.len());
  if (!cells) return {Kind::kNoMemory};
  const auto fault_of = [&](const Node* node, std::uint64_t offset, std::uint32_t bucket) {
    if (offset < start || offset % kRecordAlignment != 0) return Kind::kOffset;
    if (node == nullptr) return Kind::kOutside;
    if (!cells.take(offset, node->node_size())) return Kind::kShared;
    if (!ends_with_zeros(*node)) return Kind::kPadding;
    return hash_id(node->key()) == bucket ? Kind::kNone : Kind::kWrongBucket;
  };
  for (std::uint32_t bucket = 0; bucket < bucket_cnt_; ++bucket) {
    prefetch_ahead(bucket);
    std::uint64_t offset = first_offset(bucket);
    for (bool ended = offset == dict_format::kEmptyBucket; !ended;) {
      const Node* const node = record_at(offset);
      const Kind kind = fault_of(node, offset, bucket);
      if (kind != Kind::kNone) return {kind, bucket, offset};
      ended = node->is_lastnode();
      offset += node->node_size();
    }
  }
  return {};
}

template DictFault BufferDict<unsigned char>::find_fault() const;
template DictFault BufferDict<unsigned short>::find_fault() const;

}  // namespace tstl

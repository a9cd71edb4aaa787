#include "corelib/containers/dict/buffer_dict.h"

#include <algorithm>
#include <cstdio>

#include "corelib/base/bytes.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/dict/image_builder.h"
#include "corelib/containers/group.h"
#include "corelib/containers/list_file.h"
#include "corelib/containers/short_key.h"
#include "corelib/io/files/read_file.h"

namespace tstl {
namespace {

using base::load_le;

// The four bytes of a record from the key length on, and which of them a key settles: a record ends
// with a zero unit, but that is not for a look-up to say.
struct Start {
  std::uint32_t bytes;
  std::uint32_t mask;
};

// What stands for the first record of an empty bucket.
alignas(2) constexpr unsigned char kNoRecord[8] = {0,    0,    0, 0x80,
                                                   0xFF, 0xFF, 0, 0};  // the last one

template <Unit T>
Start start_of(BufferRef<T> key) {
  Start start{key.len(), 0xFFFF};
  for (std::uint32_t i = 0; i < 2 / sizeof(T) && i < key.len(); ++i) {
    const int shift = static_cast<int>(16 + 8 * i);
    start.bytes |= std::uint32_t{key[i]} << shift;
    start.mask |= (sizeof(T) == 1 ? 0xFFu : 0xFFFFu) << shift;
  }
  return start;
}

// An image that was opened, and its table.
struct Image {
  const unsigned char* bytes;
  const unsigned char* table;
  std::uint64_t length;
};

// The walk of for_each, with the key's own length in the place of the record's where they are the
// same, and without a call. Whether the bucket is empty cannot be foreseen, so there is no branch for
// it. same(units) tells whether these are the key's, where there are as many.
template <Unit T, class Same>
[[gnu::always_inline]] inline const BufferDictNode<T>* search(Image image, std::uint32_t bucket,
                                                              BufferRef<T> key, Same same) {
  using Node = BufferDictNode<T>;
  const Start start = start_of(key);
  const std::uint64_t size = Node::node_size(key.len());
  std::uint64_t offset = base::load_le<std::uint32_t>(image.table + std::uint64_t{bucket} * 4);
  // An address, for there is no pointer to what may be outside. By arithmetic, since compilers make
  // a branch of a choice.
  const auto bytes = reinterpret_cast<std::uintptr_t>(image.bytes);
  const auto none = reinterpret_cast<std::uintptr_t>(kNoRecord);
  const auto is_some = std::uintptr_t{0} - static_cast<std::uintptr_t>(offset != 0);
  std::uintptr_t at = none ^ ((none ^ (bytes + offset)) & is_some);
  if (at % alignof(T) != 0) return nullptr;
  while (offset + Node::node_size(0) <= image.length) {
    const auto* const node = reinterpret_cast<const Node*>(at);
    if ((base::load_le<std::uint32_t>(node->key_start()) & start.mask) == start.bytes &&
        offset != 0 && offset + size <= image.length && same(node->str())) {
      return node;
    }
    if (node->is_lastnode()) return nullptr;
    offset += node->node_size();
    at = bytes + offset;
  }
  return nullptr;
}

#if defined(ZENTA_TARGET_SHORT_KEY)
template <Unit T>
ZENTA_TARGET_SHORT_KEY const BufferDictNode<T>* find_short(Image image, std::uint32_t bucket_cnt,
                                                           BufferRef<T> key) {
  struct Same {
    detail::ShortKey key;
    ZENTA_TARGET_SHORT_KEY bool operator()(const T* units) const { return key.is_at(units); }
  };
  const detail::ShortKey bytes(key.cstr(), key.len() * sizeof(T));
  return search(image, bytes.crc32() % bucket_cnt, key, Same{bytes});
}
#endif

// Four bytes of the image each, taken at most once.
class Cells {
 public:
  explicit Cells(std::uint64_t length)
      : bits_(arena_.alloc_array<std::uint64_t>(length / 256 + 1)) {}
  explicit operator bool() const { return bits_ != nullptr; }

  bool take(std::uint64_t offset, std::uint64_t size) {
    for (std::uint64_t cell = offset / 4; cell < (offset + size) / 4; ++cell) {
      const std::uint64_t bit = std::uint64_t{1} << cell % 64;
      if ((bits_[cell / 64] & bit) != 0) return false;
      bits_[cell / 64] |= bit;
    }
    return true;
  }

 private:
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
BufferDict<T>& BufferDict<T>::operator=(BufferDict&& other) noexcept {
  if (this == &other) return *this;
  const bool opened = !other.is_empty();
  close();
  image_ = std::move(other.image_);
  if (opened) itn_open();
  other.close();
  return *this;
}

template <Unit T>
void BufferDict<T>::close() {
  header_ = table_ = nullptr;
  bucket_cnt_ = 0;
  image_.reset();
}

template <Unit T>
std::uint32_t BufferDict<T>::open(const char* path) {
  close();
  return detail::read_file(path, image_) ? itn_open() : FAILURE;
}

template <Unit T>
std::uint32_t BufferDict<T>::open(Buffer<unsigned char>&& image) {
  close();
  image_ = std::move(image);
  return itn_open();
}

template <Unit T>
std::uint32_t BufferDict<T>::open(const BufferHash<T>& table) {
  close();
  return detail::build_dict_image(table, image_) ? itn_open() : FAILURE;
}

// Only the header is looked at. An image may end inside its table, even before the first entry.
template <Unit T>
std::uint32_t BufferDict<T>::itn_open() {
  const std::uint32_t length = image_.len();
  const unsigned char* const bytes = image_.cstr();
  if (length < kLeastLength || base::load_le<std::uint32_t>(bytes + 8) != length ||
      base::load_le<std::uint32_t>(bytes) == 0 || base::load_le<std::uint32_t>(bytes + 4) == 0) {
    close();
    return FAILURE;
  }
  header_ = bytes;
  table_ = bytes + kHeaderSize;
  bucket_cnt_ = std::min((length - kHeaderSize) / 4, header_word(0));
  return 0;
}

template <Unit T>
std::uint32_t BufferDict<T>::save(const char* path) const {
  std::FILE* const file = is_empty() || path == nullptr ? nullptr : std::fopen(path, "wb");
  if (file == nullptr) return FAILURE;
  const bool written = std::fwrite(image_.cstr(), 1, image_.len(), file) == image_.len();
  return (std::fclose(file) == 0 && written) ? 0 : FAILURE;
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::find_in(std::uint32_t bucket, View key) const {
  if (key.len() > 0xFFFF) return nullptr;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(key.cstr());
  return search<T>({header_, table_, image_.len()}, bucket, key, [=](const T* units) {
    return base::equal_bytes(reinterpret_cast<const unsigned char*>(units), bytes,
                             key.len() * sizeof(T));
  });
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::find_any(View key) const {
  return find_in(hash_id(key), key);
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::find_key(View key) const {
#if defined(ZENTA_TARGET_SHORT_KEY)
  if (detail::ShortKey::takes(key.len() * sizeof(T))) {
    return find_short<T>({header_, table_, image_.len()}, bucket_cnt_, key);
  }
#endif
  return find_any(key);
}

template <Unit T>
void BufferDict<T>::find_all(const View* keys, std::uint32_t n, const Node** nodes) const {
  if (bucket_cnt_ == 0) {
    std::fill_n(nodes, n, nullptr);
    return;
  }
  detail::for_each_group(n, [&](std::uint32_t start, std::uint32_t cnt) {
    std::uint32_t buckets[detail::kGroup];
    for (std::uint32_t i = 0; i < cnt; ++i) {
      buckets[i] = hash_id(keys[start + i]);
      __builtin_prefetch(table_ + std::uint64_t{buckets[i]} * 4);
    }
    for (std::uint32_t i = 0; i < cnt; ++i) prefetch(first_offset(buckets[i]));
    for (std::uint32_t i = 0; i < cnt; ++i) {
      nodes[start + i] = find_in(buckets[i], keys[start + i]);
    }
  });
}

template <Unit T>
bool BufferDict<T>::write_kvfile(const char* path, T separator, bool crlf) const {
  return detail::write_kvfile(*this, path, separator, crlf);
}

template <Unit T>
bool BufferDict<T>::check() const {
  if (is_empty() || bucket_cnt_ != header_word(0)) return false;
  const std::uint64_t table_end = kHeaderSize + std::uint64_t{bucket_cnt_} * 4;
  Cells cells(image_.len());
  if (!cells) return false;
  const auto is_whole = [&](const Node* node, std::uint32_t bucket) {
    const std::uint64_t offset = offset_of(node);
    return offset >= table_end && offset % 4 == 0 && cells.take(offset, node->node_size()) &&
           ends_with_zeros(*node) && hash_id(node->key()) == bucket;
  };
  for (std::uint32_t bucket = 0; bucket < bucket_cnt_; ++bucket) {
    prefetch_ahead(bucket);
    bool ended = first_offset(bucket) == 0;
    for (const Node* node = first_record(bucket); node != nullptr; node = next_record(node)) {
      if (!is_whole(node, bucket)) return false;
      ended = node->is_lastnode();
    }
    if (!ended) return false;
  }
  return true;
}

template class BufferDict<unsigned char>;
template class BufferDict<unsigned short>;

}  // namespace tstl

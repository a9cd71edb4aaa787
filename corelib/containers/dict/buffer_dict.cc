#include "corelib/containers/dict/buffer_dict.h"

#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "corelib/base/bytes.h"
#include "corelib/containers/dict/image_builder.h"
#include "corelib/containers/group.h"
#include "corelib/containers/list_file.h"
#include "corelib/containers/short_key.h"
#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/mapping.h"
#include "corelib/io/files/read_file.h"
#include "corelib/io/files/replace_file.h"

namespace tstl {
namespace {

using dict_format::Bucket;
using dict_format::Header;
using dict_format::kEmptyBucket;
using dict_format::RecordHead;

// The four bytes of the key's record from the key length on, and a mask of those that the key
// determines. The zero unit after a short key is not compared: an image that was not checked may
// lack it.
struct Start {
  std::uint32_t bytes;
  std::uint32_t mask;
};

// Read instead of the first record of an empty bucket: a last record with the greatest key length.
alignas(2) constexpr unsigned char kNoRecord[dict_format::kLeastRecord] = {
    0, 0, 0, dict_format::kLastFlag >> 24, 0xFF, 0xFF};

template <Unit T>
Start start_of(BufferRef<T> key) {
  constexpr unsigned kLenBits = 8 * sizeof(RecordHead::key_len);
  Start start{key.len(), dict_format::kGreatestKey};
  for (std::uint32_t i = 0; i < 2 / sizeof(T) && i < key.len(); ++i) {
    const unsigned shift = kLenBits + 8 * i;
    start.bytes |= std::uint32_t{key[i]} << shift;
    start.mask |= (sizeof(T) == 1 ? 0xFFu : 0xFFFFu) << shift;
  }
  return start;
}

// An open image and its table.
struct Image {
  const unsigned char* bytes;
  const Bucket* table;
  std::uint64_t length;
};

// Searches the bucket for the key. It walks as for_each does, but computes a record's size from the
// key where their lengths are equal, and makes no call. Whether a bucket is empty is not
// predictable, so there is no branch on it. same(units) compares as many units as the key has.
template <Unit T, class Same>
[[gnu::always_inline]] inline const BufferDictNode<T>* search(Image image, std::uint32_t bucket,
                                                              BufferRef<T> key, Same same) {
  using Node = BufferDictNode<T>;
  const Start start = start_of(key);
  const std::uint64_t size = Node::node_size(key.len());
  std::uint64_t offset = image.table[bucket].first.get();
  // An integer, because no pointer may be formed outside the image. Selected by arithmetic, because
  // compilers turn a conditional expression into a branch.
  const auto bytes = reinterpret_cast<std::uintptr_t>(image.bytes);
  const auto none = reinterpret_cast<std::uintptr_t>(kNoRecord);
  const auto is_some = std::uintptr_t{0} - static_cast<std::uintptr_t>(offset != kEmptyBucket);
  std::uintptr_t at = none ^ ((none ^ (bytes + offset)) & is_some);
  if (at % alignof(T) != 0) return nullptr;
  while (offset + dict_format::kLeastRecord <= image.length) {
    const auto* const node = reinterpret_cast<const Node*>(at);
    if ((base::load_le<std::uint32_t>(node->key_start()) & start.mask) == start.bytes &&
        offset != kEmptyBucket && offset + size <= image.length && same(node->str())) {
      return node;
    }
    if (node->is_lastnode()) return nullptr;
    offset += node->node_size();
    at = bytes + offset;
  }
  return nullptr;
}

bool is_header_of(const Header& header, std::uint64_t length) {
  return header.length.get() == length && header.bucket_cnt.get() != 0 && header.key_cnt.get() != 0;
}

bool read_exactly(int fd, void* to, std::uint64_t n) {
  const std::int64_t got = detail::read_up_to(fd, to, n);
  return got >= 0 && static_cast<std::uint64_t>(got) == n;
}

// Opens a file and reads its header; the descriptor is then positioned after it. -1 if it cannot be
// opened, is not a regular file, or its header does not agree with its size.
int open_image(const char* path, Header& header) {
  const int fd = detail::open_file(path, O_RDONLY | O_NONBLOCK);
  std::uint64_t size = 0;
  if (fd >= 0 && detail::regular_file_size(fd, size) && size >= dict_format::kLeastImage &&
      read_exactly(fd, &header, sizeof header) && is_header_of(header, size)) {
    return fd;
  }
  (void)detail::close_file(fd);
  return -1;
}

// Allocates only after the header was found to agree with the file's size.
bool read_image(const char* path, Buffer<unsigned char>& image) {
  Header header;
  const detail::Descriptor file(open_image(path, header));
  if (!file) return false;
  const std::uint64_t size = header.length.get();
  if (!image.recapacity(size)) return false;
  std::memcpy(image.str(), &header, sizeof header);
  if (!read_exactly(file.fd(), image.str(sizeof header), size - sizeof header)) return false;
  image.set_len(static_cast<unsigned>(size));
  return true;
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

}  // namespace

template <Unit T>
BufferDict<T>& BufferDict<T>::operator=(BufferDict&& other) noexcept {
  if (this == &other) return *this;
  const bool opened = !other.is_empty();
  close();
  image_ = std::move(other.image_);
  is_mapped_ = std::exchange(other.is_mapped_, false);
  if (opened) itn_open();
  other.close();
  return *this;
}

template <Unit T>
void BufferDict<T>::close() {
  header_ = nullptr;
  table_ = nullptr;
  bucket_cnt_ = 0;
  if (is_mapped_) unmap(const_cast<unsigned char*>(image_.cstr()), image_.len());
  is_mapped_ = false;
  image_.reset();
}

template <Unit T>
std::uint32_t BufferDict<T>::open(const char* path) {
  close();
  if (read_image(path, image_)) return itn_open();
  close();
  return FAILURE;
}

template <Unit T>
std::uint32_t BufferDict<T>::open_mapped(const char* path) {
  close();
  Header header;
  const detail::Descriptor file(open_image(path, header));
  if (!file) return FAILURE;
  const std::uint32_t size = header.length.get();
  const void* const bytes = map_file(file.fd(), size, false);
  if (bytes == nullptr) return FAILURE;
  image_.set_data_const(static_cast<const unsigned char*>(bytes), size);
  is_mapped_ = true;
  set_table(header);
  return 0;
}

template <Unit T>
std::uint32_t BufferDict<T>::open(Buffer<unsigned char>&& image) {
  close();
  image_ = std::move(image);
  return itn_open();
}

template <Unit T>
std::uint32_t BufferDict<T>::open(const BufferHash<T>& table, std::uint32_t* cut) {
  close();
  std::uint32_t unasked;
  return detail::build_dict_image(table, image_, cut == nullptr ? unasked : *cut) ? itn_open()
                                                                                  : FAILURE;
}

// Checks the header only.
template <Unit T>
std::uint32_t BufferDict<T>::itn_open() {
  const std::uint32_t length = image_.len();
  const auto* const header = reinterpret_cast<const Header*>(image_.cstr());
  if (length < dict_format::kLeastImage || !is_header_of(*header, length)) {
    close();
    return FAILURE;
  }
  set_table(*header);
  return 0;
}

// An image may end inside its table, even before the first entry.
template <Unit T>
void BufferDict<T>::set_table(const Header& header) {
  const std::uint64_t most = (image_.len() - sizeof(Header)) / sizeof(Bucket);
  header_ = reinterpret_cast<const Header*>(image_.cstr());
  table_ = reinterpret_cast<const Bucket*>(header_ + 1);
  bucket_cnt_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(most, header.bucket_cnt.get()));
}

template <Unit T>
std::uint32_t BufferDict<T>::save(const char* path) const {
  if (is_empty()) return FAILURE;
  detail::FileReplacement file(path);
  const bool saved =
      file && detail::write_all(file.fd(), image_.cstr(), image_.len()) == 0 && file.commit() == 0;
  return saved ? 0 : FAILURE;
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::find_in(std::uint32_t bucket, View key) const {
  if (key.len() > dict_format::kGreatestKey) return nullptr;
  const auto* const wanted = reinterpret_cast<const unsigned char*>(key.cstr());
  return search<T>({bytes(), table_, image_.len()}, bucket, key, [=](const T* units) {
    return base::equal_bytes(reinterpret_cast<const unsigned char*>(units), wanted,
                             key.len() * sizeof(T));
  });
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::find_any(View key) const {
  return find_in(dict_format::bucket_of(key, bucket_cnt_), key);
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::find_key(View key) const {
#if defined(ZENTA_TARGET_SHORT_KEY)
  if (detail::ShortKey::takes(key.len() * sizeof(T))) {
    return find_short<T>({bytes(), table_, image_.len()}, bucket_cnt_, key);
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
      buckets[i] = dict_format::bucket_of(keys[start + i], bucket_cnt_);
      __builtin_prefetch(table_ + buckets[i]);
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

template class BufferDict<unsigned char>;
template class BufferDict<unsigned short>;

}  // namespace tstl

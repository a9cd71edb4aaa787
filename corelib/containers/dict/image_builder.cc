#include "corelib/containers/dict/image_builder.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "corelib/containers/chunk.h"
#include "corelib/containers/dict/format.h"

namespace tstl::detail {
namespace {

using dict_format::Bucket;
using dict_format::Header;

constexpr std::uint32_t kNone = 0xFFFFFFFF;

// Five buckets for three keys: more than half of all buckets are empty then, where a search for
// what is not there ends in the table, which takes less than seven bytes a key.
constexpr std::uint64_t bucket_cnt_for(std::uint64_t keys) {
  return std::max<std::uint64_t>(1, keys * 5 / 3);
}

// A key takes a record and, rounded up, two buckets.
constexpr std::uint64_t kMostKeys =
    dict_format::kGreatestImage / (dict_format::kLeastRecord + 2 * sizeof(Bucket));

// A node, and its bucket's next one in the order of keys.
template <Unit T>
struct Entry {
  const BufferHashNode<T>* node;
  std::uint64_t rank;  // the first units of the key, as a number that orders as they do
  std::uint32_t next;
};

template <Unit T>
std::uint64_t rank_of(BufferRef<T> key) {
  std::uint64_t rank = 0;
  for (unsigned i = 0; i < sizeof rank / sizeof(T); ++i) {
    rank = rank << 8 * sizeof(T) | (i < key.len() ? key[i] : 0);
  }
  return rank;
}

template <Unit T, class Fn>
void for_each_node(const BufferHash<T>& table, Fn fn) {
  if (table.table() == nullptr) return;
  for (std::uint32_t i = 0; i < table.tabsize(); ++i) {
    for (const auto* node = table.table()[i].node(); node != nullptr; node = node->next()) fn(node);
  }
}

template <Unit T>
class Builder {
 public:
  // False when memory is short.
  bool sort(const BufferHash<T>& table);
  bool group();
  std::uint64_t size() const;
  // Returns how many values were cut. REQUIRES: `image` has size() zero bytes.
  std::uint32_t write(unsigned char* image) const;

 private:
  std::uint32_t bucket_cnt() const { return static_cast<std::uint32_t>(buckets_.size()); }

  Chunk arena_;
  std::span<Entry<T>> entries_;       // in the order of keys, each key once
  std::span<std::uint32_t> buckets_;  // the first entry of each bucket
};

// Which of the nodes with one key gives its value: the one that find() gives. Nodes whose recorded
// length wrapped may all stand in buckets of other keys, where find() does not look; of these the one
// with the least value, so that the order in which they came does not matter.
template <Unit T>
const Entry<T>& chosen(const BufferHash<T>& table, std::span<const Entry<T>> same) {
  if (same.size() == 1) return same.front();
  const auto* const found = table.find(same.front().node->key());
  return *std::ranges::min_element(same, {}, [found](const Entry<T>& entry) {
    return std::pair(entry.node != found, entry.node->value());
  });
}

// Keeps one of all entries with the same key. Returns the end of what is kept. REQUIRES: sorted.
template <Unit T>
Entry<T>* keep_each_key_once(const BufferHash<T>& table, Entry<T>* first, Entry<T>* end) {
  Entry<T>* kept = first;
  while (first != end) {
    Entry<T>* const next = std::find_if(first + 1, end, [first](const Entry<T>& entry) {
      return entry.rank != first->rank || entry.node->key() != first->node->key();
    });
    *kept++ = chosen<T>(table, {first, next});
    first = next;
  }
  return kept;
}

template <Unit T>
bool Builder<T>::sort(const BufferHash<T>& table) {
  std::uint64_t n = 0;
  for_each_node(table, [&n](const auto*) { ++n; });
  if (n > kMostKeys) return false;
  auto* const entries = arena_.alloc_array<Entry<T>>(n + 1);
  if (entries == nullptr) return false;
  auto* end = entries;
  for_each_node(table, [&end](const auto* node) { *end++ = {node, rank_of(node->key()), kNone}; });

  std::stable_sort(entries, end, [](const Entry<T>& a, const Entry<T>& b) {
    return a.rank != b.rank ? a.rank < b.rank : a.node->key() < b.node->key();
  });
  entries_ = {entries, keep_each_key_once(table, entries, end)};
  return true;
}

template <Unit T>
bool Builder<T>::group() {
  const std::uint64_t cnt = bucket_cnt_for(entries_.size());
  buckets_ = {arena_.alloc_array<std::uint32_t>(cnt), cnt};
  if (buckets_.data() == nullptr) return false;
  std::fill(buckets_.begin(), buckets_.end(), kNone);
  for (std::size_t i = entries_.size(); i-- != 0;) {
    std::uint32_t& first = buckets_[dict_format::bucket_of(entries_[i].node->key(), bucket_cnt())];
    entries_[i].next = first;
    first = static_cast<std::uint32_t>(i);
  }
  return true;
}

template <Unit T>
std::uint64_t Builder<T>::size() const {
  std::uint64_t size = dict_format::records_offset(buckets_.size());
  for (const Entry<T>& entry : entries_) size += BufferDictNode<T>::node_size(entry.node->len());
  return size;
}

// Buckets stand in the order of their first keys, so that the records of keys with a common start,
// which are often looked up one after another, are near each other.
template <Unit T>
std::uint32_t Builder<T>::write(unsigned char* image) const {
  auto* const header = reinterpret_cast<Header*>(image);
  auto* const table = reinterpret_cast<Bucket*>(header + 1);
  std::uint64_t offset = dict_format::records_offset(buckets_.size());
  std::uint32_t cut = 0;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const std::uint32_t bucket = dict_format::bucket_of(entries_[i].node->key(), bucket_cnt());
    if (buckets_[bucket] != i) continue;
    table[bucket].first.set(static_cast<std::uint32_t>(offset));
    for (std::uint32_t at = buckets_[bucket]; at != kNone; at = entries_[at].next) {
      const auto* const node = entries_[at].node;
      auto* const record = reinterpret_cast<BufferDictNode<T>*>(image + offset);
      record->init_key(node->key());
      record->set_value(static_cast<std::uint32_t>(node->value()));
      cut += record->value() != node->value();
      record->set_lastnode(entries_[at].next == kNone);
      offset += record->node_size();
    }
  }
  header->bucket_cnt.set(bucket_cnt());
  // The number of keys; but a reader wants it not to be zero.
  header->key_cnt.set(std::max(static_cast<std::uint32_t>(entries_.size()), 1u));
  header->length.set(static_cast<std::uint32_t>(offset));
  return cut;
}

}  // namespace

template <Unit T>
bool build_dict_image(const BufferHash<T>& table, Buffer<unsigned char>& image, std::uint32_t& cut,
                      std::uint64_t limit) {
  cut = 0;
  Builder<T> builder;
  if (!builder.sort(table) || !builder.group()) return false;
  const std::uint64_t size = builder.size();
  if (size > limit || !image.recapacity(size)) return false;
  image.set_len(static_cast<unsigned>(size));
  std::memset(image.str(), 0, size);
  cut = builder.write(image.str());
  return true;
}

template bool build_dict_image(const BufferHash<unsigned char>&, Buffer<unsigned char>&,
                               std::uint32_t&, std::uint64_t);
template bool build_dict_image(const BufferHash<unsigned short>&, Buffer<unsigned char>&,
                               std::uint32_t&, std::uint64_t);

}  // namespace tstl::detail

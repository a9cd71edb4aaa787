#include "corelib/containers/detail/dict_image.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <span>

#include "corelib/containers/buffer_dict.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/crc32.h"
#include "corelib/containers/detail/little_endian.h"

namespace tstl::detail {
namespace {

constexpr std::uint64_t kHeaderSize = 16;
constexpr std::uint64_t kGreatestImage = Buffer<unsigned char>::kGreatestCapacity;

constexpr std::uint64_t bucket_cnt_for(std::uint64_t keys) {
  return std::max<std::uint64_t>(keys, 1);
}

template <Unit T, class Fn>
void for_each_node(const BufferHash<T>& table, Fn fn) {
  if (table.table() == nullptr) return;
  for (std::uint32_t i = 0; i < table.tabsize(); ++i) {
    for (const auto* node = table.table()[i]; node != nullptr; node = node->next()) fn(node);
  }
}

// The nodes of a table by buckets of the image.
template <Unit T>
struct Groups {
  using Node = BufferHashNode<T>;

  Chunk arena;
  const Node** nodes = nullptr;
  std::uint32_t bucket_cnt = 0;
  std::uint32_t* end = nullptr;   // for each bucket, where its nodes end,
  std::uint32_t* cnt = nullptr;   // how many it had,
  std::uint32_t* kept = nullptr;  // and how many of these count, from the first

  std::span<const Node*> all(std::uint32_t bucket) const {
    return {nodes + end[bucket] - cnt[bucket], cnt[bucket]};
  }
  std::span<const Node*> bucket(std::uint32_t bucket) const {
    return all(bucket).first(kept[bucket]);
  }
};

// Puts the nodes in the order of the buckets, those of a bucket as they come in the table. False
// when memory is short or no image could hold so many.
template <Unit T>
bool group(const BufferHash<T>& table, Groups<T>& groups) {
  std::uint64_t n = 0;
  for_each_node(table, [&](const auto*) { ++n; });
  const std::uint64_t buckets = bucket_cnt_for(n);
  if (std::max(n, buckets) > kGreatestImage / 4) return false;

  groups.bucket_cnt = static_cast<std::uint32_t>(buckets);
  groups.nodes = groups.arena.template alloc_array<const BufferHashNode<T>*>(n + 1);
  auto* const bucket_of = groups.arena.template alloc_array<std::uint32_t>(n + 1);
  for (auto* array : {&groups.end, &groups.cnt, &groups.kept}) {
    *array = groups.arena.template alloc_array<std::uint32_t>(buckets);
    if (*array == nullptr) return false;
  }
  if (groups.nodes == nullptr || bucket_of == nullptr) return false;

  std::uint32_t i = 0;
  for_each_node(table, [&](const auto* node) {
    bucket_of[i] = crc32(node->key()) % groups.bucket_cnt;
    ++groups.cnt[bucket_of[i++]];
  });
  std::exclusive_scan(groups.cnt, groups.cnt + buckets, groups.end, 0u);
  i = 0;
  for_each_node(table,
                [&](const auto* node) { groups.nodes[groups.end[bucket_of[i++]]++] = node; });
  return true;
}

// Sorts the nodes of each bucket by key and keeps the first of each key, which is the one that the
// table finds: nodes of one key are in one chain, and sorting is stable.
template <Unit T>
void keep_one_of_each_key(Groups<T>& groups) {
  for (std::uint32_t i = 0; i < groups.bucket_cnt; ++i) {
    const auto all = groups.all(i);
    groups.kept[i] = groups.cnt[i];
    if (all.size() < 2) continue;
    std::stable_sort(all.begin(), all.end(),
                     [](const auto* a, const auto* b) { return a->key() < b->key(); });
    const auto kept = std::unique(
        all.begin(), all.end(), [](const auto* a, const auto* b) { return a->key() == b->key(); });
    groups.kept[i] = static_cast<std::uint32_t>(kept - all.begin());
  }
}

// Writes the header, the table and the records over zeros.
template <Unit T>
void write_image(const Groups<T>& groups, unsigned char* image, std::uint32_t length) {
  std::uint32_t entries = 0;
  std::uint64_t offset = kHeaderSize + std::uint64_t{groups.bucket_cnt} * 4;
  for (std::uint32_t i = 0; i < groups.bucket_cnt; ++i) {
    const auto nodes = groups.bucket(i);
    if (nodes.empty()) continue;
    store_le(image + kHeaderSize + std::uint64_t{i} * 4, static_cast<std::uint32_t>(offset));
    for (const auto* node : nodes) {
      auto* const record = reinterpret_cast<BufferDictNode<T>*>(image + offset);
      record->init_key(node->key());
      record->set_value(static_cast<std::uint32_t>(node->value() & 0x7FFFFFFF));
      record->set_lastnode(node == nodes.back());
      offset += record->node_size();
      ++entries;
    }
  }
  store_le(image, groups.bucket_cnt);
  store_le(image + 4, std::max(entries, 1u));  // a reader wants it not to be zero
  store_le(image + 8, length);
}

template <Unit T>
std::uint64_t image_size(const Groups<T>& groups) {
  std::uint64_t size = kHeaderSize + std::uint64_t{groups.bucket_cnt} * 4;
  for (std::uint32_t i = 0; i < groups.bucket_cnt; ++i) {
    for (const auto* node : groups.bucket(i)) size += BufferDictNode<T>::node_size(node->len());
  }
  return size;
}

}  // namespace

template <Unit T>
bool build_dict_image(const BufferHash<T>& table, Buffer<unsigned char>& image) {
  Groups<T> groups;
  if (!group(table, groups)) return false;
  keep_one_of_each_key(groups);
  const std::uint64_t size = image_size(groups);
  if (size > kGreatestImage || !image.recapacity(size)) return false;
  image.set_len(static_cast<unsigned>(size));
  std::memset(image.str(), 0, size);
  write_image(groups, image.str(), static_cast<std::uint32_t>(size));
  return true;
}

template bool build_dict_image(const BufferHash<unsigned char>&, Buffer<unsigned char>&);
template bool build_dict_image(const BufferHash<unsigned short>&, Buffer<unsigned char>&);

}  // namespace tstl::detail

// Sorts the records of an image.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "corelib/base/types.h"
#include "tools/zentactl/dict_image.h"

namespace zenta::zentactl {

enum class DictOrder : unsigned char {
  kKey,     // by the keys' units
  kValue,   // greatest values first, equal ones by key
  kStored,  // as they stand in the image
};

// A record with the first 8 bytes of its key, which decide most comparisons without reading the
// image.
template <tstl::Unit T>
struct DictEntry {
  explicit DictEntry(const tstl::BufferDictNode<T>& record) : node(&record) {
    const tstl::BufferRef<T> key = record.key();
    for (unsigned i = 0; i < 8 / sizeof(T); ++i) {
      start = start << 8 * sizeof(T) | (i < key.len() ? key[i] : 0);
    }
  }

  std::uint64_t start = 0;
  const tstl::BufferDictNode<T>* node;

  static bool IsKeyBefore(const DictEntry& a, const DictEntry& b) {
    return a.start != b.start ? a.start < b.start : a.node->key() < b.node->key();
  }
  static bool IsValueBefore(const DictEntry& a, const DictEntry& b) {
    const std::uint32_t x = a.node->value(), y = b.node->value();
    return x != y ? x > y : IsKeyBefore(a, b);
  }
};

template <tstl::Unit T>
void Sort(std::vector<DictEntry<T>>& entries, DictOrder order) {
  if (order == DictOrder::kKey) {
    std::sort(entries.begin(), entries.end(), DictEntry<T>::IsKeyBefore);
  } else if (order == DictOrder::kValue) {
    std::sort(entries.begin(), entries.end(), DictEntry<T>::IsValueBefore);
  }
}

// The records for which `wanted(node)` is true, sorted. Throws Failure if the image is damaged.
template <tstl::Unit T, class Wanted>
std::vector<DictEntry<T>> Records(const Image& image, DictOrder order, Wanted wanted) {
  std::vector<DictEntry<T>> entries;
  const bool is_whole = image.Of<T>()->for_each_bk([&](const tstl::BufferDictNode<T>& node) {
    if (wanted(node)) entries.emplace_back(node);
    return true;
  });
  if (!is_whole) throw image.Damaged();
  Sort(entries, order);
  return entries;
}

}  // namespace zenta::zentactl

// Invariants of a dictionary image of any bytes: look-ups and traversals stay inside it and end. In
// an image that check() accepts, every key that a traversal meets is found. A table made from such
// an image, and an image made from that table, have the same contents.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/dict/buffer_dict.h"

namespace tstl::oracle {

template <class T>
using Keys = std::vector<BufferRef<T>>;

template <class T>
Keys<T> KeysOf(const BufferDict<T>& dict) {
  Keys<T> keys;
  dict.for_each([&](const BufferDictNode<T>& node) { keys.push_back(node.key()); });
  return keys;
}

// In a whole image a key is found exactly if a traversal, which does not hash, meets it. `met`: the
// keys that it meets in a whole image; otherwise null.
template <class T>
bool KeyIsFoundRightly(const BufferDict<T>& dict, BufferRef<T> key, const Keys<T>* met) {
  const auto* const node = dict.find(key);
  if ((node != nullptr) != dict.match(key)) return false;
  if (node != nullptr && node->key() != key) return false;
  return met == nullptr || (node == nullptr) == (std::ranges::find(*met, key) == met->end());
}

template <class T>
bool TableComesBack(const BufferDict<T>& dict) {
  BufferHash<T> table(64);
  dict.for_each(
      [&](const BufferRef<T>& key, std::uint64_t& value) { table[key]->set_value(value); });
  BufferDict<T> again;
  if (again.open(table) != 0 || !again.check()) return false;
  std::uint32_t keys = 0;
  return again.for_each_bk([&](const BufferRef<T>& key, std::uint64_t& value) {
    ++keys;
    return table.find(key)->value() == value;
  }) && keys == table.itemcnt();
}

template <class T>
bool ImageIsSafe(const BufferDict<T>& dict) {
  const auto& image = dict.ref_internal_data();
  const bool whole = dict.check();
  const Keys<T> keys = whole ? KeysOf(dict) : Keys<T>();
  const Keys<T>* const met = whole ? &keys : nullptr;
  bool good = true;
  std::size_t records = 0;
  const bool all = dict.for_each_bk([&](const BufferDictNode<T>& node) {
    const auto* const start = reinterpret_cast<const unsigned char*>(&node);
    good = good && image.begin() <= start && start + node.node_size() <= image.end() &&
           (records >= 64 || KeyIsFoundRightly(dict, node.key(), met));
    return ++records <= image.len() / 8;
  });
  good = good && records <= image.len() / 8 && (all || !whole);
  // Keys that are mostly absent: the first units of the image, copied because they may be
  // misaligned.
  T start[12] = {};
  std::copy_n(image.begin(), std::min<std::size_t>(sizeof start, image.len()),
              reinterpret_cast<unsigned char*>(start));
  for (unsigned len = 0; len <= std::size(start); ++len) {
    good = good && KeyIsFoundRightly(dict, BufferRef<T>(start, len), met);
  }
  return good && (!whole || TableComesBack(dict));
}

}  // namespace tstl::oracle

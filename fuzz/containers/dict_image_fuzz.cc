// A dictionary image from any bytes, in both unit widths. Opening, checking, every look-up and
// every traversal stay inside the image and end. What a whole image tells is found, and making a
// table of it, an image of that, and so on, changes nothing any more.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "corelib/containers/buffer_dict.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/detail/little_endian.h"

namespace {

using tstl::BufferDict;
using tstl::BufferDictNode;
using tstl::BufferRef;

void Require(bool holds) {
  if (!holds) std::abort();
}

// A copy of exactly these bytes and a zero.
tstl::Buffer<unsigned char> BufferOf(const std::uint8_t* data, unsigned size) {
  tstl::Buffer<unsigned char> buffer;
  auto* const memory = static_cast<unsigned char*>(std::malloc(std::size_t{size} + 1));
  if (size != 0) std::memcpy(memory, data, size);
  buffer.set_data_owner(size, memory, size);
  // So that mutations get past the header: its length word is made true.
  if (size >= 12) tstl::detail::store_le(memory + 8, size);
  return buffer;
}

// A key is in a whole image exactly if a traversal, which does not hash, meets it.
template <class T>
void CheckKey(const BufferDict<T>& dict, BufferRef<T> key) {
  const auto* const node = dict.find(key);
  Require((node != nullptr) == dict.match(key));
  Require(node == nullptr || node->key() == key);
  if (!dict.check()) return;
  Require((node == nullptr) ==
          dict.for_each_bk([&](const BufferDictNode<T>& other) { return other.key() != key; }));
}

template <class T>
void CheckTableOf(const BufferDict<T>& dict) {
  tstl::BufferHash<T> table(64);
  dict.for_each(
      [&](const BufferRef<T>& key, std::uint64_t& value) { table[key]->set_value(value); });
  BufferDict<T> again;
  Require(again.open(table) == 0 && again.check());
  std::uint32_t keys = 0;
  again.for_each([&](const BufferRef<T>& key, std::uint64_t& value) {
    Require(table.find(key)->value() == value);
    ++keys;
  });
  Require(keys == table.itemcnt());
}

template <class T>
void Run(const std::uint8_t* data, unsigned size) {
  BufferDict<T> dict;
  if (dict.open(BufferOf(data, size)) != 0) {
    Require(dict.is_empty() && dict.find({}) == nullptr);
    return;
  }
  const auto& image = dict.ref_internal_data();
  const bool whole = dict.check();
  std::size_t records = 0;
  const bool all = dict.for_each_bk([&](const BufferDictNode<T>& node) {
    const auto* const start = reinterpret_cast<const unsigned char*>(&node);
    Require(image.cstr() <= start && start + node.node_size() <= image.cstr() + image.len());
    if (records < 64) CheckKey(dict, node.key());
    return ++records <= image.len() / 8;
  });
  Require(records <= image.len() / 8 && (all || !whole));
  // Keys that are mostly not there: pieces of the input.
  for (unsigned len = 0; len < 12 && len * sizeof(T) <= size; ++len) {
    CheckKey(dict, BufferRef<T>(reinterpret_cast<const T*>(image.cstr()), len));
  }
  if (whole) CheckTableOf(dict);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 1 << 16) return 0;  // the checks take time in proportion to its square
  Run<unsigned char>(data, static_cast<unsigned>(size));
  Run<unsigned short>(data, static_cast<unsigned>(size));
  return 0;
}

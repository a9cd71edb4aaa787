#include "corelib/containers/buffer_hash.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>

#include "corelib/containers/detail/group.h"
#include "corelib/containers/detail/key_probe.h"
#include "corelib/containers/detail/list_file.h"
#include "corelib/text/buffer.h"

namespace tstl {
namespace {

// Pairs on their way into a table, copied, so that they can be inserted together.
template <Unit T>
class PairBatch {
 public:
  explicit PairBatch(BufferHash<T>& table) : table_(table) {}

  // These return false when memory is short.
  bool add(BufferRef<T> key, std::uint64_t value) {
    if (!text_.recapacity(std::uint64_t{text_.len()} + key.len())) {
      cnt_ = 0;  // their keys are lost, too
      return false;
    }
    text_.append_str(key);
    values_[cnt_] = value;
    ends_[cnt_++] = text_.len();
    return (cnt_ < kMost && text_.len() < kMuchText) || insert();
  }
  bool insert();

 private:
  static constexpr std::uint32_t kMost = 4 * detail::kGroup;
  static constexpr std::uint32_t kMuchText = 65536;

  BufferHash<T>& table_;
  Buffer<T> text_;  // the keys, one behind the other
  std::uint32_t cnt_ = 0;
  std::uint32_t ends_[kMost];
  std::uint64_t values_[kMost];
};

template <Unit T>
bool PairBatch<T>::insert() {
  BufferRef<T> keys[kMost];
  BufferHashNode<T>* nodes[kMost];
  std::uint32_t start = 0;
  for (std::uint32_t i = 0; i < cnt_; start = ends_[i++]) {
    keys[i] = BufferRef<T>(text_.cstr() + start, ends_[i] - start);
  }
  table_.insert_all(keys, cnt_, nodes);
  bool complete = true;
  for (std::uint32_t i = 0; i < cnt_; ++i) {
    if (nodes[i] != nullptr) nodes[i]->set_value(values_[i]);
    complete = complete && nodes[i] != nullptr;
  }
  text_.clear();
  cnt_ = 0;
  return complete;
}

}  // namespace

template <Unit T>
BufferHash<T>& BufferHash<T>::operator=(BufferHash&& other) noexcept {
  BufferHash taken(std::move(other));
  swap(taken);
  return *this;
}

template <Unit T>
BufferHash<T>::~BufferHash() {
  std::free(buckets_);
}

template <Unit T>
void BufferHash<T>::swap(BufferHash& other) noexcept {
  arena_.swap(other.arena_);
  std::swap(buckets_, other.buckets_);
  std::swap(bucket_cnt_, other.bucket_cnt_);
  std::swap(bucket_cap_, other.bucket_cap_);
  std::swap(item_cnt_, other.item_cnt_);
  std::swap(requested_, other.requested_);
}

template <Unit T>
void BufferHash<T>::reset() {
  arena_.reset();
  std::free(std::exchange(buckets_, nullptr));
  bucket_cnt_ = 0;
  bucket_cap_ = 0;
  item_cnt_ = 0;
  requested_ = clamp(requested_);
}

template <Unit T>
bool BufferHash<T>::make_buckets() {
  if (buckets_ != nullptr) return true;
  buckets_ = static_cast<Node**>(std::calloc(requested_, sizeof(Node*)));
  if (buckets_ == nullptr) return false;
  bucket_cnt_ = bucket_cap_ = requested_;
  return true;
}

template <Unit T>
void BufferHash<T>::set_tabsize(std::uint32_t n) {
  requested_ = clamp(n);
  if (buckets_ == nullptr || bucket_cnt_ == requested_) return;
  auto* const grown = static_cast<Node**>(std::calloc(requested_, sizeof(Node*)));
  if (grown == nullptr) return;
  move_chains(grown, requested_);
  std::free(std::exchange(buckets_, grown));
  bucket_cnt_ = bucket_cap_ = requested_;
}

// Pushes the nodes, in the order of for_each, onto the heads of `to`.
template <Unit T>
void BufferHash<T>::move_chains(Node** to, std::uint32_t to_cnt) {
  for (std::uint32_t i = 0; i < bucket_cnt_; ++i) {
    for (Node* node = buckets_[i]; node != nullptr;) {
      Node*& head = to[crc32(node->key()) % to_cnt];
      Node* const next = node->next();
      node->set_next(std::exchange(head, node));
      node = next;
    }
  }
}

template <Unit T>
typename BufferHash<T>::Node* BufferHash<T>::alloc_node(View key) {
  Node* const node = detail::alloc_node<Node>(arena_, key);
  if (node == nullptr) return nullptr;
  node->init_key(key, recorded_len(key.len()));
  ++item_cnt_;
  return node;
}

template <Unit T>
typename BufferHash<T>::Node* BufferHash<T>::insert(View key) {
  return make_buckets() ? insert_in(hash_id(key), key) : nullptr;
}

template <Unit T>
typename BufferHash<T>::Node* BufferHash<T>::insert_in(std::uint32_t bucket, View key) {
  const detail::KeyProbe<T> probe(key);
  Node*& head = buckets_[bucket];
  Node* before = nullptr;
  Node* after = head;
  for (; after != nullptr; before = after, after = after->next()) {
    if (probe.matches(after->keyed())) return after;
    if (!probe.follows(after->keyed())) break;
  }
  Node* const node = alloc_node(key);
  if (node == nullptr) return nullptr;
  node->set_next(after);
  if (before == nullptr) {
    head = node;
  } else {
    before->set_next(node);
  }
  return node;
}

template <Unit T>
const typename BufferHash<T>::Node* BufferHash<T>::find_in(std::uint32_t bucket, View key) const {
  const detail::KeyProbe<T> probe(key);
  const Node* node = buckets_[bucket];
  while (node != nullptr && !probe.matches(node->keyed())) node = node->next();
  return node;
}

// Calls fn(i, bucket) for the keys in order. The buckets of a group of them, and the first two nodes
// there, are on their way when its first call is made. REQUIRES: there are buckets.
template <Unit T>
template <class Fn>
void BufferHash<T>::with_buckets(const View* keys, std::uint32_t n, Fn fn) const {
  assert(buckets_ != nullptr);
  detail::for_each_group(n, [&](std::uint32_t start, std::uint32_t cnt) {
    std::uint32_t buckets[detail::kGroup];
    for (std::uint32_t i = 0; i < cnt; ++i) {
      buckets[i] = hash_id(keys[start + i]);
      __builtin_prefetch(buckets_ + buckets[i]);
    }
    for (std::uint32_t i = 0; i < cnt; ++i) __builtin_prefetch(buckets_[buckets[i]]);
    for (std::uint32_t i = 0; i < cnt; ++i) {
      const Node* const first = buckets_[buckets[i]];
      if (first != nullptr) __builtin_prefetch(first->next());
    }
    for (std::uint32_t i = 0; i < cnt; ++i) fn(start + i, buckets[i]);
  });
}

template <Unit T>
void BufferHash<T>::insert_all(const View* keys, std::uint32_t n, Node** nodes) {
  if (!make_buckets()) {
    std::fill_n(nodes, n, nullptr);
    return;
  }
  with_buckets(keys, n, [&](std::uint32_t i, std::uint32_t bucket) {
    nodes[i] = insert_in(bucket, keys[i]);
  });
}

template <Unit T>
void BufferHash<T>::find_all(const View* keys, std::uint32_t n, const Node** nodes) const {
  if (buckets_ == nullptr) {
    std::fill_n(nodes, n, nullptr);
    return;
  }
  with_buckets(keys, n,
               [&](std::uint32_t i, std::uint32_t bucket) { nodes[i] = find_in(bucket, keys[i]); });
}

template <Unit T>
bool BufferHash<T>::read_kvfile(const char* path, T separator) {
  reset();
  PairBatch<T> batch(*this);
  const bool read = detail::read_kvfile<T>(
      path, separator, [&batch](View key, std::uint64_t value) { return batch.add(key, value); });
  return batch.insert() && read;
}

template <Unit T>
bool BufferHash<T>::write_kvfile(const char* path, T separator, bool crlf) const {
  return detail::write_kvfile(*this, path, separator, crlf);
}

template class BufferHash<unsigned char>;
template class BufferHash<unsigned short>;

}  // namespace tstl

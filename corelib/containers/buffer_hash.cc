#include "corelib/containers/buffer_hash.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>

#include "corelib/containers/detail/key_probe.h"
#include "corelib/containers/group.h"
#include "corelib/containers/list_file.h"
#include "corelib/containers/short_key.h"
#include "corelib/text/buffer.h"

namespace tstl {
namespace {

// Copies pairs and inserts them into a table in batches.
template <Unit T>
class PairBatch {
 public:
  explicit PairBatch(BufferHash<T>& table) : table_(table) {}

  // These return false if an allocation fails.
  bool add(BufferRef<T> key, std::uint64_t value) {
    if (!text_.recapacity(std::uint64_t{text_.len()} + key.len())) {
      cnt_ = 0;  // the failed allocation has freed the batch's keys too
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
  Buffer<T> text_;  // the keys, one after the other
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

// Traverses only those nodes of a table that find() returns.
template <Unit T>
struct FoundNodes {
  const BufferHash<T>& table;

  template <class Fn>
  bool for_each_bk(Fn fn) const {
    return table.for_each_bk([&](BufferRef<T> key, std::uint64_t value) {
      const auto* const found = table.find(key);
      return found == nullptr || found->str() != key.cstr() || fn(key, value);
    });
  }
};

#if defined(ZENTA_TARGET_SHORT_KEY)
// The searches for short keys. They are functions of their own because they are compiled for
// another processor level.
template <Unit T>
ZENTA_TARGET_SHORT_KEY detail::ShortKey short_key(BufferRef<T> key) {
  return detail::ShortKey(key.cstr(), key.len() * sizeof(T));
}

template <class Node>
ZENTA_TARGET_SHORT_KEY inline const Node* find_short_in(detail::ChainLink<Node> link,
                                                        detail::Fingerprint fingerprint,
                                                        const detail::ShortKey& key,
                                                        std::uint32_t len) {
  for (; link.may_hold(fingerprint); link = link->link()) {
    if (link->len() == len && key.is_at(link->str())) return link;
  }
  return nullptr;
}

template <class Node, Unit T>
ZENTA_TARGET_SHORT_KEY const Node* find_short_at(detail::ChainLink<Node> link,
                                                 detail::Fingerprint fingerprint,
                                                 BufferRef<T> key) {
  return find_short_in(link, fingerprint, short_key(key), key.len());
}

template <class Node, Unit T>
ZENTA_TARGET_SHORT_KEY const Node* find_short(const detail::ChainLink<Node>* buckets,
                                              std::uint32_t bucket_cnt, BufferRef<T> key) {
  const detail::ShortKey bytes = short_key(key);
  const detail::ChainPlace place(bytes.crc32(), bucket_cnt);
  return find_short_in(buckets[place.bucket], place.fingerprint, bytes, key.len());
}
#endif

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
  buckets_ = static_cast<Link*>(std::calloc(requested_, sizeof(Link)));
  if (buckets_ == nullptr) return false;
  bucket_cnt_ = bucket_cap_ = requested_;
  return true;
}

// Inserts the nodes, in the order of for_each, at the heads of the new buckets.
template <Unit T>
void BufferHash<T>::set_tabsize(std::uint32_t n) {
  requested_ = clamp(n);
  if (buckets_ == nullptr || bucket_cnt_ == requested_) return;
  Link* const old = buckets_;
  const std::uint32_t old_cnt = bucket_cnt_;
  buckets_ = nullptr;
  if (!make_buckets()) {
    buckets_ = old;
    return;
  }
  for (std::uint32_t i = 0; i < old_cnt; ++i) {
    for (Node* node = old[i].node(); node != nullptr;) {
      Node* const next = node->next();
      const Place place = place_of(node->key());
      buckets_[place.bucket].insert(node, place.fingerprint);
      node = next;
    }
  }
  std::free(old);
}

template <Unit T>
typename BufferHash<T>::Node* BufferHash<T>::alloc_node(View key) {
  Node* const node = detail::alloc_node<Node>(arena_, key);
  if (node == nullptr || !Link::holds(node)) return nullptr;  // holds() is always true, see there
  node->init_key(key, recorded_len(key.len()));
  ++item_cnt_;
  return node;
}

template <Unit T>
typename BufferHash<T>::Node* BufferHash<T>::insert(View key) {
  return make_buckets() ? insert_at(place_of(key), key) : nullptr;
}

template <Unit T>
typename BufferHash<T>::Node* BufferHash<T>::insert_at(Place place, View key) {
  const detail::KeyProbe<T> probe(key);
  Link* link = &buckets_[place.bucket];
  while (Node* const node = link->node()) {
    if (link->may_be(place.fingerprint) && probe.matches(node->keyed())) return node;
    if (!probe.follows(node->keyed())) break;
    link = link->pass(place.fingerprint);
  }
  Node* const node = alloc_node(key);
  if (node != nullptr) link->insert(node, place.fingerprint);
  return node;
}

template <Unit T>
const typename BufferHash<T>::Node* BufferHash<T>::find_key(View key) const {
#if defined(ZENTA_TARGET_SHORT_KEY)
  if (detail::ShortKey::takes(key.len() * sizeof(T))) {
    return find_short(buckets_, bucket_cnt_, key);
  }
#endif
  return find_any(key);
}

template <Unit T>
const typename BufferHash<T>::Node* BufferHash<T>::find_any(View key) const {
  return find_at(place_of(key), key);
}

template <Unit T>
const typename BufferHash<T>::Node* BufferHash<T>::find_at(Place place, View key) const {
#if defined(ZENTA_TARGET_SHORT_KEY)
  if (detail::ShortKey::takes(key.len() * sizeof(T))) {
    return find_short_at(buckets_[place.bucket], place.fingerprint, key);
  }
#endif
  const detail::KeyProbe<T> probe(key);
  for (Link link = buckets_[place.bucket]; link.may_hold(place.fingerprint); link = link->link()) {
    if (probe.matches(link->keyed())) return link;
  }
  return nullptr;
}

// Calls fn(i, place) for the keys in order. Prefetches for a group of keys before the first of its
// calls: the buckets, and the nodes that are most likely the keys'. REQUIRES: there are buckets.
template <Unit T>
template <class Fn>
void BufferHash<T>::at_places(const View* keys, std::uint32_t n, Fn fn) const {
  assert(buckets_ != nullptr);
  detail::for_each_group(n, [&](std::uint32_t start, std::uint32_t cnt) {
    Place places[detail::kGroup];
    for (std::uint32_t i = 0; i < cnt; ++i) {
      places[i] = place_of(keys[start + i]);
      __builtin_prefetch(buckets_ + places[i].bucket);
    }
    for (std::uint32_t i = 0; i < cnt; ++i) {
      __builtin_prefetch(buckets_[places[i].bucket].node());
    }
    for (std::uint32_t i = 0; i < cnt; ++i) {
      __builtin_prefetch(
          detail::likely_link(&buckets_[places[i].bucket], places[i].fingerprint)->node());
    }
    for (std::uint32_t i = 0; i < cnt; ++i) fn(start + i, places[i]);
  });
}

template <Unit T>
void BufferHash<T>::insert_all(const View* keys, std::uint32_t n, Node** nodes) {
  if (!make_buckets()) {
    std::fill_n(nodes, n, nullptr);
    return;
  }
  at_places(keys, n, [&](std::uint32_t i, Place place) { nodes[i] = insert_at(place, keys[i]); });
}

template <Unit T>
void BufferHash<T>::find_all(const View* keys, std::uint32_t n, const Node** nodes) const {
  if (buckets_ == nullptr) {
    std::fill_n(nodes, n, nullptr);
    return;
  }
  at_places(keys, n, [&](std::uint32_t i, Place place) { nodes[i] = find_at(place, keys[i]); });
}

template <Unit T>
bool BufferHash<T>::read_kvfile(const char* path, T separator, PairFaults* faults) {
  reset();
  PairBatch<T> batch(*this);
  const bool read = detail::read_kvfile<T>(
      path, separator, faults,
      [&batch](View key, std::uint64_t value) { return batch.add(key, value); });
  return batch.insert() && read;
}

template <Unit T>
bool BufferHash<T>::write_kvfile(const char* path, T separator, bool crlf) const {
  return detail::write_kvfile(*this, path, separator, crlf);
}

template <Unit T>
bool BufferHash<T>::write_found_kvfile(const char* path, T separator, bool crlf) const {
  return detail::write_kvfile(FoundNodes<T>{*this}, path, separator, crlf);
}

template class BufferHash<unsigned char>;
template class BufferHash<unsigned short>;

}  // namespace tstl

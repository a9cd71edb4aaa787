// ChainLink: a link of a hash table's chain, which tells a search whether the node behind it is
// worth waiting for.
//
// A node lies anywhere in memory, so following a link is what a look-up spends its time on. The word
// that holds the pointer has 16 bits to spare, because no address of a process is longer than 48
// bits on the systems that this is made for, and they say what keys the chain may hold from here on:
//
//   bits 0 to 47   the node's address
//   bits 48 to 55  a set of the marks behind the node, by their lowest three bits
//   bits 56 to 63  the mark of the node's key: 128, and seven bits of its hash
//
// All bits are zero in the link at a chain's end. A search for a key that is not there follows no
// link of most chains at all. The marks only ever spare a comparison: what has to be compared is
// compared.
//
// Where the allocator tags memory (arm64), the pointer has the tag in bits 56 to 59, and is worth
// nothing without it. Such a link keeps the tag in place of the mark, and its set is full.
#pragma once

#include <cstdint>

namespace tstl::detail {

// What a link knows of a key: 128 to 255.
class KeyMark {
 public:
  KeyMark() = default;
  // REQUIRES: equal keys of a table come with equal bits.
  explicit KeyMark(std::uint32_t hash_bits) : mark_(0x80 | (hash_bits & 0x7F)) {}

 private:
  template <class Node>
  friend class ChainLink;

  std::uint32_t mark_;
};

// Where a key of this hash belongs in a table of so many buckets.
struct ChainPlace {
  ChainPlace() = default;
  ChainPlace(std::uint32_t hash, std::uint32_t bucket_cnt)
      : bucket(hash % bucket_cnt), mark(hash / bucket_cnt) {}

  std::uint32_t bucket;
  KeyMark mark;
};

#pragma pack(push, 4)
template <class Node>
class ChainLink {
 public:
  // Whether the link has room for the node's address. It has: Linux and macOS hand out longer ones,
  // where the processor has them at all, only to who asks for them.
  static bool holds(const Node* node) {
    return (reinterpret_cast<std::uintptr_t>(node) & (kSet | kMarked)) == 0;
  }

  // The node behind the link, or null at the chain's end.
  Node* node() const {
    std::uint64_t address = word_ & kAddress;
    if (is_tagged()) [[unlikely]]
      address = word_ & ~kSet;
    return reinterpret_cast<Node*>(address);
  }
  operator Node*() const { return node(); }
  Node* operator->() const { return node(); }

  // Whether the node behind the link may have a key of this mark; no for the chain's end.
  bool may_be(KeyMark mark) const { return is_of(mark) || is_tagged(); }
  // Whether a node behind that one may.
  bool may_lead_to(KeyMark mark) const { return (word_ & set_of(mark)) != 0; }
  bool may_hold(KeyMark mark) const { return is_of(mark) || may_lead_to(mark); }

  // Makes `node` the next one, with what was behind the link up to now behind it.
  // REQUIRES: holds(node).
  void insert(Node* node, KeyMark mark) {
    node->link() = *this;
    const auto address = reinterpret_cast<std::uintptr_t>(node);
    const std::uint64_t behind = word_ == 0 ? 0 : (word_ & kSet) | set_of(this->mark());
    word_ = address | (address > kAddress ? kSet : std::uint64_t{mark.mark_} << kMarkAt | behind);
  }
  // The link behind the next node, before a node of this mark is inserted there or further on.
  // REQUIRES: there is a next node.
  ChainLink* pass(KeyMark mark) {
    if (!may_lead_to(mark)) word_ |= set_of(mark);
    return &node()->link();
  }

 private:
  static constexpr int kSetAt = 48;
  static constexpr int kMarkAt = 56;
  static constexpr std::uint64_t kAddress = (std::uint64_t{1} << kSetAt) - 1;
  static constexpr std::uint64_t kSet = std::uint64_t{0xFF} << kSetAt;
  static constexpr std::uint64_t kMarked = std::uint64_t{0x80} << kMarkAt;

  bool is_of(KeyMark mark) const { return word_ >> kMarkAt == mark.mark_; }
  // Neither marked, which is the sign here, nor the chain's end: a single comparison that comes out
  // the same for all links of a process.
  bool is_tagged() const { return static_cast<std::int64_t>(word_) > 0; }
  KeyMark mark() const { return KeyMark(static_cast<std::uint32_t>(word_ >> kMarkAt)); }
  static std::uint64_t set_of(KeyMark mark) {
    return std::uint64_t{1} << kSetAt << (mark.mark_ & 7);
  }

  std::uint64_t word_ = 0;
};
#pragma pack(pop)

// The link that most likely leads to the key's node: `head` or the one behind it.
template <class Node>
const ChainLink<Node>* likely_link(const ChainLink<Node>* head, KeyMark mark) {
  return head->may_lead_to(mark) && !head->may_be(mark) ? &(*head)->link() : head;
}

}  // namespace tstl::detail

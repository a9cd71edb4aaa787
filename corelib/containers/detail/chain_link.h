// ChainLink: a link of a hash table's chain that tells a search whether following it can pay.
//
// Nodes lie anywhere in memory, so a look-up spends its time on following links. No address of a
// process is longer than 48 bits on the supported systems, so the word that holds the pointer has
// 16 bits to spare. They tell which keys the chain may hold from here on:
//
//   bits 0 to 47   the node's address
//   bits 48 to 55  a Bloom filter of the fingerprints after that node, by their lowest three bits
//   bits 56 to 63  the fingerprint of the node's key: 128 plus seven bits of its hash
//
// All bits are zero in the link at a chain's end. In most chains a search for an absent key follows
// no link at all. Fingerprints only rule keys out: where they agree, the keys are compared.
//
// Where the allocator tags memory (arm64), the pointer has the tag in bits 56 to 59, and cannot be
// used without it. Such a link keeps the tag in place of the fingerprint, and its filter is full.
#pragma once

#include <cstdint>

namespace tstl::detail {

// Seven bits of a key's hash, as a link stores them: 128 to 255.
class Fingerprint {
 public:
  Fingerprint() = default;
  // REQUIRES: equal keys of a table have equal bits.
  explicit Fingerprint(std::uint32_t hash_bits) : bits_(0x80 | (hash_bits & 0x7F)) {}

 private:
  template <class Node>
  friend class ChainLink;

  std::uint32_t bits_;
};

// The bucket and the fingerprint of a key with this hash in a table of `bucket_cnt` buckets.
struct ChainPlace {
  ChainPlace() = default;
  ChainPlace(std::uint32_t hash, std::uint32_t bucket_cnt)
      : bucket(hash % bucket_cnt), fingerprint(hash / bucket_cnt) {}

  std::uint32_t bucket;
  Fingerprint fingerprint;
};

#pragma pack(push, 4)
template <class Node>
class ChainLink {
 public:
  // Whether the node's address fits into the link. It always does: Linux and macOS give longer
  // addresses, if the processor has them at all, only to programs that ask for them.
  static bool holds(const Node* node) {
    return (reinterpret_cast<std::uintptr_t>(node) & (kFilter | kHasFingerprint)) == 0;
  }

  // The node that the link points to, or null at the chain's end.
  Node* node() const {
    std::uint64_t address = word_ & kAddress;
    if (is_tagged()) [[unlikely]]
      address = word_ & ~kFilter;
    return reinterpret_cast<Node*>(address);
  }
  operator Node*() const { return node(); }
  Node* operator->() const { return node(); }

  // Whether the node that the link points to may have a key of this fingerprint; no at the chain's
  // end.
  bool may_be(Fingerprint fingerprint) const { return is_of(fingerprint) || is_tagged(); }
  // Whether a node after that one may; whether any of them may.
  bool may_lead_to(Fingerprint fingerprint) const { return (word_ & filter_bit(fingerprint)) != 0; }
  bool may_hold(Fingerprint fingerprint) const {
    return is_of(fingerprint) || may_lead_to(fingerprint);
  }

  // Inserts `node`, a key with this fingerprint, in front of the nodes after the link.
  // REQUIRES: holds(node).
  void insert(Node* node, Fingerprint fingerprint) {
    node->link() = *this;
    const auto address = reinterpret_cast<std::uintptr_t>(node);
    const std::uint64_t behind =
        word_ == 0 ? 0 : (word_ & kFilter) | filter_bit(this->fingerprint());
    word_ = address |
            (address > kAddress ? kFilter
                                : std::uint64_t{fingerprint.bits_} << kFingerprintAt | behind);
  }
  // Returns the next node's link. Called on the way to where a node of this fingerprint is
  // inserted: adds it to the filter. REQUIRES: there is a next node.
  ChainLink* pass(Fingerprint fingerprint) {
    if (!may_lead_to(fingerprint)) word_ |= filter_bit(fingerprint);
    return &node()->link();
  }

 private:
  static constexpr int kFilterAt = 48;
  static constexpr int kFingerprintAt = 56;
  static constexpr std::uint64_t kAddress = (std::uint64_t{1} << kFilterAt) - 1;
  static constexpr std::uint64_t kFilter = std::uint64_t{0xFF} << kFilterAt;
  static constexpr std::uint64_t kHasFingerprint = std::uint64_t{0x80} << kFingerprintAt;

  bool is_of(Fingerprint fingerprint) const { return word_ >> kFingerprintAt == fingerprint.bits_; }
  // Has no fingerprint, whose highest bit is the sign, and is not the chain's end. This is a single
  // comparison, with the same result for all links of a process.
  bool is_tagged() const { return static_cast<std::int64_t>(word_) > 0; }
  Fingerprint fingerprint() const {
    return Fingerprint(static_cast<std::uint32_t>(word_ >> kFingerprintAt));
  }
  static std::uint64_t filter_bit(Fingerprint fingerprint) {
    return std::uint64_t{1} << kFilterAt << (fingerprint.bits_ & 7);
  }

  std::uint64_t word_ = 0;
};
#pragma pack(pop)

// The link that most likely leads to the key's node: `head` or the one after it.
template <class Node>
const ChainLink<Node>* likely_link(const ChainLink<Node>* head, Fingerprint fingerprint) {
  return head->may_lead_to(fingerprint) && !head->may_be(fingerprint) ? &(*head)->link() : head;
}

}  // namespace tstl::detail

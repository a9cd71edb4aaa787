#include "corelib/containers/dict/detail/pair_store.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <new>
#include <utility>

namespace tstl::detail {
namespace {

constexpr unsigned kDigitBits = 8;
constexpr unsigned kDigits = 1u << kDigitBits;
constexpr unsigned kFirstShift = 64 - kDigitBits;

unsigned digit(const PairEntry& entry, unsigned shift) {
  return static_cast<unsigned>(entry.start >> shift) % kDigits;
}

// The number of units in PairEntry::start.
template <Unit T>
constexpr std::uint32_t kStartUnits = 6 / sizeof(T);

// PairEntry::start for the units from `depth` on; zeros stand for units past the key's end.
template <Unit T>
std::uint64_t start_of(BufferRef<T> key, std::uint32_t depth) {
  constexpr std::uint64_t kLenMask = (1u << PairEntry::kLenBits) - 1;
  if (sizeof(T) == 1 && key.len() >= depth + sizeof(std::uint64_t)) {
    const auto word = base::load<std::uint64_t>(key.cstr() + depth);
    return (__builtin_bswap64(word) & ~kLenMask) | key.len();
  }
  std::uint64_t start = 0;
  for (std::uint32_t i = depth; i < depth + kStartUnits<T>; ++i) {
    start = start << 8 * sizeof(T) | (i < key.len() ? key[i] : 0);
  }
  return start << PairEntry::kLenBits | key.len();
}

// Sorts entries by key, those of equal keys in the order in which they were added. A radix sort,
// most significant byte first. Entries hold six bytes of the key; where these are equal, the next
// six are fetched.
template <Unit T>
class Sorter {
 public:
  explicit Sorter(const PairStore<T>& store) : store_(store) {}

  // Sorts a group whose keys agree in their first `depth` units; PairEntry::start holds the units
  // from there on. `shift` is the position of the next digit in it.
  void sort(std::span<PairEntry> group, unsigned shift, std::uint32_t depth) const;

  bool is_before(const PairEntry& a, const PairEntry& b, std::uint32_t depth) const {
    if (a.units() != b.units()) return a.units() < b.units();
    const auto tail = [&](const PairEntry& entry) {
      return store_.pair(entry).key().sub_tail(depth + kStartUnits<T>);
    };
    if (const auto x = tail(a), y = tail(b); x != y) return x < y;
    return a.start != b.start ? a.start < b.start : a.cell < b.cell;
  }

 private:
  static constexpr std::size_t kFew = 48;  // up to this size a comparison sort is quicker
  // From this depth on keys are sorted by comparison, which bounds the recursion.
  static constexpr std::uint32_t kMostDepth = 16 * kStartUnits<T>;

  void compare_sort(std::span<PairEntry> group, std::uint32_t depth) const {
    std::sort(group.begin(), group.end(), [this, depth](const PairEntry& a, const PairEntry& b) {
      return is_before(a, b, depth);
    });
  }
  void sort_deeper(std::span<PairEntry> group, std::uint32_t depth) const;

  const PairStore<T>& store_;
};

using Counts = std::array<std::uint32_t, kDigits>;

// Sorts the entries by one digit, in place, by swapping each into its final position. `counts` has
// the number of entries with each digit; afterwards it has the end of each digit's entries.
void permute(std::span<PairEntry> group, unsigned shift, Counts& counts) {
  Counts next;
  std::uint32_t sum = 0;
  for (unsigned i = 0; i < kDigits; ++i) {
    next[i] = sum;
    sum += counts[i];
    counts[i] = sum;
  }
  for (unsigned i = 0; i < kDigits; ++i) {
    while (next[i] != counts[i]) {
      PairEntry entry = group[next[i]];
      for (unsigned at = digit(entry, shift); at != i; at = digit(entry, shift)) {
        std::swap(entry, group[next[at]++]);
      }
      group[next[i]++] = entry;
    }
  }
}

template <Unit T>
void Sorter<T>::sort(std::span<PairEntry> group, unsigned shift, std::uint32_t depth) const {
  if (group.size() <= kFew) return compare_sort(group, depth);
  Counts counts{};
  for (const PairEntry& entry : group) ++counts[digit(entry, shift)];
  const bool is_last = shift == PairEntry::kLenBits;
  if (counts[digit(group[0], shift)] == group.size()) {
    return is_last ? sort_deeper(group, depth) : sort(group, shift - kDigitBits, depth);
  }
  permute(group, shift, counts);
  for (std::uint32_t i = 0, first = 0; i < kDigits; first = counts[i++]) {
    const auto same = group.subspan(first, counts[i] - first);
    if (same.size() < 2) continue;
    is_last ? sort_deeper(same, depth) : sort(same, shift - kDigitBits, depth);
  }
}

// Sorts a group whose keys agree in all units of PairEntry::start. Keys that end there come before
// the others, the shorter first: what the longer ones have more are zero units.
template <Unit T>
void Sorter<T>::sort_deeper(std::span<PairEntry> group, std::uint32_t depth) const {
  const std::uint32_t next = depth + kStartUnits<T>;
  if (group.size() <= kFew || depth >= kMostDepth) return compare_sort(group, depth);
  const auto rest = std::partition(group.begin(), group.end(),
                                   [next](const PairEntry& entry) { return entry.len() <= next; });
  std::sort(group.begin(), rest, [](const PairEntry& a, const PairEntry& b) {
    return a.len() != b.len() ? a.len() < b.len() : a.cell < b.cell;
  });
  const std::span<PairEntry> longer(rest, group.end());
  for (PairEntry& entry : longer) entry.start = start_of(store_.pair(entry).key(), next);
  sort(longer, kFirstShift, next);
}

}  // namespace

template <Unit T>
bool PairStore<T>::add(View key, std::uint64_t value, std::uint32_t crc, bool is_wrapped) {
  assert(sorted_ == nullptr && key.len() <= 0xFFFF);
  PairEntry entry{start_of(key, 0), crc, 0};
  void* const place = pairs_.add(Pair::size(key.len()), entry.cell);
  if (place == nullptr) return false;
  // Clears the padding, which is written to files with the pair.
  base::store<std::uint32_t>(static_cast<unsigned char*>(place) + Pair::size(key.len()) - 4, 0);
  auto* const pair =
      new (place) Pair{value, static_cast<std::uint16_t>(key.len()), std::uint16_t{is_wrapped}};
  base::copy_bytes(pair + 1, key.cstr(), key.len() * sizeof(T));
  std::uint32_t cell;
  void* const at = entries_.add(sizeof entry, cell);
  if (at == nullptr) return false;
  new (at) PairEntry(entry);
  in_order_ = in_order_ && (cnt_ == 0 || !Sorter<T>(*this).is_before(entry, last_, 0));
  last_ = entry;
  bytes_ += Pair::size(key.len());
  ++cnt_;
  return true;
}

// Copies the entries into sorted_, sorted by the first byte.
template <Unit T>
void PairStore<T>::gather() {
  std::array<std::uint64_t, kDigits> places{};
  if (!in_order_) {
    for (std::uint64_t i = 0; i < cnt_; ++i) ++places[digit(entry(i), kFirstShift)];
    std::uint64_t sum = 0;
    for (auto& place : places) place = std::exchange(sum, sum + place);
  }
  for (std::uint64_t i = 0; i < cnt_; ++i) {
    const PairEntry& from = entry(i);
    sorted_[places[in_order_ ? 0 : digit(from, kFirstShift)]++] = from;
  }
}

template <Unit T>
void PairStore<T>::merge_repeats(MergeValues merge_values) {
  PairEntry* kept = sorted_;
  for (PairEntry *at = sorted_, *const end = sorted_ + cnt_; at != end; ++at) {
    // The CRC is compared first: it rules out most unequal keys without access to them.
    if (kept != sorted_ && kept[-1].crc == at->crc && pair(kept[-1]).key() == pair(*at).key()) {
      static_cast<Pair*>(pairs_.at(kept[-1].cell))->merge(pair(*at), merge_values);
      bytes_ -= pair(*at).size();
    } else {
      *kept++ = *at;
    }
  }
  cnt_ = static_cast<std::uint64_t>(kept - sorted_);
}

template <Unit T>
bool PairStore<T>::sort(MergeValues merge_values) {
  assert(sorted_ == nullptr);
  sorted_ = static_cast<PairEntry*>(std::malloc((cnt_ + 1) * sizeof(PairEntry)));
  if (sorted_ == nullptr) return false;
  gather();
  entries_.reset();
  if (!in_order_) {
    const auto first_byte_differs = [](const PairEntry& a, const PairEntry& b) {
      return digit(a, kFirstShift) != digit(b, kFirstShift);
    };
    const Sorter<T> sorter(*this);
    for (PairEntry *first = sorted_, *const end = sorted_ + cnt_; first != end;) {
      PairEntry* next = std::adjacent_find(first, end, first_byte_differs);
      if (next != end) ++next;
      sorter.sort({first, next}, kFirstShift - kDigitBits, 0);
      first = next;
    }
  }
  merge_repeats(merge_values);
  return true;
}

// A key's CRC decides whether it is in the sample, which so has one key of 64, however often each
// was added.
template <Unit T>
bool PairStore<T>::has_many_repeats() const {
  constexpr std::uint32_t kKeysForOne = 64;
  const std::uint64_t most = cnt_ / kKeysForOne * 2 + 1;
  auto* const crcs = static_cast<std::uint32_t*>(std::malloc(most * sizeof(std::uint32_t)));
  if (crcs == nullptr) return false;
  std::uint32_t* end = crcs;
  for (std::uint64_t i = 0; i < cnt_ && end != crcs + most; ++i) {
    if (entry(i).crc % kKeysForOne == 0) *end++ = entry(i).crc;
  }
  std::sort(crcs, end);
  const auto keys = static_cast<std::uint64_t>(std::unique(crcs, end) - crcs);
  std::free(crcs);
  return keys * kKeysForOne < cnt_ / 2;
}

template <Unit T>
bool PairStore<T>::compact() {
  PairStore fresh;
  for (const PairEntry& entry : sorted()) {
    const Pair& from = pair(entry);
    if (!fresh.add(from.key(), from.value, entry.crc, from.is_wrapped != 0)) return false;
  }
  swap(fresh);
  return true;
}

template <Unit T>
void PairStore<T>::swap(PairStore& other) {
  pairs_.swap(other.pairs_);
  entries_.swap(other.entries_);
  std::swap(cnt_, other.cnt_);
  std::swap(bytes_, other.bytes_);
  std::swap(sorted_, other.sorted_);
  std::swap(last_, other.last_);
  std::swap(in_order_, other.in_order_);
}

template <Unit T>
void PairStore<T>::reset() {
  pairs_.reset();
  entries_.reset();
  std::free(sorted_);
  sorted_ = nullptr;
  cnt_ = bytes_ = 0;
  in_order_ = true;
}

template class PairStore<unsigned char>;
template class PairStore<unsigned short>;

}  // namespace tstl::detail

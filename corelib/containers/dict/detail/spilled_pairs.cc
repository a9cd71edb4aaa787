#include "corelib/containers/dict/detail/spilled_pairs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <utility>

#include "corelib/containers/crc32.h"
#include "corelib/containers/dict/detail/image_layout.h"
#include "corelib/io/files/descriptor.h"

namespace tstl::detail {
namespace {

using dict_format::Bucket;
using dict_format::Header;

constexpr std::uint64_t kLeastPiece = 64 << 10;
constexpr std::uint64_t kGreatestPiece = std::uint64_t{1} << 30;

// The next pair of a run, or null.
template <Unit T>
const StoredPair<T>* next_pair(TemporaryRun& run) {
  using Pair = StoredPair<T>;
  const auto* const head = reinterpret_cast<const Pair*>(run.peek(sizeof(Pair)));
  return head == nullptr ? nullptr : reinterpret_cast<const Pair*>(run.peek(head->size()));
}

// The first remaining pair of a run.
template <Unit T>
struct Head {
  const StoredPair<T>* pair;
  std::uint32_t run;

  // Of equal keys, the pair of the earlier run comes first.
  static bool is_after(const Head& a, const Head& b) {
    const auto x = a.pair->key(), y = b.pair->key();
    return x == y ? a.run > b.run : y < x;
  }
};

}  // namespace

int ImageSink::begin(std::uint64_t size) {
  return fd_ >= 0 || image_.recapacity(size) ? 0 : ENOMEM;
}

int ImageSink::put(const void* bytes, std::uint64_t n) {
  if (fd_ >= 0) return write_all(fd_, bytes, n);
  std::memcpy(image_.str() + image_.len(), bytes, n);
  image_.set_len(image_.len() + static_cast<unsigned>(n));
  image_.set_zend();
  return 0;
}

int ImageSink::take(Buffer<unsigned char>&& image) {
  if (fd_ >= 0) return write_all(fd_, image.cstr(), image.len());
  image_ = std::move(image);
  return 0;
}

template <Unit T>
int SpilledPairs<T>::add_run(const PairStore<T>& pairs) {
  if (run_cnt_ == kMostRuns) return EFBIG;
  Run& run = runs_[run_cnt_];
  run.level = 0;
  if (const int error = run.file.create(folder())) return error;
  for (const PairEntry& entry : pairs.sorted()) {
    const Pair& pair = pairs.pair(entry);
    if (const int error = run.file.append(&pair, pair.size())) return error;
  }
  ++run_cnt_;
  const int error = run.file.rewind();
  run.file.close_buffer();
  return error != 0 ? error : merge_full_levels();
}

// A k-way merge: calls out(pair) for all pairs of the runs from `first` on, each key once and in
// order, until a call returns an error. Returns 0 or an errno value.
template <Unit T>
template <class Out>
int SpilledPairs<T>::merge(std::uint32_t first, Out out) {
  std::array<Head<T>, kMostRuns> heap = {};
  auto end = heap.begin();
  const auto push_next_of = [&](std::uint32_t run) {
    if (const Pair* const pair = next_pair<T>(runs_[run].file)) {
      *end++ = {pair, run};
      std::push_heap(heap.begin(), end, Head<T>::is_after);
    }
    return runs_[run].file.error();
  };
  for (std::uint32_t run = first; run < run_cnt_; ++run) {
    if (const int error = runs_[run].file.rewind()) return error;
    if (const int error = push_next_of(run)) return error;
  }
  Buffer<unsigned char> memory;
  if (!memory.recapacity(kGreatestPair<T>)) return ENOMEM;
  auto* const pair = reinterpret_cast<Pair*>(memory.str());
  while (end != heap.begin()) {
    std::memcpy(memory.str(), heap[0].pair, heap[0].pair->size());
    for (bool is_first = true; end != heap.begin(); is_first = false) {
      if (!is_first && heap[0].pair->key() != pair->key()) break;
      if (!is_first) pair->merge(*heap[0].pair, merge_values_);
      std::pop_heap(heap.begin(), end--, Head<T>::is_after);
      const std::uint32_t run = end->run;
      runs_[run].file.skip(end->pair->size());
      if (const int error = push_next_of(run)) return error;
    }
    if (const int error = out(*pair)) return error;
  }
  return 0;
}

template <Unit T>
int SpilledPairs<T>::merge_full_levels() {
  while (run_cnt_ >= kFanIn && runs_[run_cnt_ - kFanIn].level == runs_[run_cnt_ - 1].level) {
    const std::uint32_t first = run_cnt_ - kFanIn;
    Run merged;
    merged.level = runs_[first].level + 1;
    int error = merged.file.create(folder());
    if (error == 0) {
      error = merge(first,
                    [&merged](const Pair& pair) { return merged.file.append(&pair, pair.size()); });
    }
    if (error == 0) error = merged.file.rewind();
    if (error != 0) return error;
    merged.file.close_buffer();
    for (; run_cnt_ != first; --run_cnt_) runs_[run_cnt_ - 1].file.reset();
    runs_[run_cnt_++] = std::move(merged);
  }
  return 0;
}

template <Unit T>
int SpilledPairs<T>::sort(Sorted& sorted) {
  if (const int error = sorted.pairs.create(folder())) return error;
  if (const int error = sorted.places.create(folder())) return error;
  const int error = merge(0, [&sorted](const Pair& pair) {
    const Place place{crc32(pair.key()), pair.len};
    ++sorted.cnt;
    sorted.records += BufferDictNode<T>::node_size(pair.len);
    sorted.cut += pair.value > kGreatestValue;
    const int failed = sorted.pairs.append(&pair, pair.size());
    return failed != 0 ? failed : sorted.places.append(&place, sizeof place);
  });
  reset();
  return error;
}

// Calls fn(places, cnt) for all places, in order, some at a time. `fn` may change its copies; they
// are not written back.
template <Unit T>
template <class Fn>
int SpilledPairs<T>::for_each_places(Sorted& sorted, Fn fn) {
  if (const int error = sorted.places.rewind()) return error;
  std::array<Place, kPlaces> places;
  for (std::uint64_t left = sorted.cnt; left != 0;) {
    const std::size_t cnt = std::min<std::uint64_t>(left, kPlaces);
    const unsigned char* const bytes = sorted.places.peek(cnt * sizeof(Place));
    if (bytes == nullptr) return sorted.places.error() != 0 ? sorted.places.error() : EIO;
    std::memcpy(places.data(), bytes, cnt * sizeof(Place));
    sorted.places.skip(cnt * sizeof(Place));
    fn(places.data(), cnt);
    left -= cnt;
  }
  return 0;
}

// Calls fn(places, cnt) for all places, some at a time from the last ones to the first, and writes
// them back.
template <Unit T>
template <class Fn>
int SpilledPairs<T>::change_places_backwards(Sorted& sorted, Fn fn) {
  std::array<Place, kPlaces> places;
  for (std::uint64_t left = sorted.cnt; left != 0;) {
    const std::size_t cnt = (left - 1) % kPlaces + 1;
    left -= cnt;
    const std::uint64_t offset = left * sizeof(Place), bytes = cnt * sizeof(Place);
    if (const int error = sorted.places.read_at(offset, places.data(), bytes)) return error;
    fn(places.data(), cnt);
    if (const int error = sorted.places.write_at(offset, places.data(), bytes)) return error;
  }
  return 0;
}

// Fills the table, and sets the offset of each record in `places`.
template <Unit T>
int SpilledPairs<T>::lay_out(Sorted& sorted, unsigned char* table) {
  const auto bucket_cnt = static_cast<std::uint32_t>(bucket_cnt_for(sorted.cnt));
  ImageLayout layout(reinterpret_cast<Bucket*>(table), bucket_cnt);
  const auto fetch = [&layout, bucket_cnt](Place& place) {
    place.where %= bucket_cnt;
    layout.prefetch(place.where);
  };
  const auto size_of = [](const Place& place) { return BufferDictNode<T>::node_size(place.len); };
  int error = for_each_places(sorted, [&](Place* places, std::size_t n) {
    for_each_ahead(
        n, [&](std::size_t i) { fetch(places[i]); },
        [&](std::size_t i) { layout.count(places[i].where, size_of(places[i])); });
  });
  if (error != 0) return error;
  error = for_each_places(sorted, [&](Place* places, std::size_t n) {
    for_each_ahead(
        n, [&](std::size_t i) { fetch(places[i]); },
        [&](std::size_t i) { layout.start(places[i].where); });
  });
  if (error != 0) return error;
  error = change_places_backwards(sorted, [&](Place* places, std::size_t n) {
    for_each_ahead(
        n, [&](std::size_t i) { fetch(places[n - 1 - i]); },
        [&](std::size_t i) {
          Place& place = places[n - 1 - i];
          place.where = layout.take(place.where, size_of(place));
        });
  });
  layout.finish(bucket_cnt);
  return error;
}

// Writes the records piece by piece. For each piece all pairs are read, and those that lie in it
// are written to their offsets. The last record may extend past the piece; its rest is then the
// start of the next piece.
template <Unit T>
int SpilledPairs<T>::write_records(Sorted& sorted, std::uint64_t start, std::uint64_t memory,
                                   ImageSink& sink) {
  const std::uint64_t piece = std::clamp(memory, kLeastPiece, kGreatestPiece);
  constexpr std::uint64_t kOverhang =
      dict_format::record_size(dict_format::kGreatestKey, sizeof(T));
  Buffer<unsigned char> buffer;
  if (!buffer.recapacity(std::min(piece, sorted.records) + kOverhang)) return ENOMEM;
  for (std::uint64_t done = 0; done < sorted.records; done += piece) {
    if (const int error = sorted.pairs.rewind()) return error;
    bool is_whole = true;
    const int error = for_each_places(sorted, [&](const Place* places, std::size_t n) {
      for (std::size_t i = 0; i < n; ++i) {
        const Pair* const pair = next_pair<T>(sorted.pairs);
        is_whole = is_whole && pair != nullptr;
        if (!is_whole) return;
        const std::uint64_t at = (places[i].where & ~ImageLayout::kIsLast) - start - done;
        const bool is_last = (places[i].where & ImageLayout::kIsLast) != 0;
        if (at < piece) write_record<T>(buffer.str() + at, pair->key(), pair->value, is_last);
        sorted.pairs.skip(pair->size());
      }
    });
    if (error != 0) return error;
    if (!is_whole) return sorted.pairs.error() != 0 ? sorted.pairs.error() : EIO;
    const std::uint64_t n = std::min(piece, sorted.records - done);
    if (const int failed = sink.put(buffer.str(), n)) return failed;
    if (n == piece) std::memmove(buffer.str(), buffer.str() + piece, kOverhang);
  }
  return 0;
}

template <Unit T>
int SpilledPairs<T>::write_image(ImageSink& sink, std::uint64_t memory, std::uint32_t& cut) {
  Sorted sorted;
  if (const int error = sort(sorted)) return error;
  cut = sorted.cut;
  if (sorted.cnt > kMostKeys) return EFBIG;
  const std::uint64_t start = dict_format::records_offset(bucket_cnt_for(sorted.cnt));
  const std::uint64_t size = start + sorted.records;
  if (size > dict_format::kGreatestImage) return EFBIG;
  Buffer<unsigned char> table;  // with the header in front
  if (!table.recapacity(start)) return ENOMEM;
  std::memset(table.str(), 0, start);
  write_header(table.str(), sorted.cnt, size);
  int error = lay_out(sorted, table.str() + sizeof(Header));
  if (error == 0) error = sink.begin(size);
  if (error == 0) error = sink.put(table.str(), start);
  table.reset();
  return error != 0 ? error : write_records(sorted, start, memory, sink);
}

template <Unit T>
void SpilledPairs<T>::reset() {
  for (; run_cnt_ != 0; --run_cnt_) runs_[run_cnt_ - 1].file.reset();
}

template class SpilledPairs<unsigned char>;
template class SpilledPairs<unsigned short>;

}  // namespace tstl::detail

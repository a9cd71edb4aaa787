// SpilledPairs: an external merge sort of pairs that do not fit into memory. Sorted runs in
// temporary files are merged into an image.
//
// Every sixteen runs of a level are merged into one of the next level at once. So a pair is written
// once for each level, and the number of open files stays small.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/containers/dict/detail/pair_store.h"
#include "corelib/containers/dict/detail/temporary_run.h"
#include "corelib/text/buffer.h"

namespace tstl::detail {

// The destination of an image that is written piece by piece: an open file, or a buffer that the
// sink owns.
class ImageSink {
 public:
  ImageSink() = default;
  explicit ImageSink(int fd) : fd_(fd) {}

  // begin() takes the image's size, put() the next bytes. Each returns 0 or an errno value.
  [[nodiscard]] int begin(std::uint64_t size);
  [[nodiscard]] int put(const void* bytes, std::uint64_t n);
  // Takes a whole image instead.
  [[nodiscard]] int take(Buffer<unsigned char>&& image);

  Buffer<unsigned char>& image() { return image_; }

 private:
  int fd_ = -1;
  Buffer<unsigned char> image_;
};

template <Unit T>
class SpilledPairs {
 public:
  explicit SpilledPairs(MergeValues merge_values) : merge_values_(merge_values) {}

  void set_folder(const char* folder) { folder_.assign(BufferRef<unsigned char>(folder)); }
  bool is_empty() const { return run_cnt_ == 0; }

  // Writes sorted pairs to a new run. They count as added after all pairs that are here. Returns 0
  // or an errno value.
  [[nodiscard]] int add_run(const PairStore<T>& pairs);

  // Writes the image of all pairs, in pieces of about `memory` bytes. `cut` receives the number of
  // values with more than 31 bits. Returns 0 or an errno value.
  [[nodiscard]] int write_image(ImageSink& sink, std::uint64_t memory, std::uint32_t& cut);

  void reset();

 private:
  using Pair = StoredPair<T>;

  struct Run {
    TemporaryRun file;
    unsigned level = 0;
  };
  static constexpr std::uint32_t kFanIn = 16;
  static constexpr std::size_t kPlaces = 4096;
  static constexpr std::uint32_t kMostRuns = 7 * (kFanIn - 1) + 1;

  // The record of a key; in a file of its own, in the order of the sorted pairs.
  struct Place {
    std::uint32_t where;  // CRC of the key; later the record's offset and ImageLayout::kIsLast
    std::uint32_t len;    // units
  };
  // All pairs of the image, each key once, in order.
  struct Sorted {
    TemporaryRun pairs, places;
    std::uint64_t cnt = 0;
    std::uint64_t records = 0;  // bytes of all records
    std::uint32_t cut = 0;      // values with more than 31 bits
  };

  const char* folder() const { return reinterpret_cast<const char*>(folder_.c_str()); }
  template <class Out>
  int merge(std::uint32_t first, Out out);
  int merge_full_levels();
  int sort(Sorted& sorted);
  template <class Fn>
  static int for_each_places(Sorted& sorted, Fn fn);
  template <class Fn>
  static int change_places_backwards(Sorted& sorted, Fn fn);
  static int lay_out(Sorted& sorted, unsigned char* table);
  static int write_records(Sorted& sorted, std::uint64_t start, std::uint64_t memory,
                           ImageSink& sink);

  MergeValues merge_values_;
  Buffer<unsigned char> folder_;
  std::array<Run, kMostRuns> runs_;
  std::uint32_t run_cnt_ = 0;
};

extern template class SpilledPairs<unsigned char>;
extern template class SpilledPairs<unsigned short>;

}  // namespace tstl::detail

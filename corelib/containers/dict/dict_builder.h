// DictBuilder: builds a dictionary image from pairs in any order, without a table.
//
//   DictBuilder<unsigned char> builder(dict_merge::sum);
//   for (const auto& [word, count] : words) builder.add(word, count);
//   if (builder.save("words.dict") != 0) ...   // builder.error() has the cause
//
// The image is the one that BufferDict::open builds of a table with the same contents. It depends
// on the contents only, not on the order of insertion. The low 31 bits of each value are stored;
// cut_cnt() returns how many values had more.
//
// If a key is added again, the merge function of the constructor combines the values; by default it
// keeps the last one. A key of 65,536 units or more counts as its first (length modulo 65,536)
// units, as in tables. If a key that really is that short is added too, its value is kept; of
// several long ones the least value is.
//
// Each pair takes its key's bytes and 28 more, or 44 while pairs are sorted. With the image at the
// end, that is two or three times the image's size in all. If many keys are added more than once,
// they are merged early, so that memory stays proportional to the image. If the pairs do not fit
// into memory, set a bound with set_memory(): pairs beyond it are written to temporary files.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "corelib/containers/dict/detail/pair_store.h"
#include "corelib/containers/dict/detail/spilled_pairs.h"
#include "corelib/text/buffer.h"

namespace tstl {

// Combines two values of one key; `before` was added first, or is the combination of those that
// were. The function must be associative, because the pairs of each temporary file are merged
// before those of different files.
using DictMerge = detail::MergeValues;
namespace dict_merge {
inline std::uint64_t last(std::uint64_t, std::uint64_t after) { return after; }
inline std::uint64_t first(std::uint64_t before, std::uint64_t) { return before; }
inline std::uint64_t max(std::uint64_t before, std::uint64_t after) {
  return before < after ? after : before;
}
// Saturates at 2^64 - 1.
inline std::uint64_t sum(std::uint64_t before, std::uint64_t after) {
  const std::uint64_t sum = before + after;
  return sum < before ? UINT64_MAX : sum;
}
}  // namespace dict_merge

template <Unit T>
class DictBuilder {
 public:
  using View = BufferRef<T>;

  explicit DictBuilder(DictMerge merge = dict_merge::last) : merge_(merge), spilled_(merge) {}

  // From now on the pairs, and an image in memory, take at most `bytes`; pairs beyond that are
  // written to unnamed temporary files in `folder`. They take as much there as in memory, and as
  // much again while they are merged; in the end the pairs and 8 bytes for each key. The image's
  // table is always in memory, at less than seven bytes for each key, and building takes up to 256
  // KiB for each open file, of which there are at most a hundred.
  void set_memory(std::uint64_t bytes, const char* folder = "/tmp");

  // Adds a pair, with a copy of the key. False if an allocation fails or a temporary file cannot be
  // written; every later call then fails too, until reset(), build(), save() or write().
  bool add(View key, std::uint64_t value);

  // build() makes `dict` the dictionary of all pairs. save() writes the image to a file, as
  // BufferDict::save does; if pairs were written to temporary files, the image is never whole in
  // memory. 0; or FAILURE with `dict` empty, or the file unchanged. Either way the builder is then
  // empty and can be used again.
  std::uint32_t build(BufferDict<T>& dict);
  std::uint32_t save(const char* path);
  // The same, but writes the image to an open file, pipe or device, sequentially. After FAILURE a
  // part of it may have been written.
  std::uint32_t write(int fd);

  // The cause of the failure of the last build(), save() or write(), or of add() since, as an errno
  // value: ENOMEM for a failed allocation, EFBIG for an image of more than 4,294,967,294 bytes, or
  // the error of a file operation (ENOSPC for a full disk). 0 if there was none.
  int error() const { return error_; }
  // How many values had more than 31 bits in the last build(), save() or write().
  std::uint32_t cut_cnt() const { return cut_cnt_; }

  // Drops all pairs. The memory's bound stays.
  void reset();

 private:
  bool fail(int error);
  bool make_room();
  bool spill();
  bool write_image(detail::ImageSink& sink);
  std::uint32_t finish(detail::ImageSink& sink);

  DictMerge merge_;
  detail::PairStore<T> pairs_;
  detail::SpilledPairs<T> spilled_;
  std::uint64_t memory_ = 0;                // 0: without a bound
  std::uint64_t next_check_ = kFirstCheck;  // make_room() is called from so many bytes of pairs on
  bool failed_ = false;                     // pairs are missing
  int error_ = 0;
  std::uint32_t cut_cnt_ = 0;

  static constexpr std::uint64_t kFirstCheck = std::uint64_t{16} << 20;
};

extern template class DictBuilder<unsigned char>;
extern template class DictBuilder<unsigned short>;

}  // namespace tstl

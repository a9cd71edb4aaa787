// DictBuilder: makes a dictionary image of pairs, sorted or not, without a table in between.
//
//   DictBuilder<unsigned char> builder(dict_merge::sum);
//   for (const auto& [word, count] : words) builder.add(word, count);
//   if (builder.save("words.dict") != 0) ...   // builder.error() tells why
//
// The image is the one that BufferDict::open makes of a table with the same contents: it depends on
// the contents only, not on the order in which they came. Values keep their low 31 bits there; cut_cnt()
// tells how many had more.
//
// A key that is added again has its values merged by the function that the builder was given: the last
// one stays by default. A key of 65,536 units or more is known by its first (length modulo 65,536)
// units, as in tables. It then yields to a key that really is that short; of several such keys the
// least value stays.
//
// Pairs take memory: 28 bytes besides the key's, 44 while they are sorted, and in the end the image
// as well; two or three times the image's size in all. When many keys came more than once they are
// merged on the way, so that memory stays in proportion to the image. For more pairs than memory
// holds, set_memory() gives a bound: what exceeds it goes to temporary files.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "corelib/containers/dict/detail/pair_store.h"
#include "corelib/containers/dict/detail/spilled_pairs.h"
#include "corelib/text/buffer.h"

namespace tstl {

// How two values of one key become one. `before` came first, or is what became of all that came first.
// Any function will do for which merging is associative, because pairs that went to different files are
// merged first among themselves.
using DictMerge = detail::MergeValues;
namespace dict_merge {
inline std::uint64_t last(std::uint64_t, std::uint64_t after) { return after; }
inline std::uint64_t first(std::uint64_t before, std::uint64_t) { return before; }
inline std::uint64_t max(std::uint64_t before, std::uint64_t after) {
  return before < after ? after : before;
}
// 2^64 - 1 when it would be more.
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

  // From now on pairs, and an image in memory, take no more than `bytes`; what is more goes to files
  // without a name in `folder`. They take as much there as in memory, and as much again while they are
  // merged; in the end the pairs and 8 bytes for each key. Besides, the image's table stays in memory,
  // less than seven bytes for each key, and building takes up to 256 KiB for each open file, a hundred
  // at most.
  void set_memory(std::uint64_t bytes, const char* folder = "/tmp");

  // Takes a pair, with a copy of the key. False when memory is short or a temporary file cannot be
  // written; so is every later call until reset(), build() or save().
  bool add(View key, std::uint64_t value);

  // Makes `dict` the dictionary of all pairs, or writes the image to a file as BufferDict::save does,
  // without having it in memory if the pairs are not. 0; or FAILURE with `dict` empty, or the file as it
  // was. The builder is empty then, and takes other pairs.
  std::uint32_t build(BufferDict<T>& dict);
  std::uint32_t save(const char* path);
  // Writes the image to an open file, a pipe or a device, from front to back. After FAILURE a part of it
  // may have been written.
  std::uint32_t write(int fd);

  // What went wrong in the last build(), save() or write(), or in add() since: an errno value; ENOMEM when memory
  // is short, EFBIG when the image would be longer than 4,294,967,294 bytes, or what the system said
  // of a file (ENOSPC for a full disk). 0 when nothing did.
  int error() const { return error_; }
  // Of the last build(), save() or write(): how many values had more than 31 bits.
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
  std::uint64_t memory_ = 0;  // 0: without a bound
  std::uint64_t next_look_ =
      kFirstLook;        // at how many bytes of pairs there is something to be done
  bool failed_ = false;  // pairs are missing
  int error_ = 0;
  std::uint32_t cut_cnt_ = 0;

  static constexpr std::uint64_t kFirstLook = std::uint64_t{16} << 20;
};

extern template class DictBuilder<unsigned char>;
extern template class DictBuilder<unsigned short>;

}  // namespace tstl

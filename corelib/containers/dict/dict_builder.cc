#include "corelib/containers/dict/dict_builder.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "corelib/containers/crc32.h"
#include "corelib/containers/dict/image_builder.h"
#include "corelib/containers/keyed_node.h"
#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/replace_file.h"

namespace tstl {

using detail::build_dict_image;
using detail::ImageSink;

template <Unit T>
void DictBuilder<T>::set_memory(std::uint64_t bytes, const char* folder) {
  memory_ = std::max<std::uint64_t>(bytes, 1);
  next_check_ = memory_;
  spilled_.set_folder(folder);
}

template <Unit T>
bool DictBuilder<T>::fail(int error) {
  if (!failed_) error_ = error;
  failed_ = error_ != 0;
  return error == 0;
}

template <Unit T>
void DictBuilder<T>::reset() {
  pairs_.reset();
  spilled_.reset();
  next_check_ = memory_ != 0 ? memory_ : kFirstCheck;
  failed_ = false;
}

template <Unit T>
bool DictBuilder<T>::add(View key, std::uint64_t value) {
  if (failed_) return false;
  const View recorded(key.cstr(), recorded_len(key.len()));
  if (!pairs_.add(recorded, value, crc32(recorded), recorded.len() != key.len()))
    return fail(ENOMEM);
  return pairs_.memory() < next_check_ || make_room();
}

// Called when the pairs have reached next_check_ bytes. Merges the pairs of equal keys, without a
// bound only if there are many. With a bound, writes all pairs to a file unless merging freed half
// of their memory.
template <Unit T>
bool DictBuilder<T>::make_room() {
  const bool is_bounded = memory_ != 0;
  if (is_bounded || pairs_.has_many_repeats()) {
    const std::uint64_t before = pairs_.memory();
    if (!pairs_.sort(merge_)) return fail(ENOMEM);
    if (is_bounded && pairs_.memory() > before / 2) return spill();
    if (!pairs_.compact()) return fail(ENOMEM);
  }
  if (!is_bounded) next_check_ = std::max(kFirstCheck, 2 * pairs_.memory());
  return true;
}

template <Unit T>
bool DictBuilder<T>::spill() {
  const int error = spilled_.add_run(pairs_);
  pairs_.reset();
  return fail(error);
}

template <Unit T>
bool DictBuilder<T>::write_image(ImageSink& sink) {
  if (failed_ || !fail(pairs_.sort(merge_) ? 0 : ENOMEM)) return false;
  // The image takes about as much memory as the pairs, which are freed only after it is built.
  const bool has_room = memory_ == 0 || 2 * pairs_.memory() <= memory_;
  if (!spilled_.is_empty() || !has_room)
    return spill() && fail(spilled_.write_image(sink, memory_, cut_cnt_));
  Buffer<unsigned char> image;
  return fail(build_dict_image(pairs_, image, cut_cnt_)) && fail(sink.take(std::move(image)));
}

template <Unit T>
std::uint32_t DictBuilder<T>::finish(ImageSink& sink) {
  cut_cnt_ = 0;
  const bool written = write_image(sink);
  reset();
  return written ? 0 : FAILURE;
}

template <Unit T>
std::uint32_t DictBuilder<T>::build(BufferDict<T>& dict) {
  dict.close();
  ImageSink sink;
  if (finish(sink) != 0) return FAILURE;
  return dict.open(std::move(sink.image()));
}

template <Unit T>
std::uint32_t DictBuilder<T>::save(const char* path) {
  detail::FileReplacement file(path);
  fail(file.error());
  ImageSink sink(file.fd());
  if (finish(sink) != 0) return FAILURE;
  error_ = file.commit();
  return error_ == 0 ? 0 : FAILURE;
}

template <Unit T>
std::uint32_t DictBuilder<T>::write(int fd) {
  ImageSink sink(fd);
  return finish(sink);
}

template class DictBuilder<unsigned char>;
template class DictBuilder<unsigned short>;

}  // namespace tstl

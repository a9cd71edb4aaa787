#include "corelib/containers/dict/image_builder.h"

#include <cerrno>
#include <cstring>
#include <span>

#include "corelib/containers/crc32.h"
#include "corelib/containers/dict/detail/image_layout.h"

namespace tstl::detail {
namespace {

using dict_format::Bucket;
using dict_format::Header;

template <Unit T>
class Writer {
 public:
  Writer(const PairStore<T>& pairs, unsigned char* image, std::uint32_t bucket_cnt)
      : pairs_(pairs),
        entries_(pairs.sorted()),
        image_(image),
        bucket_cnt_(bucket_cnt),
        layout_(reinterpret_cast<Bucket*>(image + sizeof(Header)), bucket_cnt) {}

  // Returns how many values had more than 31 bits. REQUIRES: the table is zero.
  std::uint32_t write() {
    lay_out();
    const std::uint32_t cut = write_records();
    layout_.finish(bucket_cnt_);
    return cut;
  }

 private:
  static std::uint64_t size_of(const PairEntry& entry) {
    return BufferDictNode<T>::node_size(entry.len());
  }

  void lay_out() {
    const std::size_t n = entries_.size();
    for_each_ahead(
        n,
        [this](std::size_t i) {
          entries_[i].crc %= bucket_cnt_;
          layout_.prefetch(entries_[i].crc);
        },
        [this](std::size_t i) { layout_.count(entries_[i].crc, size_of(entries_[i])); });
    for_each_ahead(
        n, [this](std::size_t i) { layout_.prefetch(entries_[i].crc); },
        [this](std::size_t i) { layout_.start(entries_[i].crc); });
  }

  // In reverse order. PairEntry::crc, which lay_out() set to the bucket, becomes the record's
  // offset.
  std::uint32_t write_records() {
    std::uint32_t cut = 0;
    const std::size_t n = entries_.size();
    const auto backwards = [this, n](std::size_t i) -> PairEntry& { return entries_[n - 1 - i]; };
    const auto place = [&](std::size_t i) {
      PairEntry& entry = backwards(i);
      entry.crc = layout_.take(entry.crc, size_of(entry));
      __builtin_prefetch(image_ + entry.crc, 1);
    };
    const auto write = [&](std::size_t i) { cut += write_record_of(backwards(i)); };
    for (std::size_t i = 0; i < n + 2 * kAhead; ++i) {
      if (i < n) {
        layout_.prefetch(backwards(i).crc);
        __builtin_prefetch(&pairs_.pair(backwards(i)));
      }
      if (i >= kAhead && i - kAhead < n) place(i - kAhead);
      if (i >= 2 * kAhead) write(i - 2 * kAhead);
    }
    return cut;
  }

  // Returns whether the value has more than 31 bits.
  bool write_record_of(const PairEntry& entry) {
    const StoredPair<T>& pair = pairs_.pair(entry);
    const bool is_last = (entry.crc & ImageLayout::kIsLast) != 0;
    write_record<T>(image_ + (entry.crc & ~ImageLayout::kIsLast), pair.key(), pair.value, is_last);
    return pair.value > kGreatestValue;
  }

  const PairStore<T>& pairs_;
  const std::span<PairEntry> entries_;
  unsigned char* const image_;
  const std::uint32_t bucket_cnt_;
  ImageLayout layout_;
};

// BufferHash::find() finds the first node in the key's bucket. A node in another bucket has a key
// whose recorded length wrapped.
template <Unit T>
bool add_nodes(const BufferHash<T>& table, PairStore<T>& pairs) {
  if (table.table() == nullptr) return true;
  for (std::uint32_t i = 0; i < table.tabsize(); ++i) {
    for (const auto* node = table.table()[i].node(); node != nullptr; node = node->next()) {
      const std::uint32_t crc = crc32(node->key());
      if (!pairs.add(node->key(), node->value(), crc, crc % table.tabsize() != i)) return false;
    }
  }
  return true;
}

}  // namespace

template <Unit T>
int build_dict_image(const PairStore<T>& pairs, Buffer<unsigned char>& image, std::uint32_t& cut,
                     std::uint64_t limit) {
  cut = 0;
  const std::span<PairEntry> entries = pairs.sorted();
  if (entries.size() > kMostKeys) return EFBIG;
  const std::uint64_t bucket_cnt = bucket_cnt_for(entries.size());
  std::uint64_t size = dict_format::records_offset(bucket_cnt);
  for (const PairEntry& entry : entries) size += BufferDictNode<T>::node_size(entry.len());
  if (size > limit) return EFBIG;
  if (!image.recapacity(size)) return ENOMEM;
  image.set_len(static_cast<unsigned>(size));
  image.set_zend();
  write_header(image.str(), entries.size(), size);
  std::memset(image.str(sizeof(Header)), 0, dict_format::table_size(bucket_cnt));
  cut = Writer<T>(pairs, image.str(), static_cast<std::uint32_t>(bucket_cnt)).write();
  return 0;
}

template <Unit T>
bool build_dict_image(const BufferHash<T>& table, Buffer<unsigned char>& image, std::uint32_t& cut,
                      std::uint64_t limit) {
  PairStore<T> pairs;
  cut = 0;
  const auto keep_first = [](std::uint64_t before, std::uint64_t) { return before; };
  return add_nodes(table, pairs) && pairs.sort(keep_first) &&
         build_dict_image(pairs, image, cut, limit) == 0;
}

template bool build_dict_image(const BufferHash<unsigned char>&, Buffer<unsigned char>&,
                               std::uint32_t&, std::uint64_t);
template bool build_dict_image(const BufferHash<unsigned short>&, Buffer<unsigned char>&,
                               std::uint32_t&, std::uint64_t);
template int build_dict_image(const PairStore<unsigned char>&, Buffer<unsigned char>&,
                              std::uint32_t&, std::uint64_t);
template int build_dict_image(const PairStore<unsigned short>&, Buffer<unsigned char>&,
                              std::uint32_t&, std::uint64_t);

}  // namespace tstl::detail

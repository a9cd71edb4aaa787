#include "installer/platform/host/binary_plist.h"

#include <cassert>
#include <cstddef>
#include <vector>

namespace zenta::installer {
namespace {

constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kTrailerBytes = 32;

// Kinds of objects, in the upper four bits of an object's first byte.
enum : unsigned { kArray = 0xA, kSet = 0xC, kDictionary = 0xD };

class BinaryPlist {
 public:
  explicit BinaryPlist(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool IsTree() {
    if (!ReadTrailer()) return false;
    std::vector<bool> placed(count_);
    for (std::uint64_t object = 0; object < count_; ++object) {
      if (IsContainer(object) && !PlaceChildren(object, placed)) return false;
    }
    return true;
  }

 private:
  // REQUIRES: [at, at + width) lies inside the bytes; width <= 8.
  [[nodiscard]] std::uint64_t BigEndian(std::uint64_t at, unsigned width) const {
    assert(width <= 8 && at + width <= bytes_.size());
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) value = value << 8 | bytes_[at + i];
    return value;
  }

  // Trailer bytes 6 and 7: widths of offsets and of references. 8 to 15: number of objects. 16 to
  // 23: index of the root (not needed here). 24 to 31: position of the offset table.
  bool ReadTrailer() {
    if (bytes_.size() < kHeaderBytes + kTrailerBytes) return false;
    const std::uint64_t trailer = bytes_.size() - kTrailerBytes;
    offset_bytes_ = bytes_[trailer + 6];
    reference_bytes_ = bytes_[trailer + 7];
    count_ = BigEndian(trailer + 8, 8);
    offsets_ = BigEndian(trailer + 24, 8);
    end_ = offsets_;
    return offset_bytes_ >= 1 && offset_bytes_ <= 8 && reference_bytes_ >= 1 &&
           reference_bytes_ <= 8 && offsets_ >= kHeaderBytes && offsets_ <= trailer &&
           count_ <= (trailer - offsets_) / offset_bytes_;
  }

  [[nodiscard]] std::uint64_t OffsetOf(std::uint64_t object) const {
    return BigEndian(offsets_ + object * offset_bytes_, offset_bytes_);
  }

  // False for an object outside the bytes, which the reader refuses.
  [[nodiscard]] bool IsContainer(std::uint64_t object) const {
    const std::uint64_t at = OffsetOf(object);
    if (at < kHeaderBytes || at >= end_) return false;
    const unsigned kind = bytes_[at] >> 4U;
    return kind == kArray || kind == kSet || kind == kDictionary;
  }

  // Marks the children of a container as placed. False if one that is a container was placed
  // before, or if the list of children does not lie inside the bytes.
  bool PlaceChildren(std::uint64_t object, std::vector<bool>& placed) const {
    std::uint64_t at = OffsetOf(object);
    const unsigned kind = bytes_[at] >> 4U;
    std::uint64_t children = bytes_[at++] & 0xFU;
    if (children == 0xF) {  // the count follows, as an integer object of 1, 2, 4 or 8 bytes
      if (at >= end_ || bytes_[at] >> 4U != 1 || (bytes_[at] & 0xFU) > 3) return false;
      const unsigned width = 1U << (bytes_[at++] & 0xFU);
      if (width > end_ - at) return false;
      children = BigEndian(at, width);
      at += width;
    }
    const std::uint64_t room = (end_ - at) / reference_bytes_;
    if (children > (kind == kDictionary ? room / 2 : room)) return false;
    if (kind == kDictionary) children *= 2;  // the keys, then the values
    for (; children > 0; --children, at += reference_bytes_) {
      const std::uint64_t child = BigEndian(at, reference_bytes_);
      if (child >= count_ || (IsContainer(child) && placed[child])) return false;
      placed[child] = true;
    }
    return true;
  }

  std::span<const std::uint8_t> bytes_;
  unsigned offset_bytes_ = 0;
  unsigned reference_bytes_ = 0;
  std::uint64_t count_ = 0;    // number of objects
  std::uint64_t offsets_ = 0;  // position of the offset table
  std::uint64_t end_ = 0;      // one past the objects
};

}  // namespace

bool IsBinaryPlistTree(std::span<const std::uint8_t> bytes) { return BinaryPlist(bytes).IsTree(); }

}  // namespace zenta::installer

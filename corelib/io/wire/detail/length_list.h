// The length list: the lengths that the measuring pass records for the writing pass.
//
// Slots are added in the order in which fields begin and are read back in the same order. The list
// owns its memory and keeps it from message to message.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"

namespace tstl::detail {

class LengthList {
 public:
  LengthList() = default;
  LengthList(const LengthList&) = delete;
  LengthList& operator=(const LengthList&) = delete;
  ~LengthList();

  // Removes all slots and keeps the memory.
  void clear() noexcept {
    count_ = 0;
    cursor_ = 0;
    lost_ = false;
  }
  // Makes next() start again with the first slot.
  void rewind() noexcept { cursor_ = 0; }

  // Appends a slot and returns its index. When an allocation fails: FAILURE, and lost() is true
  // from then on.
  std::uint32_t add(std::uint64_t length) noexcept {
    if (count_ == capacity_ && !grow()) return FAILURE;
    lengths_[count_] = static_cast<std::uint32_t>(length);
    return count_++;
  }
  // The value of a slot; null when there is no such slot.
  [[nodiscard]] std::uint32_t* find(std::uint32_t slot) noexcept {
    return slot < count_ ? lengths_ + slot : nullptr;
  }
  // The next slot's value; 0 after the last one.
  std::uint32_t next() noexcept { return cursor_ < count_ ? lengths_[cursor_++] : 0; }

  // Whether a slot is missing because an allocation failed.
  [[nodiscard]] bool lost() const noexcept { return lost_; }

 private:
  bool grow() noexcept;

  std::uint32_t* lengths_ = nullptr;
  std::uint32_t count_ = 0;
  std::uint32_t capacity_ = 0;
  std::uint32_t cursor_ = 0;
  bool lost_ = false;
};

}  // namespace tstl::detail

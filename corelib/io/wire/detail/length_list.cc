#include "corelib/io/wire/detail/length_list.h"

#include <algorithm>
#include <cstdlib>

namespace tstl::detail {

LengthList::~LengthList() { std::free(lengths_); }

bool LengthList::grow() noexcept {
  const std::uint64_t capacity =
      std::max({std::uint64_t{capacity_} * 2, std::uint64_t{8}, std::uint64_t{count_} + 1});
  void* const memory =
      capacity < FAILURE ? std::realloc(lengths_, capacity * sizeof *lengths_) : nullptr;
  if (memory == nullptr) {
    lost_ = true;
    return false;
  }
  lengths_ = static_cast<std::uint32_t*>(memory);
  capacity_ = static_cast<std::uint32_t>(capacity);
  return true;
}

}  // namespace tstl::detail

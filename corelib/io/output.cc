#include "corelib/io/output.h"

namespace tstl::detail {

Buffer<unsigned char>& Output::give_back(const unsigned char* at) noexcept {
  assert(at <= limit_);
  if (at != nullptr) buffer_.set_len(static_cast<std::uint32_t>(at - begin_));
  begin_ = limit_ = nullptr;
  return buffer_;
}

void Output::clear(const unsigned char* at) noexcept {
  give_back(at).clear();
  failed_ = false;
}

void Output::fail() noexcept {
  give_back(nullptr).reset();
  failed_ = true;
}

unsigned char* Output::more_room(unsigned char* at, std::uint64_t n) noexcept {
  if (failed_) return nullptr;
  give_back(at);
  if (!buffer_.recapacity(buffer_.len() + n)) {
    fail();
    return nullptr;
  }
  begin_ = buffer_.ref_internal_data();
  limit_ = begin_ + buffer_.capacity();
  return begin_ + buffer_.len();
}

}  // namespace tstl::detail

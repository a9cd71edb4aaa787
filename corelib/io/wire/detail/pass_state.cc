#include "corelib/io/wire/detail/pass_state.h"

#include <cstring>

#include "corelib/io/wire/wire_format.h"

namespace tstl::detail {

unsigned char* PassState::widen_length(unsigned char* at, std::uint64_t payload_at) noexcept {
  const auto size = out_.position(at) - payload_at;
  unsigned char length[kMaxVarint64];
  const auto extra = static_cast<std::uint64_t>(put_varint(length, size) - length) - 1;
  at = out_.room(at, extra);
  if (at == nullptr) return nullptr;
  unsigned char* const payload = out_.place(payload_at);
  std::memmove(payload + extra, payload, size);
  std::memcpy(payload - 1, length, extra + 1);
  return at + extra;
}

unsigned char* PassState::patch_length(unsigned char* at, std::uint32_t length_at) noexcept {
  const unsigned index_and_width = *out_.place(length_at);
  const unsigned reserved = index_and_width & 15;
  const std::uint64_t size = out_.position(at) - length_at - reserved;
  const unsigned width = varint_size(size);
  if (width != reserved) {
    at = out_.room(at, kMaxVarint32);
    if (at == nullptr) return nullptr;
    unsigned char* const length = out_.place(length_at);
    std::memmove(length + width, length + reserved, size);
    at = length + width + size;
    widths_[index_and_width >> 4] = static_cast<unsigned char>(width);
  }
  put_varint(out_.place(length_at), size);
  return at;
}

}  // namespace tstl::detail

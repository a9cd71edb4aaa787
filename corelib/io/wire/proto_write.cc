#include "corelib/io/wire/proto_write.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tstl {

ProtoWrite::~ProtoWrite() { std::free(lengths_); }

Buffer<unsigned char>& ProtoWrite::output() noexcept {
  return out_.give_back(std::exchange(at_, nullptr));
}

void ProtoWrite::begin_measuring() noexcept {
  out_.clear(std::exchange(at_, nullptr));
  measured_ = 0;
  length_count_ = 0;
  length_cursor_ = 0;
  measuring_ = true;
  lengths_lost_ = false;
}

bool ProtoWrite::begin_writing() noexcept {
  measuring_ = false;
  length_cursor_ = 0;
  if (measured_ > kMaxMessage || lengths_lost_) {
    out_.fail();
    return false;
  }
  if (measured_ != 0) at_ = out_.room(nullptr, measured_ + kSlack);
  return !out_.failed();
}

unsigned char* ProtoWrite::widen_length(unsigned char* at, std::uint64_t payload_at) noexcept {
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

unsigned char* ProtoWrite::close_message(unsigned char* at, std::uint32_t slot) noexcept {
  const unsigned mark = *out_.place(slot);
  const unsigned reserved = mark & 15;
  const std::uint64_t size = out_.position(at) - slot - reserved;
  const unsigned width = varint_size(size);
  if (width != reserved) {
    at = out_.room(at, kMaxVarint32);
    if (at == nullptr) return nullptr;
    unsigned char* const length_at = out_.place(slot);
    std::memmove(length_at + width, length_at + reserved, size);
    at = length_at + width + size;
    widths_[mark >> 4] = static_cast<unsigned char>(width);
  }
  put_varint(out_.place(slot), size);
  return at;
}

bool ProtoWrite::grow_lengths() noexcept {
  const std::uint64_t capacity = std::max(
      {std::uint64_t{length_capacity_} * 2, std::uint64_t{8}, std::uint64_t{length_count_} + 1});
  void* const memory =
      capacity < FAILURE ? std::realloc(lengths_, capacity * sizeof *lengths_) : nullptr;
  if (memory == nullptr) {
    lengths_lost_ = true;
    return false;
  }
  lengths_ = static_cast<std::uint32_t*>(memory);
  length_capacity_ = static_cast<std::uint32_t>(capacity);
  return true;
}

}  // namespace tstl

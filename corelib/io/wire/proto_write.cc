#include "corelib/io/wire/proto_write.h"

#include <utility>

namespace tstl {

bool ProtoWrite::can_patch(std::uint32_t slot) const noexcept {
  if (at_ == nullptr || slot >= out_.position(at_)) return false;
  const unsigned reserved = *out_.place(slot) & 15;
  return reserved != 0 && reserved <= kMaxVarint32 && out_.position(at_) - slot >= reserved;
}

Buffer<unsigned char>& ProtoWrite::output() noexcept {
  assert(open_ == 0 && "a nested message has no end");
  if (mode_ == Mode::kWriting) mode_ = Mode::kAppending;
  return out_.give_back(std::exchange(at_, nullptr));
}

void ProtoWrite::begin_measuring() noexcept {
  out_.clear(std::exchange(at_, nullptr));
  lengths_.clear();
  measured_ = 0;
  open_ = 0;
  mode_ = Mode::kMeasuring;
}

bool ProtoWrite::begin_writing() noexcept {
  assert(open_ == 0 && "a nested message has no end");
  mode_ = Mode::kWriting;
  lengths_.rewind();
  if (measured_ > kMaxMessage || lengths_.lost()) {
    out_.fail();
    return false;
  }
  if (measured_ != 0) at_ = out_.room(nullptr, measured_ + kSlack);
  return !out_.failed();
}

}  // namespace tstl

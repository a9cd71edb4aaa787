#include "corelib/io/wire/proto_write.h"

#include <utility>

namespace tstl {

Buffer<unsigned char>& ProtoWrite::output() noexcept {
  return out_.give_back(std::exchange(at_, nullptr));
}

void ProtoWrite::begin_measuring() noexcept {
  out_.clear(std::exchange(at_, nullptr));
  lengths_.clear();
  measured_ = 0;
  measuring_ = true;
}

bool ProtoWrite::begin_writing() noexcept {
  measuring_ = false;
  lengths_.rewind();
  if (measured_ > kMaxMessage || lengths_.lost()) {
    out_.fail();
    return false;
  }
  if (measured_ != 0) at_ = out_.room(nullptr, measured_ + kSlack);
  return !out_.failed();
}

}  // namespace tstl

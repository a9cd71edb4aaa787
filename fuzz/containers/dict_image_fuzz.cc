// A dictionary image from any bytes, in both unit widths, is safe.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "corelib/base/bytes.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "fuzz/containers/dict_oracle.h"

namespace {

using tstl::BufferDict;

void Require(bool holds) {
  if (!holds) std::abort();
}

// A copy of exactly these bytes and a zero.
tstl::Buffer<unsigned char> BufferOf(const std::uint8_t* data, unsigned size) {
  tstl::Buffer<unsigned char> buffer;
  auto* const memory = static_cast<unsigned char*>(std::malloc(std::size_t{size} + 1));
  if (size != 0) std::memcpy(memory, data, size);
  buffer.set_data_owner(size, memory, size);
  // So that mutations get past the header: its length word is made true.
  if (size >= 12) tstl::base::store_le(memory + 8, size);
  return buffer;
}

template <class T>
void Run(const std::uint8_t* data, unsigned size) {
  BufferDict<T> dict;
  if (dict.open(BufferOf(data, size)) != 0) {
    Require(dict.is_empty() && dict.find({}) == nullptr);
    return;
  }
  Require(tstl::oracle::ImageIsSafe(dict));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 1 << 16) return 0;  // the checks take time in proportion to its square
  Run<unsigned char>(data, static_cast<unsigned>(size));
  Run<unsigned short>(data, static_cast<unsigned>(size));
  return 0;
}

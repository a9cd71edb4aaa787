// Opens any bytes as a dictionary image, which must be safe. Input: 1 for 16-bit units, then the
// image.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "corelib/base/bytes.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "fuzz/containers/dict_oracle.h"
#include "fuzz/require.h"

namespace {

using tstl::BufferDict;
using zenta::fuzz::Require;

// A copy of exactly these bytes, and a zero.
tstl::Buffer<unsigned char> BufferOf(const std::uint8_t* data, unsigned size) {
  tstl::Buffer<unsigned char> buffer;
  auto* const memory = static_cast<unsigned char*>(std::malloc(std::size_t{size} + 1));
  if (size != 0) std::memcpy(memory, data, size);
  buffer.set_data_owner(size, memory, size);
  // The length word in the header is corrected, so that mutated images pass that check.
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
  if (size == 0 || size > 1 << 16) return 0;
  const auto run = data[0] & 1 ? Run<unsigned short> : Run<unsigned char>;
  run(data + 1, static_cast<unsigned>(size - 1));
  return 0;
}

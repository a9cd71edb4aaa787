// UTF-8 to UTF-16 and back on any input, taken once as bytes and once as 16-bit units. For both
// sets of kernels: the result is that of the plain reference, whatever the room; nothing outside
// the exactly sized blocks is touched (the address sanitizer's part); the size is what the full
// result takes; what is valid UTF-8, and every 16-bit text whose surrogates are kept, comes back
// unchanged.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "corelib/text/detail/utf_kernels.h"
#include "corelib/text/utf.h"
#include "tests/reference/utf_reference.h"

namespace {

using tstl::LoneSurrogate;
using tstl::detail::utf::Kernels;
using tstl::reference::Units16;
using tstl::reference::Units8;

void Require(bool held) {
  if (!held) std::abort();
}

Units16 ToUtf16(const Kernels& kernels, const Units8& text, std::size_t room) {
  Units16 out(room);
  out.resize(kernels.utf8_to_utf16(text.data(), text.size(), out.data(), room));
  return out;
}

Units8 ToUtf8(const Kernels& kernels, const Units16& text, std::size_t room, LoneSurrogate lone) {
  Units8 out(room);
  out.resize(kernels.utf16_to_utf8(text.data(), text.size(), out.data(), room, lone));
  return out;
}

void Check(const Kernels& kernels, const Units8& bytes, const Units16& units, std::size_t less) {
  const Units16 decoded = tstl::reference::ToUtf16(bytes, ~std::size_t{0});
  Require(kernels.utf16_size(bytes.data(), bytes.size()) == decoded.size());
  Require(ToUtf16(kernels, bytes, decoded.size()) == decoded);
  const std::size_t few = decoded.size() - std::min(less, decoded.size());
  Require(ToUtf16(kernels, bytes, few) == tstl::reference::ToUtf16(bytes, few));
  const std::size_t valid = tstl::reference::ValidPrefix(bytes);
  Require(kernels.valid_utf8_prefix(bytes.data(), bytes.size()) == valid);
  if (valid == bytes.size()) {
    Require(ToUtf8(kernels, decoded, valid, LoneSurrogate::kDrop) == bytes);
  }
  for (const auto lone : {LoneSurrogate::kDrop, LoneSurrogate::kKeep}) {
    const bool keep = lone == LoneSurrogate::kKeep;
    const Units8 encoded = tstl::reference::ToUtf8(units, ~std::size_t{0}, keep);
    Require(tstl::utf8_size(units.data(), units.size(), lone) == encoded.size());
    Require(ToUtf8(kernels, units, encoded.size(), lone) == encoded);
    const std::size_t little = encoded.size() - std::min(less, encoded.size());
    Require(ToUtf8(kernels, units, little, lone) == tstl::reference::ToUtf8(units, little, keep));
    if (keep) Require(ToUtf16(kernels, encoded, units.size()) == units);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t less = *data;  // units of room that are missing in the second conversion
  Units8 bytes(data + 1, data + size);
  bytes.shrink_to_fit();
  Units16 units((size - 1) / 2);
  if (!units.empty()) std::memcpy(units.data(), data + 1, units.size() * 2);
  Check(tstl::detail::utf::kPlainKernels, bytes, units, less);
  if (tstl::detail::utf::has_vector_kernels()) {
    Check(tstl::detail::utf::kVectorKernels, bytes, units, less);
  }
  return 0;
}

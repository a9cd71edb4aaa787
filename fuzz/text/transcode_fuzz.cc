// Converts any input from UTF-8 to UTF-16 or back. Invariants for both sets of kernels: the result
// is that of the plain reference, whatever the space for it. Nothing outside the exactly sized
// blocks is touched, which the address sanitizer checks. The computed size is that of the full
// result. Valid UTF-8 comes back unchanged, and so does every 16-bit text if its lone surrogates
// are kept.
// Input: how many units of space the second conversion lacks, flags (1: to UTF-8, 2: lone
// surrogates are kept), then the text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "corelib/text/detail/utf_kernels.h"
#include "corelib/text/utf.h"
#include "fuzz/require.h"
#include "tests/reference/utf_reference.h"

namespace {

using tstl::LoneSurrogate;
using tstl::detail::utf::Kernels;
using tstl::reference::Units16;
using tstl::reference::Units8;
using zenta::fuzz::Require;

constexpr std::size_t kUnbounded = ~std::size_t{0};

void ForEachKernels(auto check) {
  check(tstl::detail::utf::kPlainKernels);
  if (tstl::detail::utf::has_vector_kernels()) check(tstl::detail::utf::kVectorKernels);
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

void CheckToUtf16(const Units8& bytes, std::size_t less) {
  const Units16 decoded = tstl::reference::ToUtf16(bytes, kUnbounded);
  const std::size_t few = decoded.size() - std::min(less, decoded.size());
  const Units16 cut = tstl::reference::ToUtf16(bytes, few);
  const std::size_t valid = tstl::reference::ValidPrefix(bytes);
  ForEachKernels([&](const Kernels& kernels) {
    Require(kernels.utf16_size(bytes.data(), bytes.size()) == decoded.size());
    Require(ToUtf16(kernels, bytes, decoded.size()) == decoded);
    Require(ToUtf16(kernels, bytes, few) == cut);
    Require(kernels.valid_utf8_prefix(bytes.data(), bytes.size()) == valid);
    if (valid == bytes.size()) {
      Require(ToUtf8(kernels, decoded, valid, LoneSurrogate::kDrop) == bytes);
    }
  });
}

void CheckToUtf8(const Units16& units, std::size_t less, LoneSurrogate lone) {
  const bool keep = lone == LoneSurrogate::kKeep;
  const Units8 encoded = tstl::reference::ToUtf8(units, kUnbounded, keep);
  const std::size_t few = encoded.size() - std::min(less, encoded.size());
  const Units8 cut = tstl::reference::ToUtf8(units, few, keep);
  Require(tstl::utf8_size(units.data(), units.size(), lone) == encoded.size());
  ForEachKernels([&](const Kernels& kernels) {
    Require(ToUtf8(kernels, units, encoded.size(), lone) == encoded);
    Require(ToUtf8(kernels, units, few, lone) == cut);
    if (keep) Require(ToUtf16(kernels, encoded, units.size()) == units);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::uint8_t less = data[0], flags = data[1];
  if (flags & 1) {
    Units16 units((size - 2) / 2);
    if (!units.empty()) std::memcpy(units.data(), data + 2, units.size() * 2);
    CheckToUtf8(units, less, flags & 2 ? LoneSurrogate::kKeep : LoneSurrogate::kDrop);
  } else {
    CheckToUtf16(Units8(data + 2, data + size), less);
  }
  return 0;
}

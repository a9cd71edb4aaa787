// CRC-32 beside zlib's, over keys of one length and over those of the lists. x_zlib is to be more
// than 1 up to 32 bytes at least.

#include <zlib.h>

#include "bench/containers/words.h"
#include "bench/ratio.h"
#include "corelib/containers/crc32.h"

namespace tstl::bench {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;

std::uint32_t zlib_crc32(const std::string& key) {
  return static_cast<std::uint32_t>(
      ::crc32(0, reinterpret_cast<const Bytef*>(key.data()), static_cast<uInt>(key.size())));
}
std::uint32_t our_crc32(const std::string& key) { return crc32(BufferRef<unsigned char>(key)); }

void race(benchmark::State& state, const std::vector<std::string>& keys) {
  if (sum(keys, our_crc32) != sum(keys, zlib_crc32)) return state.SkipWithError("sums differ");
  Race(state, {.items = double(keys.size())},
       Contestant{"ours", [&] { return sum(keys, our_crc32); }},
       Contestant{"zlib", [&] { return sum(keys, zlib_crc32); }});
}

void crc32_of_length(benchmark::State& state) {
  std::mt19937 random(1);
  std::vector<std::string> keys(kBatch, std::string(static_cast<std::size_t>(state.range(0)), ' '));
  for (auto& key : keys) {
    for (char& c : key) c = static_cast<char>(random());
  }
  race(state, keys);
}
void crc32_of_words(benchmark::State& state) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  race(state, words.list);
}

BENCHMARK(crc32_of_length)
    ->ArgName("bytes")
    ->DenseRange(1, 9)
    ->Arg(12)
    ->Arg(16)
    ->Arg(17)
    ->Arg(24)
    ->Arg(32)
    ->Arg(64)
    ->Arg(4096);
BENCHMARK(crc32_of_words)->ArgName("synthetic")->DenseRange(0, 1);

}  // namespace
}  // namespace tstl::bench

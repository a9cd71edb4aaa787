// Reading a key-value file beside the loop that a user would write: std::getline, then the key into
// a string and the value into a number.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/io/text_files.h"
#include "bench/ratio.h"
#include "corelib/io/files/buffer_write.h"
#include "corelib/io/files/text_read.h"

namespace tstl::bench {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;

// The encoding of the file on disk; std::getline always reads it as UTF-8 without a mark.
enum Form { kUtf8, kUtf8Mark, kUtf16 };
constexpr const char* kFormNames[] = {"UTF-8", "UTF-8 with a mark", "UTF-16"};

void WriteEntries(const char* path, std::int64_t form) {
  BufferWrite<unsigned char> narrow;
  BufferWrite<unsigned short> wide;
  const unsigned opened = form == kUtf16 ? wide.open(path, false) : narrow.open(path, false);
  if (opened == FAILURE) return;
  if (form == kUtf8Mark) narrow << "\xEF\xBB\xBF";
  for (const Entry& entry : entries()) {
    if (form == kUtf16) {
      wide.write_pair(Buffer<unsigned short>(BufferRef<unsigned char>(entry.word)), '\t',
                      entry.count, false);
    } else {
      narrow.write_pair(entry.word, '\t', entry.count, false);
    }
  }
}

// A checksum of what is read, so that no part of the work can be optimized away.
struct Sum {
  std::uint64_t lines = 0, values = 0;
  bool operator==(const Sum&) const = default;
};

template <Unit T>
Sum ReadPairs(const char* path) {
  Sum sum;
  TextRead<T> reader;
  if (reader.open(path) == FAILURE) return sum;
  reader.for_each_pair('\t', [&](BufferRef<T> key, long long value) {
    sum.lines += !key.is_empty();
    sum.values += static_cast<std::uint64_t>(value);
    return true;
  });
  return sum;
}

Sum ReadByGetline(const char* path) {
  Sum sum;
  std::ifstream file(path);
  std::string key;
  for (std::string line; std::getline(file, line);) {
    const auto tab = line.rfind('\t');
    key = line.substr(0, tab);
    sum.lines += !key.empty();
    sum.values += std::stoull(line.substr(tab + 1));
  }
  return sum;
}

template <Unit T>
void BM_ReadPairs(benchmark::State& state) {
  const TempFile file, plain("plain");
  WriteEntries(file.path(), state.range(0));
  WriteEntries(plain.path(), kUtf8);
  if (ReadPairs<T>(file.path()) != ReadByGetline(plain.path())) {
    state.SkipWithError("the contestants disagree");
  }
  state.SetLabel(kFormNames[state.range(0)]);
  Race(state, {.items = double(entries().size())},
       Contestant{"ours", [&] { return ReadPairs<T>(file.path()).values; }},
       Contestant{"getline", [&] { return ReadByGetline(plain.path()).values; }});
}
BENCHMARK(BM_ReadPairs<unsigned char>)
    ->Name("BM_ReadPairs8")
    ->ArgName("kind")
    ->Arg(kUtf8)
    ->Arg(kUtf16);
BENCHMARK(BM_ReadPairs<unsigned short>)
    ->Name("BM_ReadPairs16")
    ->ArgName("kind")
    ->Arg(kUtf16)
    ->Arg(kUtf8Mark);

void BM_ReadLines(benchmark::State& state) {
  const TempFile file;
  WriteEntries(file.path(), kUtf8);
  const auto ours = [&] {
    std::uint64_t units = 0;
    TextRead<unsigned char> reader;
    if (reader.open(file.path()) == FAILURE) return units;
    reader.for_each_line(false, [&](BufferRef<unsigned char> line) {
      units += line.len();
      return true;
    });
    return units;
  };
  const auto by_getline = [&] {
    std::uint64_t units = 0;
    std::ifstream in(file.path());
    for (std::string line; std::getline(in, line);) units += line.size();
    return units;
  };
  if (ours() != by_getline()) state.SkipWithError("the contestants disagree");
  Race(
      state,
      {.bytes = double(std::filesystem::file_size(file.path())), .items = double(entries().size())},
      Contestant{"ours", ours}, Contestant{"getline", by_getline});
}
BENCHMARK(BM_ReadLines);

}  // namespace
}  // namespace tstl::bench

// Writing lines beside fwrite and a stream: short lines as they are, and pairs of a key and a
// number.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bench/fresh_files.h"
#include "bench/io/text_files.h"
#include "bench/ratio.h"
#include "corelib/io/files/buffer_write.h"

namespace tstl::bench {
namespace {

using zenta::bench::Contestant;
using zenta::bench::FreshFiles;
using zenta::bench::Race;

// Where the lines are written: to new files, where the system's share of the work is the same for
// all, or to /dev/null, which leaves the program's own share.
enum Target { kFile, kNull };

// Runs each contestant, a function of a path, and compares the files that they write; then races
// them.
template <class... Runs>
void RaceToFile(benchmark::State& state, Contestant<Runs>... contestants) {
  FreshFiles files;
  std::string first;
  const auto differs = [&](auto& run) {
    run(files.next());
    if (first.empty()) first = files.contents();
    return first.empty() || first != files.contents();
  };
  if ((differs(contestants.run) || ...)) state.SkipWithError("the contestants disagree");
  const bool to_file = state.range(0) == kFile;
  state.SetLabel(to_file ? "file" : "/dev/null");
  const auto path = [&] { return to_file ? files.next() : "/dev/null"; };
  Race(state, {.bytes = double(first.size()), .items = double(entries().size())},
       Contestant{contestants.name, [&path, run = contestants.run] { run(path()); }}...);
}

void BM_WriteLines(benchmark::State& state) {
  std::vector<std::string> lines;
  for (const Entry& entry : entries()) lines.push_back(entry.word + "\n");
  const auto ours = [&](const char* path) {
    BufferWrite<unsigned char> out;
    if (out.open(path, false) == FAILURE) return;
    for (const std::string& line : lines) out << line;
  };
  const auto by_fwrite = [&](const char* path) {
    std::FILE* const out = std::fopen(path, "wb");
    for (const std::string& line : lines) std::fwrite(line.data(), 1, line.size(), out);
    std::fclose(out);
  };
  RaceToFile(state, Contestant{"ours", ours}, Contestant{"fwrite", by_fwrite});
}
BENCHMARK(BM_WriteLines)->ArgName("kind")->Arg(kFile)->Arg(kNull)->Iterations(20);

void BM_WritePairs(benchmark::State& state) {
  const auto ours = [&](const char* path) {
    BufferWrite<unsigned char> out;
    if (out.open(path, false) == FAILURE) return;
    for (const Entry& entry : entries()) out.write_pair(entry.word, '\t', entry.count, false);
  };
  const auto by_stream = [&](const char* path) {
    std::ofstream out(path, std::ios::binary);
    for (const Entry& entry : entries()) out << entry.word << '\t' << entry.count << '\n';
  };
  const auto by_fprintf = [&](const char* path) {
    std::FILE* const out = std::fopen(path, "wb");
    for (const Entry& entry : entries()) {
      std::fprintf(out, "%s\t%llu\n", entry.word.c_str(),
                   static_cast<unsigned long long>(entry.count));
    }
    std::fclose(out);
  };
  RaceToFile(state, Contestant{"ours", ours}, Contestant{"ofstream", by_stream},
             Contestant{"fprintf", by_fprintf});
}
BENCHMARK(BM_WritePairs)->ArgName("kind")->Arg(kFile)->Arg(kNull)->Iterations(20);

}  // namespace
}  // namespace tstl::bench

// The package digest beside md5sum, on the same file, which is in the page cache for both. Each
// runs as a person would meet it: ours inside this process, md5sum as a process of its own.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/ratio.h"
#include "datahelpers/ztdh_class.h"

namespace zenta {
namespace {

// A file that goes away with the benchmark.
struct TempFile {
  std::string path = (std::filesystem::temp_directory_path() / "zenta-digest-XXXXXX").string();
  explicit TempFile(std::size_t size) {
    const int descriptor = ::mkstemp(path.data());
    if (descriptor < 0) std::abort();
    ::close(descriptor);
    std::ofstream file(path, std::ios::binary);
    std::string block(65536, '\0');
    for (std::size_t i = 0; i != block.size(); ++i) block[i] = static_cast<char>(i * i >> 5);
    for (std::size_t done = 0; done < size; done += block.size()) file << block;
  }
  ~TempFile() { std::remove(path.c_str()); }
};

std::string Md5sum(const std::string& path) {
  std::string digest(32, '\0');
  FILE* pipe = ::popen(("exec md5sum '" + path + "'").c_str(), "r");
  if (pipe == nullptr || std::fread(digest.data(), 1, 32, pipe) != 32) std::abort();
  ::pclose(pipe);
  return digest;
}

void BM_PackageDigest(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const TempFile file(size);
  if (ZTDHClass::ZTDHMethod003(file.path) != Md5sum(file.path)) {
    state.SkipWithError("the digests differ");
    return;
  }
  bench::Race(state, {.bytes = static_cast<double>(size)},
              bench::Contestant{"ours", [&] { return ZTDHClass::ZTDHMethod003(file.path); }},
              bench::Contestant{"md5sum", [&] { return Md5sum(file.path); }},
              bench::Contestant{"whole", [&] { return ZTDHClass::calcMD5FromFile(file.path); }});
}
BENCHMARK(BM_PackageDigest)->Arg(4 << 20)->Arg(64 << 20)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zenta

// The highest resident memory of large jobs, each in a process of its own: `peak_MiB`, and `data_MiB`,
// the size of what the label names. The jobs build an image of 10,000,000 keys, in memory and with a
// bound of 64 MiB, read a list file of as many, and read 100 MB of JSON into records.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "bench/fresh_files.h"
#include "bench/growth/keys.h"
#include "bench/growth/response_text.h"
#include "corelib/containers/buffer_list.h"
#include "corelib/containers/dict/dict_builder.h"
#include "engine/data/file_image.h"

namespace zenta::bench {
namespace {

using List = tstl::BufferList<unsigned char>;
using Dict = tstl::BufferDict<unsigned char>;

constexpr std::uint32_t kKeys = 10000000;
constexpr std::uint32_t kCandidates = 726000;  // 100 MB of JSON
constexpr double kMiB = 1 << 20;

// Runs the job in a child process and returns the child's highest resident memory, in bytes; 0 if the
// job returns false. The child starts with a copy of this process's memory: a few MiB, because this
// process does nothing large itself.
template <class Job>
double PeakOf(Job job) {
  const pid_t child = fork();
  if (child == 0) _exit(job() ? 0 : 1);
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || status != 0) return 0;
#if defined(__APPLE__)
  return static_cast<double>(usage.ru_maxrss);
#else
  return static_cast<double>(usage.ru_maxrss) * 1024;
#endif
}

// `prepare` writes the file that `job` reads, in a process of its own as well; or `job` writes it. Its
// size in the end is `data_MiB`, and `data` says what it holds.
template <class Prepare, class Job>
void Measure(benchmark::State& state, const char* data, Prepare prepare, Job job) {
  FreshFiles files;
  const char* const path = files.next();
  double peak = 0;
  for ([[maybe_unused]] auto _ : state) {
    if (PeakOf([&] { return prepare(path); }) != 0) peak = PeakOf([&] { return job(path); });
  }
  if (peak == 0) return state.SkipWithError("the job failed");
  state.SetLabel(data);
  state.counters["peak_MiB"] = peak / kMiB;
  state.counters["data_MiB"] = static_cast<double>(std::filesystem::file_size(path)) / kMiB;
}

void AddKeys(auto add) {
  for (std::uint32_t i = 0; i != kKeys; ++i) {
    const NumberedKey pair(i);
    add(pair.key(), pair.value());
  }
}

bool SaveImage(const char* path, std::uint64_t bound) {
  tstl::DictBuilder<unsigned char> builder;
  if (bound != 0) builder.set_memory(bound);
  AddKeys([&](auto key, std::uint32_t value) { builder.add(key, value); });
  return builder.save(path) == 0;
}

// The image stays in memory.
void BuildImage(benchmark::State& state) {
  const auto build = [](const char*) {
    tstl::DictBuilder<unsigned char> builder;
    AddKeys([&](auto key, std::uint32_t value) { builder.add(key, value); });
    Dict dict;
    return builder.build(dict) == 0;
  };
  Measure(
      state, "image", [](const char* path) { return SaveImage(path, 0); }, build);
}

void BuildImageBounded(benchmark::State& state) {
  const auto nothing = [](const char*) { return true; };
  Measure(state, "image", nothing, [](const char* path) { return SaveImage(path, 64 << 20); });
}

void ReadList(benchmark::State& state) {
  const auto write = [](const char* path) {
    List list;
    AddKeys([&](auto key, std::uint32_t value) { list.emplace_back(key, value); });
    return list.write_kvfile(path, '\t', false);
  };
  const auto read = [](const char* path) {
    List list;
    return list.read_kvfile(path, '\t') && list.size() == kKeys;
  };
  Measure(state, "file", write, read);
}

// The peak includes the text, which has to be in memory as a whole.
void ReadJson(benchmark::State& state) {
  const auto write = [](const char* path) {
    const auto text = ResponseText(kCandidates);
    return data::WriteFileImage(path, text.str(), text.len()) == 0;
  };
  const auto read = [](const char* path) {
    return ReadResponse(data::ReadFileImage(path), kCandidates);
  };
  Measure(state, "text", write, read);
}

BENCHMARK(BuildImage)->Name("build an image of 10,000,000 keys")->Iterations(1)->Repetitions(1);
BENCHMARK(BuildImageBounded)
    ->Name("the same with a bound of 64 MiB, to a file")
    ->Iterations(1)
    ->Repetitions(1);
BENCHMARK(ReadList)->Name("read a list file of 10,000,000 keys")->Iterations(1)->Repetitions(1);
BENCHMARK(ReadJson)->Name("read 100 MB of JSON into records")->Iterations(1)->Repetitions(1);

}  // namespace
}  // namespace zenta::bench

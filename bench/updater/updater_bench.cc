// zenta-update as a whole process, on a large package.
//
//   --package_mib=N   size of the package, 1024 if not given, 64 if ZENTA_BENCH_SHORT is set
//
// BM_PeakMemory: the program's highest resident memory on that package and on an empty one, both
// properly signed, with an installer that fails; `difference_MiB` is to stay below `limit_MiB`.
//
// BM_DigestOfPackage: the whole run on a package whose digest file is well signed but another
// package's, so that the program does all but install: it starts, opens the signature, digests,
// refuses. Raced against md5sum on the same file, process against process; `x_md5sum` is md5sum's
// time / ours, to stay at 0.9 or above.
#include <benchmark/benchmark.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "bench/ratio.h"
#include "datahelpers/ztdh_class.h"
#include "tests/datahelpers/signing_key.h"

namespace zenta::bench {
namespace {

namespace fs = std::filesystem;
using signing::BuiltInSigningConfig;
using signing::SignDigest;
using signing::TestSigner;

constexpr double kLimitMib = 24;

std::uint64_t package_bytes = 0;

// A machine folder with an installer that fails. Removed with everything in it.
class Machine {
 public:
  Machine() {
    std::string name = (fs::temp_directory_path() / "zenta-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    folder_ = name;
    fs::create_directories(folder_ / "Library/Caches");
    fs::create_directories(folder_ / "usr/sbin");
    std::ofstream(folder_ / "usr/sbin/installer") << "#!/bin/sh\nexit 1\n";
    fs::permissions(folder_ / "usr/sbin/installer", fs::perms::owner_all);
    setenv("ZENTA_MACHINE", folder_.c_str(), 1);
  }
  ~Machine() { fs::remove_all(folder_); }
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  [[nodiscard]] std::string package() const { return folder_ / "Library/Caches/update.pkg"; }

  // A package of that many zero bytes, which take no room on disk.
  void StagePackage(std::uint64_t bytes) const {
    std::ofstream(package()).flush();
    fs::resize_file(package(), bytes);
  }
  void StageDigest(const std::string& digest) const {
    std::ofstream(folder_ / "Library/Caches/inputPkg.txt")
        << SignDigest(digest, BuiltInSigningConfig(), TestSigner()).value();
  }

 private:
  fs::path folder_;
};

// In the child: becomes the program, silent. Does not return.
[[noreturn]] void Become(const char* program, const char* argument) {
  if (std::freopen("/dev/null", "w", stdout) && std::freopen("/dev/null", "w", stderr)) {
    execlp(program, program, argument, nullptr);
  }
  _exit(127);
}

// Runs a program to its end; returns whether its exit status was 0.
bool RunToEnd(const char* program, const char* argument = nullptr) {
  const pid_t child = fork();
  if (child == 0) Become(program, argument);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double ReadPeakMib(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    double kib = 0;
    if (word == "VmHWM:" && status >> kib) return kib / 1024;
  }
  return 0;
}

// The highest resident memory of zenta-update itself. What wait4 tells would not do: it takes in
// the installer's processes, and this process's memory as it was when it forked. So the kernel is
// asked to stop the program on the point of its exit, and its own record is read then. nullopt if
// this process may not trace.
std::optional<double> PeakMibOfUpdate() {
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) Become(ZENTA_UPDATE, nullptr);
    _exit(127);
  }
  std::optional<double> peak;
  bool traced = false;
  for (int status = 0; waitpid(child, &status, 0) == child && WIFSTOPPED(status);) {
    const int event = status >> 16;
    int signal = event == 0 ? WSTOPSIG(status) : 0;
    if (!traced) {  // stopped by its exec
      traced =
          ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL) == 0;
      signal = 0;
    }
    if (event == PTRACE_EVENT_EXIT) peak = ReadPeakMib(child);
    ptrace(PTRACE_CONT, child, nullptr, signal);
  }
  return peak;
}

// The peak for a signed package of that size; nullopt if it was not measured, or the program did
// not reach the installer, after which alone the package is gone.
std::optional<double> PeakMib(const Machine& machine, std::uint64_t bytes) {
  machine.StagePackage(bytes);
  machine.StageDigest(ZTDHClass::ZTDHMethod003(machine.package()).value());
  const std::optional<double> peak = PeakMibOfUpdate();
  return fs::exists(machine.package()) ? std::nullopt : peak;
}

void BM_PeakMemory(benchmark::State& state) {
  const Machine machine;
  for ([[maybe_unused]] auto _ : state) {
    const auto empty = PeakMib(machine, 0);
    const auto full = PeakMib(machine, package_bytes);
    if (!empty || !full) return state.SkipWithError("not measured: no run, or no right to trace");
    state.counters["empty_MiB"] = *empty;
    state.counters["package_MiB"] = *full;
    state.counters["difference_MiB"] = *full - *empty;
    state.counters["limit_MiB"] = kLimitMib;
    if (*full - *empty >= kLimitMib) return state.SkipWithError("memory grows with the package");
  }
}
BENCHMARK(BM_PeakMemory)->Iterations(1)->Repetitions(1)->Unit(benchmark::kMillisecond);

void BM_DigestOfPackage(benchmark::State& state) {
  const Machine machine;
  machine.StagePackage(package_bytes);
  machine.StageDigest(std::string(32, '0'));
  const auto update = [] { return RunToEnd(ZENTA_UPDATE); };
  const auto md5sum = [&] { return RunToEnd("md5sum", machine.package().c_str()); };
  if (!update() || !md5sum()) return state.SkipWithError("a contestant does not run");
  bench::Race(state, {.bytes = static_cast<double>(package_bytes)},
              bench::Contestant{"zenta-update", update}, bench::Contestant{"md5sum", md5sum});
  if (!fs::exists(machine.package())) state.SkipWithError("the package was not refused");
}
BENCHMARK(BM_DigestOfPackage)->Iterations(4)->Repetitions(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zenta::bench

int main(int argc, char** argv) {
  constexpr std::string_view kFlag = "--package_mib=";
  std::uint64_t mib = std::getenv("ZENTA_BENCH_SHORT") != nullptr ? 64 : 1024;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]).starts_with(kFlag)) {
      mib = std::strtoull(argv[i] + kFlag.size(), nullptr, 10);
    } else {
      argv[kept++] = argv[i];
    }
  }
  zenta::bench::package_bytes = mib << 20;
  benchmark::Initialize(&kept, argv);
  benchmark::RunSpecifiedBenchmarks();
}

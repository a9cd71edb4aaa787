#include "tools/simulate/releases.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tools/common/failure.h"
#include "tools/simulate/random.h"

namespace zenta::simulate {
namespace {

namespace fs = std::filesystem;
using tools::Failure;

void RunTool(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), ZENTA_SIMULATE_ZENTACTL);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  int status = -1;
  const int error = posix_spawn(&child, pointers[0], &quiet, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&quiet);
  if (error == 0) waitpid(child, &status, 0);
  if (error != 0 || status != 0) throw Failure("zentactl " + arguments[1] + " failed");
}

// Bytes that do not compress, so that reading the package takes several calls.
std::string Noise(std::size_t size, std::uint64_t seed) {
  Random random(seed);
  std::string bytes;
  while (bytes.size() < size) bytes.push_back(static_cast<char>(random.Next()));
  return bytes;
}

// The example's Info.plist is not changed, because the updater finds the input source by its
// identifier.
void MakeBundle(const std::string& bundle, int version) {
  fs::create_directories(bundle);
  fs::copy(ZENTA_SIMULATE_BUNDLE, bundle, fs::copy_options::recursive);
  const std::string resources = bundle + "/Contents/Resources/";
  WriteFile(resources + "version.txt", std::to_string(version) + "\n");
  if (version == 2) fs::remove(resources + "phrases.txt");
  if (version == 2) WriteFile(resources + "lexicon/noise.bin", Noise(70'000, 2));
  if (version == 3) WriteFile(resources + "empty.txt", "");
  // A package holds the files' times, and it has to have the same bytes in every run.
  const timespec times[2] = {{1'767'323'045, 0}, {1'767'323'045, 0}};
  utimensat(AT_FDCWD, bundle.c_str(), times, 0);
  for (const auto& entry : fs::recursive_directory_iterator(bundle)) {
    utimensat(AT_FDCWD, entry.path().c_str(), times, 0);
  }
}

}  // namespace

std::vector<Release> MakeReleases(const std::string& folder) {
  RunTool({"keygen", "--out", folder + "/other"});
  std::vector<Release> releases;
  for (int version = 1; version <= 4; ++version) {
    Release release;
    release.name = version < 4 ? "release " + std::to_string(version) : "a forged release";
    release.is_signed = version < 4;
    const std::string own = folder + "/" + std::to_string(version);
    release.bundle = own + "/ZentaIM.app";
    MakeBundle(release.bundle, version);
    RunTool({"pack", release.bundle, "--out", own + "/update.pkg"});
    std::vector<std::string> sign = {"sign", own + "/update.pkg", "--out", own + "/digest.txt",
                                     "--key"};
    if (release.is_signed) {
      sign.push_back(ZENTA_SIMULATE_KEY);
    } else {
      sign.insert(sign.end(),
                  {folder + "/other/private-key.pem", "--config", folder + "/other/signing.conf"});
    }
    RunTool(sign);
    release.package = ReadFile(own + "/update.pkg");
    release.digest = ReadFile(own + "/digest.txt");
    release.tree = TreeSum(release.bundle);
    releases.push_back(std::move(release));
  }
  return releases;
}

}  // namespace zenta::simulate

#include "installer/update.h"

#include <array>
#include <cassert>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "datahelpers/signing_config.h"
#include "datahelpers/ztdh_class.h"
#include "installer/activate_input_model.h"
#include "installer/attempt.h"
#include "installer/run_as_administrator.h"

namespace zenta::installer {
namespace {

using signing::Data;
using signing::kSignatureBytes;
using signing::ReadAll;
using signing::Text;
using signing::TextOf;

constexpr char kPackagePath[] = "/Library/Caches/update.pkg";
constexpr char kDigestPath[] = "/Library/Caches/inputPkg.txt";
constexpr char kInstallerPath[] = "/usr/sbin/installer";
constexpr char kRunNotification[] = "ZentaIMupdate_Run_Notification";
constexpr char kFailNotification[] = "ZentaIMupdate_Fail_Notification";
constexpr char kFailureKey[] = "install_fail_num";
// Holds the stamp of a package that was tried and could not be removed.
constexpr char kLeftoverKey[] = "package_left_behind";

// In bytes. A digest file has 171 characters and perhaps blanks and line ends; a larger one than
// this is refused, and not read into memory.
constexpr std::size_t kDigestFileLimit = 65536;

// The payload of the digest file; nil if the file is not a signature block of this build's key.
Data SignedPayload(DownloadedFile& file) {
  const Data text = ReadAll(file, kDigestFileLimit);
  if (!text || text->empty()) return std::nullopt;
  const Data block = ZTDHClass::ZTDHMethod014(text);
  // Exactly one block, because ZTDHMethod021 ignores bytes after the first one.
  if (!block || block->size() != kSignatureBytes) return std::nullopt;
  return ZTDHClass::ZTDHMethod021(block);
}

// Whether the payload is, byte for byte, the package's digest in lower-case digits.
bool IsSigned(DownloadedFile& package, DownloadedFile& digest_file) {
  const Data payload = SignedPayload(digest_file);
  if (!payload) return false;
  const Text digest = ZTDHClass::ZTDHMethod006(ZTDHClass::MD5DataWithFileHandle(&package));
  return digest && TextOf(*payload) == *digest;
}

// The stamp of the file that `path` names now; nullopt if it cannot be opened.
std::optional<std::int64_t> StampAt(Files& files, const std::string& path) {
  const auto file = files.OpenForReading(path);
  return file ? file->Stamp() : std::nullopt;
}

void LogLine(Platform& platform, const std::string& text) {
  Attempt([&] { platform.log->Line(text); });
}

// Opens the file at `path` if only root and this user can decide what it holds. Otherwise logs the
// reason and returns null; also null, without a log line, if the file cannot be opened.
std::unique_ptr<DownloadedFile> OpenTrusted(Platform& platform, const std::string& path) {
  auto file = platform.files->OpenForReading(path);
  const auto reason = file ? file->WhyDistrusted() : std::nullopt;
  if (!reason) return file;
  LogLine(platform, "will not trust " + path + ": " + *reason);
  return nullptr;
}

// A verified package: its path, and the stamp of the file that was read there.
struct Package {
  std::string path;
  std::int64_t stamp;
};

// The package at `path` if it is trusted and signed; otherwise nullopt. Changes nothing.
std::optional<Package> VerifiedPackage(Platform& platform, const std::string& path,
                                       const std::string& digest_path) {
  const auto package = OpenTrusted(platform, path);
  if (package == nullptr) return std::nullopt;
  const auto digest_file = OpenTrusted(platform, digest_path);
  if (digest_file == nullptr) return std::nullopt;
  const auto stamp = package->Stamp();
  if (!stamp || !IsSigned(*package, *digest_file)) return std::nullopt;
  // The installer opens the path again. So the path still has to name this file, and the file must
  // not have been written to since it was opened here.
  if (StampAt(*platform.files, path) != stamp) return std::nullopt;
  return Package{path, *stamp};
}

// The first two failures are counted; the third posts the notification and clears the counter. A
// success does not clear the counter, on purpose. Returns whether the counter could be stored.
bool CountFailure(UserDefaults& defaults, Notifications& notifications) {
  if (!defaults.HasObject(kFailureKey)) return defaults.SetInteger(kFailureKey, 1);
  const std::int64_t failures = defaults.Integer(kFailureKey);
  if (failures < 2) return defaults.SetInteger(kFailureKey, failures + 1);
  Attempt([&] { notifications.Post(kFailNotification); });
  return defaults.Remove(kFailureKey);
}

// False also if a call throws.
bool TryCountFailure(Platform& platform) {
  return AttemptOr(false,
                   [&] { return CountFailure(*platform.defaults, *platform.notifications); });
}

enum class Attempted { kInstalled, kFailed, kNothing };

Attempted RunInstaller(Platform& platform, const std::string& package) {
  const std::array<std::string, 4> arguments = {"-pkg", package, "-target", "/"};
  Text output, error;  // neither logged nor shown
  std::optional<std::int64_t> number;
  if (RunAsAdministrator(*platform.scripts, kInstallerPath, arguments, &output, &error, &number)) {
    return Attempted::kInstalled;
  }
  return number == kInstallerBusy ? Attempted::kNothing : Attempted::kFailed;
}

// Returns whether the package is gone. A newer file that has taken its name meanwhile is kept.
bool TryRemove(Files& files, const Package& package) {
  return AttemptOr(false, [&] {
    const auto stamp = StampAt(files, package.path);
    return (stamp && *stamp != package.stamp) || files.Remove(package.path);
  });
}

// Notes in the user defaults that this package was tried. Otherwise every run would ask for the
// password and install it again.
void NoteLeftover(Platform& platform, const Package& package) {
  LogLine(platform, "cannot remove " + package.path + "; it will not be installed again");
  Attempt([&] { (void)platform.defaults->SetInteger(kLeftoverKey, package.stamp); });
}

// Removes a package that an earlier run tried and could not remove. If that fails again, a failure
// is counted.
void RemoveLeftover(Platform& platform, const Package& package) {
  if (TryRemove(*platform.files, package)) {
    Attempt([&] { (void)platform.defaults->Remove(kLeftoverKey); });
  } else {
    LogLine(platform, "cannot remove " + package.path + ", which was tried before");
    (void)TryCountFailure(platform);
  }
}

// One attempt. The package is removed last, and never before its failure is counted: if the program
// is killed in between, the next run tries again and the download is not lost.
void InstallPackage(Platform& platform, const Package& package) {
  const Attempted attempted = RunInstaller(platform, package.path);
  if (attempted == Attempted::kNothing) {
    return LogLine(platform, "another installation is running; " + package.path + " waits");
  }
  if (attempted == Attempted::kInstalled) {
    ZTActivateInputModel(*platform.input_sources, *platform.log).zt_activateInputSource();
  } else if (!TryCountFailure(platform)) {
    return LogLine(platform, "cannot count a failure; " + package.path + " stays");
  }
  if (TryRemove(*platform.files, package)) return;
  if (attempted == Attempted::kInstalled) (void)TryCountFailure(platform);
  NoteLeftover(platform, package);
}

bool IsLeftover(UserDefaults& defaults, const Package& package) {
  return AttemptOr(false, [&] {
    return defaults.HasObject(kLeftoverKey) && defaults.Integer(kLeftoverKey) == package.stamp;
  });
}

// REQUIRES: the lock of the package's folder is held.
void UpdateFrom(Platform& platform, const std::string& path, const std::string& digest_path) {
  const auto package = VerifiedPackage(platform, path, digest_path);
  if (!package) return;
  const bool leftover = IsLeftover(*platform.defaults, *package);
  leftover ? RemoveLeftover(platform, *package) : InstallPackage(platform, *package);
}

}  // namespace

void RunUpdate(Platform& platform) noexcept {
  assert(platform.notifications && platform.scripts && platform.defaults && platform.files &&
         platform.input_sources && platform.log);
  Attempt([&] { platform.notifications->Post(kRunNotification); });
  Attempt([&] {
    Files& files = *platform.files;
    const std::string package = files.StandardizePath(kPackagePath);
    const std::string digest_file = files.StandardizePath(kDigestPath);
    // If either file is missing, neither is opened.
    if (!files.Exists(package) || !files.Exists(digest_file)) return;
    // A second updater waits here for the first one, and usually finds the package gone.
    const auto lock = files.LockFolderOf(package);
    if (lock == nullptr) return LogLine(platform, "another update is running; nothing done");
    UpdateFrom(platform, package, digest_file);
  });
}

}  // namespace zenta::installer

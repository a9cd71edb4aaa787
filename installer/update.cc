#include "installer/update.h"

#include <array>
#include <cassert>
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

// A digest file has 171 characters. Larger ones than this cannot be signed, whatever they hold, and
// are not taken into memory.
constexpr std::size_t kDigestFileLimit = 65536;

// The payload that the digest file carries; nil if the file is not one that the release side made.
Data SignedPayload(Files& files, const std::string& path) {
  const auto file = files.OpenForReading(path);
  const Data text = file ? ReadAll(*file, kDigestFileLimit) : std::nullopt;
  if (!text || text->empty()) return std::nullopt;
  const Data block = ZTDHClass::ZTDHMethod014(text);
  // Exactly one block, because bytes after the first one would not be looked at.
  if (!block || block->size() != kSignatureBytes) return std::nullopt;
  return ZTDHClass::ZTDHMethod021(block);
}

// Whether the payload is, byte for byte, the package's digest in lower-case digits: such bytes are
// also the only valid text that is equal to it.
bool IsSigned(Files& files, const std::string& package, const std::string& digest_file) {
  const Data payload = SignedPayload(files, digest_file);
  if (!payload) return false;
  const Text digest = ZTDHClass::ZTDHMethod003(package, files);
  return digest && TextOf(*payload) == *digest;
}

// The third failure in a row is announced and clears the counter, and the cycle starts again. A
// success leaves the counter as it is, on purpose.
void CountFailure(UserDefaults& defaults, Notifications& notifications) {
  if (!defaults.HasObject(kFailureKey)) return defaults.SetInteger(kFailureKey, 1);
  const std::int64_t failures = defaults.Integer(kFailureKey);
  if (failures < 2) return defaults.SetInteger(kFailureKey, failures + 1);
  Attempt([&] { notifications.Post(kFailNotification); });
  defaults.Remove(kFailureKey);
}

// One attempt, to its end whatever fails: a package is never tried twice.
void InstallPackage(Platform& platform, const std::string& package) {
  const std::array<std::string, 4> arguments = {"-pkg", package, "-target", "/"};
  Text output, error;  // kept to the end of the attempt, shown to nobody
  if (RunAsAdministrator(*platform.scripts, kInstallerPath, arguments, &output, &error)) {
    ZTActivateInputModel(*platform.input_sources, *platform.log).zt_activateInputSource();
  } else {
    Attempt([&] { CountFailure(*platform.defaults, *platform.notifications); });
  }
  platform.files->Remove(package);
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
    // Without a package the digest file is not even read.
    if (!files.Exists(package) || !files.Exists(digest_file)) return;
    if (IsSigned(files, package, digest_file)) InstallPackage(platform, package);
  });
}

}  // namespace zenta::installer

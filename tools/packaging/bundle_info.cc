#include "tools/packaging/bundle_info.h"

#include "installer/platform/host/plist_file.h"
#include "tools/common/failure.h"
#include "tools/common/read_file.h"

namespace zenta::packaging {

using installer::kMaxPlistBytes;
using installer::ParsePlist;
using installer::Plist;
using installer::StringUnder;
using signing::Bytes;
using tools::Failure;
using tools::ReadWholeFile;

BundleInfo ReadBundleInfo(const std::filesystem::path& bundle) {
  if (!std::filesystem::is_directory(bundle)) {
    throw Failure(bundle.string() + " is no bundle: not a folder");
  }
  const std::filesystem::path path = bundle / "Contents" / "Info.plist";
  const std::string text = ReadWholeFile(path, kMaxPlistBytes);
  const Plist root = ParsePlist(Bytes(text.begin(), text.end()));
  if (!root) throw Failure(path.string() + " is no property list with a dictionary at its root");
  const auto value = [&](const char* key) { return StringUnder(root.get(), key).value_or(""); };
  return {value("CFBundleIdentifier"), value("CFBundleShortVersionString"),
          value("CFBundleVersion")};
}

}  // namespace zenta::packaging

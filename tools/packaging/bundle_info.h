// Reads what a bundle says of itself in Contents/Info.plist.
#pragma once

#include <filesystem>
#include <string>

namespace zenta::packaging {

// A value is empty if the bundle does not state it as a text.
struct BundleInfo {
  std::string identifier;     // CFBundleIdentifier
  std::string short_version;  // CFBundleShortVersionString, the version that people see
  std::string version;        // CFBundleVersion, the build's
};

// Reads the property list, XML or binary. Throws Failure if `bundle` is no folder, or if its
// Info.plist is missing, longer than kMaxPlistBytes or no property list with a dictionary at its
// root.
[[nodiscard]] BundleInfo ReadBundleInfo(const std::filesystem::path& bundle);

}  // namespace zenta::packaging

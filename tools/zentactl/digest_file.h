// Checks a package against its digest file as the updater does, and says why the check fails.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "datahelpers/signing_config.h"

namespace zenta::zentactl {

// The MD5 of the package as 32 lower-case hexadecimal digits. Reads the file once and shows its
// progress, named `doing` ("digesting"), unless `quiet`. Throws Failure.
[[nodiscard]] std::string PackageDigest(const std::filesystem::path& package, const char* doing,
                                        bool quiet);

// The text of a digest file; throws Failure if it is missing, unreadable or longer than the
// 64 KiB that the updater reads.
[[nodiscard]] std::string ReadDigestFile(const std::filesystem::path& path);

// nullopt if the updater with this configuration installs a package of this digest when given this
// digest file; otherwise the first step that refuses it, as a sentence.
[[nodiscard]] std::optional<std::string> WhyRefused(std::string_view digest_file,
                                                    const std::string& package_digest,
                                                    const signing::SigningConfig& config);

}  // namespace zenta::zentactl

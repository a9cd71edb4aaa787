#include "tools/packaging/flat_package.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/inputs.h"
#include "tools/common/new_file.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"
#include "tools/common/xml_text.h"
#include "tools/host_installer/payload_path.h"
#include "tools/packaging/bundle_info.h"
#include "tools/packaging/cpio_writer.h"
#include "tools/packaging/gzip_writer.h"
#include "tools/packaging/xar_writer.h"

namespace zenta::packaging {
namespace {

namespace fs = std::filesystem;
using host_installer::kMaxEntries;
using host_installer::kMaxPathBytes;
using host_installer::kMaxUnpackedBytes;
using host_installer::LinkStaysInside;
using host_installer::PathComponents;
using host_installer::PayloadPath;
using tools::Failure;
using tools::NewFile;
using tools::NoteInput;
using tools::OpenFile;
using tools::SystemFailure;
using tools::XmlText;

constexpr auto kMaxTime = static_cast<std::time_t>(kMaxCpioNumber);
constexpr std::size_t kCopyBytes = 256 << 10;

struct Item {
  fs::path path;    // where it is on disk
  CpioEntry entry;  // what it becomes in the payload
};

struct Listing {
  std::vector<Item> items;  // parents first, siblings by name
  std::uint64_t content_bytes = 0;
  std::time_t newest = 0;
};

// The time that reproducible builds set in the environment; nullopt if it is not set.
std::optional<std::time_t> SourceDateEpoch() {
  const char* text = std::getenv("SOURCE_DATE_EPOCH");
  if (text == nullptr) return std::nullopt;
  const std::string_view digits = text;
  std::uint32_t seconds = 0;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), seconds);
  if (error != std::errc() || end != digits.end()) {
    throw Failure("SOURCE_DATE_EPOCH is no number of seconds since 1970: " + std::string(digits));
  }
  return seconds;
}

// Throws Failure for an entry that the installer would refuse, so that the bundle is mended before
// it is published.
void CheckEntry(const fs::path& path, const CpioEntry& entry) {
  const std::optional<std::string> inside = PayloadPath(entry.name);
  const char* reason = !inside
                           ? "its path is too long or too deep, or has a name of the installer's"
                       : !entry.link_target.empty() && !LinkStaysInside(*inside, entry.link_target)
                           ? "the link leads out of the bundle or is absolute"
                           : nullptr;
  if (reason == nullptr) return;
  throw Failure("the installer would refuse " + path.string() +
                (entry.link_target.empty() ? "" : " -> " + entry.link_target) + ": " + reason);
}

// What a file becomes in the payload. Links are not followed; `time` stands for the file's own.
CpioEntry EntryOf(const fs::path& path, std::string name, std::optional<std::time_t> time) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) throw SystemFailure("cannot read " + path.string());
  NoteInput(status);
  CpioEntry entry{.name = std::move(name),
                  .mode = status.st_mode,
                  .modified = time.value_or(std::clamp<std::time_t>(status.st_mtime, 0, kMaxTime))};
  if (S_ISREG(status.st_mode)) {
    entry.size = static_cast<std::uint64_t>(status.st_size);
    if (entry.size > kMaxCpioNumber) throw Failure(path.string() + " is 8 GiB or longer");
  } else if (S_ISLNK(status.st_mode)) {
    entry.mode = S_IFLNK | 0777;  // has no meaning, and differs from system to system
    entry.link_target = fs::read_symlink(path).string();
  } else if (!S_ISDIR(status.st_mode)) {
    throw Failure(path.string() + " is neither a file nor a folder nor a symbolic link");
  }
  CheckEntry(path, entry);
  return entry;
}

// Appends `path` and, if it is a folder, everything below.
void ListTree(const fs::path& path, const std::string& name, std::optional<std::time_t> time,
              Listing& listing) {
  const CpioEntry entry = EntryOf(path, name, time);
  listing.items.push_back({path, entry});
  listing.content_bytes += entry.size;
  listing.newest = std::max(listing.newest, entry.modified);
  if (!S_ISDIR(entry.mode)) return;
  std::vector<fs::path> children(fs::directory_iterator{path}, fs::directory_iterator{});
  std::sort(children.begin(), children.end());  // byte by byte, whatever the locale
  for (const fs::path& child : children) {
    ListTree(child, fs::path(name) / child.filename(), time, listing);
  }
}

Listing ListBundle(const fs::path& bundle, const std::string& name) {
  Listing listing;
  listing.items.push_back({{}, {.name = ".", .mode = S_IFDIR | 0755}});
  ListTree(bundle, "./" + name, SourceDateEpoch(), listing);
  listing.items.front().entry.modified = listing.newest;
  return listing;
}

// The installer's limits for all entries together, with the folders on the way to the location.
void CheckLimits(const Listing& listing, std::string_view location) {
  const std::size_t entries =
      listing.items.size() - 1 + PathComponents(location).size();  // less "."
  if (entries > kMaxEntries) {
    throw Failure("the installer would refuse a bundle of more than " +
                  std::to_string(kMaxEntries) + " files, folders and links");
  }
  std::uint64_t bytes = entries * kMaxPathBytes;  // more than the headers and names of all
  for (const Item& item : listing.items) bytes += item.entry.size;
  if (bytes > kMaxUnpackedBytes) {
    throw Failure("the installer would refuse a bundle of more than " +
                  std::to_string(kMaxUnpackedBytes) + " bytes");
  }
}

// Copies the contents of a file that was listed with `size` bytes.
void CopyTo(const Sink& sink, const fs::path& path, std::uint64_t size) {
  std::vector<std::uint8_t> buffer(kCopyBytes);
  const auto file = OpenFile(path);
  std::uint64_t left = size;
  while (true) {
    const auto count = file->Read(buffer);
    if (!count) throw Failure("cannot read " + path.string());
    if (*count > left) throw Failure(path.string() + " grew while it was packed");
    if (*count == 0) break;
    sink({reinterpret_cast<const char*>(buffer.data()), *count});
    left -= *count;
  }
  if (left != 0) throw Failure(path.string() + " shrank while it was packed");
}

void WritePayload(const Listing& listing, const PackageOptions& options, XarWriter& package) {
  GzipWriter gzip([&](std::string_view bytes) { package.Write(bytes); });
  CpioWriter cpio([&](std::string_view bytes) { gzip.Write(bytes); });
  std::uint64_t done = 0;
  const auto pack = [&](std::string_view bytes) {
    cpio.Write(bytes);
    done += bytes.size();
    if (options.progress) options.progress(done, listing.content_bytes);
  };
  for (const auto& [path, entry] : listing.items) {
    cpio.Begin(entry);
    if (S_ISREG(entry.mode)) CopyTo(pack, path, entry.size);
  }
  cpio.Finish();
  gzip.Finish();
}

std::string PackageInfo(const PackageSummary& package, const BundleInfo& info,
                        const std::string& bundle_name, const std::string& install_location) {
  const std::uint64_t kilobytes = (package.content_bytes + 1023) / 1024;
  std::ostringstream xml;
  xml << R"(<?xml version="1.0" encoding="utf-8"?>)" << '\n'
      << R"(<pkg-info overwrite-permissions="true" relocatable="false" auth="root")"
      << R"( format-version="2" identifier=")" << XmlText(package.identifier) << R"(" version=")"
      << XmlText(package.version) << R"(" install-location=")" << XmlText(install_location)
      << "\">\n"
      << R"(    <payload numberOfFiles=")" << package.entries << R"(" installKBytes=")" << kilobytes
      << "\"/>\n"
      << R"(    <bundle path="./)" << XmlText(bundle_name) << R"(" id=")"
      << XmlText(info.identifier) << R"(" CFBundleShortVersionString=")"
      << XmlText(info.short_version) << R"(" CFBundleVersion=")" << XmlText(info.version)
      << "\"/>\n"
      << "</pkg-info>\n";
  return xml.str();
}

// The first value that is not empty.
std::string FirstOf(const char* what, std::initializer_list<std::string> candidates) {
  for (const std::string& value : candidates) {
    if (!value.empty()) return value;
  }
  throw Failure(std::string("the bundle's Info.plist states no ") + what + ": give one");
}

void CheckInstallLocation(const std::string& location) {
  if (!location.starts_with('/')) throw Failure("the install location is no absolute path");
  if (!PayloadPath('.' + location)) {
    throw Failure(
        "the installer would refuse the install location: it leads upwards or is too long");
  }
}

// The bundle's name as the caller gave it: that of a link, if it is one.
std::string NameOf(const fs::path& bundle) {
  const fs::path whole = fs::absolute(bundle).lexically_normal();
  return (whole.has_filename() ? whole : whole.parent_path()).filename().string();
}

}  // namespace

PackageSummary WriteFlatPackage(const PackageOptions& options) {
  CheckInstallLocation(options.install_location);
  const BundleInfo info = ReadBundleInfo(options.bundle);
  PackageSummary summary;
  summary.identifier = FirstOf("identifier", {options.identifier, info.identifier});
  summary.version = FirstOf("version", {options.version, info.short_version, info.version});
  // Listed before anything is created, so that a package made inside the bundle is not part of it.
  const std::string name = NameOf(options.bundle);
  const Listing listing = ListBundle(fs::canonical(options.bundle), name);
  CheckLimits(listing, options.install_location);
  summary.entries = listing.items.size();
  summary.content_bytes = listing.content_bytes;

  const std::string text = PackageInfo(summary, info, name, options.install_location);
  const bool standard = tools::IsStandard(options.out);
  NewFile file =
      standard ? NewFile::Temporary("standard output") : NewFile::Beside(options.out, 0666);
  XarWriter package(file, listing.newest);
  package.Begin("Bom");
  package.Begin("PackageInfo");
  package.Write(text);
  package.Begin("Payload");
  WritePayload(listing, options, package);
  package.Finish();
  summary.package_bytes = fs::file_size(file.path());
  standard ? file.CopyTo(STDOUT_FILENO) : file.ReplaceAs(options.out);
  return summary;
}

}  // namespace zenta::packaging

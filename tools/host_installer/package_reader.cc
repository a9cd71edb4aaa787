#include "tools/host_installer/package_reader.h"

#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <string_view>
#include <utility>

#include "tools/common/failure.h"
#include "tools/host_installer/package_info.h"

namespace zenta::host_installer {
namespace {

using tools::Failure;

// Of PackageInfo and Distribution, which take a few kilobytes in packages of any size.
constexpr std::size_t kMaxXmlBytes = 1 << 20;
constexpr std::size_t kBlockBytes = 64 * 1024;

Archive NewReader() {
  Archive reader(archive_read_new());
  if (reader == nullptr) throw Failure("out of memory");
  return reader;
}

// Moves to the next entry; null at the end of the archive.
archive_entry* NextEntry(archive* reader, const std::string& what) {
  archive_entry* entry = nullptr;
  const int status = archive_read_next_header(reader, &entry);
  if (status == ARCHIVE_EOF) return nullptr;
  CheckArchive(reader, status, what);
  return entry;
}

// Knows XAR and nothing else, so that no other format is mistaken for a package.
Archive OpenPackage(const std::string& package) {
  Archive reader = NewReader();
  CheckArchive(reader.get(), archive_read_support_format_xar(reader.get()), "XAR");
  CheckArchive(reader.get(), archive_read_open_filename(reader.get(), package.c_str(), kBlockBytes),
               "the package cannot be read");
  return reader;
}

// Calls `visit` with every regular file of the package: its folder ("" at the root) and its name.
void ForEachFile(const std::string& package,
                 const std::function<void(const std::string&, std::string_view, archive*)>& visit) {
  const Archive reader = OpenPackage(package);
  while (archive_entry* entry = NextEntry(reader.get(), "the package cannot be read")) {
    const char* text = archive_entry_pathname(entry);
    if (text == nullptr || archive_entry_filetype(entry) != AE_IFREG) continue;
    const std::string path = text;
    const std::size_t slash = path.rfind('/');
    const bool at_root = slash == std::string::npos;
    visit(at_root ? "" : path.substr(0, slash),
          std::string_view(path).substr(at_root ? 0 : slash + 1), reader.get());
  }
}

std::string ReadXml(archive* reader) {
  std::string xml;
  const void* block = nullptr;
  std::size_t size = 0;
  la_int64_t offset = 0;
  int status = ARCHIVE_OK;
  while ((status = archive_read_data_block(reader, &block, &size, &offset)) == ARCHIVE_OK) {
    if (size > kMaxXmlBytes - xml.size()) throw Failure("the package's XML is too long");
    xml.append(static_cast<const char*>(block), size);
  }
  if (status != ARCHIVE_EOF) CheckArchive(reader, status, "the package cannot be read");
  return xml;
}

// The bytes of the current entry of `from`, as the input of another archive reader.
struct EntryStream {
  archive* from;
  std::uint64_t left;  // bytes that may still come

  // Opens `reader` on this stream, which has to outlive it.
  void Feed(archive* reader) {
    CheckArchive(reader, archive_read_open(reader, this, nullptr, &EntryStream::Read, nullptr),
                 "the payload cannot be read");
  }

  // archive_read_callback: the size of the next block, 0 at the end, -1 on failure.
  static la_ssize_t Read(archive* reader, void* stream, const void** block) noexcept {
    EntryStream& self = *static_cast<EntryStream*>(stream);
    std::size_t size = 0;
    la_int64_t offset = 0;
    // A block may be empty without being the last; to the callback that would mean the end.
    int status = ARCHIVE_OK;
    while (status == ARCHIVE_OK && size == 0) {
      status = archive_read_data_block(self.from, block, &size, &offset);
    }
    if (status == ARCHIVE_EOF) return 0;
    if (status != ARCHIVE_OK) {
      archive_set_error(reader, archive_errno(self.from), "%s", archive_error_string(self.from));
      return -1;
    }
    if (size > self.left) {
      archive_set_error(reader, ENOSPC, "it is larger than the space there is for it");
      return -1;
    }
    self.left -= size;
    return static_cast<la_ssize_t>(size);
  }

  // Reads to the end, where checksums are compared and missing bytes show.
  void Drain() {
    const void* block = nullptr;
    const Archive nobody = NewReader();
    la_ssize_t size = 0;
    while ((size = Read(nobody.get(), this, &block)) > 0) {
    }
    if (size < 0) CheckArchive(nobody.get(), ARCHIVE_FATAL, "the payload cannot be read");
  }
};

// Two readers, one over the other, so that the bytes between them can be counted: the first undoes
// one compression, the second knows cpio and nothing else. A payload compressed more than once is
// refused, since each layer multiplies what a small package can cost.
std::uint64_t UnpackPayload(archive* package, std::uint64_t limit,
                            const std::function<void(archive*)>& unpack) {
  EntryStream packed{package, UINT64_MAX};
  const Archive plain = NewReader();
  archive_read_support_filter_gzip(plain.get());
  archive_read_support_filter_bzip2(plain.get());
  archive_read_support_filter_xz(plain.get());
  archive_read_support_format_raw(plain.get());
  packed.Feed(plain.get());
  if (archive_filter_count(plain.get()) > 2) throw Failure("the payload is compressed twice");
  if (NextEntry(plain.get(), "the payload cannot be read") == nullptr) {
    throw Failure("the payload is empty");
  }

  EntryStream unpacked{plain.get(), limit};
  const Archive cpio = NewReader();
  archive_read_support_format_cpio(cpio.get());
  unpacked.Feed(cpio.get());
  unpack(cpio.get());
  unpacked.Drain();
  packed.Drain();
  return unpacked.left;
}

// What the first pass finds in one folder of the package.
struct Found {
  std::map<std::string, std::string> xml;  // PackageInfo and Distribution
  bool has_payload = false;
  bool has_scripts = false;
};

// Of every folder, because the archive may hold the Distribution after what it names.
std::map<std::string, Found> Survey(const std::string& package) {
  std::map<std::string, Found> folders;
  ForEachFile(package, [&](const std::string& folder, std::string_view name, archive* reader) {
    Found& found = folders[folder];
    bool fresh = true;
    if (name == "PackageInfo" || (name == "Distribution" && folder.empty())) {
      fresh = found.xml.emplace(name, ReadXml(reader)).second;
    } else if (name == "Payload") {
      fresh = !std::exchange(found.has_payload, true);
    } else if (name == "Scripts") {
      found.has_scripts = true;
    }
    if (!fresh) throw Failure("the package holds two files named " + std::string(name));
  });
  return folders;
}

}  // namespace

void CheckArchive(archive* opened, int status, const std::string& what) {
  if (status == ARCHIVE_OK) return;
  const char* reason = archive_error_string(opened);
  throw Failure(what + (reason == nullptr ? "" : ": " + std::string(reason)));
}

PackageDescription ReadDescription(const std::string& package) {
  std::map<std::string, Found> folders = Survey(package);
  PackageDescription description;
  std::vector<std::string> names = {""};
  if (const auto distribution = folders[""].xml.find("Distribution");
      distribution != folders[""].xml.end()) {
    Distribution parsed = ParseDistribution(distribution->second);
    description.title = std::move(parsed.title);
    names = std::move(parsed.folders);
  }
  for (const std::string& name : names) {
    const Found& found = folders[name];
    const auto info = found.xml.find("PackageInfo");
    if (info == found.xml.end()) {
      throw Failure("the package has no PackageInfo" + (name.empty() ? "" : " in " + name));
    }
    description.components.push_back(
        {name, InstallLocation(info->second), found.has_payload, found.has_scripts});
  }
  return description;
}

void ForEachPayload(const std::string& package, const PackageDescription& description,
                    std::uint64_t limit,
                    const std::function<void(const Component&, archive*)>& unpack) {
  ForEachFile(package, [&](const std::string& folder, std::string_view name, archive* reader) {
    const auto wanted =
        std::find_if(description.components.begin(), description.components.end(),
                     [&](const Component& component) { return component.folder == folder; });
    if (name != "Payload" || wanted == description.components.end()) return;
    limit = UnpackPayload(reader, limit, [&](archive* cpio) { unpack(*wanted, cpio); });
  });
}

}  // namespace zenta::host_installer

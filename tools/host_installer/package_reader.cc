#include "tools/host_installer/package_reader.h"

#include <archive_entry.h>

#include <array>
#include <cerrno>
#include <map>
#include <string_view>
#include <utility>

#include "tools/common/failure.h"
#include "tools/host_installer/inflater.h"
#include "tools/host_installer/package_info.h"
#include "tools/host_installer/payload_path.h"
#include "tools/host_installer/xml_document.h"

namespace zenta::host_installer {
namespace {

using tools::Failure;

Archive NewReader() {
  Archive reader(archive_read_new());
  if (reader == nullptr) throw Failure("out of memory");
  return reader;
}

// Makes `source` the input of an archive reader. REQUIRES: the source outlives the reader.
void Feed(archive* reader, ByteSource& source) {
  // Returns the size of the next block, 0 at the end, -1 on failure.
  const auto read = [](archive* asking, void* from, const void** block) noexcept -> la_ssize_t {
    try {
      const Block next = static_cast<ByteSource*>(from)->Next();
      *block = next.data();
      return static_cast<la_ssize_t>(next.size());
    } catch (const std::exception& failure) {
      archive_set_error(asking, EINVAL, "%s", failure.what());
      return -1;
    }
  };
  CheckArchive(reader, archive_read_open(reader, &source, nullptr, read, nullptr),
               "the payload cannot be read");
}

// Decompresses bzip2 and xz, and passes plain bytes on. libarchive verifies the checksums of both
// compressions.
class Decompressed final : public ByteSource {
 public:
  explicit Decompressed(std::unique_ptr<ByteSource> packed)
      : packed_(std::move(packed)), reader_(NewReader()) {
    archive_read_support_filter_bzip2(reader_.get());
    archive_read_support_filter_xz(reader_.get());
    archive_read_support_format_raw(reader_.get());
    Feed(reader_.get(), *packed_);
    if (archive_filter_count(reader_.get()) > 2) throw Failure("the payload is compressed twice");
    archive_entry* entry = nullptr;
    CheckArchive(reader_.get(), archive_read_next_header(reader_.get(), &entry),
                 "the payload cannot be read");
  }

  Block Next() override {
    const void* block = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    // An empty block is not the end; ARCHIVE_EOF is.
    int status = ARCHIVE_OK;
    while (status == ARCHIVE_OK && size == 0) {
      status = archive_read_data_block(reader_.get(), &block, &size, &offset);
    }
    if (status == ARCHIVE_OK) return {static_cast<const std::uint8_t*>(block), size};
    if (status != ARCHIVE_EOF) CheckArchive(reader_.get(), status, "the payload cannot be read");
    Drain(*packed_);
    return {};
  }

 private:
  std::unique_ptr<ByteSource> packed_;
  Archive reader_;
};

// Passes bytes on and subtracts their number from a budget that several sources share.
class Budgeted final : public ByteSource {
 public:
  Budgeted(ByteSource& source, std::uint64_t& left) : source_(source), left_(left) {}

  Block Next() override {
    const Block block = source_.Next();
    if (block.size() > left_) throw Failure("it is larger than the space there is for it");
    left_ -= block.size();
    return block;
  }

 private:
  ByteSource& source_;
  std::uint64_t& left_;
};

// The decompressed bytes of the cpio archive. Refuses a payload that is compressed more than once,
// because each layer multiplies the work that a small package can cause.
std::unique_ptr<ByteSource> OpenPayload(const PackageFile& package, const XarFile& payload) {
  std::unique_ptr<ByteSource> bytes = OpenContents(package, payload);
  if (payload.deflated) return bytes;
  std::array<std::uint8_t, 2> start{};
  if (payload.length >= start.size()) package.ReadAt(payload.offset, start);
  constexpr std::array<std::uint8_t, 2> kGzip = {0x1F, 0x8B};
  if (start != kGzip) return std::make_unique<Decompressed>(std::move(bytes));
  return std::make_unique<Inflater>(std::move(bytes), Inflater::Format::kGzip);
}

std::string ReadXml(const PackageFile& package, const XarFile& file) {
  const std::unique_ptr<ByteSource> source = OpenContents(package, file);
  std::string xml;
  for (Block block; !(block = source->Next()).empty();) {
    if (block.size() > kMaxXmlBytes - xml.size()) {
      throw Failure("the package's " + file.name + " is too long");
    }
    xml.append(block.begin(), block.end());
  }
  return xml;
}

// All files by path. Verifies the checksums of all but the payloads.
std::map<std::string, XarFile> Survey(const PackageFile& package) {
  std::map<std::string, XarFile> files;
  for (const XarFile& file : ReadXarTable(package)) {
    if (file.name != "Payload") Drain(*OpenStored(package, file));
    if (!files.emplace(JoinPath(file.folder, file.name), file).second) {
      throw Failure("the package holds two files named " + file.name);
    }
  }
  return files;
}

}  // namespace

void CheckArchive(archive* opened, int status, const std::string& what) {
  if (status == ARCHIVE_OK) return;
  const char* reason = archive_error_string(opened);
  throw Failure(what + (reason == nullptr ? "" : ": " + std::string(reason)));
}

PackageDescription ReadDescription(const PackageFile& package) {
  const std::map<std::string, XarFile> files = Survey(package);
  const auto file_of = [&](const std::string& folder, const std::string& name) -> const XarFile& {
    const auto found = files.find(JoinPath(folder, name));
    if (found != files.end()) return found->second;
    throw Failure("the package has no " + name + (folder.empty() ? "" : " in " + folder));
  };
  PackageDescription description;
  std::vector<std::string> folders = {""};
  if (files.contains("Distribution")) {
    Distribution parsed = ParseDistribution(ReadXml(package, file_of("", "Distribution")));
    description.title = std::move(parsed.title);
    folders = std::move(parsed.folders);
  }
  for (const std::string& folder : folders) {
    const std::string info = ReadXml(package, file_of(folder, "PackageInfo"));
    description.components.push_back({folder, InstallLocation(info), file_of(folder, "Payload"),
                                      files.contains(JoinPath(folder, "Scripts"))});
  }
  return description;
}

void ForEachPayload(const PackageFile& package, const PackageDescription& description,
                    std::uint64_t limit,
                    const std::function<void(const Component&, archive*)>& unpack) {
  for (const Component& component : description.components) {
    const std::unique_ptr<ByteSource> plain = OpenPayload(package, component.payload);
    Budgeted counted(*plain, limit);
    const Archive cpio = NewReader();
    archive_read_support_format_cpio(cpio.get());
    Feed(cpio.get(), counted);
    unpack(component, cpio.get());
    Drain(counted);
  }
}

}  // namespace zenta::host_installer

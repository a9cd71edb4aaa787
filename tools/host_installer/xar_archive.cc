#include "tools/host_installer/xar_archive.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <utility>

#include "datahelpers/hex.h"
#include "datahelpers/openssl_owned.h"
#include "tools/common/failure.h"
#include "tools/host_installer/inflater.h"
#include "tools/host_installer/payload_path.h"
#include "tools/host_installer/xml_document.h"

namespace zenta::host_installer {
namespace {

using tools::Failure;

// Computes a checksum.
class Digest {
 public:
  // Throws Failure with a text about `what` unless the style is SHA-1 or better.
  Digest(const std::string& style, const std::string& what) : context_(EVP_MD_CTX_new()) {
    const EVP_MD* const kind = style == "sha1"     ? EVP_sha1()
                               : style == "sha256" ? EVP_sha256()
                               : style == "sha512" ? EVP_sha512()
                                                   : nullptr;
    if (kind == nullptr) throw Failure(what + " has no checksum of SHA-1 or better");
    if (context_ == nullptr || EVP_DigestInit_ex(context_.get(), kind, nullptr) != 1) {
      throw std::bad_alloc();
    }
  }
  void Update(Block bytes) { EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()); }
  [[nodiscard]] std::size_t size() const {
    return static_cast<std::size_t>(EVP_MD_CTX_get_size(context_.get()));
  }
  // The checksum in lower-case hexadecimal digits. No other call may follow.
  std::string Finish() {
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> bytes;
    EVP_DigestFinal_ex(context_.get(), bytes.data(), nullptr);
    return signing::HexOf(Block(bytes).first(size()));
  }

 private:
  signing::Owned<EVP_MD_CTX, EVP_MD_CTX_free> context_;
};

// The stored bytes of a file.
class StoredBytes final : public ByteSource {
 public:
  StoredBytes(const PackageFile& package, const XarFile& file)
      : package_(package), file_(file), digest_(file.checksum_style, file.name) {}

  Block Next() override {
    const std::uint64_t left = file_.length - done_;
    const auto block = std::span(buffer_).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer_.size())));
    package_.ReadAt(file_.offset + done_, block);
    digest_.Update(block);
    done_ += block.size();
    if (block.empty() && !std::exchange(checked_, true) && digest_.Finish() != file_.checksum) {
      throw Failure("the checksum of " + file_.name + " does not match");
    }
    return block;
  }

 private:
  const PackageFile& package_;
  const XarFile file_;
  Digest digest_;
  std::uint64_t done_ = 0;
  bool checked_ = false;
  std::array<std::uint8_t, 64 * 1024> buffer_;
};

// Passes bytes on. Throws unless their number is the size that the table gives.
class ExactSize final : public ByteSource {
 public:
  ExactSize(std::unique_ptr<ByteSource> source, const XarFile& file)
      : source_(std::move(source)), left_(file.size), name_(file.name) {}

  Block Next() override {
    const Block block = source_->Next();
    if (block.size() > left_ || (block.empty() && left_ != 0)) {
      throw Failure(name_ + " has another size than the package says");
    }
    left_ -= block.size();
    return block;
  }

 private:
  std::unique_ptr<ByteSource> source_;
  std::uint64_t left_;
  std::string name_;
};

class NoBytes final : public ByteSource {
 public:
  Block Next() override { return {}; }
};

std::uint64_t BigEndian(Block bytes) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

std::string_view WithoutBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
}

std::string InLowerCase(std::string_view text) {
  std::string lower(WithoutBlanks(text));
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

// The decimal number in a child element.
std::uint64_t NumberIn(const xmlNode* parent, const char* name) {
  const std::string text = TextOf(Child(parent, name));
  const std::string_view digits = WithoutBlanks(text);
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) {
    throw Failure("the package's table of contents has no valid " + std::string(name));
  }
  return number;
}

struct Header {
  std::uint64_t table = 0;         // offset of the table in the package
  std::uint64_t table_size = 0;    // in bytes, compressed
  std::uint64_t table_length = 0;  // in bytes, decompressed
  std::uint64_t checksum_kind = 0;
  std::uint64_t heap = 0;  // offset of the heap in the package
};

Header ReadHeader(const PackageFile& package) {
  constexpr std::size_t kHeaderBytes = 28;
  std::array<std::uint8_t, kHeaderBytes> bytes{};
  if (package.size() >= kHeaderBytes) package.ReadAt(0, bytes);
  const auto field = [&](std::size_t at, std::size_t size) {
    return BigEndian(Block(bytes).subspan(at, size));
  };
  constexpr std::uint64_t kMagic = 0x78617221;  // "xar!"
  if (field(0, 4) != kMagic || field(4, 2) < kHeaderBytes || field(6, 2) != 1) {
    throw Failure("the package cannot be read: it is no XAR archive");
  }
  Header header{field(4, 2), field(8, 8), field(16, 8), field(24, 4)};
  if (header.table_size > kMaxXmlBytes || header.table_length > kMaxXmlBytes) {
    throw Failure("the package's table of contents is too long");
  }
  header.heap = header.table + header.table_size;
  if (header.heap > package.size()) throw Failure("the package is cut short");
  return header;
}

std::string Inflated(Block packed, std::uint64_t length) {
  std::string plain(static_cast<std::size_t>(length), '\0');
  uLongf plain_size = static_cast<uLongf>(length);
  uLong packed_size = static_cast<uLong>(packed.size());
  const int status =
      uncompress2(reinterpret_cast<Bytef*>(plain.data()), &plain_size, packed.data(), &packed_size);
  if (status != Z_OK || plain_size != length || packed_size != packed.size()) {
    throw Failure("the package's table of contents is damaged");
  }
  return plain;
}

// Verifies the table's checksum, which lies in the heap. The table names its style, the header its
// number: 0 none, 1 SHA-1, 2 MD5, 3 and 4 others such as SHA-256 and SHA-512.
void CheckTable(const PackageFile& package, const Header& header, Block packed,
                const xmlNode* toc) {
  const xmlNode* const checksum = Child(toc, "checksum");
  const std::string style = InLowerCase(AttributeOf(checksum, "style"));
  Digest digest(style, "the package's table of contents");
  const bool fits = header.checksum_kind == (style == "sha1" ? 1 : 3) ||
                    (header.checksum_kind == 4 && style != "sha1");
  const std::uint64_t offset = NumberIn(checksum, "offset");
  std::vector<std::uint8_t> wanted(digest.size());
  if (offset > package.size() - header.heap) throw Failure("the package is cut short");
  package.ReadAt(header.heap + offset, wanted);
  digest.Update(packed);
  if (!fits || digest.Finish() != signing::HexOf(wanted)) {
    throw Failure("the checksum of the package's table of contents does not match");
  }
}

// Reads a file's <data> element: where its bytes lie, and how they are encoded.
void ReadData(const xmlNode* data, XarFile& file) {
  file.offset = NumberIn(data, "offset");
  file.length = NumberIn(data, "length");
  file.size = NumberIn(data, "size");
  const std::string encoding = AttributeOf(Child(data, "encoding"), "style");
  file.deflated = encoding == "application/x-gzip";  // in XAR the name of a zlib stream
  if (!file.deflated && encoding != "application/octet-stream") {
    throw Failure(file.name + " is stored in an unknown encoding: " + encoding);
  }
  const xmlNode* const checksum = Child(data, "archived-checksum");
  file.checksum_style = InLowerCase(AttributeOf(checksum, "style"));
  file.checksum = InLowerCase(TextOf(checksum));
}

// Appends the files below `parent`, the table's root or a folder.
void CollectFiles(const xmlNode* parent, const std::string& folder, std::vector<XarFile>& files) {
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    if (!HasName(node, "file")) continue;
    XarFile file{folder, TextOf(Child(node, "name"))};
    const std::string path = folder.empty() ? file.name : folder + "/" + file.name;
    // This also bounds the depth of the recursion and the memory of the paths.
    if (file.name.find('/') != std::string::npos || PayloadPath(path) != path) {
      throw Failure("a file of the package has a bad name: " + file.name);
    }
    const std::string type = TextOf(Child(node, "type"));
    if (type == "directory") CollectFiles(node, path, files);
    if (type != "file") continue;
    if (const xmlNode* data = Child(node, "data"); data != nullptr) ReadData(data, file);
    files.push_back(std::move(file));
  }
}

// Checks that all files lie in the heap and have a known checksum. Makes their offsets relative to
// the package instead of the heap.
void PlaceFiles(std::vector<XarFile>& files, std::uint64_t heap, std::uint64_t heap_size) {
  std::uint64_t spare = heap_size;
  for (XarFile& file : files) {
    if (file.offset > heap_size || file.length > heap_size - file.offset) {
      throw Failure(file.name + " lies outside the package");
    }
    if (file.length > spare) throw Failure("the files of the package are longer than the package");
    spare -= file.length;
    file.offset += heap;
    if (file.size != 0 || file.length != 0) Digest(file.checksum_style, file.name);  // or throws
  }
}

}  // namespace

std::vector<XarFile> ReadXarTable(const PackageFile& package) {
  const Header header = ReadHeader(package);
  std::vector<std::uint8_t> packed(static_cast<std::size_t>(header.table_size));
  package.ReadAt(header.table, packed);
  const XmlDocument document =
      ParseXml(Inflated(packed, header.table_length), "xar", "table of contents");
  const xmlNode* const toc = Child(xmlDocGetRootElement(document.get()), "toc");
  CheckTable(package, header, packed, toc);
  std::vector<XarFile> files;
  CollectFiles(toc, "", files);
  PlaceFiles(files, header.heap, package.size() - header.heap);
  return files;
}

std::unique_ptr<ByteSource> OpenStored(const PackageFile& package, const XarFile& file) {
  if (file.length == 0 && file.checksum_style.empty()) return std::make_unique<NoBytes>();
  return std::make_unique<StoredBytes>(package, file);
}

std::unique_ptr<ByteSource> OpenContents(const PackageFile& package, const XarFile& file) {
  std::unique_ptr<ByteSource> bytes = OpenStored(package, file);
  if (file.deflated) {
    bytes = std::make_unique<Inflater>(std::move(bytes), Inflater::Format::kZlib);
  }
  return std::make_unique<ExactSize>(std::move(bytes), file);
}

}  // namespace zenta::host_installer

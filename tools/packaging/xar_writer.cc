#include "tools/packaging/xar_writer.h"

#include <openssl/evp.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cassert>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "datahelpers/hex.h"
#include "datahelpers/openssl_owned.h"
#include "tools/common/failure.h"

namespace zenta::packaging {
namespace {

using signing::HexOf;
using signing::Owned;
using tools::NewFile;
using tools::SystemFailure;

constexpr std::size_t kTableBytes = 2048;
constexpr std::size_t kChecksumBytes = 20;
constexpr std::size_t kHeaderBytes = 28;
constexpr std::size_t kStoredBytes = kTableBytes + 11;  // see Stored
constexpr std::uint32_t kSha1 = 1;                      // the header's code for SHA-1

std::string BigEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(number >> shift & 0xFF);
  }
  return text;
}

// A zlib stream (RFC 1950) that holds the text as it is, in one stored block (RFC 1951, 3.2.4).
std::string Stored(std::string_view text) {
  assert(text.size() <= 0xFFFF);
  const std::string length = BigEndian(text.size(), 2), inverse = BigEndian(~text.size(), 2);
  std::string bytes = "\x78\x01\x01";  // deflate and its window, quickest; final block, stored
  bytes += {length[1], length[0], inverse[1], inverse[0]};
  bytes += text;
  return bytes + BigEndian(adler32_z(adler32_z(0, nullptr, 0),
                                     reinterpret_cast<const Bytef*>(text.data()), text.size()),
                           4);
}

std::string TimeText(std::time_t time) {
  std::tm parts{};
  std::array<char, 32> text;
  gmtime_r(&time, &parts);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts)};
}

}  // namespace

class XarWriter::Sha1 {
 public:
  Sha1() {
    if (!context_ || EVP_DigestInit_ex(context_.get(), EVP_sha1(), nullptr) != 1) {
      throw std::runtime_error("no SHA-1 here");
    }
  }
  void Update(std::string_view bytes) {
    EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size());
    size_ += bytes.size();
  }
  [[nodiscard]] std::uint64_t size() const { return size_; }
  std::array<std::uint8_t, kChecksumBytes> Finish() {
    std::array<std::uint8_t, kChecksumBytes> digest{};
    EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr);
    return digest;
  }

 private:
  Owned<EVP_MD_CTX, EVP_MD_CTX_free> context_{EVP_MD_CTX_new()};
  std::uint64_t size_ = 0;
};

XarWriter::XarWriter(NewFile& file, std::time_t modified) : file_(file), time_(TimeText(modified)) {
  file_.Write(std::string(kHeaderBytes + kStoredBytes + kChecksumBytes, '\0'));
}

XarWriter::~XarWriter() = default;

void XarWriter::Begin(std::string name) {
  CompleteFile();
  const std::uint64_t offset =
      files_.empty() ? kChecksumBytes : files_.back().offset + files_.back().size;
  files_.push_back({std::move(name), 0, offset, {}});
  sha1_ = std::make_unique<Sha1>();
}

void XarWriter::Write(std::string_view bytes) {
  assert(sha1_ != nullptr);
  sha1_->Update(bytes);
  file_.Write(bytes);
}

void XarWriter::CompleteFile() {
  if (sha1_ == nullptr) return;
  files_.back().size = sha1_->size();
  files_.back().checksum = HexOf(sha1_->Finish());
}

// A file without contents has no <data>.
std::string XarWriter::Table() const {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xar><toc>\n<creation-time>" << time_
      << "</creation-time>\n<checksum style=\"sha1\"><offset>0</offset><size>" << kChecksumBytes
      << "</size></checksum>\n";
  for (std::size_t i = 0; i != files_.size(); ++i) {
    const File& file = files_[i];
    xml << "<file id=\"" << i + 1 << "\"><name>" << file.name
        << "</name><type>file</type><mode>0644</mode><uid>0</uid><gid>0</gid><mtime>" << time_
        << "Z</mtime>";
    if (file.size != 0) {
      xml << "<data><length>" << file.size << "</length><offset>" << file.offset
          << "</offset><size>" << file.size
          << "</size><encoding style=\"application/octet-stream\"/><archived-checksum "
             "style=\"sha1\">"
          << file.checksum << "</archived-checksum><extracted-checksum style=\"sha1\">"
          << file.checksum << "</extracted-checksum></data>";
    }
    xml << "</file>\n";
  }
  xml << "</toc></xar>\n";
  return xml.str();
}

void XarWriter::Finish() {
  CompleteFile();
  std::string table = Table();
  assert(table.size() <= kTableBytes);
  table.resize(kTableBytes, ' ');
  const std::string stored = Stored(table);
  assert(stored.size() == kStoredBytes);
  Sha1 sha1;
  sha1.Update(stored);
  const auto checksum = sha1.Finish();
  if (lseek(file_.descriptor(), 0, SEEK_SET) != 0) {
    throw SystemFailure("cannot write " + file_.shown());
  }
  file_.Write("xar!" + BigEndian(kHeaderBytes, 2) + BigEndian(1, 2) + BigEndian(kStoredBytes, 8) +
              BigEndian(kTableBytes, 8) + BigEndian(kSha1, 4) + stored +
              std::string(checksum.begin(), checksum.end()));
}

}  // namespace zenta::packaging

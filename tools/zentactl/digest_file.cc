#include "tools/zentactl/digest_file.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <system_error>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/crypto.h"
#include "datahelpers/signature_block.h"
#include "datahelpers/ztdh_class.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"
#include "tools/zentactl/progress.h"

namespace zenta::zentactl {
namespace {

using signing::AlphabetCodec;
using signing::BytesOf;
using signing::ByteView;
using signing::Data;
using signing::FileHandle;
using signing::kSignatureBytes;
using signing::OpenSignatureBlock;
using signing::RsaPublicKey;
using signing::SignatureBlock;
using signing::SigningConfig;
using signing::Text;
using signing::TextOf;
using tools::Failure;
using tools::IsStandard;
using tools::OpenFile;
using tools::ReadWholeFile;

// The most that the updater reads of a digest file.
constexpr std::size_t kMaxDigestFileBytes = 65536;

// A foreign byte for a terminal: printable ASCII as it is, any other as \xNN.
std::string Printable(char c) {
  if (c > ' ' && c <= '~') return {c};
  char text[5];
  std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
  return text;
}

// Why the codec refuses a text. All configurations have the same 64 characters, in different
// orders. So a text made with another configuration is refused here only for its last bits;
// otherwise it decodes, and the signature is wrong.
std::string WhyNotDecoded(std::string_view text, const SigningConfig& config) {
  const std::string_view alphabet(config.alphabet.data(), config.alphabet.size());
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == text.npos) return "the digest file is empty";
  const std::string accepted = std::string(alphabet) + " \t\r\n";
  const std::size_t foreign = text.find_first_not_of(accepted);
  if (foreign != text.npos) {
    return "foreign character '" + Printable(text[foreign]) + "' at position " +
           std::to_string(foreign + 1) + " of the digest file: not in the configuration's alphabet";
  }
  return "the digest file does not decode: cut off, altered, or made with another configuration";
}

// Why the bytes are no signature of this configuration's key.
std::string WhyNotOpened(ByteView block, const SigningConfig& config) {
  if (block.size() != kSignatureBytes) {
    return std::string("the digest file is too ") +
           (block.size() < kSignatureBytes ? "short" : "long") + ": it decodes to " +
           std::to_string(block.size()) + " bytes, a signature has " +
           std::to_string(kSignatureBytes);
  }
  SignatureBlock signature;
  std::copy(block.begin(), block.end(), signature.begin());
  if (!RsaPublicKey(config).Raise(signature)) {
    return "the signature is a number above the key's modulus: made with another key, or altered";
  }
  return "wrong padding in the opened signature: made with another key or configuration, or "
         "altered";
}

// The payload of a block that is exactly one signature, as the updater requires.
Data SignedPayload(ByteView block, const SigningConfig& config) {
  if (block.size() != kSignatureBytes) return std::nullopt;
  return OpenSignatureBlock(block, RsaPublicKey(config));
}

// A file that shows how much of it was read.
class WatchedFile final : public FileHandle {
 public:
  WatchedFile(const std::filesystem::path& path, const char* doing, bool quiet)
      : file_(OpenFile(path)), progress_(doing, quiet) {
    std::error_code unknown;
    if (!IsStandard(path)) size_ = std::filesystem::file_size(path, unknown);
    if (unknown) size_ = 0;
  }

  std::optional<std::size_t> Read(std::span<std::uint8_t> into) override {
    const auto count = file_->Read(into);
    done_ += count.value_or(0);
    progress_.Show(size_ == 0 ? done_ : std::min(done_, size_), size_);  // the file may have grown
    return count;
  }

 private:
  std::unique_ptr<FileHandle> file_;
  std::uint64_t size_ = 0;  // 0: not known
  std::uint64_t done_ = 0;
  Progress progress_;
};

}  // namespace

std::string PackageDigest(const std::filesystem::path& package, const char* doing, bool quiet) {
  WatchedFile file(package, doing, quiet);
  const Text digest = ZTDHClass::ZTDHMethod006(ZTDHClass::MD5DataWithFileHandle(&file));
  if (!digest) throw Failure("cannot read " + tools::InputName(package) + " to its end");
  return *digest;
}

std::string ReadDigestFile(const std::filesystem::path& path) {
  return ReadWholeFile(path, kMaxDigestFileBytes);
}

std::optional<std::string> WhyRefused(std::string_view digest_file,
                                      const std::string& package_digest,
                                      const SigningConfig& config) {
  const Data block = AlphabetCodec(config.alphabet, config.value).Decode(BytesOf(digest_file));
  if (!block) return WhyNotDecoded(digest_file, config);
  const Data payload = SignedPayload(*block, config);
  if (!payload) return WhyNotOpened(*block, config);
  const std::string signed_digest = TextOf(*payload);
  if (signed_digest == package_digest) return std::nullopt;
  std::string shown;
  for (const char c : signed_digest) shown += Printable(c);
  return "the digest differs: another package was signed, or this one was altered (signed: " +
         shown + ", package: " + package_digest + ")";
}

}  // namespace zenta::zentactl

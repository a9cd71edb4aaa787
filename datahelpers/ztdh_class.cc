#include "datahelpers/ztdh_class.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/crypto.h"
#include "datahelpers/file_url.h"
#include "datahelpers/hex.h"
#include "datahelpers/signature_block.h"
#include "datahelpers/signing_config.h"

namespace zenta {
namespace {

using signing::AlphabetCodec;
using signing::BuiltInSigningConfig;
using signing::Bytes;
using signing::BytesOf;
using signing::ByteView;
using signing::Data;
using signing::DataArg;
using signing::FileHandle;
using signing::FileOpener;
using signing::FileReadError;
using signing::HexOf;
using signing::kUpperHexDigits;
using signing::Md5;
using signing::Md5Digest;
using signing::Md5Of;
using signing::OpenSignatureBlock;
using signing::PathOfFileUrl;
using signing::ReadAll;
using signing::RsaPublicKey;
using signing::SystemFiles;
using signing::Text;
using signing::TextArg;

constexpr std::size_t kChunkBytes = 4096;  // requested by one read of a file
constexpr std::size_t kDigestBytes = std::tuple_size_v<Md5Digest>;
constexpr std::size_t kLongBytes = 64;
constexpr std::size_t kMixedBytes = 32;

ByteView BytesBeforeZero(std::string_view text) { return BytesOf(text.substr(0, text.find('\0'))); }

// In the long form zeros follow the digest, so that it depends on the input alone.
std::string RenderedDigest(ByteView bytes, int digest_length) {
  const Md5Digest digest = Md5Of(bytes);
  if (digest_length == int{kDigestBytes}) return HexOf(digest);
  std::array<std::uint8_t, kLongBytes> buffer{};
  std::copy(digest.begin(), digest.end(), buffer.begin());
  return HexOf(buffer);
}

// Appends the character with the byte's value as its code point (U+0000 to U+00FF), as UTF-8.
void AppendCharacter(std::uint8_t byte, std::string& text) {
  if (byte < 0x80) {
    text.push_back(static_cast<char>(byte));
  } else {
    text += {static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))};
  }
}

// The unreserved characters of RFC 3986, 2.3, which never need escaping.
bool IsUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

}  // namespace

Data ZTDHClass::MD5DataWithFileHandle(FileHandle* handle) {
  if (handle == nullptr) return std::nullopt;
  Md5 md5;
  std::array<std::uint8_t, kChunkBytes> chunk;
  for (;;) {
    const auto count = handle->Read(chunk);
    if (!count) throw FileReadError();
    if (*count == 0) break;
    md5.Update(ByteView(chunk).first(*count));
  }
  const Md5Digest digest = md5.Finish();
  return Bytes(digest.begin(), digest.end());
}

Data ZTDHClass::ZTDHMethod004(TextArg path, FileOpener& files) {
  if (!path) return std::nullopt;
  return MD5DataWithFileHandle(files.OpenForReading(std::string(*path)).get());
}

Data ZTDHClass::ZTDHMethod005(TextArg url) {
  return url ? ZTDHMethod004(PathOfFileUrl(*url)) : std::nullopt;
}

Text ZTDHClass::ZTDHMethod003(TextArg path, FileOpener& files) {
  return ZTDHMethod006(ZTDHMethod004(path, files));
}

Text ZTDHClass::calcMD5FromFile(TextArg path) {
  if (!path) return std::nullopt;
  const auto file = SystemFiles().OpenForReading(std::string(*path));
  const Data bytes = file ? ReadAll(*file) : std::nullopt;
  if (!bytes) return std::nullopt;
  return HexOf(Md5Of(*bytes));
}

Text ZTDHClass::calcMD5(TextArg text) {
  if (!text) return std::nullopt;
  return HexOf(ByteView(Md5Of(BytesBeforeZero(*text))).first(kDigestBytes / 2));
}

Text ZTDHClass::getMD5FromDataZTDHMethod001Arg1ZTDHMethod001Arg2(const void* bytes,
                                                                 std::uint32_t count,
                                                                 int digest_length) {
  if (bytes == nullptr) return std::nullopt;
  return RenderedDigest({static_cast<const std::uint8_t*>(bytes), count}, digest_length);
}

Text ZTDHClass::ZTDHMethod001ZTDHMethod001Arg1ZTDHMethod001Arg2(const void* bytes,
                                                                std::uint32_t count,
                                                                int digest_length) {
  return getMD5FromDataZTDHMethod001Arg1ZTDHMethod001Arg2(bytes, count, digest_length);
}

Text ZTDHClass::getMD5ZTDHMethod001Arg2(TextArg text, int digest_length) {
  if (!text) return std::nullopt;
  return RenderedDigest(BytesBeforeZero(*text), digest_length);
}

Text ZTDHClass::ZTDHMethod002ZTDHMethod001Arg2(TextArg text, int digest_length) {
  return getMD5ZTDHMethod001Arg2(text, digest_length);
}

Text ZTDHClass::ZTDHMethod020ZTDHMethod020Arg1(TextArg first, TextArg second) {
  if (!first || !second || first->size() < kMixedBytes || second->size() < kMixedBytes) {
    return std::nullopt;
  }
  // The bytes at even positions of the first text, then those at odd positions of the second. Each
  // byte becomes a character, even if it was part of a longer UTF-8 sequence, so the mixed text
  // always has 32 characters.
  const ByteView even = BytesOf(*first), odd = BytesOf(*second);
  std::string mixed;
  for (std::size_t i = 0; i != kMixedBytes; i += 2) AppendCharacter(even[i], mixed);
  for (std::size_t i = 1; i < kMixedBytes; i += 2) AppendCharacter(odd[i], mixed);
  return ZTDHMethod002ZTDHMethod001Arg2(ZTDHMethod002ZTDHMethod001Arg2(mixed, kLongBytes),
                                        kLongBytes);
}

Text ZTDHClass::ZTDHMethod006(DataArg digest) {
  if (!digest || digest->size() < kDigestBytes) return std::nullopt;
  return HexOf(digest->first(kDigestBytes));
}

Text ZTDHClass::ZTDHMethod017(TextArg text) {
  if (!text) return std::nullopt;
  std::string escaped;
  escaped.reserve(text->size());
  for (const char c : *text) {
    if (IsUnreserved(c)) {
      escaped.push_back(c);
    } else {
      const auto byte = static_cast<std::uint8_t>(c);
      escaped += {'%', kUpperHexDigits[byte >> 4], kUpperHexDigits[byte & 15]};
    }
  }
  return escaped;
}

Data ZTDHClass::ZTDHMethod014(DataArg text) {
  static const AlphabetCodec codec(BuiltInSigningConfig().alphabet, BuiltInSigningConfig().value);
  return text ? codec.Decode(*text) : std::nullopt;
}

Data ZTDHClass::ZTDHMethod021(DataArg block) {
  // Made once, because a caller can open many blocks.
  static const RsaPublicKey key(BuiltInSigningConfig());
  return block ? OpenSignatureBlock(*block, key) : std::nullopt;
}

}  // namespace zenta

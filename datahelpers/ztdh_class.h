// The data helpers of the updater: MD5 digests, their hexadecimal text, percent escaping, and the
// two steps that open a signed digest file.
//
// The member names are the Objective-C selectors without their colons. nil (nullopt) is the only
// failure result. A nil argument, or a null pointer, gives nil. Hexadecimal text is lower case, two
// digits a byte, most significant first.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "datahelpers/bytes.h"
#include "datahelpers/file_handle.h"

namespace zenta::signing {

// A file could be opened but not read to its end. Thrown on purpose instead of returning nil, as
// the Mac's file handles raise: no caller can mistake a half-read file for a missing one, and a
// caller that does not catch it ends.
struct FileReadError : std::runtime_error {
  FileReadError() : std::runtime_error("a file could not be read to its end") {}
};

}  // namespace zenta::signing

namespace zenta {

class ZTDHClass {
 public:
  ZTDHClass() = delete;

  // The digest, 16 bytes, of the file from its current position to its end. Memory does not grow
  // with the file. Throws FileReadError.
  [[nodiscard]] static signing::Data MD5DataWithFileHandle(signing::FileHandle* handle);
  // The same for the file at a path or a file URL; nil if it cannot be opened. Throws
  // FileReadError.
  [[nodiscard]] static signing::Data ZTDHMethod004(
      signing::TextArg path, signing::FileOpener& files = signing::SystemFiles());
  [[nodiscard]] static signing::Data ZTDHMethod005(signing::TextArg url);
  // ZTDHMethod006 of ZTDHMethod004: the file's digest as 32 digits. Throws FileReadError.
  [[nodiscard]] static signing::Text ZTDHMethod003(
      signing::TextArg path, signing::FileOpener& files = signing::SystemFiles());
  // The same text, but reads the whole file into memory first; nil if that fails.
  [[nodiscard]] static signing::Text calcMD5FromFile(signing::TextArg path);

  // The digest of `count` bytes, or of a text's bytes before its first zero byte, as digits. If
  // `digest_length` is 16 these are the 32 digits of the digest. Any other value, on purpose, gives
  // the 128 digits of a 64-byte buffer: the digest and 48 zero bytes.
  [[nodiscard]] static signing::Text getMD5FromDataZTDHMethod001Arg1ZTDHMethod001Arg2(
      const void* bytes, std::uint32_t count, int digest_length);
  [[nodiscard]] static signing::Text ZTDHMethod001ZTDHMethod001Arg1ZTDHMethod001Arg2(
      const void* bytes, std::uint32_t count, int digest_length);
  [[nodiscard]] static signing::Text getMD5ZTDHMethod001Arg2(signing::TextArg text,
                                                             int digest_length);
  [[nodiscard]] static signing::Text ZTDHMethod002ZTDHMethod001Arg2(signing::TextArg text,
                                                                    int digest_length);
  // Only the first half of a text's digest: 16 digits, on purpose unlike calcMD5FromFile.
  [[nodiscard]] static signing::Text calcMD5(signing::TextArg text);
  // A digest of two texts, 128 digits. Takes 16 of the first 32 bytes of each text, each byte as
  // the character with its value (U+0000 to U+00FF). nil if either text has fewer than 32 bytes.
  [[nodiscard]] static signing::Text ZTDHMethod020ZTDHMethod020Arg1(signing::TextArg first,
                                                                    signing::TextArg second);

  // The first 16 bytes as 32 digits; nil if there are fewer.
  [[nodiscard]] static signing::Text ZTDHMethod006(signing::DataArg digest);
  // Percent-escapes every byte but ASCII letters, digits, '-', '.', '_' and '~', with upper-case
  // digits.
  [[nodiscard]] static signing::Text ZTDHMethod017(signing::TextArg text);

  // Decodes the text of a digest file with the built-in configuration (AlphabetCodec::Decode).
  [[nodiscard]] static signing::Data ZTDHMethod014(signing::DataArg text);
  // Opens a signature block with the built-in public key and returns the payload
  // (OpenSignatureBlock).
  [[nodiscard]] static signing::Data ZTDHMethod021(signing::DataArg block);
};

}  // namespace zenta

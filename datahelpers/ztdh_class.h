// The data helpers of the updater: MD5 digests, their hexadecimal text, percent escaping, and the
// two steps that open a signed digest file.
//
// The member names are those that callers on the Mac know, without the colons of their selectors.
// nil (nullopt) is the only failure result, and nil in, a null pointer included, gives nil out.
// Hexadecimal text is lower case, two digits a byte, high half first.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "datahelpers/bytes.h"
#include "datahelpers/file_handle.h"

namespace zenta::signing {

// A file could be opened but not read to its end. Thrown on purpose instead of a nil result, as a
// platform's file handle raises: no caller can mistake a half-read file for a missing one. Who does
// not catch it ends with it.
struct FileReadError : std::runtime_error {
  FileReadError() : std::runtime_error("a file could not be read to its end") {}
};

}  // namespace zenta::signing

namespace zenta {

class ZTDHClass {
 public:
  ZTDHClass() = delete;

  // The 16 digest bytes of everything that is left to read. Memory does not grow with the file.
  // Throws FileReadError.
  [[nodiscard]] static signing::Data MD5DataWithFileHandle(signing::FileHandle* handle);
  // The same of the file at a path or a file URL; nil if there is none that can be opened.
  [[nodiscard]] static signing::Data ZTDHMethod004(
      signing::TextArg path, signing::FileOpener& files = signing::SystemFiles());
  [[nodiscard]] static signing::Data ZTDHMethod005(signing::TextArg url);
  // ZTDHMethod006 of ZTDHMethod004: the file's digest as 32 digits. Throws FileReadError.
  [[nodiscard]] static signing::Text ZTDHMethod003(
      signing::TextArg path, signing::FileOpener& files = signing::SystemFiles());
  // The same text, but the whole file is read into memory first; nil if that fails.
  [[nodiscard]] static signing::Text calcMD5FromFile(signing::TextArg path);

  // Digests of `count` bytes, or of a text's bytes before its first zero byte. `digest_length` is
  // 16 for the 32 digits of the digest; any other value, on purpose, stands for a 64-byte buffer:
  // the digest and 48 zero bytes, 128 digits.
  [[nodiscard]] static signing::Text getMD5FromDataZTDHMethod001Arg1ZTDHMethod001Arg2(
      const void* bytes, std::uint32_t count, int digest_length);
  [[nodiscard]] static signing::Text ZTDHMethod001ZTDHMethod001Arg1ZTDHMethod001Arg2(
      const void* bytes, std::uint32_t count, int digest_length);
  [[nodiscard]] static signing::Text getMD5ZTDHMethod001Arg2(signing::TextArg text,
                                                             int digest_length);
  [[nodiscard]] static signing::Text ZTDHMethod002ZTDHMethod001Arg2(signing::TextArg text,
                                                                    int digest_length);
  // The first half of a text's digest only: 16 digits, on purpose unlike calcMD5FromFile.
  [[nodiscard]] static signing::Text calcMD5(signing::TextArg text);
  // A digest of two texts in 128 digits, made of 16 bytes of each; nil if either has fewer than 32
  // bytes, and no more are used. A byte counts as the character of its value (U+0000 to U+00FF).
  [[nodiscard]] static signing::Text ZTDHMethod020ZTDHMethod020Arg1(signing::TextArg first,
                                                                    signing::TextArg second);

  // The first 16 bytes as 32 digits; nil for fewer, none included: the input is a digest.
  [[nodiscard]] static signing::Text ZTDHMethod006(signing::DataArg digest);
  // Every byte but letters, digits, '-', '.', '_' and '~' as %XX, with upper-case digits.
  [[nodiscard]] static signing::Text ZTDHMethod017(signing::TextArg text);

  // The bytes that the text of a digest file stands for in the built-in configuration's alphabet
  // (AlphabetCodec::Decode).
  [[nodiscard]] static signing::Data ZTDHMethod014(signing::DataArg text);
  // The payload of a signature block, opened with the built-in public key (OpenSignatureBlock).
  [[nodiscard]] static signing::Data ZTDHMethod021(signing::DataArg block);
};

}  // namespace zenta

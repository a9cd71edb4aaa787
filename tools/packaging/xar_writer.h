// Writes an XAR archive of a few files, in one pass over its contents.
//
//   offset  bytes                        meaning
//   0       28                           header: "xar!", sizes of the table, checksums are SHA-1
//   28      kTableBytes, in zlib's form  table of contents: XML
//   then    20                           SHA-1 of the table as it is stored
//   then    the rest                     the files' contents, one after the other, not compressed
//
// The table comes first, but its sizes and checksums are known last. So its space has a fixed size:
// the XML is padded with blanks and stored without compression. Nothing in the archive tells when
// or by whom it was made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/common/new_file.h"

namespace zenta::packaging {

class XarWriter {
 public:
  // Writes into `file`, which is empty and outlives this. `modified` is the time of every file and
  // of the archive itself, in seconds since 1970. Every member throws Failure if it fails.
  XarWriter(tools::NewFile& file, std::time_t modified);
  ~XarWriter();

  // Begins the next file of the archive, at its root. REQUIRES: the name is plain ASCII that XML
  // takes as it is; all files together fit the table.
  void Begin(std::string name);
  // Appends to the contents of that file.
  void Write(std::string_view bytes);
  // Ends the archive; the last call.
  void Finish();

 private:
  class Sha1;
  struct File {
    std::string name;
    std::uint64_t size;
    std::uint64_t offset;  // from the start of the heap, where the table's checksum lies
    std::string checksum;  // hexadecimal
  };
  void CompleteFile();
  [[nodiscard]] std::string Table() const;

  tools::NewFile& file_;
  std::string time_;  // as the table writes it
  std::vector<File> files_;
  std::unique_ptr<Sha1> sha1_;  // of the current file; null before the first
};

}  // namespace zenta::packaging

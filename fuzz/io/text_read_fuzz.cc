// Reads any bytes as a text file, with the reader of either width and a buffer of any size.
// Invariants:
// 1. The lines, and the pairs, are those that a plain reader finds in the whole file.
// 2. Reading ends at the end of the file, without an error.
// 3. The columns of every line, joined by the separator, are the line.
// Input: the buffer's size, the separator, flags (1: empty lines, 2: 16-bit units), then the file.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "corelib/io/files/split_column.h"
#include "fuzz/io/temp_file.h"
#include "fuzz/io/text_oracle.h"
#include "fuzz/require.h"

namespace {

using zenta::fuzz::Require;

template <class T>
void CheckColumns(const tstl::oracle::String<T>& line, T separator) {
  const tstl::SplitColumn<T, 4> columns(line, separator);
  tstl::oracle::String<T> joined;
  for (const auto column : columns) {
    Require(column.find_chr(separator) == tstl::NOT_FOUND);
    joined.append(column.std_view()) += static_cast<tstl::CharOf<T>>(separator);
  }
  joined.pop_back();
  Require(joined.append(columns.rest().std_view()) == line);
}

template <class T>
void Run(std::string_view bytes, unsigned buffer_size, T separator, bool empty_lines) {
  static const tstl::TempFile file;
  file.write(bytes);
  tstl::TextRead<T> reader;
  Require(reader.open(file.path(), buffer_size) == 0);
  const auto lines = tstl::oracle::LinesOf(reader, empty_lines);
  Require(lines == tstl::oracle::FileLines<T>(bytes, empty_lines) && reader.error() == 0);
  Require(reader.open(file.path(), buffer_size) == 0);
  Require(tstl::oracle::PairsOf(reader, separator) == tstl::oracle::FilePairs<T>(bytes, separator));
  Require(reader.error() == 0);
  for (const auto& line : lines) CheckColumns<T>(line, separator);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3 || size > 4096) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 3, size - 3);
  if (data[2] & 2) {
    Run<unsigned short>(bytes, data[0], data[1], data[2] & 1);
  } else {
    Run<unsigned char>(bytes, data[0], data[1], data[2] & 1);
  }
  return 0;
}

// Reads a list and a table from a file of any bytes, in either unit width. Invariants:
// 1. The list has the pairs that a plain reader finds, the table what a map of these holds.
// 2. What either of them writes reads back as the same.
// Input: the separator, flags (1: lines are written with CR LF, 2: 16-bit units), then the file.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"
#include "fuzz/io/temp_file.h"
#include "fuzz/io/text_oracle.h"
#include "fuzz/require.h"

namespace {

using tstl::BufferRef;
using zenta::fuzz::Require;

template <class T>
using Pairs = std::vector<tstl::oracle::Pair<T>>;

template <class T>
Pairs<T> Contents(const auto& container) {
  Pairs<T> pairs;
  container.for_each([&](const BufferRef<T>& key, std::uint64_t value) {
    pairs.emplace_back(key.std_view(), static_cast<long long>(value));
  });
  return pairs;
}

// Whether pairs that were written read back as the same. Not if a key has line ends in it, which
// malformed text can decode to; nor if an 8-bit file would start like a byte-order mark.
template <class T>
bool ComeBack(const Pairs<T>& pairs) {
  for (const auto& [key, value] : pairs) {
    if (BufferRef<T>(key).find_chr('\n', '\r') != tstl::NOT_FOUND) return false;
  }
  return sizeof(T) == 2 || pairs.empty() || static_cast<T>(pairs[0].first[0]) < 0xEF;
}

template <class T>
void CheckRoundTrip(const auto& container, const char* path, T separator, bool crlf) {
  Pairs<T> kept = Contents<T>(container);
  std::erase_if(kept, [](const auto& pair) { return pair.first.empty(); });
  tstl::BufferList<T> again;
  Require(container.write_kvfile(path, separator, crlf) && again.read_kvfile(path, separator));
  Require(!ComeBack<T>(kept) || Contents<T>(again) == kept);
}

template <class T>
void Run(std::string_view bytes, T separator, bool crlf) {
  static const tstl::TempFile file;
  file.write(bytes);
  tstl::BufferList<T> list;
  tstl::BufferHash<T> table(64);
  const Pairs<T> want = tstl::oracle::FilePairs<T>(bytes, separator);
  Require(list.read_kvfile(file.path(), separator) && Contents<T>(list) == want);
  Require(table.read_kvfile(file.path(), separator));
  std::map<tstl::oracle::String<T>, long long> map;
  for (const auto& [key, value] : want) map[key] = value;
  const Pairs<T> held = Contents<T>(table);
  Require(held.size() == map.size() && std::map(held.begin(), held.end()) == map);
  if (separator >= '0' && separator <= '9') return;  // a digit cannot separate a number
  CheckRoundTrip<T>(list, file.path(), separator, crlf);
  CheckRoundTrip<T>(table, file.path(), separator, crlf);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A longer key would be stored with another length; a line end is no separator.
  if (size < 2 || size > 65535 || data[0] == '\n' || data[0] == '\r') return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
  if (data[1] & 2) {
    Run<unsigned short>(bytes, data[0], data[1] & 1);
  } else {
    Run<unsigned char>(bytes, data[0], data[1] & 1);
  }
  return 0;
}

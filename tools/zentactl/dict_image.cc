#include "tools/zentactl/dict_image.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <system_error>

#include "corelib/text/utf.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"

namespace zenta::zentactl {

namespace fs = std::filesystem;
namespace format = tstl::dict_format;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::ReadWholeFile;

namespace {

constexpr std::size_t kGreatestImage = 0xFFFFFFFE;  // bytes

// How well an image fits a unit width.
struct Evidence {
  std::uint32_t seen = 0;   // keys that were visited: the first kEnough
  std::uint32_t found = 0;  // those that a look-up finds; with the wrong width hardly any
  bool fills = false;       // all keys were visited, and their records fill the image exactly
};

template <class T>
Evidence EvidenceOf(const Dict<T>& dict) {
  constexpr std::uint32_t kEnough = 64;
  Evidence evidence;
  std::uint64_t bytes = format::records_offset(dict.bucket_cnt());
  const bool all = dict.for_each_bk([&](const tstl::BufferDictNode<T>& node) {
    evidence.found += dict.match(node.key());
    bytes += node.node_size();
    return ++evidence.seen < kEnough;
  });
  evidence.fills = all && bytes == dict.ref_internal_data().len();
  return evidence;
}

std::string HeaderFault(std::string_view bytes, std::uint64_t length) {
  if (length < format::kLeastImage) {
    return "it has " + std::to_string(length) + " bytes, less than any image";
  }
  format::Header header;
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.length.get() != length) {
    return "byte 8: the header says that it has " + std::to_string(header.length.get()) +
           " bytes, and it has " + std::to_string(length);
  }
  if (header.bucket_cnt.get() == 0) return "byte 0: the number of buckets is 0";
  if (header.key_cnt.get() == 0) return "byte 4: the number of keys is 0";
  return "";
}

}  // namespace

std::string HeaderFault(const fs::path& path) {
  const auto file = tools::OpenFile(path);
  std::uint8_t bytes[sizeof(format::Header)] = {};
  std::size_t got = 0;
  while (got < sizeof bytes) {
    errno = 0;
    const auto count = file->Read(std::span(bytes).subspan(got));
    if (!count)
      throw tools::SystemFailure("cannot read " + path.string(), errno == 0 ? EIO : errno);
    if (*count == 0) break;
    got += *count;
  }
  std::error_code error;
  const std::uintmax_t length = fs::file_size(path, error);
  return HeaderFault({reinterpret_cast<const char*>(bytes), got},
                     error ? got : std::max<std::uintmax_t>(length, got));
}

template <class T>
Dict<T> Image::Open(const fs::path& path) {
  Dict<T> dict;
  if (!IsStandard(path)) {
    if (dict.open_mapped(path.c_str()) != 0)
      throw Failure("cannot map " + name_ + ": out of memory");
    return dict;
  }
  const auto length = static_cast<std::uint32_t>(bytes_.size());
  tstl::Buffer<unsigned char> image;
  image.set_data_external(length, reinterpret_cast<unsigned char*>(bytes_.data()), length);
  if (dict.open(std::move(image)) != 0) throw Failure(name_ + " is no dictionary image");
  return dict;
}

Image::Image(const fs::path& path, unsigned bits, IfUnknown if_unknown) : name_(InputName(path)) {
  if (IsStandard(path)) bytes_ = ReadWholeFile(path, kGreatestImage);
  const std::string fault =
      IsStandard(path) ? HeaderFault(bytes_, bytes_.size()) : HeaderFault(path);
  if (!fault.empty()) throw Failure(name_ + " is no dictionary image: " + fault);
  if (bits != 16) dict_ = Open<unsigned char>(path);
  if (bits == 8) return;
  Dict<unsigned short> wide = Open<unsigned short>(path);
  if (bits == 0) {
    const Evidence narrow = EvidenceOf(*Of<unsigned char>()), other = EvidenceOf(wide);
    const bool is_unknown = narrow.found + other.found == 0 && narrow.seen + other.seen != 0;
    if (is_unknown && if_unknown == IfUnknown::kRefuse) {
      throw Failure(name_ +
                    ": its keys are found neither with 8 bits nor with 16: it is damaged, "
                    "or no image (--bits gives the width)");
    }
    const bool is_equal = narrow.found == other.found;
    if (is_equal ? narrow.fills || !other.fills : narrow.found > other.found) return;
  }
  dict_ = std::move(wide);
}

std::uint32_t Image::length() const {
  return Visit([](const auto& dict) { return dict.ref_internal_data().len(); });
}

Failure Image::Damaged() const {
  return Failure(name_ + " is damaged; 'zentactl dict check' tells where");
}

std::string_view KeyText::Of(tstl::BufferRef<unsigned short> key) {
  const std::size_t size = tstl::utf8_size(key.cstr(), key.len(), tstl::LoneSurrogate::kKeep);
  text_.resize(size);
  text_.resize(tstl::utf16_to_utf8_lossless(key.cstr(), key.len(),
                                            reinterpret_cast<unsigned char*>(text_.data()), size));
  return text_;
}

template <>
tstl::BufferRef<unsigned char> KeyText::Key(std::string_view text) {
  return tstl::BufferRef<unsigned char>(text);
}
template <>
tstl::BufferRef<unsigned short> KeyText::Key(std::string_view text) {
  units_.resize(text.size());
  const std::size_t n = tstl::utf8_to_utf16_lossless(
      reinterpret_cast<const unsigned char*>(text.data()), text.size(), units_.data());
  return {units_.data(), static_cast<unsigned>(n)};
}

}  // namespace zenta::zentactl

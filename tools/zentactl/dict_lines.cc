#include "tools/zentactl/dict_lines.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <system_error>
#include <utility>

#include "corelib/text/utf.h"
#include "tools/common/failure.h"
#include "tools/common/inputs.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"
#include "tools/host_installer/inflater.h"
#include "tools/zentactl/dict_zstd.h"

namespace zenta::zentactl {

namespace fs = std::filesystem;
using host_installer::Block;
using host_installer::ByteSource;
using host_installer::Inflater;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::SystemFailure;

// ---- Sources

class LineReader::File final : public ByteSource {
 public:
  explicit File(const fs::path& path) : file_(tools::OpenFile(path)) {}

  Block Next() override {
    errno = 0;
    const auto count = file_->Read(buffer_);
    if (!count) throw SystemFailure("cannot be read", errno == 0 ? EIO : errno);
    read_ += *count;
    return Block(buffer_).first(*count);
  }
  [[nodiscard]] std::uint64_t read() const { return read_; }

 private:
  std::unique_ptr<signing::FileHandle> file_;
  std::uint64_t read_ = 0;
  std::array<std::uint8_t, 256 << 10> buffer_;
};

namespace {

// Reads ahead, so that the first bytes can be looked at before Next() returns them.
class Peeked final : public ByteSource {
 public:
  // Reads `n` bytes or more, or all if there are fewer.
  Peeked(std::unique_ptr<ByteSource> source, std::size_t n) : source_(std::move(source)) {
    for (Block block; front_.size() < n && !(block = source_->Next()).empty();) {
      front_.insert(front_.end(), block.begin(), block.end());
    }
  }
  // Whether the bytes begin with `mark`. If so, `skip` makes Next() leave it out.
  bool Has(std::string_view mark, bool skip = false) {
    const bool has =
        front_.size() >= mark.size() && std::memcmp(front_.data(), mark.data(), mark.size()) == 0;
    if (has && skip) skipped_ = mark.size();
    return has;
  }
  [[nodiscard]] bool is_empty() const { return front_.empty(); }

  Block Next() override {
    if (skipped_ == front_.size()) return source_->Next();
    return Block(front_).subspan(std::exchange(skipped_, front_.size()));
  }

 private:
  std::unique_ptr<ByteSource> source_;
  std::vector<std::uint8_t> front_;
  std::size_t skipped_ = 0;
};

// Converts UTF-16 to UTF-8. An odd byte at the end is dropped.
class Utf16Text final : public ByteSource {
 public:
  Utf16Text(std::unique_ptr<ByteSource> source, bool high_first)
      : source_(std::move(source)), high_first_(high_first) {}

  Block Next() override {
    for (bool at_end = false; !at_end;) {
      const Block block = source_->Next();
      at_end = block.empty();
      for (const std::uint8_t byte : block) Add(byte);
      std::size_t n = units_.size();
      if (!at_end && n != 0 && tstl::is_high_surrogate(units_.back())) --n;  // its low half follows
      text_.resize(3 * n);
      text_.resize(tstl::utf16_to_utf8(units_.data(), n, text_.data(), text_.size(),
                                       tstl::LoneSurrogate::kKeep));
      units_.erase(units_.begin(), units_.begin() + static_cast<std::ptrdiff_t>(n));
      if (!text_.empty()) break;
    }
    return text_;
  }

 private:
  void Add(std::uint8_t byte) {
    if (has_half_) {
      units_.push_back(
          static_cast<unsigned short>(high_first_ ? half_ << 8 | byte : byte << 8 | half_));
    }
    half_ = byte;
    has_half_ = !has_half_;
  }

  std::unique_ptr<ByteSource> source_;
  std::vector<unsigned short> units_;
  std::vector<std::uint8_t> text_;
  bool high_first_;
  bool has_half_ = false;
  std::uint8_t half_ = 0;
};

// Formats that distributed engines write and that are not read here.
constexpr std::string_view kNotRead[] = {".avro", ".bz2",     ".deflate", ".lz4", ".lzo",
                                         ".orc",  ".parquet", ".snappy",  ".xz"};

// Decompresses the file if its first bytes say that it is compressed.
std::unique_ptr<ByteSource> Unpack(std::unique_ptr<ByteSource> file, const fs::path& path) {
  const std::string suffix = IsStandard(path) ? "" : path.extension().string();
  if (std::find(std::begin(kNotRead), std::end(kNotRead), suffix) != std::end(kNotRead)) {
    throw Failure("files of the kind " + suffix + " are not read; text is, and " +
                  (kReadsZstd ? ".gz and .zst" : ".gz") + " of it");
  }
  auto peeked = std::make_unique<Peeked>(std::move(file), kZstdMark.size());
  if (peeked->Has("\x1F\x8B")) {
    return std::make_unique<Inflater>(std::move(peeked), Inflater::Format::kGzip);
  }
  if (peeked->Has(kZstdMark)) return ReadZstd(std::move(peeked));
  if (suffix == ".gz" || suffix == ".zst") throw Failure("it is not compressed as its name says");
  return peeked;
}

// Skips a byte-order mark, and decodes UTF-16 if the mark says so.
std::unique_ptr<ByteSource> Decode(std::unique_ptr<ByteSource> source) {
  constexpr std::size_t kLongestMark = 3;
  auto peeked = std::make_unique<Peeked>(std::move(source), kLongestMark);
  if (peeked->Has("\xEF\xBB\xBF", true)) return peeked;
  const bool high_first = peeked->Has("\xFE\xFF", true);
  if (!high_first && !peeked->Has("\xFF\xFE", true)) return peeked;
  return std::make_unique<Utf16Text>(std::move(peeked), high_first);
}

}  // namespace

// ---- Lines

LineReader::LineReader(const fs::path& path, std::size_t look_ahead) : name_(InputName(path)) {
  auto file = std::make_unique<File>(path);
  file_ = file.get();
  try {
    source_ = std::make_unique<Peeked>(Decode(Unpack(std::move(file), path)), look_ahead);
  } catch (const Failure& failure) {
    throw Failure(name_ + ": " + failure.what());
  }
  Refill();
}

LineReader::~LineReader() = default;

std::uint64_t LineReader::bytes_read() const { return file_->read(); }

// Fetches the next block; false at the end of the file. The block before becomes invalid.
// REQUIRES: at_ == end_.
bool LineReader::Refill() {
  try {
    const Block block = source_->Next();
    at_ = reinterpret_cast<const char*>(block.data());
    end_ = at_ + block.size();
    line_feed_ = nullptr;
    return !block.empty();
  } catch (const Failure& failure) {
    throw Failure(name_ + ": " + failure.what());
  }
}

// The next line end in the block, or the block's end. The next line feed is remembered: otherwise
// each of many carriage returns before it would start a search of the whole block.
const char* LineReader::FindEnd() {
  const auto find = [](const char* from, const char* to, char c) {
    const void* const found = std::memchr(from, c, static_cast<std::size_t>(to - from));
    return found == nullptr ? to : static_cast<const char*>(found);
  };
  if (line_feed_ == nullptr || line_feed_ < at_) line_feed_ = find(at_, end_, '\n');
  return find(at_, line_feed_, '\r');
}

void LineReader::Keep(std::string_view piece) {
  const std::size_t capacity = kLongestLine - kept_.size();
  is_cut_ = is_cut_ || piece.size() > capacity;
  kept_.append(piece.substr(0, capacity));
}

bool LineReader::Next(std::string_view& line) {
  kept_.clear();
  is_cut_ = false;
  for (bool is_whole = false; !is_whole;) {
    if (at_ == end_ && !Refill()) {
      if (kept_.empty()) return false;
      break;
    }
    if (std::exchange(after_cr_, false) && *at_ == '\n') {
      ++at_;
      continue;
    }
    const char* const stop = FindEnd();
    const std::string_view piece(at_, static_cast<std::size_t>(stop - at_));
    is_whole = stop != end_;
    if (is_whole && kept_.empty() && piece.size() <= kLongestLine) {
      line = piece;
    } else {
      Keep(piece);
      line = kept_;
    }
    after_cr_ = is_whole && *stop == '\r';
    at_ = is_whole ? stop + 1 : end_;
  }
  ++number_;
  return true;
}

// ---- Folders

namespace {

bool IsHidden(const std::string& name) { return name.starts_with('.') || name.starts_with('_'); }

// Adds the part files of a folder.
void AddParts(const fs::path& folder, ListFiles& files) {
  std::error_code error;
  std::vector<fs::path> parts;
  std::uint64_t others = 0;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename().string();
    if (name == "_temporary") {
      files.notes.push_back(folder.string() + ": the job that writes it is not done: " + name +
                            " is there");
    }
    if (IsHidden(name)) continue;
    std::error_code unknown;
    const bool is_part = name.starts_with("part-") && !fs::is_directory(at->path(), unknown);
    is_part ? parts.push_back(at->path()) : static_cast<void>(++others);
  }
  if (error) throw Failure("cannot read " + folder.string() + ": " + error.message());
  if (parts.empty()) {
    throw Failure(folder.string() + " is a folder without part files (part-*); name its files");
  }
  if (others != 0) {
    files.notes.push_back(
        folder.string() +
        ": passed over, because their names do not begin with part-: " + std::to_string(others));
  }
  std::sort(parts.begin(), parts.end());
  files.paths.insert(files.paths.end(), parts.begin(), parts.end());
}

}  // namespace

ListFiles FindListFiles(const std::vector<fs::path>& inputs) {
  ListFiles files;
  for (const fs::path& input : inputs) {
    std::error_code none;
    !IsStandard(input) && fs::is_directory(input, none) ? AddParts(input, files)
                                                        : files.paths.push_back(input);
  }
  if (std::count_if(files.paths.begin(), files.paths.end(), IsStandard) > 1) {
    throw Failure("standard input can be read once only; - was given twice");
  }
  bool is_known = true;
  for (const fs::path& path : files.paths) {
    std::error_code error;
    const std::uintmax_t bytes = IsStandard(path) ? 0 : fs::file_size(path, error);
    is_known = is_known && !IsStandard(path) && !error;
    if (is_known) files.bytes += bytes;
    if (IsStandard(path)) continue;
    if (access(path.c_str(), R_OK) != 0) throw SystemFailure("cannot read " + path.string());
    tools::NoteInput(path);
  }
  if (!is_known) files.bytes = 0;
  return files;
}

}  // namespace zenta::zentactl

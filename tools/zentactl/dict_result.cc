#include "tools/zentactl/dict_result.h"

#include <fcntl.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include "datahelpers/replace_file.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/terminal_text.h"

namespace zenta::zentactl {

namespace fs = std::filesystem;
using tools::Failure;
using tools::IsStandard;
using tools::NewFile;
using tools::OutputName;
using tools::SystemFailure;

ResultFile::ResultFile(fs::path out) : out_(std::move(out)), descriptor_(STDOUT_FILENO) {
  if (IsStandard(out_)) return;
  std::error_code none;  // usually there is no such file yet
  const fs::file_status there = fs::status(out_, none);
  if (fs::is_directory(there)) throw Failure("cannot write " + out_.string() + ": it is a folder");
  if (fs::exists(there) && !fs::is_regular_file(there)) {
    descriptor_ = open(out_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (descriptor_ < 0) throw SystemFailure("cannot write " + out_.string());
  } else {
    file_.emplace(NewFile::Beside(out_, 0666));
    descriptor_ = file_->descriptor();
  }
}

ResultFile::~ResultFile() {
  if (!file_ && !IsStandard(out_)) close(descriptor_);
}

void ResultFile::Write(std::string_view bytes) {
  const int error = signing::WriteBytes(descriptor_, bytes);
  if (error != 0) throw SystemFailure("cannot write " + OutputName(out_), error);
}

void ResultFile::Commit() {
  if (file_) file_->ReplaceAs(out_);
}

ListWriter::ListWriter(ResultFile& file, char separator)
    : file_(file), separator_(separator), is_terminal_(isatty(file.descriptor()) == 1) {}

void ListWriter::AddKey(std::string_view key) {
  lines_ += is_terminal_ ? tools::ForTerminal(key) : key;
}

void ListWriter::EndLine() {
  constexpr std::size_t kBlock = 64 << 10;
  lines_ += '\n';
  if (lines_.size() >= kBlock) Flush();
}

void ListWriter::Key(std::string_view key) {
  AddKey(key);
  EndLine();
}

void ListWriter::Pair(std::string_view key, std::uint32_t value) {
  AddKey(key);
  lines_ += separator_;
  lines_ += std::to_string(value);
  EndLine();
}

void ListWriter::Flush() {
  file_.Write(lines_);
  lines_.clear();
}

}  // namespace zenta::zentactl

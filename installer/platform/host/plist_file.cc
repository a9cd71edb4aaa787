#include "installer/platform/host/plist_file.h"

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "datahelpers/file_handle.h"
#include "datahelpers/replace_file.h"
#include "installer/platform/host/binary_plist.h"

namespace zenta::installer {
namespace {

namespace fs = std::filesystem;
using signing::Bytes;
using signing::Data;
using signing::ReadUpTo;
using signing::ReplaceContents;
using signing::SystemFiles;

// Frees the texts that libplist returns, which come from malloc. libplist 2.6 dropped its own
// function for those of plist_to_xml.
struct TextFree {
  void operator()(char* text) const { std::free(text); }
};

[[noreturn]] void Throw(const std::string& path, int error = errno) {
  throw std::system_error(error, std::generic_category(), path);
}

}  // namespace

Plist ParsePlist(const Bytes& bytes) {
  const char* text = reinterpret_cast<const char*>(bytes.data());
  const auto length = static_cast<std::uint32_t>(bytes.size());
  if (bytes.empty() || bytes.size() > kMaxPlistBytes) return nullptr;
  const bool binary = plist_is_binary(text, length) != 0;
  if (binary && !IsBinaryPlistTree(bytes)) return nullptr;
  // Not plist_from_memory: it has another parameter since libplist 2.3, and reads other formats,
  // too.
  plist_t root = nullptr;
  binary ? plist_from_bin(text, length, &root) : plist_from_xml(text, length, &root);
  Plist parsed(root);
  const bool dictionary = root != nullptr && plist_get_node_type(root) == PLIST_DICT;
  return dictionary ? std::move(parsed) : nullptr;
}

std::optional<std::string> StringOf(plist_t node) {
  if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
  char* copy = nullptr;
  plist_get_string_val(node, &copy);
  const std::unique_ptr<char, TextFree> owner(copy);
  return copy == nullptr ? std::string() : std::string(copy);
}

std::optional<std::string> StringUnder(plist_t dictionary, const char* key) {
  return StringOf(plist_dict_get_item(dictionary, key));
}

PlistFile::PlistFile(std::string path) : path_(std::move(path)), found_(Read()) {
  if (root_ == nullptr) root_.reset(plist_new_dict());
}

PlistFile::Found PlistFile::Read() {
  assert(path_.starts_with('/'));
  // Distinguishes a missing file from one that cannot be opened: only the former may be created.
  std::error_code failed;
  if (fs::symlink_status(path_, failed).type() == fs::file_type::not_found) return Found::kNothing;
  const auto file = SystemFiles().OpenForReading(path_);
  if (file == nullptr) return Found::kUnreadable;
  // After a read error the contents are unknown. A file that is too long is treated as broken.
  const Data bytes = ReadUpTo(*file, kMaxPlistBytes + 1);
  if (!bytes) return Found::kUnreadable;
  root_ = ParsePlist(*bytes);
  return root_ == nullptr ? Found::kBroken : Found::kDictionary;
}

void PlistFile::Save() {
  if (found_ == Found::kUnreadable) Throw(path_, EACCES);
  char* text = nullptr;
  std::uint32_t length = 0;
  assert(root_ != nullptr);
  plist_to_xml(root(), &text, &length);
  const std::unique_ptr<char, TextFree> owner(text);
  if (text == nullptr) Throw(path_, ENOMEM);
  if (found_ == Found::kBroken && rename(path_.c_str(), (path_ + ".broken").c_str()) != 0) {
    Throw(path_);
  }
  found_ = Found::kDictionary;
  // Preferences are private, so only the user can read the file.
  if (const int error = ReplaceContents(path_, {text, length}, 0600)) Throw(path_, error);
}

}  // namespace zenta::installer

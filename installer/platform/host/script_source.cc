#include "installer/platform/host/script_source.h"

#include <cassert>

namespace zenta::installer {
namespace {

constexpr std::string_view kBefore = "do shell script \"";
constexpr std::string_view kAfter = "\" with administrator privileges";

// The letters after a backslash, and at the same positions the characters that they stand for.
constexpr std::string_view kEscapes = "\"\\nrt";
constexpr std::string_view kEscaped = "\"\\\n\r\t";
static_assert(kEscapes.size() == kEscaped.size());

}  // namespace

std::optional<std::string> ShellCommandOf(std::string_view source) {
  if (!source.starts_with(kBefore)) return std::nullopt;
  source.remove_prefix(kBefore.size());
  std::string command;
  while (!source.empty() && source.front() != '"') {
    char unit = source.front();
    if (unit == '\\') {
      const std::size_t escape = source.size() < 2 ? kEscapes.npos : kEscapes.find(source[1]);
      if (escape == kEscapes.npos) return std::nullopt;
      unit = kEscaped[escape];
      source.remove_prefix(1);
    }
    command += unit;
    source.remove_prefix(1);
  }
  if (source != kAfter) return std::nullopt;
  return command;
}

std::string WithProgramBelow(const std::string& root, const std::string& command) {
  assert(root.empty() || (root.starts_with('/') && !root.ends_with('/')));
  if (root.empty() || !command.starts_with("'/")) return command;
  // Inside single quotes the shell treats only the quote itself specially. So a quote in the
  // folder's name ends the quotes, follows escaped by a backslash, and starts them again.
  std::string quoted = "'";
  for (const char unit : root) {
    if (unit == '\'') {
      quoted += "'\\''";
    } else {
      quoted += unit;
    }
  }
  return quoted + command.substr(1);
}

}  // namespace zenta::installer

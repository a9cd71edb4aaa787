#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "engine/data/c_array_dump.h"
#include "tools/common/failure.h"
#include "tools/common/new_file.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using data::DumpUint32Array;
using data::DumpUint64Array;
using data::WriteCArray;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::NewFile;
using tools::ReadWholeFile;
using Text = tstl::BufferRef<unsigned char>;

constexpr std::size_t kMaxBytes = 0xFFFFFFFF;  // the longest that a view can be

struct DumpOptions {
  fs::path file;
  fs::path out = "-";
  std::string name;
  unsigned bits = 0;
  Speech speech;
};

// The keywords of C17 and C++20, each between blanks, but for those that begin with an underscore.
constexpr std::string_view kKeywords =
    " alignas alignof and and_eq asm auto bitand bitor bool break case catch char char16_t "
    "char32_t char8_t class co_await co_return co_yield compl concept const const_cast consteval "
    "constexpr constinit continue decltype default delete do double dynamic_cast else enum "
    "explicit export extern false float for friend goto if inline int long mutable namespace new "
    "noexcept not not_eq nullptr operator or or_eq private protected public register "
    "reinterpret_cast requires restrict return short signed sizeof static static_assert "
    "static_cast struct switch template this thread_local throw true try typedef typeid typename "
    "union unsigned using virtual void volatile wchar_t while xor xor_eq ";

// Whether C and C++ accept it as the name of an array: ASCII letters, digits and underscores, no
// digit at the start, no keyword.
bool IsIdentifier(const std::string& name) {
  constexpr std::string_view kUnits =
      "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
  return !name.empty() && name.find_first_not_of(kUnits) == name.npos && name[0] > '9' &&
         kKeywords.find(' ' + name + ' ') == kKeywords.npos;
}

void DumpToStandardOutput(const DumpOptions& options, Text data) {
  const auto put = [](Text piece) { std::cout << piece.std_view(); };
  if (options.bits == 32) return WriteCArray<std::uint32_t>(options.name, data, put);
  WriteCArray<std::uint64_t>(options.name, data, put);
}

// `path` is options.out, or the new file that will be renamed to it.
void DumpTo(const fs::path& path, const DumpOptions& options, Text data) {
  const auto dump = options.bits == 32 ? DumpUint32Array : DumpUint64Array;
  if (dump(path.c_str(), options.name, data) == tstl::FAILURE) {
    throw Failure("cannot write " + options.out.string() +
                  ": the disk is full, or it cannot be opened");
  }
}

// A file is replaced when the new one is whole. A device or a pipe is written to directly.
void DumpToFile(const DumpOptions& options, Text data) {
  std::error_code none;  // `out` usually does not exist yet
  const fs::file_status there = fs::status(options.out, none);
  if (fs::exists(there) && !fs::is_regular_file(there) && !fs::is_directory(there)) {
    DumpTo(options.out, options, data);
  } else {
    NewFile file = NewFile::Beside(options.out, 0666);
    DumpTo(file.path(), options, data);
    file.ReplaceAs(options.out);
  }
  const std::size_t word = options.bits / 8;
  Report()
      .Add("dumped", InputName(options.file))
      .Add("array", options.name)
      .Add("words", (data.len() + word - 1) / word, "of " + std::to_string(options.bits) + " bits")
      .Add("bytes", data.len())
      .Add("written", options.out.string())
      .Print(options.speech, std::cout);
}

void Dump(const DumpOptions& options) {
  if (!IsIdentifier(options.name)) {
    throw Failure("'" + options.name + "' cannot be the name of an array in C and C++");
  }
  const std::string data = ReadWholeFile(options.file, kMaxBytes);
  return IsStandard(options.out) ? DumpToStandardOutput(options, data) : DumpToFile(options, data);
}

}  // namespace

void DefineDump(CLI::App& command) {
  const auto options = std::make_shared<DumpOptions>();
  command.add_option("FILE", options->file, "The data, up to 4 GiB less one byte")
      ->type_name("")
      ->required();
  command.add_option("--name", options->name, "The array's name, a C identifier")
      ->type_name("NAME")
      ->required();
  command.add_option("--bits", options->bits, "Bits of a word")
      ->type_name("32|64")
      ->required()
      ->check(CLI::IsMember({32u, 64u}).description(""));
  command.add_option("--out", options->out, "The source file; standard output if not given")
      ->type_name("FILE");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Writes a file's bytes as a C array of words in this machine's byte order, the last one\n"
      "completed with zero bytes. The program that includes it defines the types Uint32 and\n"
      "Uint64. Lines end with CR LF. An empty file gives an array of 0 words, which compilers\n"
      "take only as an extension. With --out, the file is replaced in one step when all is\n"
      "written.\n"
      "\n"
      "Examples:\n"
      "  zentactl dump table.bin --name kTable --bits 32 --out table.inc\n"
      "  zentactl dump table.bin --name kTable --bits 64 | head -3");
  command.callback([options] { Dump(*options); });
}

}  // namespace zenta::zentactl

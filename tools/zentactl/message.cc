#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "corelib/containers/chunk.h"
#include "corelib/io/json/json_read.h"
#include "corelib/io/json/json_text.h"
#include "corelib/io/json/json_write.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"
#include "tools/common/terminal_text.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/message_check.h"
#include "tools/zentactl/message_diff.h"
#include "tools/zentactl/message_raw.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using cloud::CloudRequest;
using cloud::CloudResponse;
using records::Bytes;
using tools::Failure;
using tools::ForTerminal;
using tools::InputName;
using tools::IsStandard;
using tools::ReadWholeFile;
using tools::Refusal;
using tools::WriteOutput;

constexpr std::size_t kMaxMessage = 16 << 20;     // bytes; real ones have a few thousand
constexpr std::uint64_t kMaxMemory = 512u << 20;  // bytes, for the records read from one
constexpr std::size_t kMaxNotes = 10;

struct MessageOptions {
  fs::path file;
  fs::path other;  // diff only
  fs::path out = "-";
  std::string type;  // "request" or "response"; empty: not known
  std::string form;  // "json" or "binary"; empty: detected
  bool raw = false;
  bool compact = false;
  bool partial = false;
  Speech speech;
};

// Calls `action` with an empty record of the type that the options name.
template <class Action>
auto WithRecord(const MessageOptions& options, Action action) {
  return options.type == "request" ? action(CloudRequest()) : action(CloudResponse());
}

// ---- Reading

struct Message {
  std::string name;
  std::string text;
  bool is_json = false;

  [[nodiscard]] Bytes bytes() const { return text; }
};

bool LooksLikeJson(Bytes text) {
  const std::uint32_t start = tstl::json_value_start(text);
  if (start == text.len() || text.cstr()[start] != '{') return false;
  if (start == 0) return true;  // in the binary form it would start a group, which no record has
  tstl::Chunk arena;
  arena.set_limit(kMaxMemory);
  return static_cast<bool>(tstl::json_parse(text, arena));
}

Message Load(const fs::path& path, const MessageOptions& options) {
  Message message{InputName(path), ReadWholeFile(path, kMaxMessage)};
  message.is_json = options.form.empty() ? LooksLikeJson(message.bytes()) : options.form == "json";
  return message;
}

std::string PlaceText(Bytes text, std::uint32_t position) {
  const tstl::TextPlace place = tstl::text_place(text, position);
  return "line " + std::to_string(place.line) + ", column " + std::to_string(place.column);
}

std::string WhereText(const Message& message, std::uint32_t offset) {
  return message.is_json ? PlaceText(message.bytes(), offset) : "byte " + std::to_string(offset);
}

// Reads the message into `record`, and adds to `findings` what is ignored of JSON. Returns the
// fault and where it is; empty if there is none.
template <class R>
std::string Read(const Message& message, R& record, tstl::Chunk& arena, Findings& findings) {
  arena.set_limit(kMaxMemory);
  if (message.is_json) {
    IgnoredFindings listener(message.bytes(), findings);
    const auto read = records::replace_json(record, message.bytes(), arena, &listener);
    return read ? "" : WhereText(message, read.position) + ": " + read.text();
  }
  const auto read = records::replace_binary(record, message.bytes(), arena);
  return read ? "" : WhereText(message, read.position) + ": " + read.text();
}

template <class R>
std::string JsonOf(const R& record) {
  tstl::JsonWrite out;
  if (!records::write_message(record, out)) throw Failure("out of memory");
  return std::string(out.output().std_view());
}

std::string Pretty(Bytes json) {
  tstl::Buffer<unsigned char> out;
  if (!tstl::json_pretty(json, out)) throw Failure("out of memory");
  return std::string(out.std_view());
}

// ---- decode

void DecodeRaw(const MessageOptions& options) {
  const Message message = Load(options.file, options);
  const RecordInfo* const record =
      options.type.empty()
          ? nullptr
          : WithRecord(options, [](auto fresh) { return &kRecordInfo<decltype(fresh)>; });
  RawListing listing;
  if (options.speech.json) {
    listing = ListFieldsAsJson(message.bytes(), record);
    listing.text = (options.compact ? listing.text : Pretty(listing.text)) + '\n';
  } else {
    listing = ListFields(message.bytes(), record);
  }
  WriteOutput(options.out, listing.text);
  if (!listing.fault.empty()) throw Refusal(message.name + ": " + listing.fault);
}

// Notes how many findings of a binary message its JSON does not show.
void NoteUnseen(const Message& message, const RecordInfo& record, const MessageOptions& options) {
  const std::uint64_t unseen = CheckBinary(message.bytes(), record).count();
  if (unseen == 0 || options.speech.quiet) return;
  std::cerr << "zentactl message decode: note: " << unseen << " of " << ForTerminal(message.name)
            << " cannot be seen in the JSON; 'zentactl message check' "
            << "tells what\n";
}

void Decode(const MessageOptions& options) {
  if (options.raw) return DecodeRaw(options);
  if (options.type.empty()) {
    throw Failure("--type is missing: request or response (--raw decodes without it)");
  }
  const Message message = Load(options.file, options);
  if (message.is_json) {
    throw Failure(message.name + " looks like JSON already; 'zentactl message encode' reads that");
  }
  WithRecord(options, [&](auto record) {
    tstl::Chunk arena;
    Findings none;
    const std::string fault = Read(message, record, arena, none);
    if (!fault.empty() && !options.partial) {
      throw Failure(message.name + " is broken: " + fault +
                    "; --partial writes what is whole, --raw all fields");
    }
    const std::string json = JsonOf(record);
    WriteOutput(options.out, (options.compact ? json : Pretty(json)) + '\n');
    if (!fault.empty()) throw Refusal(message.name + " is broken: " + fault);
    NoteUnseen(message, kRecordInfo<decltype(record)>, options);
  });
}

// ---- encode

void NoteIgnored(const Message& message, const Findings& findings) {
  const std::size_t named = std::min(findings.first().size(), kMaxNotes);
  for (std::size_t i = 0; i < named; ++i) {
    const Finding& finding = findings.first()[i];
    std::cerr << "zentactl message encode: note: " << ForTerminal(message.name) << ": "
              << WhereText(message, finding.offset) << ": \"" << ForTerminal(finding.member)
              << "\": " << finding.what << '\n';
  }
  if (findings.count() > named) {
    std::cerr << "zentactl message encode: note: and " << findings.count() - named << " more\n";
  }
}

void Encode(const MessageOptions& options) {
  if (IsStandard(options.out) && isatty(STDOUT_FILENO) == 1) {
    throw Failure("the result is binary, and standard output is a terminal; give --out FILE");
  }
  Message message = Load(options.file, options);
  message.is_json = true;
  WithRecord(options, [&](auto record) {
    tstl::Chunk arena;
    Findings findings;
    const std::string fault = Read(message, record, arena, findings);
    if (!fault.empty()) throw Failure(message.name + ": " + fault);
    tstl::ProtoWrite out;
    if (!records::write_message(record, out)) throw Failure("the message is too long");
    WriteOutput(options.out, out.output().std_view());
    if (!options.speech.quiet) NoteIgnored(message, findings);
  });
}

// ---- check

void PrintFindings(const Message& message, const Findings& findings) {
  for (const Finding& finding : findings.first()) {
    std::cout << ForTerminal(message.name) << ": " << WhereText(message, finding.offset) << ": ";
    if (!finding.member.empty()) std::cout << ForTerminal(finding.member) << ": ";
    std::cout << finding.what << '\n';
  }
  if (findings.count() > Findings::kMost) {
    std::cout << "and " << findings.count() - Findings::kMost << " more\n";
  }
  if (findings.count() == 0) {
    std::cout << "good  " << ForTerminal(message.name) << "  ("
              << (message.is_json ? "JSON, " : "binary, ") << message.text.size() << " bytes)\n";
  }
}

void PutFinding(const Message& message, const Finding& finding, tstl::JsonWrite& out) {
  out.begin_object();
  out.plain_key("offset"), out.num(finding.offset);
  if (message.is_json) {
    const tstl::TextPlace place = tstl::text_place(message.bytes(), finding.offset);
    out.plain_key("line"), out.num(place.line);
    out.plain_key("column"), out.num(place.column);
  }
  out.plain_key("member"), out.str(Bytes(finding.member));
  out.plain_key("what"), out.str(Bytes(finding.what));
  out.end_object();
}

void PrintFindingsAsJson(const Message& message, const Findings& findings) {
  tstl::JsonWrite out;
  out.begin_object();
  out.plain_key("file"), out.str(Bytes(message.name));
  out.plain_key("form"), out.str(Bytes(std::string_view(message.is_json ? "json" : "binary")));
  out.plain_key("good"), out.boolean(findings.count() == 0);
  out.plain_key("count"), out.num(findings.count());
  out.plain_key("findings"), out.begin_array();
  for (const Finding& finding : findings.first()) PutFinding(message, finding, out);
  out.end_array(), out.end_object();
  if (!out.good()) throw Failure("out of memory");
  std::cout << out.output().std_view() << '\n';
}

template <class R>
Findings CheckJson(const Message& message, R record) {
  tstl::Chunk arena;
  arena.set_limit(kMaxMemory);
  Findings findings;
  IgnoredFindings listener(message.bytes(), findings);
  const auto read = records::replace_json(record, message.bytes(), arena, &listener);
  if (!read) findings.Add(read.position, "", read.text());
  return findings;
}

void Check(const MessageOptions& options) {
  const Message message = Load(options.file, options);
  const Findings findings = WithRecord(options, [&](auto record) {
    return message.is_json ? CheckJson(message, record)
                           : CheckBinary(message.bytes(), kRecordInfo<decltype(record)>);
  });
  if (!options.speech.quiet) {
    options.speech.json ? PrintFindingsAsJson(message, findings) : PrintFindings(message, findings);
  }
  if (findings.count() != 0) throw Refusal("");
}

// ---- diff

std::string LoadAsJson(const fs::path& path, const MessageOptions& options) {
  const Message message = Load(path, options);
  return WithRecord(options, [&](auto record) {
    tstl::Chunk arena;
    Findings findings;
    const std::string fault = Read(message, record, arena, findings);
    if (!fault.empty()) throw Failure(message.name + " is broken: " + fault);
    if (!message.is_json) findings = CheckBinary(message.bytes(), kRecordInfo<decltype(record)>);
    if (findings.count() != 0 && !options.speech.quiet) {
      std::cerr << "zentactl message diff: note: " << ForTerminal(message.name)
                << " has what is not compared; 'zentactl message check' tells what\n";
    }
    return JsonOf(record);
  });
}

void PrintDifferences(const Differences& differences) {
  for (const Difference& row : differences.first) {
    std::cout << (row.second.empty()  ? "- "
                  : row.first.empty() ? "+ "
                                      : "  ")
              << ForTerminal(row.member) << ": ";
    if (!row.first.empty()) std::cout << ForTerminal(row.first);
    if (!row.first.empty() && !row.second.empty()) std::cout << " -> ";
    std::cout << ForTerminal(row.second) << '\n';
  }
  if (differences.count > Differences::kMost) {
    std::cout << "and " << differences.count - Differences::kMost << " more\n";
  }
}

void PrintDifferencesAsJson(const Differences& differences) {
  tstl::JsonWrite out;
  out.begin_object();
  out.plain_key("equal"), out.boolean(differences.count == 0);
  out.plain_key("count"), out.num(differences.count);
  out.plain_key("differences"), out.begin_array();
  for (const Difference& row : differences.first) {
    out.begin_object();
    out.plain_key("member"), out.str(Bytes(row.member));
    if (!row.first.empty()) out.plain_key("first"), out.raw(Bytes(row.first));
    if (!row.second.empty()) out.plain_key("second"), out.raw(Bytes(row.second));
    out.end_object();
  }
  out.end_array(), out.end_object();
  if (!out.good()) throw Failure("out of memory");
  std::cout << out.output().std_view() << '\n';
}

void Diff(const MessageOptions& options) {
  if (IsStandard(options.file) && IsStandard(options.other)) {
    throw Failure("both messages cannot be read from standard input; give one of them by its name");
  }
  const std::string first = LoadAsJson(options.file, options);
  const std::string second = LoadAsJson(options.other, options);
  const Differences differences = CompareJson(Bytes(first), Bytes(second));
  if (!options.speech.quiet) {
    options.speech.json ? PrintDifferencesAsJson(differences) : PrintDifferences(differences);
  }
  if (differences.count != 0) throw Refusal("");
}

// ---- Options

void AddFile(CLI::App& command, MessageOptions& options, const char* what) {
  command.add_option("FILE", options.file, what)->type_name("")->required();
}

void AddOut(CLI::App& command, MessageOptions& options) {
  command.add_option("--out", options.out, "The result; standard output if not given")
      ->type_name("FILE");
}

CLI::Option* AddType(CLI::App& command, MessageOptions& options) {
  return command.add_option("--type", options.type, "What message it is")
      ->type_name("request|response")
      ->check(CLI::IsMember({"request", "response"}).description(""));
}

void AddForm(CLI::App& command, MessageOptions& options) {
  command.add_option("--form", options.form, "Its form; detected from its bytes if not given")
      ->type_name("json|binary")
      ->check(CLI::IsMember({"json", "binary"}).description(""));
}

using Options = std::shared_ptr<MessageOptions>;

void DefineDecode(CLI::App& command, const Options& options) {
  AddFile(command, *options, "The message, binary; - is standard input");
  AddType(command, *options);
  command.add_flag("--raw", options->raw,
                   "List every field of any bytes with offset, number and\n"
                   "type; --type adds the keys of known fields");
  command.add_flag("--compact", options->compact, "JSON without blanks and line ends");
  command.add_flag("--partial", options->partial, "Write what is whole of a broken message");
  AddOut(command, *options);
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Writes a binary message as JSON, laid out for people. What the JSON does not show, an\n"
      "unknown field say, is counted on standard error. --raw --json writes the fields as JSON.\n"
      "Exit status 1: the message is broken, and what could be read of it was written (--raw,\n"
      "--partial). A message has up to 16 MiB.\n"
      "\n"
      "Examples:\n"
      "  zentactl message decode nihao.request.bin --type request\n"
      "  zentactl message decode --raw unknown.bin");
  command.callback([options] { Decode(*options); });
}

void DefineEncode(CLI::App& command, const Options& options) {
  AddFile(command, *options, "The message as JSON; - is standard input");
  AddType(command, *options)->required();
  AddOut(command, *options);
  AddQuietOption(command, options->speech);
  command.footer(
      "Converts a message from JSON to the binary form. What a reader ignores is reported on\n"
      "standard error, with line and column.\n"
      "\n"
      "Example:\n"
      "  zentactl message decode a.bin --type response | sed s/old/new/ |\n"
      "    zentactl message encode - --type response --out b.bin");
  command.callback([options] { Encode(*options); });
}

void DefineCheck(CLI::App& command, const Options& options) {
  AddFile(command, *options, "The message; - is standard input");
  AddType(command, *options)->required();
  AddForm(command, *options);
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Reports what is broken, unknown, of the wrong type or otherwise ignored or changed by a\n"
      "reader, and where: at which byte, or in JSON at which line and column. Exit status 1 if\n"
      "there is anything.\n"
      "\n"
      "Example:\n"
      "  zentactl message check answer.json --type response");
  command.callback([options] { Check(*options); });
}

void DefineDiff(CLI::App& command, const Options& options) {
  command.add_option("FIRST", options->file, "A message")->type_name("")->required();
  command.add_option("SECOND", options->other, "Another; one of them may be - for standard input")
      ->type_name("")
      ->required();
  AddType(command, *options)->required();
  AddForm(command, *options);
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Reports which members differ: - is only in the first, + only in the second. The two may\n"
      "have different forms. Zeros and empty texts are the same as members that are not there.\n"
      "Exit status 1 if they differ.\n"
      "\n"
      "Example:\n"
      "  zentactl message diff before.bin after.json --type request");
  command.callback([options] { Diff(*options); });
}

}  // namespace

void DefineMessage(CLI::App& command) {
  const struct {
    const char* name;
    const char* summary;
    void (*define)(CLI::App&, const Options&);
  } rows[] = {
      {"decode", "convert a binary message to JSON", DefineDecode},
      {"encode", "convert a message from JSON to the binary form", DefineEncode},
      {"check", "report what a reader ignores or changes, and where", DefineCheck},
      {"diff", "report where two messages differ", DefineDiff},
  };
  for (const auto& row : rows) {
    row.define(*command.add_subcommand(row.name, row.summary), std::make_shared<MessageOptions>());
  }
  command.require_subcommand(1);
  command.footer(
      "The messages that the engine exchanges with the cloud service, in their two forms.\n"
      "'zentactl message COMMAND --help' explains a command.");
}

}  // namespace zenta::zentactl

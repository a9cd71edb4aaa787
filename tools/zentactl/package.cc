#include <archive_entry.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "corelib/io/json/json_write.h"
#include "datahelpers/hex.h"
#include "datahelpers/openssl_owned.h"
#include "datahelpers/replace_file.h"
#include "tools/common/failure.h"
#include "tools/common/interruption.h"
#include "tools/common/output_file.h"
#include "tools/common/terminal_text.h"
#include "tools/host_installer/package_file.h"
#include "tools/host_installer/package_reader.h"
#include "tools/host_installer/payload_path.h"
#include "tools/host_installer/unpacker.h"
#include "tools/host_installer/xar_archive.h"
#include "tools/host_installer/xml_document.h"
#include "tools/signing/signer.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/config_option.h"
#include "tools/zentactl/digest_file.h"
#include "tools/zentactl/progress.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using host_installer::AttributeOf;
using host_installer::Block;
using host_installer::CheckArchive;
using host_installer::Component;
using host_installer::ForEachPayload;
using host_installer::JoinPath;
using host_installer::kMaxEntries;
using host_installer::kMaxUnpackedBytes;
using host_installer::kMaxXmlBytes;
using host_installer::OpenContents;
using host_installer::PackageDescription;
using host_installer::PackageFile;
using host_installer::ParseXml;
using host_installer::ReadDescription;
using host_installer::ReadXarTable;
using host_installer::Unpacker;
using host_installer::XarFile;
using signing::Fingerprint;
using signing::SigningConfig;
using tools::Failure;
using tools::ForTerminal;
using tools::IsStandard;
using tools::SignalsHeld;
using tools::SystemFailure;
using Bytes = tstl::BufferRef<unsigned char>;

struct PackageOptions {
  fs::path package;
  fs::path out;          // extract
  fs::path digest_file;  // info; empty: inputPkg.txt beside the package, if there is one
  std::string config;
  bool scripts = false;  // extract: the scripts instead of the payloads
  Speech speech;
};

// Refuses standard input, because a package is read at several offsets and more than once.
std::unique_ptr<PackageFile> Open(const fs::path& path) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // names in payloads are UTF-8
  if (IsStandard(path)) {
    throw Failure("a package cannot be read from standard input; save it and give its name");
  }
  std::error_code error;
  const fs::file_status there = fs::status(path, error);
  if (error || access(path.c_str(), R_OK) != 0) throw SystemFailure("cannot read " + path.string());
  if (!fs::is_regular_file(there)) {
    throw Failure("cannot read " + path.string() + ": it is no regular file");
  }
  return std::make_unique<PackageFile>(path.string(), path.string());
}

// Runs `action`, and puts the package's name before the message of a Failure.
template <class Action>
auto InNameOf(const fs::path& path, Action action) {
  try {
    return action();
  } catch (const Failure& failure) {
    throw Failure(path.string() + ": " + failure.what());
  }
}

// The file of this name in the component's folder; null if there is none.
const XarFile* FileOf(const std::vector<XarFile>& files, const Component& component,
                      const std::string& name) {
  const auto found = std::find_if(files.begin(), files.end(), [&](const XarFile& file) {
    return file.folder == component.folder && file.name == name;
  });
  return found == files.end() ? nullptr : &*found;
}

// The package with the payloads of its components, or with their archives of scripts in place of
// the payloads: both have one format. Components without scripts are then left out.
PackageDescription Archives(const PackageDescription& package, const std::vector<XarFile>& files,
                            bool scripts) {
  if (!scripts) return package;
  PackageDescription found;
  for (Component component : package.components) {
    const XarFile* const file = FileOf(files, component, "Scripts");
    if (file == nullptr) continue;
    component.payload = *file;
    found.components.push_back(component);
  }
  return found;
}

// ---- list

struct Entry {
  std::string path;
  std::uint64_t size = 0;
  mode_t mode = 0;
  std::string checksum;  // of a file: SHA-256
  std::string link;
};

// Shows how many bytes were read.
struct Watch {
  explicit Watch(bool quiet) : progress("listing", quiet) {}
  void Count(std::uint64_t bytes) {
    done += bytes;
    progress.Show(done, 0);
  }
  Progress progress;
  std::uint64_t done = 0;
};

// Reads the entry's contents to their end. Returns their SHA-256 in hexadecimal.
std::string Checksum(archive* cpio, const std::string& path, Watch& watch) {
  const signing::Owned<EVP_MD_CTX, EVP_MD_CTX_free> digest(EVP_MD_CTX_new());
  if (digest == nullptr || EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) != 1) {
    throw Failure("out of memory");
  }
  const void* block = nullptr;
  std::size_t size = 0;
  la_int64_t offset = 0;
  int status;
  while ((status = archive_read_data_block(cpio, &block, &size, &offset)) == ARCHIVE_OK) {
    EVP_DigestUpdate(digest.get(), block, size);
    watch.Count(size);
  }
  if (status != ARCHIVE_EOF) CheckArchive(cpio, status, "the payload is damaged in " + path);
  std::array<std::uint8_t, 32> sum;
  EVP_DigestFinal_ex(digest.get(), sum.data(), nullptr);
  return signing::HexOf(Block(sum));
}

std::vector<Entry> ReadEntries(archive* cpio, Watch& watch) {
  std::vector<Entry> entries;
  archive_entry* entry = nullptr;
  int status;
  while ((status = archive_read_next_header(cpio, &entry)) == ARCHIVE_OK) {
    if (entries.size() == kMaxEntries) throw Failure("the package has too many entries");
    const char* const path = archive_entry_pathname(entry);
    const char* const link = archive_entry_symlink(entry);
    Entry read{
        path == nullptr ? "" : path, 0, archive_entry_mode(entry), {}, link == nullptr ? "" : link};
    if (archive_entry_filetype(entry) == AE_IFREG) {
      read.size = static_cast<std::uint64_t>(archive_entry_size(entry));
      read.checksum = Checksum(cpio, read.path, watch);
    }
    entries.push_back(std::move(read));
  }
  if (status != ARCHIVE_EOF) CheckArchive(cpio, status, "the payload is damaged");
  return entries;
}

// As ls writes it: "-rwxr-xr-x".
std::string ModeText(mode_t mode) {
  std::string text = S_ISDIR(mode) ? "d" : S_ISLNK(mode) ? "l" : S_ISREG(mode) ? "-" : "?";
  for (unsigned bit = 0; bit < 9; ++bit) {
    text += mode & (0400u >> bit) ? "rwx"[bit % 3] : '-';
  }
  return text;
}

struct Listing {
  std::string title;  // "payload", "scripts of NAME.pkg"
  std::vector<Entry> entries;
};

std::vector<Listing> ReadListings(const PackageFile& package, bool quiet) {
  Watch watch(quiet);
  const PackageDescription description = ReadDescription(package);
  const std::vector<XarFile> files = ReadXarTable(package);
  std::vector<Listing> listings;
  for (const bool scripts : {false, true}) {
    ForEachPayload(package, Archives(description, files, scripts), kMaxUnpackedBytes,
                   [&](const Component& component, archive* cpio) {
                     std::string title = scripts ? "scripts" : "payload";
                     if (!component.folder.empty()) title += " of " + component.folder;
                     listings.push_back({std::move(title), ReadEntries(cpio, watch)});
                   });
  }
  return listings;
}

void PrintLine(const std::string& mode, std::uint64_t size, const std::string& checksum,
               const std::string& name) {
  char number[24];
  std::snprintf(number, sizeof number, "%12llu", static_cast<unsigned long long>(size));
  std::cout << "  " << mode << number << "  " << checksum << "  " << ForTerminal(name) << '\n';
}

void PrintList(const std::vector<XarFile>& files, const std::vector<Listing>& listings) {
  std::cout << "archive\n";
  for (const XarFile& file : files) {
    const std::string style = file.checksum_style.empty() ? "" : file.checksum_style + ' ';
    PrintLine("          ", file.length, style + file.checksum, JoinPath(file.folder, file.name));
  }
  for (const Listing& listing : listings) {
    std::cout << ForTerminal(listing.title) << '\n';
    for (const Entry& entry : listing.entries) {
      PrintLine(ModeText(entry.mode), entry.size,
                entry.checksum.empty() ? std::string(64, ' ') : entry.checksum,
                entry.path + (entry.link.empty() ? "" : " -> " + entry.link));
    }
  }
}

void PutEntry(const Entry& entry, tstl::JsonWrite& out) {
  char mode[8];
  std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(entry.mode & 07777));
  out.begin_object();
  out.plain_key("path"), out.str(Bytes(entry.path));
  out.plain_key("type");
  out.str(Bytes(std::string(S_ISDIR(entry.mode)   ? "folder"
                            : S_ISLNK(entry.mode) ? "link"
                            : S_ISREG(entry.mode) ? "file"
                                                  : "other")));
  out.plain_key("mode"), out.str(Bytes(std::string(mode)));
  out.plain_key("size"), out.num(entry.size);
  if (!entry.checksum.empty()) out.plain_key("sha256"), out.str(Bytes(entry.checksum));
  if (!entry.link.empty()) out.plain_key("link"), out.str(Bytes(entry.link));
  out.end_object();
}

void PrintListAsJson(const std::vector<XarFile>& files, const std::vector<Listing>& listings) {
  tstl::JsonWrite out;
  out.begin_object();
  out.plain_key("archive"), out.begin_array();
  for (const XarFile& file : files) {
    out.begin_object();
    out.plain_key("path"), out.str(Bytes(JoinPath(file.folder, file.name)));
    out.plain_key("size"), out.num(file.length);
    if (!file.checksum.empty()) {
      out.key(Bytes(file.checksum_style)), out.str(Bytes(file.checksum));
    }
    out.end_object();
  }
  out.end_array();
  out.plain_key("contents"), out.begin_array();
  for (const Listing& listing : listings) {
    out.begin_object();
    out.plain_key("of"), out.str(Bytes(listing.title));
    out.plain_key("entries"), out.begin_array();
    for (const Entry& entry : listing.entries) PutEntry(entry, out);
    out.end_array(), out.end_object();
  }
  out.end_array(), out.end_object();
  if (!out.good()) throw Failure("out of memory");
  std::cout << out.output().std_view() << '\n';
}

void List(const PackageOptions& options) {
  const auto package = Open(options.package);
  InNameOf(options.package, [&] {
    const std::vector<Listing> listings = ReadListings(*package, options.speech.quiet);
    if (options.speech.quiet) return;
    const std::vector<XarFile> files = ReadXarTable(*package);
    options.speech.json ? PrintListAsJson(files, listings) : PrintList(files, listings);
  });
}

// ---- info

std::string ReadPackageInfo(const PackageFile& package, const XarFile& file) {
  const auto source = OpenContents(package, file);
  std::string xml;
  for (Block block; !(block = source->Next()).empty();) {
    if (block.size() > kMaxXmlBytes - xml.size()) throw Failure(file.name + " is too long");
    xml.append(block.begin(), block.end());
  }
  return xml;
}

// Adds whether the package has a digest file, and whether it was signed with the configuration's
// key.
void ReportSignature(const PackageOptions& options, Report& report) {
  fs::path digest_file = options.digest_file;
  if (digest_file.empty()) digest_file = options.package.parent_path() / "inputPkg.txt";
  std::error_code none;
  if (options.digest_file.empty() && !fs::exists(digest_file, none)) {
    report.Add("signed", "no", "there is no inputPkg.txt beside it");
    return;
  }
  const SigningConfig config = LoadConfig(options.config);
  const std::string digest = PackageDigest(options.package, "digesting", options.speech.quiet);
  const auto refusal = WhyRefused(ReadDigestFile(digest_file), digest, config);
  report.Add("digest file", digest_file.string());
  report.Add("signed", refusal ? "not by this key" : "yes", refusal.value_or(""));
  report.Add(refusal ? "expected key" : "key", Fingerprint(config.modulus), KeyRemark(config));
}

void Info(const PackageOptions& options) {
  const auto package = Open(options.package);
  Report report;
  InNameOf(options.package, [&] {
    const PackageDescription description = ReadDescription(*package);
    const std::vector<XarFile> files = ReadXarTable(*package);
    report.Add("package", options.package.string());
    if (!description.title.empty()) report.Add("title", description.title);
    report.Add("bytes", package->size());
    for (const Component& component : description.components) {
      const std::string which = component.folder.empty() ? "" : " of " + component.folder;
      const auto document =
          ParseXml(ReadPackageInfo(*package, *FileOf(files, component, "PackageInfo")), "pkg-info",
                   "PackageInfo");
      const xmlNode* const root = xmlDocGetRootElement(document.get());
      report.Add("identifier" + which, AttributeOf(root, "identifier"));
      report.Add("version" + which, AttributeOf(root, "version"));
      report.Add("location" + which, "/" + component.install_location);
      report.Add("scripts" + which, component.has_scripts ? "yes" : "none");
    }
  });
  ReportSignature(options, report);
  report.Print(options.speech, std::cout);
}

// ---- extract

// A new folder with an unused, hidden name beside `target`. Keep() renames it to `target`; without
// that the destructor removes it.
class FreshFolder {
 public:
  explicit FreshFolder(const fs::path& target)
      : target_(fs::absolute(target)), path_(signing::FreshNameBeside(target_)) {
    if (mkdir(path_.c_str(), 0777) != 0) throw SystemFailure("cannot make " + target.string());
  }
  FreshFolder(const FreshFolder&) = delete;
  FreshFolder& operator=(const FreshFolder&) = delete;
  ~FreshFolder() {
    std::error_code none;  // nothing more can be done
    if (!path_.empty()) fs::remove_all(path_, none);
  }

  [[nodiscard]] const std::string& path() const { return path_.native(); }
  // Fails if there is a `target` by now that is not an empty folder.
  void Keep() {
    if (rename(path_.c_str(), target_.c_str()) != 0) {
      throw SystemFailure("cannot make " + target_.string());
    }
    path_.clear();
  }

 private:
  fs::path target_, path_;
};

void Extract(const PackageOptions& options) {
  const fs::path target = options.out.has_filename() ? options.out : options.out.parent_path();
  std::error_code none;
  if (fs::exists(fs::symlink_status(target, none))) {
    throw Failure(target.string() + " is there already; give --out a new name");
  }
  const auto package = Open(options.package);
  const PackageDescription description =
      InNameOf(options.package, [&] { return ReadDescription(*package); });
  const PackageDescription archives =
      Archives(description, ReadXarTable(*package), options.scripts);
  if (archives.components.empty()) throw Failure(options.package.string() + " has no scripts");

  const SignalsHeld held;  // Ctrl-C waits until the folder is whole, or gone again
  FreshFolder folder(target);
  const std::uint64_t available = fs::space(folder.path()).available;
  InNameOf(options.package, [&] {
    Unpacker unpacker(folder.path());
    ForEachPayload(*package, archives, std::min(available, kMaxUnpackedBytes),
                   [&](const Component& component, archive* cpio) {
                     unpacker.Unpack(component.folder, cpio);
                   });
  });
  folder.Keep();
  Report()
      .Add("extracted", options.package.string())
      .Add(options.scripts ? "scripts" : "payload", target.string())
      .Print(options.speech, std::cout);
}

// ---- Options

using Options = std::shared_ptr<PackageOptions>;

void AddPackage(CLI::App& command, PackageOptions& options) {
  command.add_option("PACKAGE", options.package, "A flat installer package")
      ->type_name("")
      ->required();
}

void DefineList(CLI::App& command, const Options& options) {
  AddPackage(command, *options);
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Lists the files of the archive, with the checksums that it has for them, then what the\n"
      "payload and the scripts hold: permissions, bytes, SHA-256, path. Every checksum is\n"
      "compared; nothing is written.\n"
      "\n"
      "Example:\n"
      "  zentactl package list update.pkg");
  command.callback([options] { List(*options); });
}

void DefineInfo(CLI::App& command, const Options& options) {
  AddPackage(command, *options);
  command
      .add_option("--digest-file", options->digest_file,
                  "Its signed digest file; inputPkg.txt beside it, if there\n"
                  "is one and none is given")
      ->type_name("FILE");
  AddConfigOption(command, options->config);
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Shows a package's identifier, version and install location, whether it has scripts, and\n"
      "whether its digest file was signed with the configuration's key.\n"
      "\n"
      "Example:\n"
      "  zentactl package info update.pkg --config keys/signing.conf");
  command.callback([options] { Info(*options); });
}

void DefineExtract(CLI::App& command, const Options& options) {
  AddPackage(command, *options);
  command.add_option("--out", options->out, "The folder, which must not be there yet")
      ->type_name("DIR")
      ->required();
  command.add_flag("--scripts", options->scripts, "Unpack the scripts instead of the payload");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Unpacks the payload (of a product each in a folder named as its component) by the\n"
      "installer's own rules: what the installer refuses is refused. The folder takes its name\n"
      "when all is there. Nothing is installed, and no script is run.\n"
      "\n"
      "Example:\n"
      "  zentactl package extract update.pkg --out unpacked");
  command.callback([options] { Extract(*options); });
}

}  // namespace

void DefinePackage(CLI::App& command) {
  const struct {
    const char* name;
    const char* summary;
    void (*define)(CLI::App&, const Options&);
  } rows[] = {
      {"list", "list what a package holds", DefineList},
      {"info", "show what a package is, and whether it is signed", DefineInfo},
      {"extract", "unpack a package into a folder", DefineExtract},
  };
  for (const auto& row : rows) {
    row.define(*command.add_subcommand(row.name, row.summary), std::make_shared<PackageOptions>());
  }
  command.require_subcommand(1);
  command.footer("'zentactl package COMMAND --help' explains a command.");
}

}  // namespace zenta::zentactl

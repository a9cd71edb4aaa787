#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>

#include <chrono>
#include <map>
#include <regex>
#include <sstream>
#include <tuple>

#include "tests/child.h"
#include "tests/installer/machine_fixture.h"
#include "tests/tools/package_maker.h"
#include "tests/tools/subprocess.h"
#include "tools/common/failure.h"
#include "tools/common/terminal_text.h"
#include "tools/host_installer/install.h"
#include "tools/host_installer/package_reader.h"
#include "tools/host_installer/payload_path.h"
#include "tools/host_installer/unpacker.h"

namespace zenta::host_installer {
namespace {

namespace fs = std::filesystem;
using installer::MachineTest;
using testing::HasSubstr;
using tools::ComponentPackage;
using tools::Compressed;
using tools::Cpio;
using tools::Finished;
using tools::PackageFiles;
using tools::PackageInfoFor;
using tools::PartsOf;
using tools::PayloadEntry;
using tools::RunOptions;
using tools::RunProgram;
using tools::Xar;
using tools::XarOf;
using tools::XarParts;
using Entries = std::vector<PayloadEntry>;
using Snapshot = std::map<std::string, std::string>;  // path -> permissions and contents

const std::string kPackage = "/Library/Caches/update.pkg";
const std::string kMethods = "/Library/Input Methods";
const std::string kApp = "/Library/Input Methods/ZentaIM.app";
const std::string kInfo = kApp + "/Contents/Info.plist", kStale = kApp + "/Contents/stale";

// "NAME" is a file, "NAME/" a folder, "NAME>TARGET" a link, "NAME=MODE" has that mode, in octal.
PayloadEntry Entry(const std::string& text) {
  const std::size_t sign = text.find_first_of(">=");
  const std::string name = text.substr(0, sign);
  if (sign == text.npos) return {name, text.ends_with('/') ? 040755u : 0100644u};
  if (text[sign] == '>') return {name, 0120777, text.substr(sign + 1)};
  return {name, static_cast<unsigned>(std::stoul(text.substr(sign + 1), nullptr, 8))};
}

std::vector<std::string> Words(const std::string& text) {
  std::istringstream words(text);
  return {std::istream_iterator<std::string>(words), {}};
}

Entries VersionTwoAnd(Entries more) {
  const std::string contents = "./ZentaIM.app/Contents";
  more.insert(more.begin(), {Entry("./"),
                             Entry("./ZentaIM.app/"),
                             Entry(contents + "=40555"),
                             {contents + "/Info.plist", 0100644, "two"},
                             {contents + "/run", 0104755, "#!"},
                             {contents + "/拼音.txt", 0100600, "nǐ hǎo", 7},
                             {contents + "/same", 0100600, "nǐ hǎo", 7},
                             Entry("./ZentaIM.app/run>Contents/run"),
                             Entry(contents + "/up>../run")});
  return more;
}

// Calls `act` instead of the k-th rename. With `exchange_error` other than 0 every exchange fails
// so.
struct RenamerThat final : Renamer {
  RenamerThat(int k, int exchange_error, int (*at_k)())
      : left(k), error(exchange_error), act(at_k) {}
  int Move(const std::string& from, const std::string& to) override {
    return left-- == 0 ? act() : Renamer::Move(from, to);
  }
  int Exchange(const std::string& one, const std::string& other) override {
    if (error != 0) return error;
    return left-- == 0 ? act() : Renamer::Exchange(one, other);
  }
  int left;
  int error;
  int (*act)();
};

// A machine with version 1 of a bundle, and another bundle that no package mentions.
class HostInstallerTest : public MachineTest {
 protected:
  HostInstallerTest() {
    PutVersionOne();
    Put(kPackage, "");
    Put(kMethods + "/Other.app/x", "other");
    fs::permissions(At(kMethods), fs::perms{0700});
  }

  void PutVersionOne() const {
    fs::remove_all(At(kApp));
    Put(kInfo, "one");
    Put(kStale, "one");
  }
  [[nodiscard]] bool HasOneWholeVersion() const {
    return Contents(kInfo) == (IsThere(kStale) ? "one" : "two");
  }

  void Stage(const PackageFiles& files) const { Put(kPackage, Xar(files)); }
  void StagePayload(const std::string& words) const {
    Entries entries;
    for (const std::string& word : Words(words)) entries.push_back(Entry(word));
    Stage(ComponentPackage(entries));
  }

  // Everything in the machine folder but the package.
  [[nodiscard]] Snapshot Installed() const {
    Snapshot found;
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
      if (entry.path() == At(kPackage)) continue;
      const fs::file_status status = entry.symlink_status();
      std::string& what = found[entry.path().string().substr(root_.size())];
      what = std::to_string(static_cast<unsigned>(status.permissions())) + " ";
      if (fs::is_regular_file(status)) what += folder_.Get(entry.path());
      if (fs::is_symlink(status)) what += "-> " + fs::read_symlink(entry.path()).string();
    }
    return found;
  }

  Finished Run(RunOptions options = {},
               const std::string& arguments = "-pkg " + kPackage + " -target /") {
    options.environment.emplace_back("ZENTA_MACHINE", root_);
    std::vector<std::string> command = Words(arguments);
    command.insert(command.begin(),
                   {"/usr/bin/env", "--default-signal=XFSZ", ZENTA_HOST_INSTALLER});
    return RunProgram(command, options);
  }

  // Installs in this process. True on success.
  bool InstallHere(Renamer&& renamer = {}) {
    std::ostringstream report;
    try {
      const PackageFile package(At(kPackage), kPackage);
      Install({package, "update", root_}, renamer, report);
    } catch (const std::exception&) {
      return false;
    }
    return true;
  }

  // True if the package can be read to its end; `unpack` may read each payload.
  bool Reads(
      std::uint64_t limit, const std::function<void(archive*)>& unpack = [](archive*) {}) {
    try {
      const PackageFile package(At(kPackage), kPackage);
      ForEachPayload(package, ReadDescription(package), limit,
                     [&](const Component&, archive* cpio) { unpack(cpio); });
    } catch (const tools::Failure&) {
      return false;
    }
    return true;
  }

  // Expects that the program refuses the package, with this in its message, and changes nothing.
  void ExpectRefused(const std::string& reason, RunOptions options = {}) {
    const Snapshot before = Installed();
    const Finished finished = Run(std::move(options));
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.err, testing::AllOf(HasSubstr("installer: Error - "), HasSubstr(reason)));
    EXPECT_EQ(finished.out.find("successful"), std::string::npos);
    EXPECT_EQ(Installed(), before);
  }
};

TEST_F(HostInstallerTest, ReplacesTheBundleAsAWholeAndNothingElse) {
  std::vector<PackageFiles> packages(1);
  for (const int filter :
       {ARCHIVE_FILTER_NONE, ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_XZ}) {
    packages.push_back(ComponentPackage(VersionTwoAnd({}), "Library/Input Methods/", filter));
  }
  const std::string cpio = packages[1][1].second, start = cpio.substr(0, 99);
  packages.push_back(packages[1]);  // the longest XML, and a payload of two gzip members
  packages.back()[0].second.resize(1 << 20, ' ');
  packages.back()[1].second = Compressed(start) + Compressed(cpio.substr(start.size()));
  packages.push_back(packages[1]);  // files compressed by the archive
  for (auto [name, bytes] : packages[1]) packages[0].emplace_back("My IM.pkg/" + name, bytes);
  // Files in other folders are not part of the component.
  for (const char* name : {"Payload", "My IM.pkg/Distribution", "My IM.pkg/more/Payload", "Scripts",
                           "Other.pkg/PackageInfo", "Other.pkg/Payload", "Bom"}) {
    packages[0].emplace_back(name, *name == 'B' ? "" : "damaged");
  }
  packages[0].emplace_back("Distribution",
                           "<installer-gui-script><title>Zenta\n2</title><pkg-ref id='x'/>"
                           "<pkg-ref>#My%20IM.pkg</pkg-ref><pkg-ref>#My%20IM.pkg</pkg-ref>"
                           "</installer-gui-script>");
  packages[1].emplace_back("Scripts", "#!");
  Snapshot want = Installed();
  want.erase(kStale);
  want[kApp + "/Contents"] = want[kApp];  // folders are always writable by their owner
  want[kInfo] = "420 two";
  want[kApp + "/Contents/run"] = "493 #!";  // the set-user-ID bit is dropped
  want[kApp + "/Contents/拼音.txt"] = want[kApp + "/Contents/same"] = "384 nǐ hǎo";
  want[kApp + "/run"] = "511 -> Contents/run";
  want[kApp + "/Contents/up"] = "511 -> ../run";
  std::string title = "Zenta\\u{A}2";
  for (const PackageFiles& package : packages) {
    SCOPED_TRACE(&package - packages.data());
    Put(kStale, "one");
    Put(kPackage,
        Xar(package, &package == &packages.back() ? "compression=gzip" : "compression=none"));
    const Finished finished = Run();
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(finished.out,
              "installer: Package name is " + std::exchange(title, "update") +
                  (&package == &packages[1] ? "\ninstaller: Scripts are not run here" : "") +
                  "\ninstaller: Installing at base path /\n"
                  "installer: The install was successful.\n");
    EXPECT_EQ(Installed(), want);
    EXPECT_EQ(fs::hard_link_count(At(kApp + "/Contents/same")), 2u);
  }
}

// Also if nobody reads standard output.
TEST_F(HostInstallerTest, MergesPlainFoldersAndInstallsWhereNothingIsYet) {
  const std::string unread =
      "{ sleep 0.1; '" ZENTA_HOST_INSTALLER "' -pkg " + kPackage + " -target /; echo $? >&2; } | :";
  fs::create_directory_symlink("Other.app", At(kMethods + "/Third.app"));  // a bundle replaces it
  for (const std::string location : {"/", "", "/opt/new/place"}) {
    Put(location + "/share/list", "old");
    const Entries entries = {{"share/list", 0100644, "new"},
                             {"share/more/deep", 0100644, "deep"},
                             {"Library/Input Methods/Third.app/x", 0100644, "third"}};
    Stage(ComponentPackage(entries, location));
    EXPECT_EQ(
        RunProgram({"/bin/sh", "-c", unread}, {.environment = {{"ZENTA_MACHINE", root_}}}).err,
        "0\n");
    for (const auto& entry : entries) EXPECT_EQ(Contents(location + "/" + entry.path), entry.data);
  }
  EXPECT_TRUE(HasOneWholeVersion());
  EXPECT_EQ(Contents(kMethods + "/Other.app/x"), "other");
}

TEST_F(HostInstallerTest, RefusesHostilePayloads) {
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"leaves the target", {"../evil", "ZentaIM.app/../../../evil", "/Library/evil"}},
      {"too long", {std::string(256, 'n')}},
      {"name of the installer's own",
       {".zenta-installer-ZZZZZZ/old/leak>../../etc/passwd", "ZentaIM.app/.zenta-installer-/"}},
      {"links to", {"l>/etc", "l>", "l>..", "a/l>../../x", "a/b/ b/l>a/../../.."}},
      {"lies behind", {"l>a a/ l/x", "a/l>.. a/l/l/x", "f f/x"}},
      {R"(entry \u{1B}[2J\u{202E}\x9B/../x is)", {"\x1b[2J\u202E\x9B/../x"}},
      {"neither a file", {"null=020666", "disk=060666", "pipe=010666"}},
      {"there twice", {"a ./a", "a/ a>b", "a/b a/ a//"}},
      {"root is a folder", {".>a"}},
      {"another kind", {"Other.app/x ZentaIM.app", "ZentaIM.app/x Plain/x", "Plain.app/x"}}};
  for (const char* name : {"/Plain", "/Plain.app"}) Put(kMethods + name, "no folder");
  for (const auto& [reason, payloads] : rows) {
    for (const std::string& payload : payloads) {
      SCOPED_TRACE(payload);
      StagePayload(payload);
      ExpectRefused(reason);
    }
  }
  Stage(ComponentPackage({{"l", 0120777, "a", 5}, {"x", 0100644, "data", 5}}));
  ExpectRefused("hard link to l");
  Stage(ComponentPackage({{".", 0040755, "", 5}, {"x", 0100644, "data", 5}}));
  ExpectRefused("hard link to .");
}

// The last value that each limit allows, and the first that it refuses.
TEST_F(HostInstallerTest, BoundsAreWhereTheyAreSaidToBe) {
  const auto times = [](int n, const std::string& text) {
    std::string all;
    for (int i = 0; i < n; ++i) all += text;
    return all;
  };
  const std::string folders = times(63, "fifteen-letters/");
  const std::pair<std::string, std::string> paths[] = {
      {times(255, "n"), times(256, "n")},
      {folders + times(16, "n"), folders + times(17, "n")},
      {times(64, "d/"), times(65, "d/")},
      {"a/x.zenta-installer-/b", "a/.zenta-installer-/b"},
      {".zenta-installer", ".zenta-installer-"},
      {"..a/b..", "a/.."}};
  for (const auto& [good, bad] : paths) {
    EXPECT_TRUE(PayloadPath(good)) << good;
    EXPECT_FALSE(PayloadPath(bad)) << bad;
  }
  const std::pair<std::string, std::string> links[] = {
      {times(1024, "t"), times(1025, "t")}, {"../../t", "../../../t"}, {"t/u", "t/../u"}};
  for (const auto& [good, bad] : links) {
    EXPECT_TRUE(LinkStaysInside("a/b/link", good)) << good;
    EXPECT_FALSE(LinkStaysInside("a/b/link", bad)) << bad;
  }
  for (const std::string& ending :
       Words(".app .bundle .component .framework .kext .plugin .prefPane")) {
    EXPECT_TRUE(NamesBundle("x" + ending)) << ending;
    EXPECT_FALSE(NamesBundle(ending) || NamesBundle("x" + ending + "s")) << ending;
  }
  const std::pair<const char*, const char*> entries[] = {
      {"a b c", "a b c d"}, {"a/b/c", "a/b/c/d"}, {"a/b a/ a/c", "a/b a/ a/c a/d"}};
  const TempFolder folder;
  int number = 0;
  const auto unpacks_three_entries = [&] {
    const std::string fresh = folder.At(std::to_string(number++));
    fs::create_directory(fresh);
    return Reads(UINT64_MAX, [&](archive* cpio) { Unpacker(fresh, 3).Unpack("", cpio); });
  };
  for (const auto& [good, bad] : entries) {
    StagePayload(good);
    EXPECT_TRUE(unpacks_three_entries()) << good;
    StagePayload(bad);
    EXPECT_FALSE(unpacks_three_entries()) << bad;
  }
  Entries linked(kMaxLinkedEntries, {".", 040755, "", 1});
  for (std::size_t i = 0; i != linked.size(); ++i) linked[i].inode = 1 + static_cast<unsigned>(i);
  Stage(ComponentPackage(linked));
  EXPECT_TRUE(unpacks_three_entries());
  linked.push_back({".", 040755, "", 0777777});
  Stage(ComponentPackage(linked));
  EXPECT_FALSE(unpacks_three_entries());
  const Entries one = VersionTwoAnd({});
  Stage(ComponentPackage(one));
  EXPECT_TRUE(Reads(Cpio(one).size()));
  EXPECT_FALSE(Reads(Cpio(one).size() - 1));
}

TEST_F(HostInstallerTest, RefusesWhatIsNoPackage) {
  const std::string info = PackageInfoFor("/"), payload = Cpio({{"x"}});
  const std::string gzip = Compressed(payload), xz = Compressed(payload, ARCHIVE_FILTER_XZ);
  const char product[] = "<installer-gui-script><pkg-ref>#a.pkg</pkg-ref></installer-gui-script>";
  const std::string entities = "<!DOCTYPE x [<!ENTITY a \"" + std::string(9999, 'a') + "\">]>";
  const std::pair<const char*, PackageFiles> rows[] = {
      {"no PackageInfo", {{"Payload", payload}}},
      {"no PackageInfo", {{"x/PackageInfo", info}, {"Payload", payload}}},
      {"no PackageInfo in a.pkg", {{"Distribution", product}, {"PackageInfo", info}}},
      {"names no component", {{"Distribution", "<installer-gui-script/>"}}},
      {"PackageInfo is not valid", {{"PackageInfo", "<pkg-info"}}},
      {"PackageInfo is not valid", {{"PackageInfo", "<other/>"}}},
      {"PackageInfo is too long", {{"PackageInfo", info + std::string(1 << 20, ' ')}}},
      {"PackageInfo has too many", {{"PackageInfo", std::string(4097, '=') + info}}},
      {"PackageInfo has a document type", {{"PackageInfo", entities + info}}},
      {"Distribution has a document type", {{"Distribution", entities + product}}},
      {"leaves the target", {{"PackageInfo", PackageInfoFor("/a/../..")}}},
      {"no folder", {{"PackageInfo", PackageInfoFor("/tmp/x")}, {"Payload", payload}}},
      {"no Payload", {{"PackageInfo", info}}},
      {"cannot be read", {{"PackageInfo", info}, {"Payload", "no archive"}}},
      {"cannot be read", {{"PackageInfo", info}, {"Payload", ""}}},
      {"cannot be read", {{"PackageInfo", info}, {"Payload", Compressed(gzip)}}},
      {"twice", {{"PackageInfo", info}, {"Payload", Compressed(xz, ARCHIVE_FILTER_BZIP2)}}},
      {"compression is damaged", {{"PackageInfo", info}, {"Payload", gzip + "xx"}}},
      {"cut short", {{"PackageInfo", info}, {"Payload", gzip + gzip.substr(0, 15)}}}};
  fs::create_directory_symlink("/", At("/tmp"));
  for (const auto& [reason, files] : rows) {
    SCOPED_TRACE(reason);
    Stage(files);
    ExpectRefused(reason);
  }
  const std::string size = std::to_string(info.size());
  const std::tuple<const char*, std::string, std::string> tables[] = {
      {"contents has a document type", "<xar>", entities + "<xar>"},
      {"contents has no checksum of SHA-1", "<checksum style=\"sha1", "<checksum style=\"md5"},
      {"contents does not match", "<checksum style=\"sha1", "<checksum style=\"sha256"},
      {"Bom has no checksum of SHA-1", "archived-checksum style=\"sha1",
       "archived-checksum style=\"md5"},
      {"Bom has no checksum of SHA-1", "archived-checksum", "no-checksum"},
      {"checksum of Bom does not match", "<archived-checksum style=\"sha1\">", "$&0"},
      {"checksum of PackageInfo does not match", "<offset>21<", "<offset>20<"},
      {"no valid offset", "<offset>20<", "<offset>-1<"},
      {"no valid length", "<length>", "<length>1e"},
      {"Bom lies outside", "<offset>20<", "<offset>18446744073709551615<"},
      {"PackageInfo lies outside", "<length>" + size, "<length>18446744073709551615"},
      {"another size", "<size>" + size, "<size>" + std::to_string(info.size() - 1)},
      {"another size", "<size>" + size, "<size>" + std::to_string(info.size() + 1)},
      {"checksum of Bom does not match", "<length>1<", "<length>41<"},
      {"longer than the package", "<length>1<", "<length>42<"},
      {"unknown encoding: x-lzma", "application/octet-stream", "x-lzma"},
      {"compression is damaged", "application/octet-stream", "application/x-gzip"},
      {"bad name", "<name>Bom", "<name>../Bom"},
      {"bad name", "<name>Bom", "<name>"},
      {"two files named Payload", "<name>Bom", "<name>Payload"},
      {"no PackageInfo", "<type>file", "<type>directory"}};
  const XarParts good = PartsOf(Xar({{"Bom", "B"}, {"PackageInfo", info}, {"Payload", payload}}));
  for (const auto& [reason, from, to] : tables) {
    SCOPED_TRACE(to);
    Put(kPackage, XarOf({std::regex_replace(good.table, std::regex(from), to), good.files}));
    ExpectRefused(reason);
  }
  // Bytes after the end of a payload's compressed stream are read too, for the checksum.
  const std::string tail = Compressed(payload, ARCHIVE_FILTER_BZIP2) + std::string(200'000, 'x');
  XarParts longer = PartsOf(Xar({{"PackageInfo", info}, {"Payload", tail}}));
  longer.table.insert(longer.table.rfind("</archived-checksum>"), "0");
  Put(kPackage, XarOf(longer));
  ExpectRefused("checksum of Payload does not match");
  Put(kPackage, "not an archive");
  ExpectRefused("cannot be read");
  fs::remove(At(kPackage));
  ExpectRefused("the package path specified was invalid: '/Library/Caches/update.pkg'.");
}

// Every byte of the package, and every byte of the payload in a package with the right checksums.
TEST_F(HostInstallerTest, NoticesEveryByteThatIsMissingOrDamaged) {
  constexpr std::size_t kSpare = 20;     // bytes that libarchive writes at the end and nobody reads
  constexpr std::size_t kGzipHead = 10;  // no checksum covers the header
  PackageFiles files = ComponentPackage(VersionTwoAnd({}));
  const std::string package = Xar(files), payload = std::exchange(files[1].second, "");
  const auto wrapped = [&](const std::string& bytes) {
    return files[1].second = bytes, Xar(files);
  };
  const auto expect_refused = [&](const std::string& bytes, std::size_t at) {
    fs::remove(
        At(kPackage));  // some file systems write a file that is cut and filled again at once
    Put(kPackage, bytes);
    ASSERT_FALSE(at % 50 == 0 ? InstallHere() : Reads(UINT64_MAX)) << at;
    ASSERT_EQ(Contents(kInfo), "one") << at;
  };
  const auto flipped = [](std::string bytes, std::size_t at) { return bytes[at] ^= 1, bytes; };
  for (std::size_t at = 0; at < package.size() - kSpare; ++at) {
    expect_refused(package.substr(0, at), at);
    expect_refused(flipped(package, at), at);
  }
  for (std::size_t at = 0; at < payload.size(); ++at) {
    expect_refused(wrapped(payload.substr(0, at)), at);
    if (at >= kGzipHead) expect_refused(wrapped(flipped(payload, at)), at);
  }
  for (const std::string& bytes : {package.substr(0, package.size() - kSpare), wrapped(payload)}) {
    Put(kPackage, bytes);
    EXPECT_TRUE(InstallHere() && HasOneWholeVersion());
  }
}

TEST_F(HostInstallerTest, PutsEverythingBackWhicheverRenameFails) {
  Put(kMethods + "/list", "old");
  Stage(ComponentPackage(
      VersionTwoAnd({{"./list", 0100644, "new"}, {"./Another.app/x", 0100644, "x"}})));
  const Snapshot before = Installed();
  for (const auto& [error, renames] : {std::pair(0, 3), {EINVAL, 5}, {ENOSYS, 5}, {ENOTSUP, 5}}) {
    for (int k = 0; k <= renames; ++k) {
      const bool installed = InstallHere(RenamerThat(k, error, [] { return EIO; }));
      ASSERT_EQ(installed, k == renames);
      ASSERT_EQ(Installed() == before, !installed) << k;
    }
    EXPECT_TRUE(HasOneWholeVersion());
    fs::remove_all(At(kMethods + "/Another.app"));
    Put(kMethods + "/list", "old");
    PutVersionOne();
  }
}

// The process dies before its k-th rename. The next installation restores what is missing and
// removes what the first one left behind, even though it fails itself.
TEST_F(HostInstallerTest, ACrashLeavesOneWholeVersion) {
  // Nothing is restored from folders of this name that no installation has made.
  const std::string planted = kMethods + "/.zenta-installer-ZZZZZZ", leak = "/old/leak";
  fs::create_directories(At(planted + "/old"));
  fs::create_symlink("../../etc/passwd", At(planted + leak));
  fs::permissions(At(planted), fs::perms{0700});
  fs::create_directory(At(kMethods + "/.zenta-installer-empty"));
  for (const int error : {0, ENOTSUP}) {
    for (int k = 0, status = 9; status == 9; ++k) {
      SCOPED_TRACE(k);
      Stage(ComponentPackage(VersionTwoAnd({})));
      RenamerThat dies(k, error, []() -> int { _exit(9); });
      status = Child([&] { return InstallHere(std::move(dies)) ? 0 : 1; }).Wait();
      EXPECT_TRUE(HasOneWholeVersion() || error != 0);
      StagePayload("../evil");
      EXPECT_EQ(Run().status, 1);
      EXPECT_TRUE(HasOneWholeVersion());
      EXPECT_EQ(Count(kMethods), 3);
      EXPECT_TRUE(IsThere(planted + leak));
    }
  }
}

TEST_F(HostInstallerTest, LackOfSpaceOrMemoryChangesNothing) {
  Stage(ComponentPackage({{"./ZentaIM.app/big", 0100644, std::string(99999, 'x')}}));
  ExpectRefused("ZentaIM.app/big", {.max_file_bytes = 65536});
  // Unpacking this xz payload takes 768 MiB, which this process has and the program is not allowed.
  std::string xz = Compressed(Cpio(VersionTwoAnd({})), ARCHIVE_FILTER_XZ);
  constexpr std::size_t kBlock = 12, kDictionary = 16, kCrc = 20;  // .xz file format, section 3.1
  xz[kDictionary] = 35;
  const uLong crc = crc32(0, reinterpret_cast<const Bytef*>(&xz[kBlock]), kCrc - kBlock);
  for (std::size_t i = 0; i != 4; ++i) xz[kCrc + i] = static_cast<char>(crc >> 8 * i);
  Stage({{"PackageInfo", PackageInfoFor(kMethods)}, {"Payload", xz}});
#ifndef ZENTA_SANITIZED
  ExpectRefused("emory");
#endif
  EXPECT_TRUE(InstallHere() && HasOneWholeVersion());
}

// Whoever holds the lock only delays an installation. The package's path may disappear meanwhile,
// because the package is open.
TEST_F(HostInstallerTest, WaitsForAnotherInstallation) {
  Stage(ComponentPackage(VersionTwoAnd({})));
  const int lock = open(root_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  const Finished busy = Run({}, "-wait 0 -pkg " + kPackage + " -target /");
  EXPECT_EQ(busy.status, 75);
  EXPECT_EQ(busy.err, "installer: Error - another installation is still running\n");
  EXPECT_EQ(Contents(kInfo), "one");
  const auto wait_until_it_waits = [&](pid_t id) {
    const fs::path program = "/proc/" + std::to_string(id);
    while (fs::read_symlink(program / "exe") != ZENTA_HOST_INSTALLER) usleep(1000);
    for (bool waits = false; !waits; usleep(1000)) {
      for (const auto& entry : fs::directory_iterator(program / "fd")) {
        std::error_code closed;
        waits = waits || fs::read_symlink(entry.path(), closed) == root_;
      }
    }
  };
  const auto runs_out_of_time = [&](pid_t id) {
    wait_until_it_waits(id);
    rlimit limit{};
    prlimit(id, RLIMIT_CPU, nullptr, &limit);
    EXPECT_EQ(limit.rlim_cur, 600u);
    kill(id, SIGXCPU);
  };
  ExpectRefused("too much processor time", {.meanwhile = runs_out_of_time});
  const auto loses_path = [&](pid_t id) {
    wait_until_it_waits(id);
    fs::remove(At(kPackage));
    close(lock);
  };
  EXPECT_EQ(Run({.meanwhile = loses_path}).status, 0);
  EXPECT_EQ(Contents(kInfo), "two");
}

TEST(TerminalTextTest, WhatIsNotSeenIsEscaped) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"", ""},
      {"a ~拼\u00A0é\\u{9B}\U0001F600", "a ~拼\u00A0é\\u{9B}\U0001F600"},
      {{"\0\n\x1F\x7F", 4}, R"(\u{0}\u{A}\u{1F}\u{7F})"},
      {"\u0080\u009F\u00AD\u061C\u180E", R"(\u{80}\u{9F}\u{AD}\u{61C}\u{180E})"},
      {"\u200A\u200B\u200F\u2010", "\u200A\\u{200B}\\u{200F}\u2010"},
      {"\u2027\u2028\u202E\u202F", "\u2027\\u{2028}\\u{202E}\u202F"},
      {"\u205F\u2060\u2066\u2069\u206F\u2070", "\u205F\\u{2060}\\u{2066}\\u{2069}\\u{206F}\u2070"},
      {"\uFEFF\uFFF9\uFFFB\uFFFD", "\\u{FEFF}\\u{FFF9}\\u{FFFB}\uFFFD"},
      {"\U000E0000\U000E007F\U000E0100", "\\u{E0000}\\u{E007F}\U000E0100"},
      {"\x80\xC0\x80\xED\xA0\x80\xE6\x8B\xF5", R"(\x80\xC0\x80\xED\xA0\x80\xE6\x8B\xF5)"}};
  for (const auto& [text, shown] : rows) EXPECT_EQ(tools::ForTerminal(text), shown);
}

TEST_F(HostInstallerTest, SaysHowToBeCalled) {
  const std::string error = "1 installer: Error - ";
  for (const auto& [arguments, says] :
       {std::pair("-help", std::string("0 usage")),
        {"-pkg /x", error + "bad arguments"},
        {"-pkg /x -target / -more", error + "bad arguments"},
        {"-pkg /x -target / -wait", error + "bad arguments"},
        {"-pkg /x -target / -wait 10000", error + "bad arguments"},
        {"-pkg /x -target / -wait 9999", error + "the package path"},
        {"-pkg /x -target /Volumes/B", error + "the target is not /"},
        {"-pkg /x -target /", error + "the package path"}}) {
    const Finished done = Run({}, arguments);
    EXPECT_THAT(std::to_string(done.status) + " " + done.out + done.err, testing::StartsWith(says));
  }
}

}  // namespace
}  // namespace zenta::host_installer

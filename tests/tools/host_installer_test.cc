#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>

#include <map>
#include <sstream>

#include "tests/child.h"
#include "tests/installer/machine_fixture.h"
#include "tests/tools/package_maker.h"
#include "tests/tools/subprocess.h"
#include "tools/common/terminal_text.h"
#include "tools/host_installer/install.h"
#include "tools/host_installer/package_reader.h"

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
using tools::PayloadEntry;
using tools::RunOptions;
using tools::RunProgram;
using tools::Xar;
using Entries = std::vector<PayloadEntry>;
using Snapshot = std::map<std::string, std::string>;  // path -> permissions and contents

const std::string kPackage = "/Library/Caches/update.pkg";
const std::string kMethods = "/Library/Input Methods";
const std::string kApp = "/Library/Input Methods/ZentaIM.app";
const std::string kInfo = kApp + "/Contents/Info.plist", kStale = kApp + "/Contents/stale";

// "NAME" is a file, "NAME/" a folder, "NAME>TARGET" a link, "NAME=MODE" something else.
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

// Calls `act` in the place of the k-th rename. Without `can_exchange` names cannot be exchanged.
struct RenamerThat final : Renamer {
  RenamerThat(int k, bool exchanges, int (*at_k)()) : left(k), can_exchange(exchanges), act(at_k) {}
  int Move(const std::string& from, const std::string& to) override {
    return left-- == 0 ? act() : Renamer::Move(from, to);
  }
  int Exchange(const std::string& one, const std::string& other) override {
    if (!can_exchange) return ENOTSUP;
    return left-- == 0 ? act() : Renamer::Exchange(one, other);
  }
  int left;
  bool can_exchange;
  int (*act)();
};

// A machine with version 1 of a bundle, and a neighbour that no package mentions.
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

  // Everything below the machine but the package.
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
    command.insert(command.begin(), ZENTA_HOST_INSTALLER);
    return RunProgram(command, options);
  }

  // In this process. True on success.
  bool InstallHere(Renamer&& renamer = {}) {
    std::ostringstream report;
    try {
      Install({At(kPackage), "update", root_}, renamer, report);
    } catch (const std::exception&) {
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
  for (auto [name, bytes] : packages[1]) packages[0].emplace_back("My IM.pkg/" + name, bytes);
  packages[0].emplace_back("Distribution",
                           "<installer-gui-script><title>Zenta\n2</title><pkg-ref id='x'/>"
                           "<pkg-ref>#My%20IM.pkg</pkg-ref></installer-gui-script>");
  Snapshot want = Installed();
  want.erase(kStale);
  want[kApp + "/Contents"] = want[kApp];  // the owner may always change a folder
  want[kInfo] = "420 two";
  want[kApp + "/Contents/run"] = "493 #!";  // nothing runs with another user's rights
  want[kApp + "/Contents/拼音.txt"] = want[kApp + "/Contents/same"] = "384 nǐ hǎo";
  want[kApp + "/run"] = "511 -> Contents/run";
  want[kApp + "/Contents/up"] = "511 -> ../run";
  std::string title = "Zenta\\u{A}2";
  for (const PackageFiles& package : packages) {
    SCOPED_TRACE(&package - packages.data());
    Put(kStale, "one");
    Stage(package);
    const Finished finished = Run();
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(finished.out, "installer: Package name is " + std::exchange(title, "update") +
                                "\ninstaller: Installing at base path /\n"
                                "installer: The install was successful.\n");
    EXPECT_EQ(Installed(), want);
    EXPECT_EQ(fs::hard_link_count(At(kApp + "/Contents/same")), 2u);
  }
}

TEST_F(HostInstallerTest, MergesPlainFoldersAndInstallsWhereNothingIsYet) {
  for (const std::string location : {"/", "", "/opt/new/place"}) {
    Put(location + "/share/list", "old");
    const Entries entries = {{"share/list", 0100644, "new"},
                             {"share/more/deep", 0100644, "deep"},
                             {"Library/Input Methods/Third.app/x", 0100644, "third"}};
    Stage(ComponentPackage(entries, location));
    EXPECT_EQ(Run().status, 0) << location;
    for (const auto& entry : entries) EXPECT_EQ(Contents(location + "/" + entry.path), entry.data);
  }
  EXPECT_TRUE(HasOneWholeVersion());
}

TEST_F(HostInstallerTest, RefusesHostilePayloads) {
  std::string deep;
  for (int i = 0; i < 65; ++i) deep += "d/";
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"leaves the target", {"../evil", "ZentaIM.app/../../../evil", "/Library/evil"}},
      {"too long", {std::string(256, 'n'), deep}},
      {"links to", {"l>/etc", "l>", "l>..", "a/l>../../x", "a/b/ b/l>a/../../.."}},
      {"lies behind", {"l>a a/ l/x", "a/l>.. a/l/l/x", "f f/x"}},
      {R"(entry \u{1B}[2J\u{202E}\x9B/../x is)", {"\x1b[2J\u202E\x9B/../x"}},
      {"neither a file", {"null=020666", "disk=060666", "pipe=010666"}},
      {"there twice", {"a ./a", "a/ a>b", "a/b a/ a//"}},
      {"root is a folder", {".>a"}},
      {"another kind", {"Other.app/x ZentaIM.app", "ZentaIM.app/x Plain/x"}}};
  Put(kMethods + "/Plain", "a file where a package has a folder");
  for (const auto& [reason, payloads] : rows) {
    for (const std::string& payload : payloads) {
      SCOPED_TRACE(payload);
      Entries entries;
      for (const std::string& word : Words(payload)) entries.push_back(Entry(word));
      Stage(ComponentPackage(entries));
      ExpectRefused(reason);
    }
  }
  Stage(ComponentPackage({{"l", 0120777, "a", 5}, {"x", 0100644, "data", 5}}));
  ExpectRefused("hard link to l");
  Stage(ComponentPackage({{".", 0040755, "", 5}, {"x", 0100644, "data", 5}}));
  ExpectRefused("hard link to .");
}

TEST_F(HostInstallerTest, RefusesWhatIsNoPackage) {
  const std::string info = PackageInfoFor("/"), payload = Cpio({{"x"}});
  const char product[] = "<installer-gui-script><pkg-ref>#a.pkg</pkg-ref></installer-gui-script>";
  const std::pair<const char*, PackageFiles> rows[] = {
      {"no PackageInfo", {{"Payload", payload}}},
      {"no PackageInfo in a.pkg", {{"Distribution", product}, {"PackageInfo", info}}},
      {"names no component", {{"Distribution", "<installer-gui-script/>"}}},
      {"PackageInfo is not valid", {{"PackageInfo", "<pkg-info"}}},
      {"PackageInfo is not valid", {{"PackageInfo", "<other/>"}}},
      {"XML is too long", {{"PackageInfo", std::string((1 << 20) + 1, ' ')}}},
      {"leaves the target", {{"PackageInfo", PackageInfoFor("/a/../..")}}},
      {"no folder", {{"PackageInfo", PackageInfoFor("/tmp/x")}, {"Payload", payload}}},
      {"no Payload", {{"PackageInfo", info}}},
      {"cannot be read", {{"PackageInfo", info}, {"Payload", "no archive"}}},
      {"twice", {{"PackageInfo", info}, {"Payload", Compressed(Compressed(payload))}}}};
  fs::create_directory_symlink("/", At("/tmp"));
  for (const auto& [reason, files] : rows) {
    Stage(files);
    ExpectRefused(reason);
  }
  Put(kPackage, "not an archive");
  ExpectRefused("cannot be read");
  fs::remove(At(kPackage));
  ExpectRefused("the package path specified was invalid: '/Library/Caches/update.pkg'.");
}

// A fuzz target changes bytes; this cuts them off. Without the archive's checksums damage meets the
// reader of the payload.
TEST_F(HostInstallerTest, SurvivesEveryTruncation) {
  constexpr std::size_t kSpare = 20;  // bytes that libarchive writes at the end and nobody needs
  for (const char* options : {"compression=none", "compression=none,checksum=none"}) {
    const std::string whole = Xar(ComponentPackage(VersionTwoAnd({})), options);
    std::size_t size = whole.size() - kSpare;
    Put(kPackage, whole.substr(0, size));
    EXPECT_TRUE(InstallHere() && HasOneWholeVersion());
    PutVersionOne();
    while (size > 0) {
      fs::resize_file(At(kPackage), --size);
      ASSERT_FALSE(InstallHere()) << size;
      ASSERT_EQ(Contents(kInfo), "one") << size;
    }
  }
}

TEST_F(HostInstallerTest, PutsEverythingBackWhicheverRenameFails) {
  Put(kMethods + "/list", "old");
  Stage(ComponentPackage(
      VersionTwoAnd({{"./list", 0100644, "new"}, {"./Another.app/x", 0100644, "x"}})));
  const Snapshot before = Installed();
  for (const auto& [can_exchange, renames] : {std::pair(true, 3), {false, 5}}) {
    for (int k = 0; k <= renames; ++k) {
      const bool installed = InstallHere(RenamerThat(k, can_exchange, [] { return EIO; }));
      ASSERT_EQ(installed, k == renames);
      ASSERT_EQ(Installed() == before, !installed) << k;
    }
    EXPECT_TRUE(HasOneWholeVersion());
    fs::remove_all(At(kMethods + "/Another.app"));
    Put(kMethods + "/list", "old");
    PutVersionOne();
  }
}

// The process dies before its k-th rename. The next installation, though it fails itself, puts back
// what is missing and removes what the first has left.
TEST_F(HostInstallerTest, ACrashLeavesOneWholeVersion) {
  for (const bool can_exchange : {true, false}) {
    for (int k = 0, status = 9; status == 9; ++k) {
      SCOPED_TRACE(k);
      Stage(ComponentPackage(VersionTwoAnd({})));
      RenamerThat dies(k, can_exchange, []() -> int { _exit(9); });
      status = Child([&] { return InstallHere(std::move(dies)) ? 0 : 1; }).Wait();
      EXPECT_TRUE(HasOneWholeVersion() || !can_exchange);
      Stage(ComponentPackage({Entry("../evil")}));
      EXPECT_EQ(Run().status, 1);
      EXPECT_TRUE(HasOneWholeVersion());
      EXPECT_EQ(Count(kMethods), 2);
    }
  }
}

TEST_F(HostInstallerTest, LackOfSpaceOrAnotherInstallationChangesNothing) {
  const Entries entries = VersionTwoAnd({{"./ZentaIM.app/big", 0100644, std::string(99999, 'x')}});
  Stage(ComponentPackage(entries));
  ExpectRefused("ZentaIM.app/big", {.max_file_bytes = 65536});
  const auto unpack = [&](std::uint64_t limit) {
    ForEachPayload(At(kPackage), ReadDescription(At(kPackage)), limit, [](auto&&...) {});
  };
  EXPECT_NO_THROW(unpack(Cpio(entries).size()));
  EXPECT_ANY_THROW(unpack(Cpio(entries).size() - 1));
  const int lock = open(root_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  ExpectRefused("another installation is running");
  close(lock);
  EXPECT_EQ(Run().status, 0);
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
        {"-pkg /x -target /Volumes/B", error + "the target is not /"},
        {"-pkg /x -target /", error + "the package path"}}) {
    const Finished done = Run({}, arguments);
    EXPECT_THAT(std::to_string(done.status) + " " + done.out + done.err, testing::StartsWith(says));
  }
}

}  // namespace
}  // namespace zenta::host_installer

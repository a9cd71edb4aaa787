#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/package_maker.h"
#include "tests/tools/subprocess.h"
#include "tools/host_installer/install.h"
#include "tools/host_installer/payload_path.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Pair;

constexpr unsigned kFolder = 040755;
constexpr unsigned kLink = 0120777;

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Fails the k-th rename that it is asked for, or does something else about it.
class FailingRenamer final : public Renamer {
 public:
  int fail_at = -1;  // counted from 0
  bool can_exchange = true;
  std::function<void()> instead = [] {};
  int calls = 0;

  int Move(const std::string& from, const std::string& to) override {
    return Fails() ? EIO : Renamer::Move(from, to);
  }
  int Exchange(const std::string& one, const std::string& other) override {
    if (!can_exchange) return ENOTSUP;
    return Fails() ? EIO : Renamer::Exchange(one, other);
  }

 private:
  bool Fails() {
    if (calls++ != fail_at) return false;
    instead();
    return true;
  }
};

// A machine folder with version 1 of a bundle in it, and a neighbour that no package mentions.
class HostInstallerTest : public testing::Test {
 protected:
  using Snapshot = std::map<std::string, std::string>;  // path -> permissions and contents

  HostInstallerTest() {
    std::string name = (fs::temp_directory_path() / "host-installer-XXXXXX").string();
    machine_ = mkdtemp(name.data());
    PutVersionOne();
    Put(InputMethods() / "Other.app/x", "other");
    fs::permissions(InputMethods(), fs::perms{0700});
    fs::create_directories(machine_ / "Library/Caches");
  }
  ~HostInstallerTest() override {
    fs::current_path("/");  // an installation in this process leaves its own
    fs::remove_all(machine_);
  }

  [[nodiscard]] fs::path InputMethods() const { return machine_ / "Library/Input Methods"; }
  [[nodiscard]] fs::path App() const { return InputMethods() / "ZentaIM.app"; }
  [[nodiscard]] std::string Package() const { return machine_ / "Library/Caches/update.pkg"; }

  static void Put(const fs::path& path, const std::string& contents) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
  }

  void PutVersionOne() const {
    fs::remove_all(App());
    Put(App() / "Contents/Info.plist", "one");
    Put(App() / "Contents/stale", "one");
  }

  // Everything below the machine but the package.
  [[nodiscard]] Snapshot Installed() const {
    Snapshot found;
    for (const auto& entry : fs::recursive_directory_iterator(machine_)) {
      if (entry.path() == Package()) continue;
      const fs::file_status status = entry.symlink_status();
      std::string what = std::to_string(static_cast<unsigned>(status.permissions())) + " ";
      if (fs::is_regular_file(status)) what += Contents(entry.path());
      if (fs::is_symlink(status)) what += "-> " + fs::read_symlink(entry.path()).string();
      found[entry.path().lexically_relative(machine_)] = what;
    }
    return found;
  }

  // Runs the program on the package.
  Finished Run(RunOptions options = {}) {
    options.environment.emplace_back("ZENTA_MACHINE", machine_.string());
    return RunProgram({ZENTA_HOST_INSTALLER, "-pkg", "/Library/Caches/update.pkg", "-target", "/"},
                      options);
  }

  // Installs in this process. True on success.
  bool InstallHere(Renamer& renamer) {
    std::ostringstream report;
    try {
      Install({Package(), "update", machine_}, renamer, report);
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  // Expects that the program refuses the package, with this in its message, and changes nothing.
  void ExpectRefused(const std::string& reason) {
    const Snapshot before = Installed();
    const Finished finished = Run();
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.err, testing::StartsWith("installer: Error - "));
    EXPECT_THAT(finished.err, HasSubstr(reason));
    EXPECT_THAT(finished.out, testing::Not(HasSubstr("successful")));
    EXPECT_EQ(Installed(), before);
  }

  // Whether the whole of version 1 or of version 2 is in place.
  [[nodiscard]] bool HasOneWholeVersion() const {
    const std::string info = Contents(App() / "Contents/Info.plist");
    return fs::exists(App() / "Contents/stale") ? info == "one" : info == "two";
  }

  static std::vector<PayloadEntry> VersionTwo() {
    return {{".", kFolder, ""},
            {"./ZentaIM.app", kFolder, ""},
            {"./ZentaIM.app/Contents", 040555, ""},
            {"./ZentaIM.app/Contents/Info.plist", 0100644, "two"},
            {"./ZentaIM.app/Contents/run", 0104755, "#!"},
            {"./ZentaIM.app/Contents/拼音.txt", 0100600, "nǐ hǎo", 7},
            {"./ZentaIM.app/Contents/same", 0100600, "nǐ hǎo", 7},
            {"./ZentaIM.app/run", kLink, "Contents/run"},
            {"./ZentaIM.app/Contents/up", kLink, "../run"}};
  }

  fs::path machine_;
};

TEST_F(HostInstallerTest, ReplacesTheBundleAsAWholeAndNothingElse) {
  const PackageFiles component = ComponentPackage(VersionTwo());
  PackageFiles product = {{"Distribution",
                           "<installer-gui-script><title>Zenta 2</title><pkg-ref id='x'/>"
                           "<pkg-ref id='x'>#My%20IM.pkg</pkg-ref></installer-gui-script>"}};
  for (const auto& [name, contents] : component)
    product.emplace_back("My IM.pkg/" + name, contents);
  std::vector<PackageFiles> packages = {component, product};
  for (const int filter : {ARCHIVE_FILTER_NONE, ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_XZ}) {
    packages.push_back(ComponentPackage(VersionTwo(), "Library/Input Methods/", filter));
  }
  const Snapshot before = Installed();
  for (const PackageFiles& package : packages) {
    SCOPED_TRACE(&package - packages.data());
    Put(App() / "Contents/stale", "one");
    WriteXar(Package(), package);
    const Finished finished = Run();
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(finished.out, "installer: Package name is " +
                                std::string(&package == &packages[1] ? "Zenta 2" : "update") +
                                "\ninstaller: Installing at base path /\n"
                                "installer: The install was successful.\n");
    Snapshot want = before;
    const std::string app = "Library/Input Methods/ZentaIM.app";
    want.erase(app + "/Contents/stale");
    want[app] = "493 ";
    want[app + "/Contents"] = "493 ";  // the owner may always change a folder
    want[app + "/Contents/Info.plist"] = "420 two";
    want[app + "/Contents/run"] = "493 #!";  // and nothing runs with another user's rights
    want[app + "/Contents/拼音.txt"] = want[app + "/Contents/same"] = "384 nǐ hǎo";
    want[app + "/run"] = "511 -> Contents/run";
    want[app + "/Contents/up"] = "511 -> ../run";
    EXPECT_EQ(Installed(), want);
    EXPECT_EQ(fs::hard_link_count(App() / "Contents/same"), 2u);
  }
}

TEST_F(HostInstallerTest, MergesPlainFoldersAndInstallsWhereNothingIsYet) {
  for (const char* location : {"/", "", "/opt/new/place"}) {
    SCOPED_TRACE(location);
    const fs::path base = machine_ / fs::path(location).relative_path();
    Put(base / "usr/share/list", "old");
    WriteXar(Package(), ComponentPackage({{"usr/share/list", 0100644, "new"},
                                          {"usr/share/more/deep", 0100644, "deep"},
                                          {"Library/Input Methods/Third.app/x", 0100644, "third"}},
                                         location));
    EXPECT_EQ(Run().status, 0);
    EXPECT_EQ(Contents(base / "usr/share/list"), "new");
    EXPECT_EQ(Contents(base / "usr/share/more/deep"), "deep");
    EXPECT_EQ(Contents(base / "Library/Input Methods/Third.app/x"), "third");
    EXPECT_TRUE(HasOneWholeVersion());
  }
}

TEST_F(HostInstallerTest, RefusesHostilePayloads) {
  const struct {
    const char* reason;
    std::vector<PayloadEntry> entries;
  } rows[] = {
      {"leaves the target", {{"../evil"}}},
      {"leaves the target", {{"ZentaIM.app/../../../evil"}}},
      {"leaves the target", {{"/Library/evil"}}},
      {"too long", {{std::string(256, 'n')}}},
      {"too long",
       {{[] {
           std::string deep;
           for (int i = 0; i < 65; ++i) deep += "d/";
           return deep;
         }(),
         kFolder}}},
      {"links to /etc", {{"l", kLink, "/etc"}}},
      {"links to ", {{"l", kLink, ""}}},
      {"links to ..", {{"l", kLink, ".."}}},
      {"links to ../../x", {{"a/l", kLink, "../../x"}}},
      {"links to a/../../..", {{"a/b", kFolder}, {"b/l", kLink, "a/../../.."}}},
      {"lies behind", {{"l", kLink, "a"}, {"a", kFolder}, {"l/x"}}},
      {"lies behind", {{"a/l", kLink, ".."}, {"a/l/l/x"}}},
      {"lies behind", {{"f"}, {"f/x"}}},
      {"hard link", {{"l", kLink, "a", 5}, {"x", 0100644, "data", 5}}},
      {"neither a file", {{"null", 020666}}},
      {"neither a file", {{"disk", 060666}}},
      {"neither a file", {{"pipe", 010666}}},
      {"there twice", {{"a"}, {"./a"}}},
      {"there twice", {{"a", kFolder}, {"a", kLink, "b"}}},
      {"there twice", {{"a/b"}, {"a", kFolder}, {"a//"}}},
      {"root is a folder", {{".", kLink, "a"}}},
      {"another kind", {{"Other.app/x"}, {"ZentaIM.app", 0100644}}},
      {"another kind", {{"ZentaIM.app/x"}, {"Plain/x"}}},
  };
  Put(InputMethods() / "Plain", "a file where a package has a folder");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason + std::string(" ") + row.entries.back().path);
    WriteXar(Package(), ComponentPackage(row.entries));
    ExpectRefused(row.reason);
  }
}

TEST_F(HostInstallerTest, RefusesWhatIsNoPackage) {
  const std::string info = PackageInfoFor("/"), payload = Cpio({{"x"}});
  const std::string product =
      "<installer-gui-script><pkg-ref>#a.pkg</pkg-ref></installer-gui-script>";
  const struct {
    const char* reason;
    PackageFiles files;
  } rows[] = {
      {"no PackageInfo", {{"Payload", payload}}},
      {"no PackageInfo in a.pkg",
       {{"Distribution", product}, {"PackageInfo", info}, {"Payload", payload}}},
      {"names no component", {{"Distribution", "<installer-gui-script/>"}, {"PackageInfo", info}}},
      {"PackageInfo is not valid", {{"PackageInfo", "<pkg-info"}, {"Payload", payload}}},
      {"PackageInfo is not valid", {{"PackageInfo", "<other/>"}, {"Payload", payload}}},
      {"PackageInfo is not valid", {{"PackageInfo", ""}, {"Payload", payload}}},
      {"XML is too long", {{"PackageInfo", std::string((1 << 20) + 1, ' ')}, {"Payload", payload}}},
      {"leaves the target", {{"PackageInfo", PackageInfoFor("/a/../..")}, {"Payload", payload}}},
      {"no folder", {{"PackageInfo", PackageInfoFor("/tmp/x")}, {"Payload", payload}}},
      {"no Payload", {{"PackageInfo", info}}},
      {"payload", {{"PackageInfo", info}, {"Payload", ""}}},
      {"payload", {{"PackageInfo", info}, {"Payload", "no cpio archive at all"}}},
      {"compressed twice",
       {{"PackageInfo", info},
        {"Payload", Compressed(Compressed(payload, ARCHIVE_FILTER_GZIP), ARCHIVE_FILTER_BZIP2)}}},
  };
  fs::create_directory_symlink("/", machine_ / "tmp");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason);
    WriteXar(Package(), row.files);
    ExpectRefused(row.reason);
  }
  Put(Package(), "not an archive");
  ExpectRefused("cannot be read");
  fs::remove(Package());
  ExpectRefused("the package path specified was invalid: '/Library/Caches/update.pkg'.");
}

// What comes out is the whole new version or the whole old one. (A changed byte without checksums
// may make a different package of it, but a valid one.)
TEST_F(HostInstallerTest, SurvivesEveryTruncationAndEveryChangedByte) {
  constexpr std::size_t kSpare = 20;  // bytes that libarchive writes at the end and nobody needs
  for (const bool checksums : {true, false}) {
    WriteXar(Package(), ComponentPackage(VersionTwo()), checksums);
    const std::string whole = Contents(Package());
    Renamer renamer;
    for (std::size_t i = 0; i < whole.size(); ++i) {
      SCOPED_TRACE(i);
      const Snapshot before = Installed();
      Put(Package(), whole.substr(0, i));
      ASSERT_EQ(InstallHere(renamer), i + kSpare >= whole.size());
      ASSERT_TRUE(HasOneWholeVersion());
      if (Installed() != before) PutVersionOne();
      std::string changed = whole;
      changed[i] = static_cast<char>(changed[i] ^ (1 << i % 8));
      Put(Package(), changed);
      const bool installed = InstallHere(renamer);
      ASSERT_TRUE(installed || Installed() == before);
      ASSERT_TRUE(!checksums || HasOneWholeVersion());
      if (installed) PutVersionOne();
    }
  }
}

TEST_F(HostInstallerTest, PutsEverythingBackWhicheverRenameFails) {
  Put(InputMethods() / "list", "old");
  std::vector<PayloadEntry> entries = VersionTwo();
  entries.push_back({"./list", 0100644, "new"});
  entries.push_back({"./Another.app/x", 0100644, "x"});
  WriteXar(Package(), ComponentPackage(entries));
  const Snapshot before = Installed();
  for (const bool can_exchange : {true, false}) {
    bool installed = false;
    for (int k = 0; !installed; ++k) {
      ASSERT_LT(k, 20);
      SCOPED_TRACE(k);
      FailingRenamer renamer;
      renamer.fail_at = k;
      renamer.can_exchange = can_exchange;
      installed = InstallHere(renamer);
      if (installed) {
        EXPECT_EQ(k, can_exchange ? 3 : 5);
      } else {
        ASSERT_EQ(Installed(), before);
      }
    }
    EXPECT_EQ(Contents(InputMethods() / "list"), "new");
    EXPECT_TRUE(HasOneWholeVersion());
    fs::remove_all(InputMethods() / "Another.app");
    Put(InputMethods() / "list", "old");
    PutVersionOne();
  }
}

// The process dies before its k-th rename. The next installation, though it fails itself, finds
// what the first has left, puts back what is missing and removes the rest.
TEST_F(HostInstallerTest, ACrashLeavesOneWholeVersion) {
  for (const bool can_exchange : {true, false}) {
    for (int k = 0, status = 9; status == 9; ++k) {
      SCOPED_TRACE(k);
      WriteXar(Package(), ComponentPackage(VersionTwo()));
      const pid_t child = fork();
      if (child == 0) {
        FailingRenamer renamer;
        renamer.fail_at = k;
        renamer.can_exchange = can_exchange;
        renamer.instead = [] { _exit(9); };
        _exit(InstallHere(renamer) ? 0 : 1);
      }
      waitpid(child, &status, 0);
      status = WEXITSTATUS(status);
      EXPECT_TRUE(HasOneWholeVersion() || !can_exchange);
      WriteXar(Package(), ComponentPackage({{"../evil"}}));
      EXPECT_EQ(Run().status, 1);
      EXPECT_TRUE(HasOneWholeVersion());
      EXPECT_EQ(std::distance(fs::directory_iterator(InputMethods()), {}), 2);
    }
  }
}

TEST_F(HostInstallerTest, AFullDiskChangesNothing) {
  std::vector<PayloadEntry> entries = VersionTwo();
  entries.push_back({"./ZentaIM.app/big", 0100644, std::string(1 << 20, 'x')});
  WriteXar(Package(), ComponentPackage(entries));
  const Snapshot before = Installed();
  EXPECT_EQ(Run({.max_file_bytes = 65536}).status, 1);
  EXPECT_EQ(Installed(), before);
}

TEST_F(HostInstallerTest, OneInstallationRunsAtATime) {
  WriteXar(Package(), ComponentPackage(VersionTwo()));
  const int lock = open(machine_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  ExpectRefused("another installation is running");
  close(lock);
  EXPECT_EQ(Run().status, 0);
}

TEST_F(HostInstallerTest, SaysHowToBeCalled) {
  const struct {
    int status;
    const char *out, *err;
    std::vector<std::string> arguments;
  } rows[] = {
      {0, "usage: ", "", {"-help"}},
      {1, "", "usage: ", {}},
      {1, "", "usage: ", {"-pkg"}},
      {1, "", "usage: ", {"-pkg", "/x.pkg"}},
      {1, "", "usage: ", {"-pkg", "/x.pkg", "-target", "/", "-more"}},
      {1, "", "the target is not /: /Volumes/B", {"-pkg", "/x.pkg", "-target", "/Volumes/B"}},
      {1, "", "No such file", {"-pkg", "/x.pkg", "-target", "/"}},
  };
  for (const auto& row : rows) {
    std::vector<std::string> command = {ZENTA_HOST_INSTALLER};
    command.insert(command.end(), row.arguments.begin(), row.arguments.end());
    const Finished finished =
        RunProgram(command, {.environment = {{"ZENTA_MACHINE", machine_ / "missing"}}});
    EXPECT_EQ(finished.status, row.status);
    EXPECT_THAT(finished.out, HasSubstr(row.out));
    EXPECT_THAT(finished.err, HasSubstr(row.err));
  }
}

}  // namespace
}  // namespace zenta

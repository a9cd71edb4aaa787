#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/signing_config.h"
#include "tests/temp_folder.h"
#include "tests/tools/flat_package_reader.h"
#include "tests/tools/subprocess.h"
#include "tools/packaging/gzip_writer.h"
#include "tools/signing/signer.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using signing::AlphabetCodec;
using signing::Bytes;
using signing::Fingerprint;
using signing::ReadSigningConfig;
using signing::SigningConfig;
using testing::AllOf;
using testing::HasSubstr;
using testing::UnorderedElementsAre;
using tools::Finished;
using tools::ReadArchive;
using tools::ReadEntry;
using tools::RunOptions;
using tools::RunProgram;

const RunOptions kDated{.environment = {{"SOURCE_DATE_EPOCH", "1234567890"}}};

std::set<std::string> Names(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

// Sends the program a signal as soon as `due()` is true, unless it ends before.
std::function<void(pid_t)> SignalWhen(std::function<bool()> due, int signal) {
  return [due = std::move(due), signal](pid_t program) {
    siginfo_t ended{};
    while (!due() && ended.si_pid == 0) {
      usleep(100);
      waitid(P_PID, static_cast<id_t>(program), &ended, WEXITED | WNOHANG | WNOWAIT);
    }
    if (ended.si_pid == 0) kill(program, signal);
  };
}

class ZentactlTest : public testing::Test, protected TempFolder {
 protected:
  static Finished Do(std::vector<std::string> arguments, const RunOptions& options = {}) {
    arguments.insert(arguments.begin(), ZENTACTL);
    return RunProgram(std::move(arguments), options);
  }
  // Expects success.
  static std::string Out(std::vector<std::string> arguments, const RunOptions& options = {}) {
    const Finished done = Do(std::move(arguments), options);
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.err, "");
    return done.out;
  }
  // Expects a failure that says nothing on standard output.
  static std::string Error(std::vector<std::string> arguments, const RunOptions& options = {}) {
    const Finished done = Do(std::move(arguments), options);
    EXPECT_EQ(done.status, 2) << done.out;
    EXPECT_EQ(done.out, "");
    return done.err;
  }
  [[nodiscard]] SigningConfig Config(const std::string& keys) const {
    const auto read = ReadSigningConfig(At(keys + "/signing.conf"));
    EXPECT_TRUE(std::holds_alternative<SigningConfig>(read));
    return std::get<SigningConfig>(read);
  }
  [[nodiscard]] Finished Sign(const std::string& package, const RunOptions& options = {}) const {
    return Do(
        {"sign", package, "--key", At("keys/private-key.pem"), "--config", At("keys/signing.conf")},
        options);
  }
};

TEST_F(ZentactlTest, KeygenMakesASecretKeyAndTheConfigurationThatTrustsIt) {
  const std::string out = Out({"keygen", "--out", At("keys")});
  EXPECT_EQ(fs::status(At("keys/private-key.pem")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  const SigningConfig config = Config("keys");
  EXPECT_THAT(out, HasSubstr(Fingerprint(config.modulus)));
  EXPECT_FALSE(config.development);
  EXPECT_EQ(config.exponent, 65537u);

  Out({"keygen", "--out", At("others")});
  const SigningConfig other = Config("others");
  EXPECT_NE(config.modulus, other.modulus);
  EXPECT_NE(config.alphabet, other.alphabet);
  EXPECT_NE(config.value, other.value);
}

TEST_F(ZentactlTest, KeygenOverwritesNothingAndLeavesNoHalfPair) {
  for (const char* const present : {"private-key.pem", "signing.conf"}) {
    SCOPED_TRACE(present);
    const std::string keys = std::string("keys-") + present;
    Put(keys + "/" + present, "mine");
    EXPECT_THAT(Error({"keygen", "--out", At(keys)}), HasSubstr("File exists"));
    EXPECT_EQ(Names(At(keys)), std::set<std::string>{present});
    EXPECT_EQ(Get(keys + "/" + present), "mine");
  }
  // The configuration has about 500 bytes and the key more, so the disk is full before the key is
  // whole.
  Error({"keygen", "--out", At("full")}, {.max_file_bytes = 700});
  EXPECT_EQ(Names(At("full")), std::set<std::string>{});
}

TEST_F(ZentactlTest, WhatSignWritesVerifies) {
  Out({"keygen", "--out", At("keys")});
  for (const std::size_t size : {1u, 4095u, 4096u, 4097u, 300000u}) {
    SCOPED_TRACE(size);
    const std::string package = Put("p/update.pkg", std::string(size, 'x'));
    const std::string digest_file = Put("p/inputPkg.txt", "an old one");
    EXPECT_EQ(Sign(package).status, 0);
    EXPECT_THAT(Names(At("p")), UnorderedElementsAre("update.pkg", "inputPkg.txt"));
    EXPECT_THAT(Out({"verify", package, digest_file, "--config", At("keys/signing.conf")}),
                HasSubstr("good"));
  }
}

TEST_F(ZentactlTest, SignThatFailsLeavesTheOldDigestFile) {
  Out({"keygen", "--out", At("keys")});
  Put("p/update.pkg", "package");
  Put("p/inputPkg.txt", "old");
  Put("rubbish.pem", "rubbish");
  const std::string key = At("keys/private-key.pem");
  const std::string package = At("p/update.pkg"), config = At("keys/signing.conf");
  const struct {
    std::vector<std::string> arguments;
    std::string error;
  } rows[] = {
      {{package, "--key", key}, "the key does not belong to the configuration"},
      {{package, "--key", At("rubbish.pem")}, "not an unencrypted private key"},
      {{package, "--key", At("none.pem")}, "none.pem: No such file"},
      {{package, "--key", key, "--config", At("rubbish.pem")}, "rubbish.pem"},
      {{package, "--key", key, "--config", config, "--out", "/dev/null"},
       "/dev/null is not a regular file"},
      {{At("p/none.pkg"), "--key", key, "--config", config}, "No such file"},
      {{Put("empty.pkg", ""), "--key", key, "--config", config}, "empty.pkg is empty"},
      {{At("p"), "--key", key, "--config", config}, "not a regular file"},
  };
  for (auto [arguments, error] : rows) {
    arguments.insert(arguments.begin(), "sign");
    EXPECT_THAT(Error(arguments), HasSubstr(error));
  }
  const Finished full_disk = Sign(At("p/update.pkg"), {.max_file_bytes = 100});
  EXPECT_EQ(full_disk.status, 2);
  EXPECT_THAT(full_disk.err, HasSubstr("cannot write " + At("p/inputPkg.txt: ")));
  EXPECT_THAT(Names(At("p")), UnorderedElementsAre("update.pkg", "inputPkg.txt"));
  EXPECT_EQ(Get("p/inputPkg.txt"), "old");
  EXPECT_EQ(Get("p/update.pkg"), "package");
}

TEST_F(ZentactlTest, NoCommandWritesOverItsInputs) {
  Out({"keygen", "--out", At("keys")});
  Put("p/update.pkg", "package");
  Put("data", "data");
  fs::copy(ZENTA_EXAMPLE_TRACE, At("trace.jsonl"));
  fs::copy(ZENTA_EXAMPLE_APP, At("Z.app"), fs::copy_options::recursive);
  fs::create_symlink("Contents/Resources/phrases.txt", At("Z.app/link"));
  const std::string key = At("keys/private-key.pem"), config = At("keys/signing.conf");
  const std::pair<std::vector<std::string>, std::vector<std::string>> rows[] = {
      {{"sign", At("p/update.pkg"), "--key", key, "--config", config, "--out"},
       {"p/update.pkg", "keys/private-key.pem", "keys/signing.conf"}},
      {{"pack", At("Z.app"), "--out"},
       {"Z.app/Contents/Info.plist", "Z.app/Contents/Resources/phrases.txt", "Z.app/link"}},
      {{"dump", At("data"), "--name", "T", "--bits", "32", "--out"}, {"data"}},
      {{"trace", At("trace.jsonl"), "--svg"}, {"trace.jsonl"}},
  };
  for (const auto& [command, inputs] : rows) {
    for (const std::string& input : inputs) {
      fs::create_symlink(At(input), At("soft"));
      fs::create_hard_link(At(input), At("hard"));
      const std::string before = Get(input);
      for (const std::string& out :
           {input, "p/../" + input, std::string("soft"), std::string("hard")}) {
        std::vector<std::string> arguments = command;
        arguments.push_back(At(out));
        EXPECT_THAT(Error(arguments), HasSubstr(out + " is an input"));
        EXPECT_EQ(Get(input), before);
        EXPECT_EQ(fs::is_symlink(At(input)), input == "Z.app/link");
      }
      fs::remove(At("soft"));
      fs::remove(At("hard"));
    }
  }
  const std::string dangling = At("Z.app/dangling"), by_default = At("p/inputPkg.txt");
  fs::create_symlink("nowhere", dangling);
  EXPECT_THAT(Error({"pack", At("Z.app"), "--out", dangling}), HasSubstr("is an input"));
  fs::rename(config, by_default);
  EXPECT_THAT(Error({"sign", At("p/update.pkg"), "--key", key, "--config", by_default}),
              HasSubstr("is an input"));
}

// A command is at work once its temporary file is there.
TEST_F(ZentactlTest, SignalThatEndsACommandIsItsStatusAndLeavesNothing) {
  Out({"keygen", "--out", At("keys")});
  const std::string big = Put("big", "");
  fs::resize_file(big, 256 << 20);
  fs::copy(ZENTA_EXAMPLE_APP, At("Z.app"), fs::copy_options::recursive);
  fs::create_hard_link(big, At("Z.app/Contents/big"));
  Put("out/file", "old");
  const std::vector<std::string> rows[] = {
      {"sign", big, "--key", At("keys/private-key.pem"), "--config", At("keys/signing.conf")},
      {"pack", At("Z.app")},
      {"dump", big, "--name", "T", "--bits", "32"},
  };
  for (const int signal : {SIGINT, SIGTERM}) {
    for (std::vector<std::string> arguments : rows) {
      SCOPED_TRACE(arguments[0]);
      arguments.insert(arguments.end(), {"--out", At("out/file")});
      const auto at_work = [&] { return Names(At("out")).size() > 1; };
      EXPECT_EQ(Do(arguments, {.meanwhile = SignalWhen(at_work, signal)}).status, 128 + signal);
      EXPECT_EQ(Names(At("out")), std::set<std::string>{"file"});
      EXPECT_EQ(Get("out/file"), "old");
    }
    // A key is made quickly: both files may be whole before the signal arrives.
    const auto begun = [&] { return fs::exists(At("new/private-key.pem")); };
    Do({"keygen", "--out", At("new")}, {.meanwhile = SignalWhen(begun, signal)});
    EXPECT_NE(Names(At("new")).size(), 1u);
    fs::remove_all(At("new"));
  }
}

TEST_F(ZentactlTest, ProgressOfMoreThanHalfASecondIsShownOnATerminal) {
  const std::string small = Put("small", "x"), big = Put("big", "");
  fs::resize_file(big, std::uintmax_t{1} << 30);
  const std::string shown_while = "verifying ", wiped = "\r\x1b[K";
  const struct {
    std::vector<std::string> arguments;
    bool shown;
  } rows[] = {
      {{"verify", small, small}, false},
      {{"verify", big, small}, true},
      {{"verify", big, small, "--quiet"}, false},
  };
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const std::string name = ptsname(terminal);
  const int kept_open = open(name.c_str(), O_RDWR | O_NOCTTY);
  for (const auto& row : rows) {
    EXPECT_EQ(Do(row.arguments, {.err = name.c_str()}).status, 1);
    std::array<char, 65536> shown{};
    EXPECT_GT(read(terminal, shown.data(), shown.size() - 1), 0);
    const std::string text = shown.data();
    EXPECT_EQ(text.find(shown_while) != text.npos, row.shown) << text;
    EXPECT_EQ(text.find(wiped) != text.npos, row.shown) << text;
  }
  close(kept_open);
  close(terminal);
}

TEST_F(ZentactlTest, VerifySaysWhichStepRefuses) {
  Out({"keygen", "--out", At("keys")});
  Put("p/update.pkg", "package");
  ASSERT_EQ(Sign(At("p/update.pkg")).status, 0);
  const std::string good = Get("p/inputPkg.txt");
  const SigningConfig config = Config("keys");
  const AlphabetCodec codec(config.alphabet, config.value);
  const std::string altered = good.substr(0, 20) + (good[20] == 'a' ? "b" : "a") + good.substr(21);
  const std::pair<std::string, std::string> rows[] = {
      {"", "empty"},
      {" \r\n", "empty"},
      {good.substr(0, 5) + "!" + good.substr(5), "foreign character '!' at position 6"},
      {good + "\x01", "foreign character '\\x01' at position 172"},
      {good.substr(0, 120), "too short: it decodes to 90 bytes, a signature has 128"},
      {good.substr(0, 121), "does not decode"},
      {codec.Encode(Bytes(129, 1)), "too long: it decodes to 129 bytes"},
      {codec.Encode(Bytes(128, 0xFF)), "above the key's modulus"},
      {codec.Encode(Bytes(128, 1)), "wrong padding"},
      {altered, "altered"},
  };
  const auto verify = [&](const std::string& package, const std::string& digest_file) {
    return Do({"verify", At(package), At(digest_file), "--config", At("keys/signing.conf")});
  };
  for (const auto& [text, error] : rows) {
    Put("p/bad.txt", text);
    const Finished done = verify("p/update.pkg", "p/bad.txt");
    EXPECT_EQ(done.status, 1) << error;
    EXPECT_THAT(done.err, AllOf(HasSubstr(error),
                                HasSubstr("expected is the key " + Fingerprint(config.modulus))));
  }
  Put("p/bad.txt", std::string(70000, 'a'));
  EXPECT_THAT(verify("p/update.pkg", "p/bad.txt").err, HasSubstr("it has over 65536 bytes"));
  EXPECT_THAT(verify("p/none.pkg", "p/inputPkg.txt").err, HasSubstr("none.pkg: No such file"));
  EXPECT_THAT(verify("p/update.pkg", "p/none.txt").err, HasSubstr("none.txt: No such file"));
  Put("p/update.pkg", "Package");
  EXPECT_THAT(verify("p/update.pkg", "p/inputPkg.txt").err,  // md5sum of the two texts
              AllOf(HasSubstr("signed: efe90a8e604a7c840e88d03a67f6b7d8"), HasSubstr("package: ")));
}

TEST_F(ZentactlTest, PackKeepsTheTree) {
  const fs::path folder = At(""), app = folder / "ZentaIM.app";
  fs::copy(ZENTA_EXAMPLE_APP, app, fs::copy_options::recursive);
  Put("ZentaIM.app/Contents/Resources/empty.txt", "");
  Put("ZentaIM.app/Contents/Resources/词库.txt", std::string(300000, '\x7f'));
  fs::create_directory(app / "Contents/Frameworks");
  fs::create_symlink("../Resources/phrases.txt", app / "Contents/Frameworks/link");
  fs::permissions(app / "Contents/Resources/empty.txt", fs::perms::owner_read);
  Put("out.pkg", "old");
  Out({"pack", app.string() + "/", "--out", At("out.pkg")}, kDated);

  const auto parts = ReadArchive(Get("out.pkg"));
  std::string names;
  for (const ReadEntry& part : parts) names += part.name + " ";
  ASSERT_EQ(names, "Bom PackageInfo Payload ");

  std::map<std::string, ReadEntry> payload;
  for (const ReadEntry& entry : ReadArchive(parts[2].contents)) payload[entry.name] = entry;
  EXPECT_EQ(payload.erase("."), 1u);
  std::size_t found = 0;
  for (const auto& child : fs::recursive_directory_iterator(folder)) {
    const std::string name = "./" + child.path().lexically_relative(folder).string();
    if (!name.starts_with("./ZentaIM.app")) continue;
    SCOPED_TRACE(name);
    const ReadEntry& entry = payload[name];
    struct stat status;
    ASSERT_EQ(lstat(child.path().c_str(), &status), 0);
    EXPECT_EQ(entry.mode, status.st_mode);
    EXPECT_EQ(entry.owner, 0);
    EXPECT_EQ(entry.modified, 1234567890);
    if (child.is_symlink()) {
      EXPECT_EQ(entry.link_target, fs::read_symlink(child.path()));
    } else if (child.is_regular_file()) {
      EXPECT_TRUE(entry.contents == Get(child.path()));
    }
    ++found;
  }
  EXPECT_EQ(payload.size(), found);
  EXPECT_THAT(parts[1].contents,
              AllOf(HasSubstr("identifier=\"com.zenta.inputmethod.ZentaIM\" version=\"1.0\""),
                    HasSubstr("install-location=\"/Library/Input Methods\""),
                    HasSubstr("numberOfFiles=\"" + std::to_string(found + 1) + "\"")));
}

// The folder, the times, the order in which files were made, and further names of a file do not
// matter.
TEST_F(ZentactlTest, EqualBundlesMakeEqualPackages) {
  for (const std::string folder : {"one", "another/deeper"}) {
    std::vector<std::string> names = {"a", "B", "é", "c"};
    if (folder == "one") std::reverse(names.begin(), names.end());
    const std::string bundle = folder + "/ZentaIM.app", contents = bundle + "/Contents/";
    for (const std::string& name : names) Put(fs::path(contents) / name, name);
    fs::copy(ZENTA_EXAMPLE_APP, At(bundle), fs::copy_options::recursive);
    fs::create_symlink("Contents/a", At(bundle + "/link"));
  }
  const fs::path file = At("one/ZentaIM.app/Contents/a");
  fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1));
  fs::create_hard_link(file, At("elsewhere"));
  fs::create_directory_symlink("another/deeper", At("way"));
  Out({"pack", At("one/ZentaIM.app"), "--out", At("one.pkg")}, kDated);
  Out({"pack", At("way/ZentaIM.app"), "--out", At("another.pkg")}, kDated);
  const std::string package = Get("one.pkg");
  EXPECT_TRUE(package == Get("another.pkg"));
  EXPECT_THAT(package, HasSubstr("<creation-time>2009-02-13T23:31:30<"));
}

TEST_F(ZentactlTest, GzipIsReadByTheSystemsOwnAndIndependentOfThreads) {
  constexpr std::size_t kBlock = packaging::GzipWriter::kBlockBytes;
  std::string plain;
  for (std::uint32_t i = 0; plain.size() < 3 * kBlock + 100; ++i) {
    plain += i % 7 == 0 ? std::to_string(i * 2654435761u) : "the same ";
  }
  for (const std::size_t size : {std::size_t{0}, kBlock - 1, kBlock, kBlock + 1, plain.size()}) {
    SCOPED_TRACE(size);
    std::set<std::string> made;
    for (const unsigned threads : {1u, 2u, 5u}) {
      std::string bytes;
      packaging::GzipWriter writer([&](std::string_view more) { bytes += more; }, threads);
      writer.Write(plain.substr(0, size / 3));
      writer.Write(plain.substr(size / 3, size - size / 3));
      writer.Finish();
      made.insert(bytes);
    }
    ASSERT_EQ(made.size(), 1u);
    const std::string file = Put("file.gz", *made.begin());
    const Finished unpacked = RunProgram({"/bin/sh", "-c", "gzip -dc <" + file});
    EXPECT_EQ(unpacked.status, 0) << unpacked.err;
    EXPECT_TRUE(unpacked.out == plain.substr(0, size));
  }
}

TEST_F(ZentactlTest, PackTakesValuesFromTheCommandLineAndEscapesThem) {
  Out({"pack", ZENTA_EXAMPLE_APP, "--out", At("out.pkg"), "--identifier", "a&b", "--version",
       "<\"2\">", "--install-location", "/Applications"});
  EXPECT_THAT(ReadArchive(Get("out.pkg"))[1].contents,
              AllOf(HasSubstr("identifier=\"a&amp;b\" version=\"&lt;&quot;2&quot;&gt;\""),
                    HasSubstr("install-location=\"/Applications\"")));
}

TEST_F(ZentactlTest, PackThatFailsLeavesTheOldPackage) {
  const std::string info = "Contents/Info.plist";
  Put("Broken.app/" + info, "<plist><dict>");
  Put("List.app/" + info, "<plist version=\"1.0\"><array/></plist>");
  Put("Bare.app/" + info, "<plist version=\"1.0\"><dict/></plist>");
  fs::copy(ZENTA_EXAMPLE_APP, At("Pipe.app"), fs::copy_options::recursive);
  ASSERT_EQ(mkfifo(At("Pipe.app/Contents/pipe").c_str(), 0600), 0);
  std::string deepest = "Contents";  // the bundle's own folder is the first of 64
  for (int depth = 3; depth <= 64; ++depth) deepest += "/d";
  const auto with = [&](const std::string& name, const std::string& path, const char* link) {
    fs::copy(ZENTA_EXAMPLE_APP, At(name), fs::copy_options::recursive);
    const fs::path whole = fs::path(At(name)) / path;
    fs::create_directories(whole.parent_path());
    link == nullptr ? (void)fs::create_directory(whole) : fs::create_symlink(link, whole);
    return At(name);
  };
  Out({"pack", with("Deep.app", deepest, nullptr), "--out", At("deep.pkg")});
  Out({"pack", with("Up.app", "Contents/l", "../../else"), "--out", At("up.pkg")});
  const std::string big = with("Big.app", "Contents/big", nullptr);
  for (const std::string name : {"a", "b", "c"}) {
    fs::resize_file(Put("Big.app/Contents/big/" + name, ""), std::uintmax_t{6} << 30);
  }
  Put("out/old.pkg", "old");
  const struct {
    std::string bundle;
    std::vector<std::string> options;
    std::string error;
    RunOptions run = {};
  } rows[] = {
      {At("None.app"), {}, "not a folder"},
      {At("out"), {}, "Info.plist: No such file"},
      {At("Broken.app"), {}, "no property list"},
      {At("List.app"), {}, "no property list with a dictionary"},
      {At("Bare.app"), {}, "states no identifier"},
      {At("Bare.app"), {"--identifier", "a"}, "states no version"},
      {At("Pipe.app"), {}, "pipe is neither a file nor a folder nor a symbolic link"},
      {with("Deeper.app", deepest + "/d", nullptr), {}, "/d/d: its path"},
      {with("Out.app", "Contents/l", "../../../else"),
       {},
       "l -> ../../../else: the link leads out"},
      {with("Absolute.app", "l", "/etc"), {}, "Absolute.app/l -> /etc: the link"},
      {with("Named.app", "Contents/.zenta-installer-x", nullptr), {}, "a name of the installer's"},
      {with("Turned\u202E.app", "l", "/etc"), {}, "Turned\\u{202E}.app/l -> /etc"},
      {big, {}, "17179869184 bytes"},
      {with("Long.app", "l", std::string(1025, 'x').c_str()), {}, "the link"},
      {ZENTA_EXAMPLE_APP, {"--version", "1\n2"}, "control character"},
      {ZENTA_EXAMPLE_APP, {"--install-location", "Library"}, "no absolute path"},
      {ZENTA_EXAMPLE_APP, {"--install-location", "/a/../b"}, "leads upwards"},
      {ZENTA_EXAMPLE_APP, {}, "SOURCE_DATE_EPOCH", {.environment = {{"SOURCE_DATE_EPOCH", "x"}}}},
      {ZENTA_EXAMPLE_APP, {}, "cannot write", {.max_file_bytes = 1000}},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments{"pack", row.bundle, "--out", At("out/old.pkg")};
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    EXPECT_THAT(Error(arguments, row.run), HasSubstr(row.error));
    EXPECT_EQ(Names(At("out")), std::set<std::string>{"old.pkg"});
    EXPECT_EQ(Get("out/old.pkg"), "old");
  }
}

TEST_F(ZentactlTest, LooksIntoPackages) {
  fs::copy(ZENTA_EXAMPLE_APP, At("Z.app"), fs::copy_options::recursive);
  fs::create_symlink("Resources", At("Z.app/Contents/link"));
  Put("Z.app/Contents/abc", "abc");
  const std::string package = At("p/z.pkg");
  fs::create_directory(At("p"));
  Out({"pack", At("Z.app"), "--out", package, "--version", "7"});

  const std::string list = Out({"package", "list", package});
  EXPECT_THAT(list, HasSubstr("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"
                              "  ./Z.app/Contents/abc\n"));  // sha256sum of "abc"
  EXPECT_THAT(list, AllOf(HasSubstr("  PackageInfo\n"), HasSubstr("./Z.app/Contents/link -> Res")));
  EXPECT_THAT(Out({"package", "list", package, "--json"}),
              HasSubstr(R"({"path":"./Z.app/Contents/abc","type":"file","mode":"0644","size":3,)"));

  Out({"package", "extract", package, "--out", At("out/")});
  const Finished same = RunProgram({"/usr/bin/diff", "-r", At("Z.app"), At("out/Z.app")});
  EXPECT_EQ(same.status, 0) << same.out;
  EXPECT_TRUE(fs::is_symlink(At("out/Z.app/Contents/link")));

  Out({"keygen", "--out", At("keys")});
  const std::string key = At("keys/private-key.pem"), config = At("keys/signing.conf");
  const std::vector<std::string> info = {"package", "info", package, "--config", config};
  EXPECT_THAT(Out(info), AllOf(HasSubstr("version     7\n"), HasSubstr("there is no inputPkg")));
  Out({"sign", package, "--key", key, "--config", config});
  const std::string fingerprint = Fingerprint(Config("keys").modulus);
  EXPECT_THAT(Out(info), AllOf(HasSubstr("signed       yes"), HasSubstr(fingerprint)));
  EXPECT_THAT(Out({"package", "info", package}), HasSubstr("not by this key"));
  for (const std::string& file : {key, config}) {
    EXPECT_THAT(Out({"key", "show", file}), HasSubstr(fingerprint));
  }
  EXPECT_THAT(Out({"key", "show", "--json"}), HasSubstr("\"development\":true"));

  Put("rubbish", "rubbish");
  std::string damaged = Get("p/z.pkg");
  damaged[damaged.size() - 20] ^= 1;
  Put("damaged.pkg", damaged);
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"list", At("none")}, "none: No such file"},
      {{"list", At("p")}, "no regular file"},
      {{"list", At("rubbish")}, "no XAR archive"},
      {{"list", At("damaged.pkg")}, "damaged.pkg: "},
      {{"info", "-"}, "standard input"},
      {{"extract", At("damaged.pkg"), "--out", At("new")}, "damaged.pkg: "},
      {{"extract", package, "--out", At("out")}, "is there already"},
      {{"extract", package, "--out", At("none/new")}, "cannot make " + At("none/new")},
      {{"extract", package, "--out", At("new"), "--scripts"}, "has no scripts"},
  };
  for (auto [arguments, error] : rows) {
    arguments.insert(arguments.begin(), "package");
    EXPECT_THAT(Error(arguments), HasSubstr(error));
  }
  EXPECT_THAT(Error({"key", "show", At("rubbish")}), HasSubstr("neither a private key"));
  EXPECT_THAT(Names(At("")),
              UnorderedElementsAre("Z.app", "p", "out", "keys", "rubbish", "damaged.pkg"));
}

TEST_F(ZentactlTest, StandardInputAndOutputAreNamedByADash) {
  Out({"keygen", "--out", At("keys")});
  const std::string key = At("keys/private-key.pem"), config = At("keys/signing.conf");
  Out({"pack", ZENTA_EXAMPLE_APP, "--out", At("a.pkg")}, kDated);
  const auto shell = [&](const std::string& line) {
    const Finished done = RunProgram(
        {"/bin/sh", "-c", "cd " + At("") + "; z() { " ZENTACTL " \"$@\"; }; " + line}, kDated);
    EXPECT_EQ(done.status, 0) << line << done.err;
    return done.out;
  };
  shell("z pack " ZENTA_EXAMPLE_APP " --out - > b.pkg");
  EXPECT_TRUE(Get("a.pkg") == Get("b.pkg"));
  shell("z sign - --key keys/private-key.pem --config keys/signing.conf --out - < a.pkg > sig");
  EXPECT_THAT(shell("z verify - sig --config keys/signing.conf < a.pkg"), HasSubstr("good"));
  EXPECT_THAT(shell("z verify a.pkg - --config keys/signing.conf --json < sig"),
              HasSubstr("{\"good\":true,\"package\":\"a.pkg\",\"digest\":\""));
  EXPECT_EQ(shell("z key show - < keys/signing.conf"),
            shell("z key show keys/signing.conf | sed 's|keys/signing.conf|standard input|'"));
  EXPECT_THAT(shell("z dump - --name T --bits 32 --out - < sig"), HasSubstr("const Uint32 T[43]"));
  EXPECT_THAT(shell("z trace - < " ZENTA_EXAMPLE_TRACE), HasSubstr("standard input  (7 lines)"));
  EXPECT_EQ(shell("z pack " ZENTA_EXAMPLE_APP " --out c.pkg --quiet"), "");
  // An input is never overwritten, even if it is standard input.
  EXPECT_THAT(Error({"verify", "-", "-"}), HasSubstr("both"));
  EXPECT_THAT(shell("z dump - --name T --bits 32 --out sig 2>&1 < sig; [ $? = 2 ]"),
              HasSubstr("is an input"));
  // A reader that closes the pipe early makes a write fail, which is reported.
  shell(
      "mkfifo gone; (z dump a.pkg --name T --bits 32 > gone 2> said; echo $? > status) & "
      ": < gone; wait");
  EXPECT_EQ(Get("status"), "2\n");
  EXPECT_THAT(Get("said"), HasSubstr("cannot write to standard output"));
}

TEST_F(ZentactlTest, SaysByItsStatusWhetherItWasMisusedOrFailed) {
  const struct {
    std::vector<std::string> arguments;
    int status;
    RunOptions run = {};
    std::string error = {};
  } rows[] = {
      {{}, 2},
      {{"nothing"}, 2, {}, "zentactl: unknown command 'nothing' ("},
      {{"singn"}, 2, {}, "unknown command 'singn'; did you mean 'sign'?"},
      {{"message", "deocde"},
       2,
       {},
       "zentactl message: unknown command 'deocde'; did you mean 'decode'?"},
      {{"sign", "p", "--kye=k"},
       2,
       {},
       "zentactl sign: unknown option '--kye=k'; did you mean '--key'?"},
      {{"sign", "package"}, 2, {}, "zentactl sign: --key is required"},
      {{"keygen", "--out"}, 2, {}, "zentactl keygen: --out"},
      {{"verify", "a", "b", "c"}, 2, {}, "unexpected argument 'c'"},
      {{"--help"}, 0},
      {{"pack", "--help"}, 0},
      {{"--version"}, 0},
      {{"pack", ZENTA_EXAMPLE_APP, "--out", At("a.pkg")}, 2, {.out = "/dev/full"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    const Finished done = Do(row.arguments, row.run);
    EXPECT_EQ(done.status, row.status);
    EXPECT_THAT(done.err, HasSubstr(row.error));
  }
}

}  // namespace
}  // namespace zenta::zentactl

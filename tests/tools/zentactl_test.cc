#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
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

std::set<std::string> Names(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
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
    EXPECT_EQ(done.status, 1) << done.out;
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
  // The configuration has some 500 bytes, the key more: the disk is full before the key is whole.
  Error({"keygen", "--out", At("full")}, {.max_file_bytes = 700});
  EXPECT_EQ(Names(At("full")), std::set<std::string>{});
}

TEST_F(ZentactlTest, WhatSignWritesVerifies) {
  Out({"keygen", "--out", At("keys")});
  for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 300000u}) {
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
      {{package, "--key", key, "--config", config, "--out", package}, "is an input"},
      {{package, "--key", key, "--config", config, "--out", "/dev/null"},
       "/dev/null is not a regular file"},
      {{At("p/none.pkg"), "--key", key, "--config", config}, "No such file"},
      {{At("p"), "--key", key, "--config", config}, "not a regular file"},
  };
  for (auto [arguments, error] : rows) {
    arguments.insert(arguments.begin(), "sign");
    EXPECT_THAT(Error(arguments), HasSubstr(error));
  }
  const Finished full_disk = Sign(At("p/update.pkg"), {.max_file_bytes = 100});
  EXPECT_EQ(full_disk.status, 1);
  EXPECT_THAT(full_disk.err, HasSubstr("cannot write"));
  EXPECT_THAT(Names(At("p")), UnorderedElementsAre("update.pkg", "inputPkg.txt"));
  EXPECT_EQ(Get("p/inputPkg.txt"), "old");
  EXPECT_EQ(Get("p/update.pkg"), "package");
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
      {std::string(70000, 'a'), "it has over 65536 bytes"},
  };
  const auto verify = [&](const std::string& package, const std::string& digest_file) {
    return Do({"verify", At(package), At(digest_file), "--config", At("keys/signing.conf")});
  };
  for (const auto& [text, error] : rows) {
    Put("p/bad.txt", text);
    const Finished done = verify("p/update.pkg", "p/bad.txt");
    EXPECT_EQ(done.status, 1) << error;
    EXPECT_THAT(done.err, HasSubstr(error));
  }
  EXPECT_THAT(verify("p/none.pkg", "p/inputPkg.txt").err, HasSubstr("none.pkg: No such file"));
  EXPECT_THAT(verify("p/update.pkg", "p/none.txt").err, HasSubstr("none.txt: No such file"));
  Put("p/update.pkg", "Package");
  EXPECT_THAT(
      verify("p/update.pkg", "p/inputPkg.txt").err,  // md5sum of the two texts
      AllOf(HasSubstr("signed:  efe90a8e604a7c840e88d03a67f6b7d8"), HasSubstr("package: ")));
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
  const RunOptions dated{.environment = {{"SOURCE_DATE_EPOCH", "1234567890"}}};
  Out({"pack", app.string() + "/", "--out", At("out.pkg")}, dated);
  Out({"pack", app.string(), "--out", At("later.pkg")}, dated);

  const auto parts = ReadArchive(Get("out.pkg"));
  std::string names;
  for (const ReadEntry& part : parts) names += part.name + " ";
  ASSERT_EQ(names, "Bom PackageInfo Payload ");
  const auto later = ReadArchive(Get("later.pkg"));
  for (const std::size_t part : {1u, 2u}) EXPECT_EQ(parts[part].contents, later[part].contents);

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

TEST_F(ZentactlTest, SaysByItsStatusWhetherItWasMisusedOrFailed) {
  const struct {
    std::vector<std::string> arguments;
    int status;
    RunOptions run = {};
  } rows[] = {
      {{}, 2},
      {{"nothing"}, 2},
      {{"sign", "package"}, 2},
      {{"keygen", "--out"}, 2},
      {{"--help"}, 0},
      {{"pack", "--help"}, 0},
      {{"--version"}, 0},
      {{"pack", ZENTA_EXAMPLE_APP, "--out", At("a.pkg")}, 1, {.out = "/dev/full"}},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Do(row.arguments, row.run).status, row.status)
        << testing::PrintToString(row.arguments);
}

}  // namespace
}  // namespace zenta::zentactl

// A machine in a temporary folder, which is removed with the fixture. Paths are those of the
// machine. Does not include gmock: newer compilers reject its headers in Objective-C++.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <regex>

#include "installer/platform.h"
#include "tests/temp_folder.h"

namespace zenta::installer {

class MachineTest : public testing::Test {
 protected:
  MachineTest() { std::filesystem::create_directory(root_); }

  [[nodiscard]] std::string At(const std::string& path) const { return root_ + path; }
  [[nodiscard]] bool IsThere(const std::string& path) const {
    return exists(std::filesystem::symlink_status(At(path)));
  }
  [[nodiscard]] std::string Contents(const std::string& path) const {
    return folder_.Get(At(path));
  }
  void Put(const std::string& path, const std::string& contents) const {
    create_directories(std::filesystem::path(At(path)).parent_path());
    folder_.Put(At(path), contents);
  }
  // The number of names in a folder.
  [[nodiscard]] std::ptrdiff_t Count(const std::string& folder) const {
    return std::distance(std::filesystem::directory_iterator(At(folder)), {});
  }

  // Creates files of every kind and expects that a platform opens only regular files, closes them
  // again, and removes no folder. `root` is the prefix of the paths that `files` takes.
  void ExpectFilesAreKept(Files& files, const std::string& root) const {
    namespace fs = std::filesystem;
    Put("/folder/file", "ok");
    ASSERT_EQ(mkfifo(At("/pipe").c_str(), 0600), 0);
    for (const std::string name : {"nowhere", "folder", "folder/file"}) {
      fs::create_symlink(name, At("/to " + name.substr(name.find('/') + 1)));
    }
    const std::pair<const char*, std::string> rows[] = {
        {"/missing", "none"},       {"/to nowhere", "none"}, {"/to folder", "shut"},
        {"/to file", "file"},       {"/pipe", "shut"},       {"/folder", "stays"},
        {"/folder/file/x", "none"}, {"/folder/file", "file"}};
    // The first call may open descriptors that stay open, in a library below the platform.
    ASSERT_NE(files.OpenForReading(root + "/folder/file"), nullptr);
    const auto opened = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    const std::ptrdiff_t before = opened();
    for (const auto& [path, kind] : rows) {
      SCOPED_TRACE(path);
      EXPECT_EQ(files.Exists(root + path), kind != "none");
      auto file = files.OpenForReading(root + path);
      EXPECT_EQ(opened(), before + (kind == "file"));
      EXPECT_EQ(file ? signing::ReadAll(*file) : signing::Data(),
                kind == "file" ? signing::Data({'o', 'k'}) : signing::Data());
      file.reset();
      EXPECT_EQ(opened(), before);
      EXPECT_EQ(files.Remove(root + path), kind != "stays");
      EXPECT_EQ(IsThere(path), kind == "stays");
    }
  }

  // Expects that a platform trusts "/in/a/file" only if nobody but root and this user can have put
  // it there, and that the stamp shows every change to an open file.
  void ExpectOnlyOursIsTrusted(Files& files, const std::string& root) const {
    namespace fs = std::filesystem;
    const std::pair<std::string, const char*> rows[] = {
        {"chmod 664 file; touch -d 1901-12-31 file .", ""},
        {"chmod 602 file", "everybody may write it"},
        {"chmod 775 .; chmod 770 ..", ""},
        {"chmod 1777 .; chmod 1777 ..", ""},
        {"chmod 777 .", "everybody may replace files in .*/in/a"},
        {"chmod 777 ..", "everybody may replace files in .*/in"},
        {"chmod 777 ../..", "everybody may replace files in .*"},
        {"ln -sf ../b/file .", ""},
        {"ln -sf ../b/file .; chmod 602 ../b/file", "everybody may write it"},
        {"ln -sf ../b/file .; chmod 777 ../b", "everybody may replace files in .*/in/b"},
        {"chown 1234 file", "it belongs to user 1234"},
        {"ln -sf ../b/file .; chown -h 1234 file", "its name belongs to user 1234"}};
    for (const auto& [command, reason] : rows) {
      SCOPED_TRACE(command);
      if (command.find("chown") != command.npos && geteuid() != 0) continue;
      fs::remove_all(At("/in"));
      for (const char* file : {"/in/a/file", "/in/b/file"}) Put(file, "ok");
      ASSERT_EQ(setenv("IN", At("/in/a").c_str(), 1), 0);
      ASSERT_EQ(std::system(("cd \"$IN\" && chmod 755 ../.. .. . && " + command).c_str()), 0);
      const auto why = files.OpenForReading(root + "/in/a/file")->WhyDistrusted().value_or("");
      EXPECT_TRUE(std::regex_match(why, std::regex(reason))) << why;
    }
    for (const char* file : {"/file", "/other"}) Put(file, "ok");
    const auto time = fs::last_write_time(At("/file"));
    fs::last_write_time(At("/other"), time);
    const auto first = files.OpenForReading(root + "/file");
    const auto stamp = first->Stamp();
    EXPECT_EQ(files.OpenForReading(root + "/file")->Stamp(), stamp);
    EXPECT_NE(files.OpenForReading(root + "/other")->Stamp(), stamp);
    fs::last_write_time(At("/file"), time + std::chrono::nanoseconds(1));
    EXPECT_NE(first->Stamp(), stamp);
    std::ofstream(At("/file"), std::ios::app) << "more";
    fs::last_write_time(At("/file"), time);
    EXPECT_NE(first->Stamp(), stamp);
    EXPECT_EQ(signing::ReadAll(*first), signing::Data({'o', 'k'})) << "as long as it was at first";
  }

  const TempFolder folder_{canonical(std::filesystem::temp_directory_path())};
  const std::string root_ = folder_.At("a mac's $folder");  // shells and URLs need escapes for it
};

}  // namespace zenta::installer

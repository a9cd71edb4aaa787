#include "engine/data/file_image.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <random>

#include "corelib/base/types.h"
#include "tests/child.h"
#include "tests/corelib/io/files/system_calls.h"
#include "tests/temp_folder.h"

namespace zenta::data {
namespace {

namespace fs = std::filesystem;
using tstl::FAILURE;

// A disk in memory: replacing is quick, so that the child is often killed between its steps.
const char* const kQuickDisk = fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";

struct FileImageTest : testing::Test {
  std::string Image(const std::string& name, std::uint64_t limit = UINT64_MAX) const {
    return std::string(ReadFileImage(folder.At(name).c_str(), limit));
  }
  const TempFolder folder{kQuickDisk}, other;
  const std::string file = folder.At("data");
  const char* const path = file.c_str();
};

TEST_F(FileImageTest, ImageIsReadWholeOrUpToALimit) {
  for (const std::size_t size : {300000u, 1u, 0u}) {
    std::string bytes(size, 'x'), read(size, '?');
    EXPECT_EQ(WriteFileImage(path, bytes.data(), size), 0u);
    EXPECT_EQ(FileSize(path), size);
    EXPECT_EQ(Image("data"), bytes);
    EXPECT_EQ(Image("data", size / 2), bytes.substr(0, size / 2));
    EXPECT_EQ(ReadFileInto(read.data(), size + 1, path), 0u);
    EXPECT_EQ(read, std::string(size, '?'));
    EXPECT_EQ(ReadFileInto(read.data(), size, path), size);
    EXPECT_EQ(read, bytes);
  }
}

TEST_F(FileImageTest, WhatCannotBeOpenedOrWrittenFailsAndIsNotCreated) {
  char byte = '?';
  const std::string pipe = folder.At("pipe");
  mkfifo(pipe.c_str(), 0600);
  EXPECT_EQ(Image("pipe"), "");  // without waiting for its other end
  EXPECT_EQ(WriteFileImage(nullptr, &byte, 1), FAILURE);
  EXPECT_EQ(WriteFileImage(path, nullptr, 0), FAILURE);
  EXPECT_EQ(WriteFileImage("/dev/full", &byte, 1), FAILURE);
  for (const char* const missing : {static_cast<const char*>(nullptr), path}) {
    EXPECT_EQ(FileSize(missing) + ReadFileInto(&byte, 1, missing), 0u);
    EXPECT_TRUE(ReadFileImage(missing).is_empty());
    EXPECT_EQ(PatchFileAt(missing, 0, "x"), FAILURE);
    EXPECT_EQ(ReplaceFile(missing, pipe.c_str()), FAILURE);
    EXPECT_FALSE(FileExists(missing));
  }
  EXPECT_EQ(ReplaceFile(pipe.c_str(), path), 0u) << "what has no contents has nothing to lose";
}

TEST_F(FileImageTest, WhatTheDiskFailsOnIsReported) {
  char byte = 'x';
  ASSERT_EQ(WriteFileImage(path, &byte, 1), 0u);
  {
    const tstl::Answering failing(tstl::reads, [](std::uint64_t) { return -EIO; });
    EXPECT_EQ(ReadFileInto(&byte, 1, path), 0u);
    EXPECT_TRUE(ReadFileImage(path).is_empty());
  }
  const tstl::Answering failing(tstl::closes, [](std::uint64_t) { return -EIO; });
  EXPECT_EQ(WriteFileImage(path, &byte, 1), FAILURE);
}

TEST_F(FileImageTest, PatchChangesOnlyItsBytesAtAnyOffset) {
  folder.Put("data", "0123456789");
  for (const auto& [offset, data] : {std::pair{3u, "abc"}, {9u, "yz"}, {13u, "!"}, {0u, ""}}) {
    EXPECT_EQ(PatchFileAt(path, offset, data), 0u);
  }
  EXPECT_EQ(PatchFileAt(path, UINT64_MAX, "lost"), 0u);  // no file reaches so far
  EXPECT_EQ(Image("data"), std::string("012abc678yz\0\0!", 14));
  EXPECT_EQ(PatchFileAt(path, std::uint64_t{5} << 30, "end"), 0u);
  EXPECT_EQ(FileSize(path), (std::uint64_t{5} << 30) + 3);
  EXPECT_EQ(Image("data"), "");  // more than a buffer holds
  EXPECT_EQ(Image("data", 3), "012");
}

TEST_F(FileImageTest, ReplacedFileIsTheNewOneOrWhatItWas) {
  const auto replace = [&](const std::string& by, const char* target) {
    return ReplaceFile(by.c_str(), folder.At(target).c_str());
  };
  folder.Put("target", "old");
  fs::create_directories(folder.At("full/inside"));
  fs::create_directory(folder.At("empty"));
  mkfifo(folder.At("pipe").c_str(), 0600);
  for (const char* const target : {"target", "absent", "empty", "pipe"}) {
    EXPECT_EQ(replace(folder.Put("new", "new"), target), 0u) << target;
    EXPECT_EQ(replace(folder.At(target), target), 0u) << target;
    EXPECT_EQ(Image(target), "new");
  }
  for (const char* const target : {"full", "missing/file", "target/file"}) {
    EXPECT_EQ(replace(folder.Put("new", "newer"), target), FAILURE) << target;
    EXPECT_FALSE(FileExists(folder.At("new").c_str()));
  }
  EXPECT_EQ(replace(folder.At("full"), "target"), FAILURE);  // a folder is no new file
  EXPECT_TRUE(fs::exists(folder.At("full/inside")) && Image("target") == "new");
  replace(other.Put("new", "new"), "target");  // fails if `other` is on another file system
  EXPECT_EQ(Image("target"), "new");
}

// Of two hard links the new name is removed. Two spellings of one name are not two names.
TEST_F(FileImageTest, AFileReplacedByItselfKeepsTheTargetsNameOnly) {
  folder.Put("data", "kept");
  fs::create_directory(folder.At("sub"));
  fs::create_symlink("data", folder.At("link"));
  fs::create_hard_link(file, folder.At("hard"));
  fs::create_hard_link(file, folder.At("sub/data"));
  const std::pair<const char*, bool> rows[] = {{"./data", true},
                                               {"link", false},
                                               {"hard", false},
                                               {"sub/data", false},
                                               {"sub/../data", true}};
  for (const auto& [name, stays] : rows) {
    EXPECT_EQ(ReplaceFile(folder.At(name).c_str(), path), 0u) << name;
    EXPECT_EQ(fs::exists(fs::symlink_status(folder.At(name))), stays) << name;
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(file)) && Image("data") == "kept");
  }
}

TEST_F(FileImageTest, ProcessKilledAtAnyMomentLeavesTheOldOrTheNewFile) {
  const std::string fresh = folder.At("new");
  folder.Put("data", std::string(10000, 'a'));
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    Child child([&] {
      for (unsigned version = 0;; ++version) {
        const std::string data(10000, static_cast<char>('a' + version % 26));
        if (WriteFileImage(fresh.c_str(), data.data(), data.size()) != 0) return 1;
        if (ReplaceFile(fresh.c_str(), path) != 0) return 1;
      }
    });
    for (auto looks = random() % 1000; looks != 0; --looks) {  // each a moment to be killed at
      ASSERT_TRUE(FileExists(path));
    }
    child.Kill();
    const std::string left = folder.Get("data");
    ASSERT_EQ(left, std::string(10000, left[0]));
  }
}

}  // namespace
}  // namespace zenta::data

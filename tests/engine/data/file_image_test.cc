#include "engine/data/file_image.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <random>
#include <string>

#include "corelib/text/types.h"
#include "tests/child.h"
#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;
using tstl::FAILURE;

struct FileImageTest : testing::Test {
  std::string Image(const std::string& name, std::uint64_t limit = UINT64_MAX) const {
    return std::string(ReadFileImage(folder.At(name).c_str(), limit));
  }
  std::uint32_t Patch(std::uint64_t offset, const char* data) const {
    return PatchFileAt(folder.At("data").c_str(), offset, data);
  }
  std::uint32_t Replace(const std::string& by, const std::string& target) const {
    return ReplaceFile(folder.At(by).c_str(), folder.At(target).c_str());
  }
  TempFolder folder;
};

TEST_F(FileImageTest, ImageIsReadWholeOrUpToALimit) {
  for (const std::size_t size : {0u, 1u, 4096u, 300000u}) {
    SCOPED_TRACE(size);
    std::string bytes(size, 'x'), read(size, '?');
    if (size != 0) bytes.back() = '\0';
    const std::string path = folder.At("data");
    EXPECT_EQ(WriteFileImage(path.c_str(), bytes.data(), size), 0u);
    EXPECT_EQ(FileSize(path.c_str()), size);
    EXPECT_EQ(Image("data"), bytes);
    EXPECT_EQ(Image("data", size / 2), bytes.substr(0, size / 2));
    EXPECT_EQ(ReadFileInto(read.data(), size + 1, path.c_str()), 0u);
    EXPECT_EQ(read, std::string(size, '?'));
    EXPECT_EQ(ReadFileInto(read.data(), size, path.c_str()), size);
    EXPECT_EQ(read, bytes);
  }
}

TEST_F(FileImageTest, WhatCannotBeOpenedFailsAndIsNotCreated) {
  char byte = '?';
  mkfifo(folder.At("pipe").c_str(), 0600);  // no call may wait for its other end
  EXPECT_EQ(Image("pipe"), "");
  const std::string missing = folder.At("missing"), inside = folder.At("missing/file");
  for (const char* const path : {static_cast<const char*>(nullptr), missing.c_str()}) {
    EXPECT_EQ(FileSize(path), 0u);
    EXPECT_FALSE(FileExists(path));
    EXPECT_EQ(ReadFileInto(&byte, 1, path), 0u);
    EXPECT_TRUE(ReadFileImage(path).is_empty());
    EXPECT_EQ(PatchFileAt(path, 0, "x"), FAILURE);
    EXPECT_EQ(ReplaceFile(path, folder.At("pipe").c_str()), FAILURE);
  }
  EXPECT_EQ(WriteFileImage(nullptr, &byte, 1), FAILURE);
  EXPECT_EQ(WriteFileImage(missing.c_str(), nullptr, 0), FAILURE);
  EXPECT_EQ(WriteFileImage(inside.c_str(), &byte, 1), FAILURE);
  EXPECT_FALSE(FileExists(missing.c_str()));
}

TEST_F(FileImageTest, FullDiskIsToldOfExceptByAPatch) {
#ifdef __linux__
  EXPECT_EQ(WriteFileImage("/dev/full", "data", 4), FAILURE);
  EXPECT_EQ(PatchFileAt("/dev/full", 0, "data"), 0u);
#endif
  Child child([&] {
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
    const std::string data(5000, 'x');
    return WriteFileImage(folder.At("data").c_str(), data.data(), data.size()) == FAILURE ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(fs::file_size(folder.At("data")), 1000u);
}

TEST_F(FileImageTest, PatchChangesOnlyItsBytes) {
  folder.Put("data", "0123456789");
  EXPECT_EQ(Patch(3, "abc"), 0u);
  EXPECT_EQ(Patch(9, "yz"), 0u);
  EXPECT_EQ(Patch(0, ""), 0u);
  EXPECT_EQ(Patch(UINT64_MAX, "lost"), 0u);  // no file reaches so far
  EXPECT_EQ(Image("data"), "012abc678yz");
  EXPECT_EQ(Patch(13, "!"), 0u);
  EXPECT_EQ(Image("data"), std::string("012abc678yz\0\0!", 14));
}

TEST_F(FileImageTest, FileBeyondFourGibibytesIsMeasuredPatchedAndReadInPart) {
  folder.Put("data", "start");
  EXPECT_EQ(Patch(std::uint64_t{5} << 30, "end"), 0u);
  EXPECT_EQ(FileSize(folder.At("data").c_str()), (std::uint64_t{5} << 30) + 3);
  EXPECT_EQ(Image("data"), "");
  EXPECT_EQ(Image("data", 5), "start");
}

TEST_F(FileImageTest, ReplacedFileIsTheNewOneOrWhatItWas) {
  folder.Put("target", "old");
  fs::create_directory(folder.At("empty"));
  fs::create_directories(folder.At("full/inside"));
  EXPECT_EQ(ReplaceFile(folder.At("target").c_str(), nullptr), FAILURE);
  for (const char* const target : {"target", "absent", "empty"}) {
    SCOPED_TRACE(target);
    folder.Put("new", "new");
    EXPECT_EQ(Replace("new", target), 0u);
    EXPECT_EQ(Image(target), "new");
    EXPECT_FALSE(FileExists(folder.At("new").c_str()));
    EXPECT_EQ(Replace(target, target), 0u);
    EXPECT_EQ(Image(target), "new");
  }
  for (const char* const target : {"full", "missing/file", "target/file"}) {
    SCOPED_TRACE(target);
    folder.Put("new", "new");
    EXPECT_EQ(Replace("new", target), FAILURE);
    EXPECT_FALSE(FileExists(folder.At("new").c_str()));
  }
  EXPECT_TRUE(FileExists(folder.At("full/inside").c_str()));
  EXPECT_EQ(Image("target"), "new");
}

// Memory for a disk, so that replacing is quick and the moments between its steps are often met.
const char* const kQuickDisk = fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";

TEST_F(FileImageTest, ReplacingFromAnotherFileSystemLeavesTheOldFile) {
  struct stat here, there;
  ASSERT_EQ(stat(folder.At("").c_str(), &here) + stat(kQuickDisk, &there), 0);
  if (here.st_dev == there.st_dev) GTEST_SKIP() << "there is no other file system";
  const TempFolder other(kQuickDisk);
  folder.Put("target", "old");
  EXPECT_EQ(ReplaceFile(other.Put("new", "new").c_str(), folder.At("target").c_str()), FAILURE);
  EXPECT_EQ(Image("target"), "old");
}

TEST(ReplaceFileTest, ProcessKilledAtAnyMomentLeavesTheOldOrTheNewFile) {
  using Clock = std::chrono::steady_clock;
  const TempFolder folder(kQuickDisk);
  const std::string target = folder.Put("target", std::string(10000, 'a')),
                    fresh = folder.At("new");
  std::mt19937 random(1);
  int missing = 0;
  for (int round = 0; round < 200; ++round) {
    Child child([&] {
      for (char version = 'b';; version = version == 'z' ? 'a' : static_cast<char>(version + 1)) {
        const std::string data(10000, version);
        if (WriteFileImage(fresh.c_str(), data.data(), data.size()) != 0) return 1;
        if (ReplaceFile(fresh.c_str(), target.c_str()) != 0) return 1;
      }
    });
    const auto end = Clock::now() + std::chrono::microseconds(random() % 3000);
    do {
      missing += !FileExists(target.c_str());  // each look is a moment to be killed at
    } while (Clock::now() < end);
    child.Kill();
    const std::string left = folder.Get("target");
    ASSERT_EQ(left.size(), 10000u);
    ASSERT_EQ(left, std::string(10000, left[0]));
  }
  EXPECT_EQ(missing, 0);
}

}  // namespace
}  // namespace zenta

#include "engine/data/file_image.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <random>

#include "corelib/text/types.h"
#include "tests/child.h"
#include "tests/temp_folder.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;
using tstl::FAILURE;

struct FileImageTest : testing::Test {
  std::string Image(const std::string& name, std::uint64_t limit = UINT64_MAX) const {
    return std::string(ReadFileImage(folder.At(name).c_str(), limit));
  }
  std::uint32_t Patch(std::uint64_t offset, const char* data) const {
    return PatchFileAt(path.c_str(), offset, data);
  }
  std::uint32_t Replace(const std::string& by, const std::string& target) const {
    return ReplaceFile(by.c_str(), folder.At(target).c_str());
  }
  TempFolder folder;
  std::string path = folder.At("data");
};

TEST_F(FileImageTest, ImageIsReadWholeOrUpToALimit) {
  for (const std::size_t size : {0u, 1u, 300000u}) {
    std::string bytes(size, 'x'), read(size, '?');
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
  mkfifo(folder.At("pipe").c_str(), 0600);
  EXPECT_EQ(Image("pipe"), "");  // without waiting for its other end
  for (const char* const missing : {static_cast<const char*>(nullptr), path.c_str()}) {
    EXPECT_EQ(FileSize(missing) + ReadFileInto(&byte, 1, missing), 0u);
    EXPECT_TRUE(ReadFileImage(missing).is_empty());
    EXPECT_EQ(PatchFileAt(missing, 0, "x"), FAILURE);
    EXPECT_EQ(ReplaceFile(missing, folder.At("pipe").c_str()), FAILURE);
    EXPECT_FALSE(FileExists(missing));
  }
  EXPECT_EQ(WriteFileImage(nullptr, &byte, 1), FAILURE);
  EXPECT_EQ(WriteFileImage(path.c_str(), nullptr, 0), FAILURE);
  EXPECT_FALSE(FileExists(path.c_str()));
}

TEST_F(FileImageTest, FullDiskIsToldOf) {
  Child child([&] {
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
    return WriteFileImage(path.c_str(), std::string(5000, 'x').data(), 5000) == FAILURE ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(FileSize(path.c_str()), 1000u);
}

TEST_F(FileImageTest, PatchChangesOnlyItsBytesAtAnyOffset) {
  folder.Put("data", "0123456789");
  for (const auto& [offset, data] : {std::pair{3u, "abc"}, {9u, "yz"}, {13u, "!"}, {0u, ""}}) {
    EXPECT_EQ(Patch(offset, data), 0u);
  }
  EXPECT_EQ(Patch(UINT64_MAX, "lost"), 0u);  // no file reaches so far
  EXPECT_EQ(Image("data"), std::string("012abc678yz\0\0!", 14));
  EXPECT_EQ(Patch(std::uint64_t{5} << 30, "end"), 0u);
  EXPECT_EQ(FileSize(path.c_str()), (std::uint64_t{5} << 30) + 3);
  EXPECT_EQ(Image("data"), "");  // more than a buffer holds
  EXPECT_EQ(Image("data", 3), "012");
}

// Memory for a disk, so that replacing is quick and the moments between its steps are often met.
const char* const kQuickDisk = fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";

TEST_F(FileImageTest, ReplacedFileIsTheNewOneOrWhatItWas) {
  folder.Put("target", "old");
  fs::create_directories(folder.At("full/inside"));
  fs::create_directory(folder.At("empty"));
  for (const char* const target : {"target", "absent", "empty"}) {
    EXPECT_EQ(Replace(folder.Put("new", "new"), target), 0u) << target;
    EXPECT_EQ(Replace(folder.At(target), target), 0u) << target;
    EXPECT_EQ(Image(target), "new");
  }
  for (const char* const target : {"full", "missing/file", "target/file"}) {
    EXPECT_EQ(Replace(folder.Put("new", "newer"), target), FAILURE) << target;
    EXPECT_FALSE(FileExists(folder.At("new").c_str()));
  }
  const TempFolder other(kQuickDisk);
  const auto moved = Replace(other.Put("new", "new"), "target");
  EXPECT_TRUE(moved == 0 || moved == FAILURE);  // is that another file system?
  EXPECT_EQ(Image("target"), "new");
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
      for (unsigned version = 0;; ++version) {
        const std::string data(10000, static_cast<char>('a' + version % 26));
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
    ASSERT_EQ(left, std::string(10000, left[0]));
  }
  EXPECT_EQ(missing, 0);
}

}  // namespace
}  // namespace zenta

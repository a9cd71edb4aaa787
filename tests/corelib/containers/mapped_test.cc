#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "corelib/containers/mapped_file.h"
#include "corelib/containers/mapped_store.h"
#include "corelib/containers/mapping.h"
#include "corelib/text/types.h"
#include "tests/child.h"
#include "tests/temp_folder.h"

namespace tstl {
namespace {

using zenta::Child;
constexpr std::uint64_t kMiB = 1 << 20, kHuge = std::uint64_t{1} << 60;

bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

// What a process can leak here: open descriptors, and mappings of files of these tests.
std::string Held() {
  int descriptors = 0, mappings = 0;
  for (int i = 0; i < 256; ++i) descriptors += IsOpen(i);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    mappings += line.find("zenta-test-") != line.npos || line.find("memfd:") != line.npos;
  }
  return std::to_string(descriptors) + " descriptors, " + std::to_string(mappings) + " mappings";
}

// Every test ends with what it began with, though its objects live on.
struct MappedTest : testing::Test {
  MappedTest() {
    std::mt19937 random(1);
    for (char& byte : bytes) byte = static_cast<char>(random());
  }
  void TearDown() override {
    file.close();
    store.close();
    EXPECT_EQ(Held(), held);
  }
  std::string Mapped() const {
    return std::string(reinterpret_cast<const char*>(file.payload()), file.payload_length());
  }

  std::string bytes = std::string(10000, '\0');
  zenta::TempFolder folder;
  std::string held = Held();
  MappedFile file;
  MappedStore store;
};

TEST_F(MappedTest, FileShowsTheWholeOrAStretch) {
  const std::string path = folder.Put("data", bytes);
  ASSERT_EQ(file.open(path.c_str()), 0u);
  EXPECT_EQ(Mapped(), bytes);
  EXPECT_EQ(file.mapped_length(), 10000u);
  for (const auto& [offset, length, opens] :
       std::initializer_list<std::tuple<std::uint64_t, std::uint64_t, bool>>{
           {0, 10000, true},
           {4097, 100, true},
           {10000, 0, true},
           {0, 0, false},
           {0, 10001, false},
           {10001, 0, false},
           {2, ~std::uint64_t{0}, false},
           {~std::uint64_t{0}, 2, false}}) {
    SCOPED_TRACE(testing::Message() << offset << ' ' << length);
    const int descriptor = open_for_mapping(path.c_str(), false, 0);
    EXPECT_EQ(file.open(descriptor, offset, length, descriptor), opens ? 0 : FAILURE);
    EXPECT_EQ(IsOpen(descriptor), opens);
    EXPECT_EQ(file.is_whole(), opens);
    if (!opens) continue;
    EXPECT_EQ(Mapped(), bytes.substr(offset, length));
    EXPECT_EQ(file.payload(), file.data() + offset);
    // Once more with what it owns, then with what it does not.
    EXPECT_EQ(file.open(descriptor, 1, 2, descriptor), 0u);
    const int copy = dup(descriptor);
    EXPECT_EQ(file.open(copy, 1, 2, 0), 0u);
    EXPECT_FALSE(IsOpen(descriptor));
    EXPECT_EQ(Mapped(), bytes.substr(1, 2));
    file.close();
    EXPECT_EQ(close(copy), 0);
  }
}

TEST_F(MappedTest, MovingTakesTheMappingAlong) {
  ASSERT_EQ(file.open(folder.Put("data", bytes).c_str()), 0u);
  ASSERT_EQ(store.open(folder.Put("store", bytes).c_str(), 0, 0), 0u);
  MappedFile other_file(std::move(file));
  MappedStore other_store(std::move(store));
  EXPECT_TRUE(file.is_empty() && store.is_empty());
  file.open(folder.Put("old", "old").c_str());
  store.open(folder.At("old").c_str(), 0, 0);
  file = std::move(other_file);
  store = std::move(other_store);
  auto& same = file;
  file = std::move(same);
  EXPECT_EQ(Mapped(), bytes);
  EXPECT_EQ(store.data()[9999], static_cast<unsigned char>(bytes[9999]));
  EXPECT_EQ(store.resize_exact(5), 5u);
}

TEST_F(MappedTest, WhatCannotBeOpenedLeavesNothing) {
  mkfifo(folder.At("pipe").c_str(), 0600);
  folder.Put("empty", "");
  const std::string place = folder.At("");
  for (const char* const name : {"missing", "empty", "pipe", "", "missing/file"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(file.open((place + name).c_str()), FAILURE);
    EXPECT_EQ(store.open((place + name).c_str(), 0, 100), FAILURE);
    EXPECT_TRUE(file.is_empty() && store.is_empty());
  }
  EXPECT_EQ(file.open(nullptr), FAILURE);
  EXPECT_EQ(store.open(nullptr, 1, 1), FAILURE);
  EXPECT_EQ(std::filesystem::file_size(folder.At("missing")), 0u);  // created, and left
  // No file has such a size, and what is there keeps its own.
  EXPECT_EQ(store.open(folder.Put("data", bytes).c_str(), ~std::uint64_t{0}, 0), FAILURE);
  EXPECT_EQ(folder.Get("data"), bytes);
}

TEST_F(MappedTest, StoreKeepsItsSizeBetweenTheLimits) {
  const std::string path = folder.At("store");
  ASSERT_EQ(store.open(path.c_str(), 4096, 65536), 0u);
  EXPECT_EQ(folder.Get("store"), std::string(4096, '\0'));
  EXPECT_EQ(store.size_at_open(), 0u);
  const auto size = [&] { return std::filesystem::file_size(path); };
  for (const auto& [wanted, got] :
       {std::pair{100u, 4096u}, {1000000u, 65536u}, {5000u, 5000u}, {0u, 4096u}}) {
    EXPECT_EQ(store.resize(wanted), got);
    EXPECT_EQ(store.mapped_length(), got);
    EXPECT_EQ(size(), got);
  }
  EXPECT_EQ(store.resize_exact(100), 100u);
  EXPECT_EQ(size(), 100u);
  ASSERT_EQ(store.open(folder.Put("data", bytes).c_str(), 4096, 0), 0u);
  EXPECT_EQ(store.maximum(), 10000u);
  EXPECT_EQ(folder.Get("data"), bytes);
}

TEST_F(MappedTest, OneGibibyteGrowsAndShrinksWithItsContents) {
  const std::string path = folder.At("store");
  ASSERT_EQ(store.open(path.c_str(), kMiB, 2048 * kMiB), 0u);
  const auto mark = [&](std::uint64_t at) { return store.data() + at; };
  *mark(kMiB - 1) = 1;
  ASSERT_EQ(store.resize(1024 * kMiB), 1024 * kMiB);
  for (const std::uint64_t at : {300 * kMiB, 600 * kMiB, 1024 * kMiB - 1}) *mark(at) = 2;
  ASSERT_EQ(store.resize(600 * kMiB), 600 * kMiB);
  ASSERT_EQ(store.resize(1024 * kMiB), 1024 * kMiB);
  EXPECT_EQ(*mark(kMiB - 1), 1);
  EXPECT_EQ(*mark(300 * kMiB), 2);
  EXPECT_EQ(*mark(600 * kMiB) + *mark(1024 * kMiB - 1), 0);  // cut off, and zeros since
  struct stat info;
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_LT(info.st_blocks * 512, std::int64_t{1} << 20);  // all else is a hole
}

TEST_F(MappedTest, FailedResizeCanBeRepeatedAndIsReleased) {
  const std::string path = folder.Put("data", bytes);
  ASSERT_EQ(store.open(path.c_str(), 0, kHuge), 0u);
  const unsigned char* const data = store.data();
  EXPECT_EQ(store.resize_exact(~std::uint64_t{0}), 0u);  // no file has this size
  EXPECT_EQ(store.data(), data);
  EXPECT_EQ(store.mapped_length(), 0u);
  EXPECT_EQ(store.sync(), FAILURE);
  EXPECT_EQ(store.data()[9999], static_cast<unsigned char>(bytes[9999]));
  EXPECT_EQ(store.resize(9000), 9000u);
  EXPECT_EQ(store.sync(), 0u);
  EXPECT_EQ(folder.Get("data"), bytes.substr(0, 9000));
  EXPECT_EQ(store.resize_exact(0), 0u);
  EXPECT_EQ(store.data(), nullptr);
  EXPECT_EQ(store.resize(7), 7u);
  EXPECT_EQ(store.resize_exact(~std::uint64_t{0}), 0u);  // TearDown sees whether close() unmaps
}

#ifdef __linux__
TEST_F(MappedTest, GrowthThatNoAddressSpaceHoldsIsTakenBack) {
  const int memory = memfd_create("mapped_test", 0);  // its size may be what no mapping can be
  const std::string path = "/proc/self/fd/" + std::to_string(memory);
  ASSERT_EQ(store.open(path.c_str(), 100, kHuge), 0u);
  store.data()[99] = 7;
  EXPECT_EQ(store.resize(kHuge), 0u);
  EXPECT_EQ(store.data(), nullptr);
  EXPECT_EQ(file_size(memory), 100u);
  EXPECT_EQ(store.resize(kHuge), 0u);
  ASSERT_EQ(store.resize(200), 200u);
  EXPECT_EQ(store.data()[99], 7);
  EXPECT_EQ(store.open(path.c_str(), kHuge, 0), FAILURE);
  EXPECT_EQ(file_size(memory), 200u);
  close(memory);
}
#endif

TEST_F(MappedTest, CutFileIsToldMendedAndFatalToTouch) {
  const std::string path = folder.Put("data", bytes);
  ASSERT_EQ(file.open(path.c_str()), 0u);
  ASSERT_EQ(store.open(path.c_str(), 4096, 0), 0u);
  EXPECT_TRUE(file.is_whole() && store.is_whole());
  std::filesystem::resize_file(path, 100);
  EXPECT_FALSE(file.is_whole() || store.is_whole());
  EXPECT_EQ(file.data()[99], static_cast<unsigned char>(bytes[99]));
  EXPECT_DEATH(std::exit(file.data()[9000]), "");  // a zero that is read would be no death
  ASSERT_EQ(store.resize(10000), 10000u);
  EXPECT_TRUE(file.is_whole() && store.is_whole());
  EXPECT_EQ(store.data()[99], static_cast<unsigned char>(bytes[99]));
  EXPECT_EQ(store.data()[9000], 0);
}

TEST_F(MappedTest, KilledProcessLosesNothingThatWasSynced) {
  const std::string path = folder.At("store");
  int told[2];
  ASSERT_EQ(pipe(told), 0);
  Child child([&] {
    if (store.open(path.c_str(), 8 * kMiB, 0) != 0) return 1;
    for (std::uint64_t i = 0; i < 8 * kMiB; ++i)
      store.data()[i] = static_cast<unsigned char>(i % 251);
    const char done = store.sync() == 0;
    if (write(told[1], &done, 1) != 1) return 1;
    return pause();
  });
  char done = 0;
  EXPECT_EQ(read(told[0], &done, 1), 1);
  EXPECT_EQ(done, 1);
  child.Kill();
  ASSERT_EQ(file.open(path.c_str()), 0u);
  ASSERT_EQ(file.mapped_length(), 8 * kMiB);
  std::uint64_t wrong = 0;
  for (std::uint64_t i = 0; i < 8 * kMiB; ++i) wrong += file.data()[i] != i % 251;
  EXPECT_EQ(wrong, 0u);
  for (const int end : told) close(end);
}

TEST_F(MappedTest, ProcessWithoutStandardInputMapsFilesToo) {
  const std::string path = folder.Put("data", bytes);
  Child child([&] {
    close(0);
    const bool maps = file.open(path.c_str()) == 0 && store.open(path.c_str(), 0, 0) == 0;
    return maps && !IsOpen(0) ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
}

}  // namespace
}  // namespace tstl

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstdlib>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/containers/shared/mapped_file.h"
#include "corelib/containers/shared/mapped_store.h"
#include "corelib/io/files/mapping.h"
#include "tests/child.h"
#include "tests/temp_folder.h"

namespace {
void (*after_truncate)(int);  // called once, after the next ftruncate()
}

// Declared as the system does: glibc's is noexcept, that of macOS is not.
extern "C" int ftruncate(int descriptor, off_t size) noexcept(noexcept(ftruncate(0, 0))) {
  static const auto real = reinterpret_cast<int (*)(int, off_t)>(dlsym(RTLD_NEXT, "ftruncate"));
  const int result = real(descriptor, size);
  if (after_truncate != nullptr) std::exchange(after_truncate, nullptr)(descriptor);
  return result;
}

namespace tstl {
namespace {

constexpr std::uint64_t kMiB = 1 << 20, kHuge = std::uint64_t{1} << 60, kMost = ~std::uint64_t{0};

// The resources that can leak here: the lowest free descriptor rises, mapped test files accumulate.
std::pair<int, int> Held() {
  const int free = dup(2);
  close(free);
  int mappings = 0;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    mappings += line.find("zenta-test-") != line.npos;
  return {free, mappings};
}

struct MappedTest : testing::Test {
  void TearDown() override {  // before the objects are destroyed
    file.close();
    store.close();
    EXPECT_EQ(Held(), held);
  }
  std::string Mapped() const {
    return std::string(reinterpret_cast<const char*>(file.payload()), file.payload_length());
  }

  std::string bytes = std::string(5000, 'a') + std::string(5000, 'b');
  zenta::TempFolder folder;
  std::string path = folder.At("store");
  std::pair<int, int> held = Held();
  MappedFile file;
  MappedStore store;
};

TEST_F(MappedTest, FileShowsTheWholeOrAStretchAndMoves) {
  ASSERT_EQ(file.open(folder.Put("store", bytes).c_str()), 0u);
  EXPECT_EQ(Mapped(), bytes);
  const struct {
    std::uint64_t offset, length;
    bool opens;
  } rows[] = {{0, 10000, true},  {4999, 100, true}, {10000, 0, true}, {0, 10001, false},
              {10001, 0, false}, {2, kMost, false}, {kMost, 2, false}};
  for (const auto& [offset, length, opens] : rows) {
    SCOPED_TRACE(testing::Message() << offset << ' ' << length);
    const int descriptor = open_for_mapping(path.c_str(), false, 0);
    EXPECT_EQ(file.open(descriptor, offset, length, descriptor), opens ? 0 : FAILURE);
    EXPECT_EQ(fcntl(descriptor, F_GETFD) >= 0, opens);
    MappedFile other(std::move(file));
    EXPECT_TRUE(file.is_empty());
    file = std::move(other);
    EXPECT_EQ(Mapped(), opens ? bytes.substr(offset, length) : "");
    EXPECT_EQ(file.open(descriptor, 1, 2, descriptor), opens ? 0 : FAILURE);  // owns it already
  }
}

TEST_F(MappedTest, WhatCannotBeOpenedLeavesNothing) {
  mkfifo(folder.At("pipe").c_str(), 0600);
  for (const std::string name : {"missing", "empty", "pipe", "", "missing/file"}) {
    if (name == "empty") folder.Put(name, "");
    EXPECT_EQ(file.open(folder.At(name).c_str()), FAILURE) << name;
    EXPECT_EQ(store.open(folder.At(name).c_str(), 0, 100), FAILURE) << name;
  }
  EXPECT_EQ(file.open(nullptr), FAILURE);
  EXPECT_EQ(store.open(nullptr, 1, 1), FAILURE);
  EXPECT_EQ(std::filesystem::file_size(folder.At("missing")), 0u);  // created, and left empty
}

TEST_F(MappedTest, StoreKeepsItsSizeBetweenTheLimits) {
  ASSERT_EQ(store.open(path.c_str(), 4096, 65536), 0u);
  EXPECT_EQ(folder.Get("store"), std::string(4096, '\0'));
  for (const auto& [wanted, got] : {std::pair{100u, 4096u}, {1000000u, 65536u}, {5000u, 5000u}}) {
    EXPECT_EQ(store.resize(wanted), got);
    EXPECT_EQ(std::filesystem::file_size(path), got);
  }
  EXPECT_EQ(store.resize_exact(100), 100u);
  ASSERT_EQ(store.open(folder.Put("store", bytes).c_str(), 4096, 0), 0u);
  EXPECT_EQ(store.maximum(), 10000u);
  EXPECT_EQ(folder.Get("store"), bytes);
  store.data()[7000] = 'c';
  ASSERT_EQ(store.resize_exact(5000) + store.resize_exact(kMiB), 5000 + kMiB);
  EXPECT_EQ(folder.Get("store"), bytes.substr(0, 5000) + std::string(kMiB - 5000, '\0'));
}

TEST_F(MappedTest, FailedResizeCanBeRepeatedAndIsReleased) {
  ASSERT_EQ(store.open(folder.Put("store", bytes).c_str(), 0, kHuge), 0u);
  EXPECT_EQ(store.resize_exact(kMost), 0u);  // no file has this size
  EXPECT_EQ(store.mapped_length(), 0u);
  EXPECT_EQ(store.sync(), FAILURE);
  EXPECT_EQ(store.data()[9999], static_cast<unsigned char>(bytes[9999]));
  EXPECT_EQ(store.resize(9000), 9000u);
  EXPECT_EQ(folder.Get("store"), bytes.substr(0, 9000));
  EXPECT_EQ(store.resize_exact(0), 0u);
  EXPECT_EQ(store.data(), nullptr);
  EXPECT_EQ(store.mapped_length() + std::filesystem::file_size(path), 0u);
  EXPECT_EQ(store.resize(7), 7u);
  EXPECT_EQ(store.resize_exact(kMost), 0u);  // TearDown sees whether close() unmaps
}

#ifdef __linux__
TEST_F(MappedTest, GrowthThatNoAddressSpaceHoldsIsTakenBack) {
  const int memory = memfd_create("mapped_test", 0);  // its size can exceed any mapping
  path = "/proc/self/fd/" + std::to_string(memory);
  ASSERT_EQ(store.open(path.c_str(), 100, kHuge), 0u);
  store.data()[99] = 7;
  for (int twice = 0; twice < 2; ++twice) EXPECT_EQ(store.resize(kHuge), 0u);
  EXPECT_EQ(file_size(memory), 100u);
  ASSERT_EQ(store.resize(200), 200u);
  EXPECT_EQ(store.data()[99], 7);
  EXPECT_EQ(store.open(path.c_str(), kHuge, 0), FAILURE);
  EXPECT_EQ(file_size(memory), 200u);
  // Another process extends it further before the mapping fails: its bytes are not cut off.
  ASSERT_EQ(store.open(path.c_str(), 0, kHuge), 0u);
  after_truncate = [](int descriptor) { EXPECT_EQ(ftruncate(descriptor, kHuge + 1), 0); };
  EXPECT_EQ(store.resize(kHuge), 0u);
  EXPECT_EQ(file_size(memory), kHuge + 1);
  close(memory);
}
#endif

TEST_F(MappedTest, CutFileIsToldMendedAndFatalToTouch) {
  ASSERT_EQ(store.open(folder.Put("store", bytes).c_str(), 0, 0), 0u);
  ASSERT_EQ(file.open(path.c_str()), 0u);
  std::filesystem::resize_file(path, 100);
  EXPECT_FALSE(file.is_whole() || store.is_whole());
  EXPECT_DEATH(std::exit(file.data()[9000]), "");  // if a zero were read, it would exit with 0
  ASSERT_EQ(store.resize(10000), 10000u);
  EXPECT_TRUE(file.is_whole() && store.is_whole());
  EXPECT_EQ(Mapped(), bytes.substr(0, 100) + std::string(9900, '\0'));
}

// It also has no standard input: the first file that it opens could get the number 0.
TEST_F(MappedTest, KilledProcessLosesNothingThatWasSynced) {
  const std::string big(8 * kMiB, 'x');
  const auto write = [&] {
    close(0);
    if (store.open(path.c_str(), big.size(), 0) != 0) return 1;
    big.copy(reinterpret_cast<char*>(store.data()), big.size());
    return store.sync() == 0 ? raise(SIGKILL) : 1;
  };
  EXPECT_EQ(zenta::Child(write).Wait(), 128 + SIGKILL);
  EXPECT_EQ(folder.Get("store"), big);
}

}  // namespace
}  // namespace tstl

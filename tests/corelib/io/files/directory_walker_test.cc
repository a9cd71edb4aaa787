#include "corelib/io/files/directory_walker.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "corelib/containers/buffer_list.h"
#include "tests/corelib/containers/contents.h"
#include "tests/temp_folder.h"

namespace tstl {
namespace {

namespace fs = std::filesystem;

template <class T>
struct DirectoryWalkerTest : testing::Test {
  const zenta::TempFolder folder;
  const fs::path root = fs::path(folder.At("x")).parent_path();

  // The list as UTF-8.
  static std::vector<std::string> Listed(const BufferList<T>& list) {
    std::vector<std::string> paths;
    for (const auto* node : list) {
      paths.emplace_back(Buffer<unsigned char>(node->key()).std_view());
    }
    return paths;
  }
};
TYPED_TEST_SUITE(DirectoryWalkerTest, Units, UnitNames);

TYPED_TEST(DirectoryWalkerTest, ListsWhatAPlainWalkListsInTheOrderOfNamesAndNoLoopIsEndless) {
  std::mt19937 random(41);
  std::vector<fs::path> folders{this->root};
  for (unsigned i = 0; i < 120; ++i) {
    const fs::path parent = folders[random() % folders.size()];
    const fs::path path = parent / (std::string(1 + i % 3, char('a' + random() % 26)) +
                                    (i % 2 == 0 ? "词.txt" : ".b\\"));
    if (fs::exists(fs::symlink_status(path))) continue;
    const unsigned kind = random() % 8;
    if (kind < 3) fs::create_directory(folders.emplace_back(path));
    if (kind == 3) fs::create_symlink("nowhere", path);
    if (kind == 4) fs::create_symlink(folders[random() % folders.size()], path);  // many a loop
    if (kind > 4) std::ofstream{path};
  }
  const std::tuple<bool, std::string, const char*> rows[] = {
      {true, "", ""}, {false, "", "/"}, {true, ".txt", "/"}};
  for (const auto& [recursive, suffix, slash] : rows) {
    std::vector<std::string> want;
    for (auto at = fs::recursive_directory_iterator(this->root); at != fs::end(at); ++at) {
      if (fs::is_directory(at->path()) || (at.depth() > 0 && !recursive)) continue;
      if (at->path().string().ends_with(suffix)) want.push_back(at->path());
    }
    std::ranges::sort(want, {}, [](std::string path) {  // by names: a slash before all else
      return std::replace(path.begin(), path.end(), '/', '\0'), path;
    });
    BufferList<TypeParam> list;
    list.emplace_back({}, 1);
    const std::string path = this->root.string() + slash;
    EXPECT_TRUE(list.get_file_list(path.c_str(), recursive, suffix.c_str()));
    EXPECT_EQ(this->Listed(list), want);
  }
}

// More levels than descriptors, and paths that no system call takes. Each directory at hand becomes
// the only one of a new one; now and then there is another one to come back for.
TYPED_TEST(DirectoryWalkerTest, DepthTakesNeitherDescriptorsNorStack) {
  constexpr int kLevels = 300;
  const std::string name(20, 'd');
  const fs::path d = this->root / name, next = this->root / "next";
  fs::create_directory(d);
  for (int level = kLevels; level-- > 0;) {
    fs::create_directory(next);
    fs::rename(d, next / name);
    if (level % 70 == 0) fs::create_directory(next / "e"), std::ofstream(next / "e" / "f");
    fs::rename(next, d);
  }
  std::vector<std::string> want;
  std::string path = d;
  for (int level = 0; level < kLevels; ++level, path += '/' + name) {
    if (level % 70 == 0) want.insert(want.begin(), path + "/e/f");
  }
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit few{24, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &few);
  BufferList<TypeParam> list;
  EXPECT_TRUE(list.get_file_list(this->root.c_str(), true));
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(this->Listed(list), want);
}

TYPED_TEST(DirectoryWalkerTest, WhatCannotBeReadIsPassedOverAndReported) {
  for (const char* name : {"a", "b", "c"}) {
    fs::create_directory(this->root / name);
    this->folder.Put(std::string(name) + "/f", "");
  }
  DirectoryWalker walker;
  ASSERT_EQ(walker.open(this->root.c_str()), 0u);
  EXPECT_FALSE(walker.enter());
  std::string seen;
  while (walker.next()) {
    seen += walker.path().std_view().back();
    const bool is_file = walker.path().is_endwith("f"), is_b = walker.path().is_endwith("b");
    if (is_b) fs::remove_all(this->root / "b");
    EXPECT_EQ(walker.is_directory(), !is_file);
    EXPECT_EQ(walker.enter(), !is_file && !is_b);
    EXPECT_FALSE(walker.enter());
  }
  EXPECT_EQ(seen, "afbcf");
  EXPECT_FALSE(walker.is_complete());
  BufferList<TypeParam> list;
  for (const std::string path : {"", "/nowhere", "/dev/null"}) {
    list.emplace_back({}, 1);
    EXPECT_FALSE(list.get_file_list(path.c_str(), true));
    EXPECT_TRUE(list.is_empty());
  }
  EXPECT_EQ(walker.open(nullptr), FAILURE);
  EXPECT_FALSE(walker.next());
}

}  // namespace
}  // namespace tstl

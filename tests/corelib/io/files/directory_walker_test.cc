#include "corelib/io/files/directory_walker.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "corelib/containers/buffer_list.h"
#include "tests/corelib/containers/contents.h"
#include "tests/corelib/io/files/system_calls.h"
#include "tests/temp_folder.h"

namespace tstl {
namespace {

namespace fs = std::filesystem;

// Not UTF-8, where the file system accepts that.
#ifdef __APPLE__
constexpr const char* kOddName = ".b\\";
#else
constexpr const char* kOddName = ".b\\\xFF\xED\xA0";
#endif

template <class T>
struct DirectoryWalkerTest : testing::Test {
  const zenta::TempFolder folder;
  const fs::path root = fs::path(folder.At("x")).parent_path();

  // The list as UTF-8.
  static std::vector<std::string> Listed(const BufferList<T>& list) {
    std::vector<std::string> paths;
    for (const auto* node : list) {
      if constexpr (sizeof(T) == 1) {
        paths.emplace_back(node->key());
      } else {
        paths.emplace_back(Buffer<unsigned char>().append_lossless(node->key()).std_view());
      }
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
                                    (i % 2 == 0 ? "词.txt" : kOddName));
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

// More levels than descriptors, and paths too long for any system call. In each round the tree
// becomes the only directory of a new one. Every 70th level also has another directory, to which
// the walk must return.
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
  const auto want = [&](std::string path) {
    std::vector<std::string> paths;
    path += name;
    for (int level = 0; level < kLevels; ++level, path += '/' + name) {
      if (level % 70 == 0) paths.insert(paths.begin(), path + "/e/f");
    }
    return paths;
  };
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit few{24, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &few);
  BufferList<TypeParam> list;
  std::string path = this->root;
  // Shifted so that PATH_MAX falls on each position within a name.
  for (std::size_t shift = 0; shift <= (sizeof(TypeParam) == 1 ? name.size() : 0); ++shift) {
    EXPECT_TRUE(list.get_file_list((path += '/').c_str(), true));
    EXPECT_EQ(this->Listed(list), want(path));
  }
  ::setrlimit(RLIMIT_NOFILE, &before);
}

TYPED_TEST(DirectoryWalkerTest, WhatCannotBeReadIsPassedOverAndReported) {
  for (const char* name : {"a", "b", "c"}) {
    fs::create_directory(this->root / name);
    this->folder.Put(std::string(name) + "/f", "");
  }
  fs::create_directory_symlink("a", this->root / "d");
  DirectoryWalker walker;
  for (const std::string want : {"afbcd", "afcd"}) {  // the second time "b" is gone, "c" is a link
    ASSERT_EQ(walker.open(this->root.c_str()), 0u);
    EXPECT_TRUE(walker.is_complete());
    EXPECT_FALSE(walker.enter());
    std::string seen;
    while (walker.next()) {
      const char name = walker.path().std_view().back();
      seen += name;
      if (name == 'b') fs::remove_all(this->root / "b");
      if (name == 'c') {
        fs::remove_all(this->root / "c");
        fs::create_directory_symlink("a", this->root / "c");
      }
      EXPECT_EQ(walker.is_directory(), name != 'f');
      EXPECT_EQ(walker.enter(), name == 'a');
      EXPECT_FALSE(walker.enter());
    }
    EXPECT_EQ(seen, want);
    EXPECT_EQ(walker.is_complete(), want == "afcd");
    ASSERT_EQ(walker.open(this->root.c_str()), 0u);
    EXPECT_TRUE(walker.next() && walker.path().is_endwith("/a"));  // and is reopened midway
  }
  BufferList<TypeParam> list;
  const Answering failing(listings, [](std::uint64_t) { return -EIO; });
  for (const std::string path : {"", "/nowhere", "/dev/null", "/"}) {
    list.emplace_back({}, 1);
    EXPECT_FALSE(list.get_file_list(path.c_str(), false));
    EXPECT_TRUE(list.is_empty());
  }
  EXPECT_EQ(walker.open(nullptr), FAILURE);
  EXPECT_FALSE(walker.next());
}

}  // namespace
}  // namespace tstl

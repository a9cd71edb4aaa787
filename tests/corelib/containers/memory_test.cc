// Every container with an allocator that fails at the k-th call, for k = 0, 1, 2 ... to success.
// The program is linked with --wrap for malloc, calloc and realloc, and has its own operator new.
// The address sanitizer reports leaks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/dict/dict_builder.h"
#include "corelib/containers/tree.h"
#include "corelib/containers/trie.h"
#include "tests/corelib/containers/contents.h"
#include "tests/temp_folder.h"

namespace {

struct {
  int fail_at = 0;  // the call that fails, counted from 0
  int calls = 0;
  bool on = false;

  std::size_t largest = 0;  // bytes of the largest request

  bool Refuses(std::size_t size) {
    if (on) largest = std::max(largest, size);
    return on && calls++ == fail_at;
  }
} allocator;

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t n, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

void* __wrap_malloc(std::size_t size) {
  return allocator.Refuses(size) ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(std::size_t n, std::size_t size) {
  return allocator.Refuses(n * size) ? nullptr : __real_calloc(n, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
  return allocator.Refuses(size) ? nullptr : __real_realloc(memory, size);
}
}

namespace tstl {
namespace {

// Runs one step with the failing allocator.
auto Try(auto step) {
  allocator.on = true;
  auto result = step();
  allocator.on = false;
  return result;
}

template <class T>
struct MemoryTest : testing::Test {};
TYPED_TEST_SUITE(MemoryTest, Units, UnitNames);

// The trie library does not survive failing allocations, so only those of this library fail here.
TYPED_TEST(MemoryTest, ContainersKeepWhatTheyHaveAndAreWholeOrEmpty) {
  using T = TypeParam;
  const zenta::TempFolder files, folder;
  const std::string path = files.At("file");
  for (const std::string name : {"a", "b"}) {
    std::filesystem::create_directory(folder.At(name));
    folder.Put(name + "/file", "x");
  }
  int k = 0;
  do {
    SCOPED_TRACE(testing::Message() << "call " << k << " fails");
    ASSERT_LT(k, 1000) << "no end of calls";
    allocator = {.fail_at = k};
    BufferList<T> list;
    BufferHash<T> table(64);
    Tree<T> tree;
    Pairs<T> listed, in_table, in_tree;
    for (unsigned i = 0; i < 300; ++i) {
      const StdString<T> key = Widen<T>(std::to_string(1000 + i) + std::string(i % 90, 'k'));
      const std::uint64_t value = 300 - i;
      if (Try([&] { return list.push_back(key, value); })) listed.emplace_back(key, value);
      if (auto* const node = Try([&] { return table.insert(key); })) {
        in_table.emplace_back(key, value), node->set_value(value);
      }
      if (auto* const node = Try([&] { return tree.insert(key); })) {
        in_tree.emplace_back(key, value), node->set_value(value);
      }
    }
    EXPECT_GE(listed.size() + in_table.size() + in_tree.size(), 899u);
    Try([&] { return list.recapacity(3000), list.sort(), table.set_tabsize(500), 0; });
    EXPECT_EQ(Contents<T>(list), listed);
    EXPECT_EQ(Sorted<T>(Contents<T>(table)), in_table);
    EXPECT_EQ(Contents<T>(tree), in_tree);

    BufferDict<T> dict, loaded;
    const bool built = Try([&] { return dict.open(table); }) == 0;
    EXPECT_EQ(Sorted<T>(Contents<T>(dict)), built ? in_table : Pairs<T>());
    EXPECT_TRUE(Try([&] { return dict.check(); }) || dict.check() == built);
    if (dict.save(path.c_str()) != 0) std::filesystem::remove(path);
    const bool read = Try([&] { return loaded.open(path.c_str()); }) == 0;
    EXPECT_EQ(Contents<T>(loaded), read ? Contents<T>(dict) : Pairs<T>());

    DictBuilder<T> builder;
    if (k % 2 != 0) builder.set_memory(9000, files.At("").c_str());
    Try([&] {
      return std::ranges::all_of(
          in_tree, [&](const auto& pair) { return builder.add(pair.first, pair.second); });
    });
    const bool made_of_pairs = Try([&] { return builder.build(dict); }) == 0;
    EXPECT_EQ(Sorted<T>(Contents<T>(dict)), made_of_pairs ? in_tree : Pairs<T>());
    EXPECT_EQ(builder.error(), made_of_pairs ? 0 : ENOMEM);

    const auto write = [&] { return list.write_kvfile(path.c_str(), ';', false); };
    if (!Try(write)) write();
    const bool list_read = Try([&] { return list.read_kvfile(path.c_str(), ';'); });
    EXPECT_TRUE(!list_read || Contents<T>(list) == listed);
    const bool table_read = Try([&] { return table.read_kvfile(path.c_str(), ';'); });
    const Pairs<T> in_read_table = Sorted<T>(Contents<T>(table));
    EXPECT_TRUE(table_read ? in_read_table == listed
                           : std::ranges::includes(listed, in_read_table));
    const bool complete = Try([&] { return list.get_file_list(folder.At("").c_str(), true); });
    EXPECT_TRUE(!complete || list.size() == 2);

    Trie<T> trie;
    ASSERT_EQ(trie.build(tree, TrieRoot::BldSpd::kFast), 0u);  // to be replaced
    const bool indexed = Try([&] { return trie.build(tree, TrieRoot::BldSpd::kNormal); }) == 0;
    Pairs<T> found;
    trie.for_each_under(
        {}, [&](const auto& key, auto& value) { found.emplace_back(key.std_view(), value); });
    EXPECT_EQ(found, indexed ? in_tree : Pairs<T>());
    ASSERT_EQ(trie.build(tree, TrieRoot::BldSpd::kFast), 0u);
    const bool made = Try([&] { return list.write_trie(trie, TrieRoot::BldSpd::kFast); });
    EXPECT_EQ(trie.itemcnt(), made ? list.size() : 0u);
    Chunk arena;
    for (const std::uint64_t n : {100u, 5000u, 40000u}) {
      const std::uint64_t before = arena.total();
      EXPECT_TRUE(Try([&] { return arena.alloc(n); }) != nullptr || arena.total() == before);
      Try([&] { return arena.rewind(), 0; });
      EXPECT_LE(arena.block_cnt(), 1);
    }
  } while (allocator.calls > k++);
}

TYPED_TEST(MemoryTest, AGreatFileThatIsNoImageTakesNoMemory) {
  const zenta::TempFolder folder;
  const std::string path = folder.Put("file", std::string("\1\0\0\0\1\0\0\0\1\0\0\1", 12));
  for (const std::uint64_t size : {15u, 16u, 17u, 1u << 31}) {  // the file ends with a hole
    std::filesystem::resize_file(path, size);
    allocator = {.fail_at = -1};
    BufferDict<TypeParam> dict;
    EXPECT_EQ(Try([&] { return dict.open(path.c_str()); }), FAILURE);
    EXPECT_LT(allocator.largest, 100000u);
  }
}

}  // namespace
}  // namespace tstl

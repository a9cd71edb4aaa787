// Every container with an allocator that fails at the k-th call, for k = 0, 1, 2 ... to success.
// The program is linked with --wrap for malloc, calloc and realloc, and has its own operator new.
// What is leaked is for the address sanitizer to see.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>

#include "corelib/containers/buffer_dict.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/tree.h"
#include "corelib/containers/trie.h"
#include "tests/corelib/containers/contents.h"

namespace {

struct {
  int fail_at = 0;  // the call that fails, counted from 0
  int calls = 0;
  bool on = false;

  bool Refuses() { return on && calls++ == fail_at; }
} allocator;

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t n, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

void* __wrap_malloc(std::size_t size) {
  return allocator.Refuses() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(std::size_t n, std::size_t size) {
  return allocator.Refuses() ? nullptr : __real_calloc(n, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
  return allocator.Refuses() ? nullptr : __real_realloc(memory, size);
}
}

namespace tstl {
namespace {

// Runs `use` with every k until it gets through without a refused call.
void ForEveryFailure(auto use) {
  for (int k = 0; k < 1000; ++k) {
    SCOPED_TRACE(testing::Message() << "call " << k << " fails");
    allocator = {.fail_at = k};
    use();
    if (allocator.calls <= k) return;
  }
  FAIL() << "no end of calls";
}

// One step with the failing allocator.
auto Try(auto step) {
  allocator.on = true;
  auto result = step();
  allocator.on = false;
  return result;
}

template <class T>
StdString<T> Key(unsigned i) {
  return Widen<T>(std::to_string(i * 7919 % 10007)) + Widen<T>(std::string(i % 90, 'k'));
}

template <class T>
struct MemoryTest : testing::Test {
  // What was inserted into `container` successfully.
  static std::map<StdString<T>, std::uint64_t> Fill(auto& container, unsigned n) {
    std::map<StdString<T>, std::uint64_t> model;
    for (unsigned i = 0; i < n; ++i) {
      const StdString<T> key = Key<T>(i);
      auto* const node = Try([&] { return container.insert(key); });
      if (node == nullptr) continue;
      node->set_value(i);
      model[key] = i;
    }
    return model;
  }
  static Pairs<T> PairsOf(const auto& map) { return Pairs<T>(map.begin(), map.end()); }
};
TYPED_TEST_SUITE(MemoryTest, Units, UnitNames);

TYPED_TEST(MemoryTest, ArenaServesNothingOrWhole) {
  ForEveryFailure([] {
    Chunk arena;
    for (int message = 0; message < 3; ++message) {
      for (const std::uint64_t n : {100u, 5000u, 40000u}) {
        const std::uint64_t before = arena.total();
        auto* const run = Try([&] { return arena.alloc_array<TypeParam>(n); });
        if (run != nullptr) {
          EXPECT_EQ(std::count(run, run + n, 0), std::ptrdiff_t(n));
        } else {
          EXPECT_EQ(arena.total(), before);
        }
      }
      Try([&] { return arena.rewind(), 0; });
      EXPECT_LE(arena.block_cnt(), 1);
    }
  });
}

TYPED_TEST(MemoryTest, ListKeepsWhatItHas) {
  using T = TypeParam;
  ForEveryFailure([] {
    BufferList<T> list;
    Pairs<T> model;
    for (unsigned i = 0; i < 400; ++i) {
      const StdString<T> key = Key<T>(i);
      if (Try([&] { return list.push_back(key, 400 - i); }) != nullptr)
        model.emplace_back(key, 400 - i);
    }
    EXPECT_GE(model.size(), 399u);
    Try([&] { return list.recapacity(3000), 0; });
    Try([&] { return list.sort(), 0; });
    EXPECT_EQ(Contents<T>(list), model);
    const StdString<T> large = Widen<T>(std::string(9000, 'm'));
    Try([&] { return list.modify(3, large, 1), 0; });
    list.modify(3, model[3].first, model[3].second);
    EXPECT_EQ(Contents<T>(list), model);
  });
}

TYPED_TEST(MemoryTest, TablesKeepWhatTheyHave) {
  using T = TypeParam;
  ForEveryFailure([&] {
    BufferHash<T> table(64);
    auto model = this->Fill(table, 200);
    Try([&] { return table.set_tabsize(500), 0; });
    EXPECT_GE(model.size(), 199u);
    EXPECT_EQ(Sorted<T>(Contents<T>(table)), this->PairsOf(model));
    for (const auto& [key, value] : model) EXPECT_EQ(table.find(key)->value(), value);
  });
  ForEveryFailure([&] {
    Tree<T> tree;
    const auto model = this->Fill(tree, 200);
    EXPECT_GE(model.size(), 199u);
    EXPECT_EQ(Contents<T>(tree), this->PairsOf(model));
  });
}

TYPED_TEST(MemoryTest, DictionaryIsWholeOrEmpty) {
  using T = TypeParam;
  BufferHash<T> table(64);
  const auto model = this->Fill(table, 100);
  const std::string path = testing::TempDir() + "/memory_test.image";
  BufferDict<T> saved;
  ASSERT_EQ(saved.open(table) + saved.save(path.c_str()), 0u);
  ForEveryFailure([&] {
    BufferDict<T> dict;
    for (const bool from_file : {true, false}) {
      const std::uint32_t result =
          Try([&] { return from_file ? dict.open(path.c_str()) : dict.open(table); });
      EXPECT_EQ(result, dict.is_empty() ? FAILURE : 0);
      EXPECT_EQ(Sorted<T>(Contents<T>(dict)), result == 0 ? this->PairsOf(model) : Pairs<T>());
      if (!Try([&] { return dict.check(); })) {
        EXPECT_EQ(dict.check(), result == 0);
      }
    }
  });
  std::remove(path.c_str());
}

// Only with the allocations of this library: the index library does not survive failing ones.
TYPED_TEST(MemoryTest, TrieIsWholeOrEmptyAndASearchEndsEarlyAtMost) {
  using T = TypeParam;
  Tree<T> tree;
  const auto model = this->Fill(tree, 100);
  ForEveryFailure([&] {
    Trie<T> trie;
    const std::uint32_t result = Try([&] { return trie.build(tree, TrieRoot::BldSpd::kNormal); });
    EXPECT_EQ(result, trie.is_empty() ? FAILURE : 0);
    auto next = model.begin();
    Try([&] {
      return trie.for_each_under_bk({}, [&](const auto& key, std::uint64_t& value) {
        return next != model.end() && BufferRef<T>(next->first) == key && next++->second == value;
      });
    });
    const bool refused = allocator.calls > allocator.fail_at;
    EXPECT_TRUE(refused || next == model.end());
  });
}

}  // namespace
}  // namespace tstl

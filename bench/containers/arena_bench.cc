// The arena beside std::pmr::monotonic_buffer_resource, which does not zero what it hands out:
// 100,000 nodes from a new one, and from one that has its memory.

#include <benchmark/benchmark.h>

#include <memory_resource>
#include <vector>

#include "bench/ratio.h"
#include "corelib/containers/chunk.h"

namespace tstl {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;

constexpr std::size_t kNodes = 100000;

struct Node {
  Node* next;
  std::uint64_t values[3];
};

// `make` gives the memory of a node.
const Node* chain(auto make) {
  Node* last = nullptr;
  for (std::size_t i = 0; i != kNodes; ++i) {
    Node* const node = make();
    node->next = last;
    node->values[0] = i;
    last = node;
  }
  return last;
}
const Node* fill(Chunk& arena) {
  return chain([&arena] { return arena.make<Node>(); });
}
const Node* fill(std::pmr::monotonic_buffer_resource& arena) {
  return chain(
      [&arena] { return static_cast<Node*>(arena.allocate(sizeof(Node), alignof(Node))); });
}

void arena_fresh(benchmark::State& state) {
  Race(state, {.items = kNodes},
       Contestant{"ours",
                  [] {
                    Chunk arena;
                    return fill(arena);
                  }},
       Contestant{"pmr", [] {
                    std::pmr::monotonic_buffer_resource arena;
                    return fill(arena);
                  }});
}

void arena_reused(benchmark::State& state) {
  Chunk ours;
  std::vector<char> memory(2 * kNodes * sizeof(Node));
  Race(state, {.items = kNodes},
       Contestant{"ours",
                  [&] {
                    ours.rewind();
                    return fill(ours);
                  }},
       Contestant{"pmr", [&] {
                    std::pmr::monotonic_buffer_resource arena(memory.data(), memory.size());
                    return fill(arena);
                  }});
}

BENCHMARK(arena_fresh);
BENCHMARK(arena_reused);

}  // namespace
}  // namespace tstl

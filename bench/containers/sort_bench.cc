// Sorting a list by value beside std::sort and the heap sort of the standard library on the same
// pointers. Each call starts from a fresh copy of the unsorted pointers.

#include "bench/containers/words.h"
#include "bench/ratio.h"
#include "corelib/containers/buffer_list.h"

namespace tstl::bench {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;

void sort(benchmark::State& state) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  BufferList<unsigned char> list;
  for (std::size_t i = 0; i < words.list.size(); ++i)
    list.emplace_back(words.list[i], words.counts[i]);
  using Node = BufferList<unsigned char>::Node;
  const std::vector<Node*> unsorted(list.begin(), list.end());
  std::vector<Node*> nodes;
  const auto greater = [](const Node* a, const Node* b) { return a->value() > b->value(); };
  Race(state, {.items = static_cast<double>(unsorted.size())},
       Contestant{"ours",
                  [&] {
                    std::copy(unsorted.begin(), unsorted.end(), list.begin());
                    list.sort();
                  }},
       Contestant{"std",
                  [&] {
                    nodes = unsorted;
                    std::sort(nodes.begin(), nodes.end(), greater);
                  }},
       Contestant{"heap_sort", [&] {
                    nodes = unsorted;
                    std::make_heap(nodes.begin(), nodes.end(), greater);
                    std::sort_heap(nodes.begin(), nodes.end(), greater);
                  }});
  const auto same_value = [](const Node* a, const Node* b) { return a->value() == b->value(); };
  if (!std::equal(nodes.begin(), nodes.end(), list.begin(), same_value)) {
    state.SkipWithError("the orders differ");
  }
}

BENCHMARK(sort)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(3);

}  // namespace
}  // namespace tstl::bench

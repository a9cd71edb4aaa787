// Compiled with exceptions: all that the trie library throws is caught here. It throws if an
// allocation fails or the key set exceeds its limits; no other argument passed here can be wrong.
#include "corelib/containers/detail/trie_index.h"

#include <marisa.h>

#include <new>

namespace tstl::detail {
namespace {

const char* chars(BufferRef<unsigned char> bytes) {
  return bytes.is_empty() ? "" : reinterpret_cast<const char*>(bytes.cstr());
}

// Runs `step` and returns what it returns, false if it throws.
template <class Step>
bool guarded(Step step) noexcept {
  try {
    return step();
  } catch (...) {
    return false;
  }
}

}  // namespace

struct TrieIndex::State {
  marisa::Keyset keys;  // while building
  marisa::Trie trie;
  marisa::Agent agent;  // for find(), so that it need not allocate one each time
};

TrieIndex::TrieIndex() = default;
TrieIndex::TrieIndex(TrieIndex&&) noexcept = default;
TrieIndex& TrieIndex::operator=(TrieIndex&&) noexcept = default;
TrieIndex::~TrieIndex() = default;

bool TrieIndex::make_state() {
  if (state_ == nullptr) state_.reset(new State);
  return true;
}

bool TrieIndex::add(Bytes key) {
  return guarded([&] {
    make_state();
    state_->keys.push_back(chars(key), key.len());
    return true;
  });
}

bool TrieIndex::build(int tries) {
  return guarded([&] {
    make_state();
    state_->trie.build(state_->keys, tries | MARISA_LABEL_ORDER);
    return true;
  });
}

std::uint32_t TrieIndex::number_of(std::uint32_t i) const {
  return static_cast<std::uint32_t>(state_->keys[i].id());
}

void TrieIndex::end_build() { state_->keys.clear(); }

bool TrieIndex::find(Bytes key, std::uint32_t& number) const {
  return guarded([&] {
    marisa::Agent& agent = state_->agent;
    agent.set_query(chars(key), key.len());
    if (!state_->trie.lookup(agent)) return false;
    number = static_cast<std::uint32_t>(agent.key().id());
    return true;
  });
}

struct TrieSearch::State {
  marisa::Agent agent;
};

TrieSearch::TrieSearch(const TrieIndex& index, Kind kind, Bytes query)
    : index_(index), kind_(kind) {
  guarded([&] {
    state_.reset(new State);
    state_->agent.set_query(chars(query), query.len());
    return true;
  });
}

TrieSearch::~TrieSearch() = default;

bool TrieSearch::next() {
  if (state_ == nullptr) return false;
  return guarded([&] {
    const marisa::Trie& trie = index_.state_->trie;
    return kind_ == Kind::kPrefixes ? trie.common_prefix_search(state_->agent)
                                    : trie.predictive_search(state_->agent);
  });
}

TrieSearch::Bytes TrieSearch::key() const {
  const marisa::Key& key = state_->agent.key();
  return Bytes(key.ptr(), static_cast<unsigned>(key.length()));
}

std::uint32_t TrieSearch::number() const {
  return static_cast<std::uint32_t>(state_->agent.key().id());
}

}  // namespace tstl::detail
